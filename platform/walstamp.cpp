#include <kwlib63/platform/walstamp.h>

#include <sqlite3.h>

#include <atomic>

namespace kwplat {

namespace {

// The log index's layout, which every SQLite version sharing a database keeps:
// its first region is 32 KiB, and it opens with the header twice. A writer stores
// the second copy, then the first; a reader that finds both the same has read a
// whole header.
constexpr int kIndexRegionSize = 32768;
constexpr std::uint32_t kIndexVersion = 3007000;
constexpr int kInitByte = 12;  // isInit, a byte of its own
constexpr int kReadAttempts = 16;

WalStamp Load(const std::uint32_t* words) {
  WalStamp stamp;
  for (std::size_t i = 0; i < stamp.size(); ++i) stamp[i] = __atomic_load_n(words + i, __ATOMIC_RELAXED);
  return stamp;
}

}  // namespace

std::optional<WalStamp> ReadWalStamp(sqlite3* db) {
  sqlite3_file* file = nullptr;
  if (sqlite3_file_control(db, "main", SQLITE_FCNTL_FILE_POINTER, &file) != SQLITE_OK || file == nullptr ||
      file->pMethods == nullptr || file->pMethods->iVersion < 2 || file->pMethods->xShmMap == nullptr) {
    return std::nullopt;
  }
  volatile void* region = nullptr;
  if (file->pMethods->xShmMap(file, 0, kIndexRegionSize, 0, &region) != SQLITE_OK || region == nullptr) {
    return std::nullopt;
  }
  // Another process writes the header while this one reads it: the words are
  // loaded one by one, and the second copy only after the first.
  const auto* words = const_cast<const std::uint32_t*>(static_cast<volatile std::uint32_t*>(region));
  for (int attempt = 0; attempt < kReadAttempts; ++attempt) {
    const WalStamp first = Load(words);
    std::atomic_thread_fence(std::memory_order_acquire);
    const WalStamp second = Load(words + first.size());
    if (first != second) continue;
    const bool ready = first[0] == kIndexVersion && reinterpret_cast<const unsigned char*>(first.data())[kInitByte] != 0;
    return ready ? std::optional(first) : std::nullopt;
  }
  return std::nullopt;
}

}  // namespace kwplat
