// File mappings (CreateFileMappingW, MapViewOfFile, UnmapViewOfFile) on mmap, and
// the system information that gives their granularity.
//
// The allocation granularity is 65536, as on Windows: view offsets must be
// multiples of it, so code that aligns them keeps working unchanged (65536 is a
// multiple of every page size Linux uses). A mapping holds its own descriptor of
// the file and a view holds its own mapping, so each may outlive what it came from.
#pragma once

#include <cstddef>

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>
#include <kwlib63/platform/handle.h>

inline constexpr DWORD PAGE_READONLY = 0x02;
inline constexpr DWORD PAGE_READWRITE = 0x04;
inline constexpr DWORD PAGE_WRITECOPY = 0x08;
inline constexpr DWORD PAGE_EXECUTE_READ = 0x20;
inline constexpr DWORD PAGE_EXECUTE_READWRITE = 0x40;
inline constexpr DWORD PAGE_EXECUTE_WRITECOPY = 0x80;

inline constexpr DWORD FILE_MAP_COPY = 0x0001;
inline constexpr DWORD FILE_MAP_WRITE = 0x0002;
inline constexpr DWORD FILE_MAP_READ = 0x0004;
inline constexpr DWORD FILE_MAP_ALL_ACCESS = 0x000F001F;
inline constexpr DWORD FILE_MAP_EXECUTE = 0x0020;

inline constexpr DWORD ERROR_FILE_INVALID = 1006;
inline constexpr DWORD ERROR_INVALID_ADDRESS = 487;
inline constexpr DWORD ERROR_MAPPED_ALIGNMENT = 1132;

inline constexpr WORD PROCESSOR_ARCHITECTURE_INTEL = 0;
inline constexpr WORD PROCESSOR_ARCHITECTURE_ARM = 5;
inline constexpr WORD PROCESSOR_ARCHITECTURE_AMD64 = 9;
inline constexpr WORD PROCESSOR_ARCHITECTURE_ARM64 = 12;
inline constexpr WORD PROCESSOR_ARCHITECTURE_UNKNOWN = 0xFFFF;

struct KW_API SYSTEM_INFO {
  WORD wProcessorArchitecture;
  WORD wReserved;
  DWORD dwPageSize;
  LPVOID lpMinimumApplicationAddress;
  LPVOID lpMaximumApplicationAddress;
  DWORD_PTR dwActiveProcessorMask;
  DWORD dwNumberOfProcessors;
  DWORD dwProcessorType;
  DWORD dwAllocationGranularity;
  WORD wProcessorLevel;
  WORD wProcessorRevision;
};
using LPSYSTEM_INFO = SYSTEM_INFO*;

namespace kwplat {

KW_API void GetSystemInfo(LPSYSTEM_INFO info);

// A mapping of `file` (a descriptor handle; see handle.h) with the protection, or
// with INVALID_HANDLE_VALUE an anonymous block of the given size. A size of 0
// maps the whole file; a larger size than the file extends it when the protection
// allows writing, and fails with ERROR_NOT_ENOUGH_MEMORY when it does not. The
// name is kept for the caller but not shared between processes. Null on failure
// with the last error set: ERROR_INVALID_HANDLE, ERROR_INVALID_PARAMETER (an
// unknown protection, or an anonymous block of size 0), ERROR_FILE_INVALID (an
// empty file with size 0), ERROR_ACCESS_DENIED (write protection on a file opened
// for reading). Closed with CloseHandle.
KW_API HANDLE CreateFileMappingW(HANDLE file, void* security, DWORD protect, DWORD sizeHigh, DWORD sizeLow, LPCWSTR name);

// A view of `bytes` bytes (0: to the end of the mapping) from the offset, which must
// be a multiple of the allocation granularity (else ERROR_MAPPED_ALIGNMENT). A view
// past the mapping's end, or write access to a read-only mapping, fails with
// ERROR_ACCESS_DENIED. FILE_MAP_COPY gives a private copy-on-write view.
KW_API LPVOID MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow, std::size_t bytes);
// FALSE with ERROR_INVALID_ADDRESS for an address that is not a view's base.
KW_API BOOL UnmapViewOfFile(LPCVOID base);

}  // namespace kwplat
