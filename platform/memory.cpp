#include <kwlib63/platform/memory.h>

#include <kwlib63/platform/lasterror.h>

#include <sys/mman.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace kwplat {
namespace {

// Walks /proc/self/maps (sorted by address) and checks that the mappings cover
// the range without a gap and all grant `perm` ('r' or 'w').
bool Covered(std::uintptr_t begin, std::uintptr_t size, char perm) {
  if (size == 0) return true;
  if (begin == 0 || begin + size < begin) return false;
  std::FILE* maps = std::fopen("/proc/self/maps", "re");
  if (maps == nullptr) return false;
  std::uintptr_t next = begin;
  const std::uintptr_t end = begin + size;
  char line[512];
  bool ok = false;
  while (std::fgets(line, sizeof line, maps) != nullptr) {
    unsigned long lo = 0, hi = 0;
    char perms[5] = {};
    if (std::sscanf(line, "%lx-%lx %4s", &lo, &hi, perms) != 3) continue;
    if (hi <= next) continue;
    if (lo > next) break;  // a gap
    if ((perm == 'r' && perms[0] != 'r') || (perm == 'w' && perms[1] != 'w')) break;
    next = hi;
    if (next >= end) {
      ok = true;
      break;
    }
  }
  std::fclose(maps);
  return ok;
}

}  // namespace

BOOL IsBadReadPtr(const void* pointer, UINT_PTR size) {
  return !Covered(reinterpret_cast<std::uintptr_t>(pointer), size, 'r');
}

BOOL IsBadWritePtr(void* pointer, UINT_PTR size) {
  return !Covered(reinterpret_cast<std::uintptr_t>(pointer), size, 'w');
}

HLOCAL LocalAlloc(UINT flags, std::size_t bytes) {
  // A block of 0 bytes is still a distinct block, as on Windows.
  void* block = (flags & LMEM_ZEROINIT) != 0 ? std::calloc(1, bytes == 0 ? 1 : bytes) : std::malloc(bytes == 0 ? 1 : bytes);
  if (block == nullptr) SetLastError(ERROR_NOT_ENOUGH_MEMORY);
  return block;
}

HLOCAL LocalFree(HLOCAL block) {
  std::free(block);
  return nullptr;
}

void AdviseLargePages(void* block, std::size_t bytes) {
  constexpr std::uintptr_t kLarge = std::uintptr_t{2} << 20;
  const auto begin = reinterpret_cast<std::uintptr_t>(block);
  std::uintptr_t lo = 0, hi = 0;
  // A block that would run past the end of the address space is none.
  if (block == nullptr || __builtin_add_overflow(begin, kLarge - 1, &lo) || __builtin_add_overflow(begin, bytes, &hi)) return;
  lo &= ~(kLarge - 1);
  hi &= ~(kLarge - 1);
  if (hi <= lo) return;
  // The answer is not needed: without large pages the block works as it is.
  (void)madvise(reinterpret_cast<void*>(lo), hi - lo, MADV_HUGEPAGE);
}

}  // namespace kwplat
