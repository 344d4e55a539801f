#include <kwlib63/platform/filemapping.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <mutex>
#include <memory>
#include <unordered_map>

#include <kwlib63/platform/handletable.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/syscalls.h>

namespace kwplat {
namespace {

constexpr DWORD kGranularity = 65536;

struct FileMapping : HandleObject {
  static constexpr HandleKind kKind = HandleKind::kFileMapping;
  FileMapping(int descriptor, bool writable, unsigned long long bytes)
      : HandleObject(kKind),
        fd(descriptor),
        canWrite(writable),
        size(bytes) {}
  // The descriptor is a duplicate that nothing is written through: a failed close
  // loses no data.
  ~FileMapping() override { Sys().close(fd); }
  int fd;
  bool canWrite;  // the protection allows views that write through to the file
  unsigned long long size;
};

// The length of every view, by base address, for UnmapViewOfFile.
std::mutex g_viewsLock;  // guards g_views
std::unordered_map<const void*, std::size_t> g_views;

HANDLE Fail(DWORD error) {
  SetLastError(error);
  return nullptr;
}

}  // namespace

void GetSystemInfo(LPSYSTEM_INFO info) {
  if (info == nullptr) return;
  *info = SYSTEM_INFO{};
#if defined(__x86_64__)
  info->wProcessorArchitecture = PROCESSOR_ARCHITECTURE_AMD64;
  info->dwProcessorType = 8664;
#elif defined(__aarch64__)
  info->wProcessorArchitecture = PROCESSOR_ARCHITECTURE_ARM64;
#elif defined(__i386__)
  info->wProcessorArchitecture = PROCESSOR_ARCHITECTURE_INTEL;
  info->dwProcessorType = 586;
#elif defined(__arm__)
  info->wProcessorArchitecture = PROCESSOR_ARCHITECTURE_ARM;
#else
  info->wProcessorArchitecture = PROCESSOR_ARCHITECTURE_UNKNOWN;
#endif
  const long page = sysconf(_SC_PAGESIZE);
  info->dwPageSize = static_cast<DWORD>(page);
  info->dwAllocationGranularity = page > static_cast<long>(kGranularity) ? static_cast<DWORD>(page) : kGranularity;
  info->lpMinimumApplicationAddress = reinterpret_cast<LPVOID>(static_cast<std::uintptr_t>(kGranularity));
  info->lpMaximumApplicationAddress = reinterpret_cast<LPVOID>((std::uintptr_t{1} << 47) - kGranularity - 1);
  const long cpus = sysconf(_SC_NPROCESSORS_ONLN);
  info->dwNumberOfProcessors = cpus > 0 ? static_cast<DWORD>(cpus) : 1;
  const unsigned bits = info->dwNumberOfProcessors < 8 * sizeof(DWORD_PTR) ? info->dwNumberOfProcessors : 8 * sizeof(DWORD_PTR);
  info->dwActiveProcessorMask = bits == 8 * sizeof(DWORD_PTR) ? ~DWORD_PTR{0} : (DWORD_PTR{1} << bits) - 1;
}

HANDLE CreateFileMappingW(HANDLE file, void*, DWORD protect, DWORD sizeHigh, DWORD sizeLow, LPCWSTR) {
  const DWORD page = protect & 0xFF;  // the SEC_ attributes above are accepted and have no effect
  const bool writable = page == PAGE_READWRITE || page == PAGE_EXECUTE_READWRITE;
  const bool copy = page == PAGE_WRITECOPY || page == PAGE_EXECUTE_WRITECOPY;
  if (!writable && !copy && page != PAGE_READONLY && page != PAGE_EXECUTE_READ) return Fail(ERROR_INVALID_PARAMETER);
  unsigned long long size = static_cast<unsigned long long>(sizeHigh) << 32 | sizeLow;

  int fd = -1;
  if (file == INVALID_HANDLE_VALUE) {
    if (size == 0) return Fail(ERROR_INVALID_PARAMETER);
    fd = memfd_create("kwlib63-mapping", MFD_CLOEXEC);
    if (fd < 0 || Retried(Sys().ftruncate, fd, static_cast<off_t>(size)) != 0) {
      SetLastErrorFromErrno();
      if (fd >= 0) Sys().close(fd);
      return nullptr;
    }
  } else {
    const int flags = fcntl(FdFromHandle(file), F_GETFL);
    if (flags < 0) return Fail(ERROR_INVALID_HANDLE);
    if (writable && (flags & O_ACCMODE) == O_RDONLY) return Fail(ERROR_ACCESS_DENIED);
    if ((flags & O_ACCMODE) == O_WRONLY) return Fail(ERROR_ACCESS_DENIED);  // a mapping always reads
    struct stat st {};
    if (fstat(FdFromHandle(file), &st) != 0) {
      SetLastErrorFromErrno();
      return nullptr;
    }
    const auto length = static_cast<unsigned long long>(st.st_size);
    if (size == 0 && length == 0) return Fail(ERROR_FILE_INVALID);
    if (size > length) {
      if (!writable) return Fail(ERROR_NOT_ENOUGH_MEMORY);
      // The blocks are taken now, so that a full disk fails here with
      // ERROR_DISK_FULL rather than as a fault on a later store through a view.
      int error;
      do {
        error = Sys().fallocate(FdFromHandle(file), 0, static_cast<off_t>(size));
      } while (error == EINTR);
      if (error != 0) {
        errno = error;
        SetLastErrorFromErrno();
        return nullptr;
      }
    }
    if (size == 0) size = length;
    fd = fcntl(FdFromHandle(file), F_DUPFD_CLOEXEC, 0);
    if (fd < 0) {
      SetLastErrorFromErrno();
      return nullptr;
    }
  }
  return OpenHandle(std::make_shared<FileMapping>(fd, writable || file == INVALID_HANDLE_VALUE, size));
}

LPVOID MapViewOfFile(HANDLE handle, DWORD access, DWORD offsetHigh, DWORD offsetLow, std::size_t bytes) {
  const std::shared_ptr<FileMapping> mapping = CheckedHandle<FileMapping>(handle);
  if (mapping == nullptr) return nullptr;
  const unsigned long long offset = static_cast<unsigned long long>(offsetHigh) << 32 | offsetLow;
  if (offset % kGranularity != 0) return Fail(ERROR_MAPPED_ALIGNMENT);
  if (offset > mapping->size || bytes > mapping->size - offset) return Fail(ERROR_ACCESS_DENIED);
  if (bytes == 0) bytes = static_cast<std::size_t>(mapping->size - offset);
  if (bytes == 0) return Fail(ERROR_ACCESS_DENIED);

  const bool copy = (access & FILE_MAP_COPY) != 0 && access != FILE_MAP_ALL_ACCESS;
  const bool write = !copy && (access & FILE_MAP_WRITE) != 0;
  if (write && !mapping->canWrite) return Fail(ERROR_ACCESS_DENIED);
  int prot = PROT_READ;
  if (write || copy) prot |= PROT_WRITE;
  if ((access & FILE_MAP_EXECUTE) != 0) prot |= PROT_EXEC;
  // Shared unless a private copy was asked for: a read view sees later writes to the file.
  const int flags = copy ? MAP_PRIVATE : MAP_SHARED;
  void* base = Sys().mmap(nullptr, bytes, prot, flags, mapping->fd, static_cast<off_t>(offset));
  if (base == MAP_FAILED) {
    SetLastErrorFromErrno();
    return nullptr;
  }
  try {
    const std::lock_guard<std::mutex> lock(g_viewsLock);
    g_views.emplace(base, bytes);
  } catch (const std::bad_alloc&) {
    munmap(base, bytes);
    return Fail(ERROR_NOT_ENOUGH_MEMORY);
  }
  return base;
}

BOOL UnmapViewOfFile(LPCVOID base) {
  std::size_t bytes = 0;
  {
    const std::lock_guard<std::mutex> lock(g_viewsLock);
    const auto it = g_views.find(base);
    if (it == g_views.end()) {
      SetLastError(ERROR_INVALID_ADDRESS);
      return FALSE;
    }
    bytes = it->second;
    g_views.erase(it);
  }
  munmap(const_cast<void*>(base), bytes);
  return TRUE;
}

}  // namespace kwplat
