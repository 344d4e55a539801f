// Registry writes under injected SQLite I/O errors: a VFS wrapping the default one
// fails the N-th write, sync or truncate of the hive's files, for every N a write
// makes, and the value stored before must survive every failed write.
#include <sqlite3.h>

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <kwlib63/platform/registry.h>

#include "support/privatehive.h"

namespace {

enum Op { kWrite, kSync, kTruncate, kOps };
constexpr const char* kOpNames[kOps] = {"xWrite", "xSync", "xTruncate"};

// The fault armed: the `position`-th call (from 1) of `op` answers `code`.
struct VfsFaults {
  int counts[kOps] = {};
  Op op = kWrite;
  int position = 0;  // 0: none armed
  int code = SQLITE_OK;
  bool fired = false;

  int Next(Op o) {
    if (++counts[o] != position || o != op || fired) return SQLITE_OK;
    fired = true;
    return code;
  }
};
VfsFaults g_faults;

// A file of the wrapping VFS: our methods, then the default VFS's file.
struct WrappedFile {
  sqlite3_file base;
  sqlite3_file* Real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};
sqlite3_file* RealOf(sqlite3_file* f) { return reinterpret_cast<WrappedFile*>(f)->Real(); }

int Close(sqlite3_file* f) { return RealOf(f)->pMethods->xClose(RealOf(f)); }
int Read(sqlite3_file* f, void* b, int n, sqlite3_int64 at) { return RealOf(f)->pMethods->xRead(RealOf(f), b, n, at); }
int Write(sqlite3_file* f, const void* b, int n, sqlite3_int64 at) {
  const int code = g_faults.Next(kWrite);
  return code != SQLITE_OK ? code : RealOf(f)->pMethods->xWrite(RealOf(f), b, n, at);
}
int Truncate(sqlite3_file* f, sqlite3_int64 size) {
  const int code = g_faults.Next(kTruncate);
  return code != SQLITE_OK ? code : RealOf(f)->pMethods->xTruncate(RealOf(f), size);
}
int Sync(sqlite3_file* f, int flags) {
  const int code = g_faults.Next(kSync);
  return code != SQLITE_OK ? code : RealOf(f)->pMethods->xSync(RealOf(f), flags);
}
int FileSize(sqlite3_file* f, sqlite3_int64* size) { return RealOf(f)->pMethods->xFileSize(RealOf(f), size); }
int Lock(sqlite3_file* f, int level) { return RealOf(f)->pMethods->xLock(RealOf(f), level); }
int Unlock(sqlite3_file* f, int level) { return RealOf(f)->pMethods->xUnlock(RealOf(f), level); }
int CheckReservedLock(sqlite3_file* f, int* out) { return RealOf(f)->pMethods->xCheckReservedLock(RealOf(f), out); }
int FileControl(sqlite3_file* f, int op, void* arg) { return RealOf(f)->pMethods->xFileControl(RealOf(f), op, arg); }
int SectorSize(sqlite3_file* f) { return RealOf(f)->pMethods->xSectorSize(RealOf(f)); }
int DeviceCharacteristics(sqlite3_file* f) { return RealOf(f)->pMethods->xDeviceCharacteristics(RealOf(f)); }
int ShmMap(sqlite3_file* f, int region, int size, int extend, void volatile** out) {
  return RealOf(f)->pMethods->xShmMap(RealOf(f), region, size, extend, out);
}
int ShmLock(sqlite3_file* f, int offset, int n, int flags) { return RealOf(f)->pMethods->xShmLock(RealOf(f), offset, n, flags); }
void ShmBarrier(sqlite3_file* f) { RealOf(f)->pMethods->xShmBarrier(RealOf(f)); }
int ShmUnmap(sqlite3_file* f, int deleteFlag) { return RealOf(f)->pMethods->xShmUnmap(RealOf(f), deleteFlag); }
int Fetch(sqlite3_file* f, sqlite3_int64 at, int n, void** out) { return RealOf(f)->pMethods->xFetch(RealOf(f), at, n, out); }
int Unfetch(sqlite3_file* f, sqlite3_int64 at, void* p) { return RealOf(f)->pMethods->xUnfetch(RealOf(f), at, p); }

const sqlite3_io_methods kMethods = {3,    Close,   Read,    Write,    Truncate,  Sync,  FileSize,
                                     Lock, Unlock,  CheckReservedLock,  FileControl, SectorSize,
                                     DeviceCharacteristics, ShmMap, ShmLock, ShmBarrier, ShmUnmap, Fetch, Unfetch};

sqlite3_vfs* g_default = nullptr;

int Open(sqlite3_vfs*, sqlite3_filename name, sqlite3_file* f, int flags, int* outFlags) {
  auto* wrapped = reinterpret_cast<WrappedFile*>(f);
  wrapped->base.pMethods = nullptr;
  const int code = g_default->xOpen(g_default, name, wrapped->Real(), flags, outFlags);
  if (code == SQLITE_OK && wrapped->Real()->pMethods != nullptr) wrapped->base.pMethods = &kMethods;
  return code;
}

// The wrapping VFS, made the default for as long as the object lives. Connections
// opened meanwhile keep it afterwards; with nothing armed it only passes calls on.
class FaultVfs {
 public:
  FaultVfs() {
    static sqlite3_vfs vfs = [] {
      g_default = sqlite3_vfs_find(nullptr);
      sqlite3_vfs v = *g_default;
      v.szOsFile = static_cast<int>(sizeof(WrappedFile)) + g_default->szOsFile;
      v.zName = "kwtest-faults";
      v.pNext = nullptr;
      v.xOpen = Open;
      return v;
    }();
    m_previous = sqlite3_vfs_find(nullptr);
    sqlite3_vfs_register(&vfs, 1);
  }
  ~FaultVfs() {
    g_faults = VfsFaults{};
    sqlite3_vfs_register(m_previous, 1);
  }
  FaultVfs(const FaultVfs&) = delete;
  FaultVfs& operator=(const FaultVfs&) = delete;

 private:
  sqlite3_vfs* m_previous;
};

LONG SetText(HKEY key, const std::wstring& text) {
  return kwplat::RegSetValueExW(key, L"Colour", 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                                static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

std::wstring GetText(HKEY key) {
  wchar_t buffer[64] = L"junk";
  DWORD size = sizeof buffer;
  DWORD type = 0;
  if (kwplat::RegQueryValueExW(key, L"Colour", nullptr, &type, reinterpret_cast<BYTE*>(buffer), &size) != 0) {
    return L"(unreadable)";
  }
  return buffer;
}

TEST(RegistryFault, SetValueKeepsTheOldValueAtEveryFailedWrite) {
  const FaultVfs vfs;
  const kwtest::PrivateHive hive;
  HKEY key = nullptr;
  ASSERT_EQ(kwplat::RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Tormel\\Faults", 0, nullptr, 0, KEY_ALL_ACCESS,
                                    nullptr, &key, nullptr),
            0);
  ASSERT_EQ(SetText(key, L"old"), 0);
  g_faults = VfsFaults{};
  ASSERT_EQ(SetText(key, L"new"), 0);
  const VfsFaults counted = g_faults;
  ASSERT_GT(counted.counts[kWrite], 0);
  struct {
    int code;
    LONG expected;
  } errors[] = {{SQLITE_IOERR_WRITE, 1009}, {SQLITE_FULL, ERROR_DISK_FULL}};
  for (int op = 0; op < kOps; ++op) {
    for (int position = 1; position <= counted.counts[op]; ++position) {
      for (const auto& e : errors) {
        const int code = op == kWrite || e.code == SQLITE_FULL ? e.code : op == kSync ? SQLITE_IOERR_FSYNC : SQLITE_IOERR_TRUNCATE;
        g_faults = VfsFaults{};
        ASSERT_EQ(SetText(key, L"old"), 0);
        g_faults = VfsFaults{{}, static_cast<Op>(op), position, code, false};
        const LONG result = SetText(key, L"new");
        const bool fired = g_faults.fired;
        g_faults = VfsFaults{};
        const std::string where = std::string(kOpNames[op]) + " #" + std::to_string(position) + " code " + std::to_string(code);
        EXPECT_TRUE(fired) << where;
        EXPECT_EQ(result, e.expected) << where;
        EXPECT_EQ(GetText(key), L"old") << where;
      }
    }
  }
  RecordProperty("positions", std::to_string(counted.counts[kWrite]) + " writes, " + std::to_string(counted.counts[kSync]) +
                                  " syncs, " + std::to_string(counted.counts[kTruncate]) + " truncates");
  kwplat::RegCloseKey(key);
}

}  // namespace
