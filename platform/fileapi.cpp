#include <kwlib63/platform/fileapi.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cwchar>
#include <memory>
#include <string>
#include <vector>

#include <utf8proc.h>

#include <kwlib63/framework/casefold.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/handletable.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/uniquefd.h>

namespace kwplat {
namespace {

std::string Native(LPCWSTR path) { return kwfw::WideToUtf8(path != nullptr ? path : L""); }

BOOL Failed(DWORD error) {
  SetLastError(error);
  return FALSE;
}

BOOL FailedErrno() {
  SetLastErrorFromErrno();
  return FALSE;
}

// Copies `text` with its terminator into `buffer` when it fits in `size`: the
// length written, else the size needed (the convention of the Get...PathW calls).
DWORD Deliver(const std::wstring& text, DWORD size, LPWSTR buffer) {
  if (buffer == nullptr || text.size() + 1 > size) return static_cast<DWORD>(text.size() + 1);
  std::wmemcpy(buffer, text.c_str(), text.size() + 1);
  return static_cast<DWORD>(text.size());
}

// 100-nanosecond intervals since 1601, as Windows counts file times.
FILETIME ToFileTime(const timespec& t) {
  constexpr unsigned long long kEpochDifference = 116444736000000000ULL;
  const unsigned long long ticks = kEpochDifference + static_cast<unsigned long long>(t.tv_sec) * 10000000ULL +
                                   static_cast<unsigned long long>(t.tv_nsec) / 100;
  return FILETIME{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

DWORD Attributes(const struct stat& st, const std::string& name) {
  DWORD a = 0;
  if (S_ISDIR(st.st_mode)) a |= FILE_ATTRIBUTE_DIRECTORY;
  if ((st.st_mode & S_IWUSR) == 0) a |= FILE_ATTRIBUTE_READONLY;
  if (name.size() > 1 && name[0] == '.' && name != "..") a |= FILE_ATTRIBUTE_HIDDEN;
  return a != 0 ? a : FILE_ATTRIBUTE_NORMAL;
}

std::string BaseName(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

// The sort key of a character: its fold in upper case, since Windows file systems
// list names in upper-case order ('_' after the letters).
char32_t Upper(wchar_t c) { return static_cast<char32_t>(utf8proc_toupper(static_cast<utf8proc_int32_t>(kwfw::FoldCase(c)))); }

bool Match(const wchar_t* name, const wchar_t* mask) {
  const wchar_t* star = nullptr;  // the last '*' seen, to fall back to
  const wchar_t* resume = nullptr;
  while (*name != 0) {
    if (*mask == L'*') {
      star = mask++;
      resume = name;
    } else if (*mask != 0 && (*mask == L'?' || kwfw::FoldCase(*mask) == kwfw::FoldCase(*name))) {
      ++mask;
      ++name;
    } else if (star != nullptr) {
      mask = star + 1;
      name = ++resume;
    } else {
      return false;
    }
  }
  while (*mask == L'*') ++mask;
  return *mask == 0;
}

struct FindState : HandleObject {
  static constexpr HandleKind kKind = HandleKind::kFind;
  FindState() : HandleObject(kKind) {}
  std::vector<WIN32_FIND_DATAW> entries;
  std::size_t next = 0;
};

}  // namespace

bool MatchesMask(LPCWSTR name, LPCWSTR mask) {
  if (name == nullptr || mask == nullptr) return false;
  const std::wstring m = mask;
  if (m == L"*.*" || m == L"*") return true;
  if (Match(name, mask)) return true;
  // "name.*" also takes a name without any extension, as Windows masks do.
  return m.size() >= 2 && m.compare(m.size() - 2, 2, L".*") == 0 && std::wcschr(name, L'.') == nullptr &&
         Match(name, m.substr(0, m.size() - 2).c_str());
}

DWORD GetFileAttributesW(LPCWSTR path) {
  const std::string p = Native(path);
  struct stat st {};
  if (p.empty() || stat(p.c_str(), &st) != 0) {
    if (p.empty()) errno = ENOENT;
    SetLastErrorFromErrno();
    return INVALID_FILE_ATTRIBUTES;
  }
  // A link is marked as one, with its target's other attributes, as FindFirstFileW does.
  struct stat link {};
  const bool isLink = lstat(p.c_str(), &link) == 0 && S_ISLNK(link.st_mode);
  const DWORD a = Attributes(st, BaseName(p));
  return isLink ? (a & ~FILE_ATTRIBUTE_NORMAL) | FILE_ATTRIBUTE_REPARSE_POINT : a;
}

BOOL SetFileAttributesW(LPCWSTR path, DWORD attributes) {
  const std::string p = Native(path);
  struct stat st {};
  if (stat(p.c_str(), &st) != 0) return FailedErrno();
  mode_t mode = st.st_mode & 07777;
  if ((attributes & FILE_ATTRIBUTE_READONLY) != 0) {
    mode &= static_cast<mode_t>(~(S_IWUSR | S_IWGRP | S_IWOTH));
  } else {
    mode |= S_IWUSR;
  }
  return mode == (st.st_mode & 07777) || chmod(p.c_str(), mode) == 0 ? TRUE : FailedErrno();
}

BOOL CreateDirectoryW(LPCWSTR path, void*) {
  if (mkdir(Native(path).c_str(), 0777) == 0) return TRUE;
  if (errno == EEXIST) return Failed(ERROR_ALREADY_EXISTS);
  if (errno == ENOENT) return Failed(ERROR_PATH_NOT_FOUND);
  return FailedErrno();
}

BOOL RemoveDirectoryW(LPCWSTR path) {
  const std::string p = Native(path);
  if (rmdir(p.c_str()) == 0) return TRUE;
  if (errno != ENOTDIR) return FailedErrno();
  // As on Windows, a link to a folder goes as a link, whatever the folder holds.
  struct stat link {}, target {};
  if (lstat(p.c_str(), &link) == 0 && S_ISLNK(link.st_mode) && stat(p.c_str(), &target) == 0 && S_ISDIR(target.st_mode)) {
    return unlink(p.c_str()) == 0 ? TRUE : FailedErrno();
  }
  return Failed(ERROR_DIRECTORY);
}

BOOL DeleteFileW(LPCWSTR path) {
  const std::string p = Native(path);
  struct stat st {};
  if (lstat(p.c_str(), &st) != 0) return FailedErrno();
  if (S_ISDIR(st.st_mode) || (!S_ISLNK(st.st_mode) && (st.st_mode & S_IWUSR) == 0)) return Failed(ERROR_ACCESS_DENIED);
  return unlink(p.c_str()) == 0 ? TRUE : FailedErrno();
}

BOOL CopyFileW(LPCWSTR source, LPCWSTR target, BOOL failIfExists) {
  const UniqueFd in(open(Native(source).c_str(), O_RDONLY | O_CLOEXEC));
  if (!in) return FailedErrno();
  struct stat st {};
  if (fstat(in.Get(), &st) != 0 || S_ISDIR(st.st_mode)) {
    if (S_ISDIR(st.st_mode)) errno = EISDIR;
    return FailedErrno();
  }
  const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | (failIfExists ? O_EXCL : O_TRUNC);
  UniqueFd out(open(Native(target).c_str(), flags, st.st_mode & 07777));
  if (!out) return errno == EEXIST ? Failed(ERROR_FILE_EXISTS) : FailedErrno();
  bool ok = true;
  std::vector<char> block(1 << 20);
  for (ssize_t n; ok && (n = read(in.Get(), block.data(), block.size())) != 0;) {
    if (n < 0) {
      ok = errno == EINTR;
      continue;
    }
    for (ssize_t done = 0; ok && done < n;) {
      const ssize_t w = write(out.Get(), block.data() + done, static_cast<std::size_t>(n - done));
      if (w < 0) {
        ok = errno == EINTR;
      } else {
        done += w;
      }
    }
  }
  const int error = errno;
  if (ok) {
    const timespec times[2] = {st.st_atim, st.st_mtim};
    futimens(out.Get(), times);
    fchmod(out.Get(), st.st_mode & 07777);
  }
  // The copy's close can report a write that failed late (a full disk over NFS).
  if (close(out.Release()) != 0) ok = false;
  if (ok) return TRUE;
  errno = error;
  return FailedErrno();
}

DWORD GetTempPathW(DWORD size, LPWSTR buffer) {
  const char* env = std::getenv("TMPDIR");
  std::wstring dir = kwfw::Utf8ToWide(env != nullptr && *env != 0 ? env : "/tmp");
  if (dir.back() != L'/') dir += L'/';
  return Deliver(dir, size, buffer);
}

UINT GetTempFileNameW(LPCWSTR dir, LPCWSTR prefix, UINT unique, LPWSTR buffer) {
  if (dir == nullptr || buffer == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  const DWORD attributes = GetFileAttributesW(dir);
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
    SetLastError(ERROR_DIRECTORY);
    return 0;
  }
  std::wstring base = dir;
  if (!base.empty() && base.back() != L'/') base += L'/';
  base += std::wstring(prefix != nullptr ? prefix : L"").substr(0, 3);
  if (base.size() + 9 >= PATH_MAX) {
    SetLastError(ERROR_BUFFER_OVERFLOW);
    return 0;
  }
  const auto name = [&](UINT n) {
    wchar_t hex[8];
    std::swprintf(hex, 8, L"%04X", n & 0xFFFF);
    return base + hex + L".TMP";
  };
  if (unique != 0) {
    const std::wstring path = name(unique);
    std::wmemcpy(buffer, path.c_str(), path.size() + 1);
    return unique & 0xFFFF;
  }
  // A start taken from the clock, then every number in turn until a name is free.
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  const UINT start = static_cast<UINT>(std::chrono::duration_cast<std::chrono::microseconds>(now).count()) & 0xFFFF;
  for (UINT k = 0; k < 0x10000; ++k) {
    const UINT n = (start + k) & 0xFFFF;
    if (n == 0) continue;
    const std::wstring path = name(n);
    const int fd = open(kwfw::WideToUtf8(path).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd >= 0) {
      close(fd);
      std::wmemcpy(buffer, path.c_str(), path.size() + 1);
      return n;
    }
    if (errno != EEXIST) {
      SetLastErrorFromErrno();
      return 0;
    }
  }
  SetLastError(ERROR_FILE_EXISTS);
  return 0;
}

DWORD GetCurrentDirectoryW(DWORD size, LPWSTR buffer) {
  char* cwd = getcwd(nullptr, 0);
  if (cwd == nullptr) {
    SetLastErrorFromErrno();
    return 0;
  }
  const std::wstring dir = kwfw::Utf8ToWide(cwd);
  std::free(cwd);
  return Deliver(dir, size, buffer);
}

BOOL SetCurrentDirectoryW(LPCWSTR path) { return chdir(Native(path).c_str()) == 0 ? TRUE : FailedErrno(); }

HANDLE FindFirstFileW(LPCWSTR pattern, WIN32_FIND_DATAW* data) {
  const std::wstring p = pattern != nullptr ? pattern : L"";
  const std::size_t slash = p.find_last_of(L'/');
  const std::wstring folder = slash == std::wstring::npos ? L"." : slash == 0 ? L"/" : p.substr(0, slash);
  const std::wstring mask = slash == std::wstring::npos ? p : p.substr(slash + 1);
  if (data == nullptr || mask.empty()) {
    SetLastError(mask.empty() ? ERROR_FILE_NOT_FOUND : ERROR_INVALID_PARAMETER);
    return INVALID_HANDLE_VALUE;
  }
  const std::string native = kwfw::WideToUtf8(folder);
  DIR* d = opendir(native.c_str());
  if (d == nullptr) {
    SetLastError(errno == ENOENT || errno == ENOTDIR ? ERROR_PATH_NOT_FOUND : Win32ErrorFromErrno(errno));
    return INVALID_HANDLE_VALUE;
  }
  auto state = std::make_shared<FindState>();
  while (const dirent* e = readdir(d)) {
    const std::wstring name = kwfw::Utf8ToWide(e->d_name);
    if (name.size() >= MAX_PATH || !MatchesMask(name.c_str(), mask.c_str())) continue;
    struct stat st {};
    if (fstatat(dirfd(d), e->d_name, &st, 0) != 0 && fstatat(dirfd(d), e->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0) continue;
    WIN32_FIND_DATAW entry{};
    entry.dwFileAttributes = Attributes(st, e->d_name);
    struct stat link {};
    if (e->d_type == DT_LNK || (e->d_type == DT_UNKNOWN && fstatat(dirfd(d), e->d_name, &link, AT_SYMLINK_NOFOLLOW) == 0 &&
                                S_ISLNK(link.st_mode))) {
      entry.dwFileAttributes = (entry.dwFileAttributes & ~FILE_ATTRIBUTE_NORMAL) | FILE_ATTRIBUTE_REPARSE_POINT;
    }
    entry.ftCreationTime = ToFileTime(st.st_ctim);
    entry.ftLastAccessTime = ToFileTime(st.st_atim);
    entry.ftLastWriteTime = ToFileTime(st.st_mtim);
    const auto size = S_ISDIR(st.st_mode) ? 0ULL : static_cast<unsigned long long>(st.st_size);
    entry.nFileSizeHigh = static_cast<DWORD>(size >> 32);
    entry.nFileSizeLow = static_cast<DWORD>(size);
    std::wmemcpy(entry.cFileName, name.c_str(), name.size() + 1);
    state->entries.push_back(entry);
  }
  closedir(d);
  // Name order without regard to case, as Windows file systems list folders.
  std::sort(state->entries.begin(), state->entries.end(), [](const WIN32_FIND_DATAW& a, const WIN32_FIND_DATAW& b) {
    for (std::size_t i = 0;; ++i) {
      const char32_t x = Upper(a.cFileName[i]), y = Upper(b.cFileName[i]);
      if (x != y) return x < y;
      if (x == 0) return std::wcscmp(a.cFileName, b.cFileName) < 0;
    }
  });
  if (state->entries.empty()) {
    SetLastError(ERROR_FILE_NOT_FOUND);
    return INVALID_HANDLE_VALUE;
  }
  *data = state->entries[0];
  state->next = 1;
  HANDLE find = OpenHandle(std::move(state));
  return find != nullptr ? find : INVALID_HANDLE_VALUE;
}

BOOL FindNextFileW(HANDLE find, WIN32_FIND_DATAW* data) {
  const std::shared_ptr<FindState> state = CheckedHandle<FindState>(find);
  if (state == nullptr) return FALSE;
  if (data == nullptr) return Failed(ERROR_INVALID_PARAMETER);
  if (state->next >= state->entries.size()) return Failed(ERROR_NO_MORE_FILES);
  *data = state->entries[state->next++];
  return TRUE;
}

BOOL FindClose(HANDLE find) {
  if (ReleaseHandle(find, {FindState::kKind})) return TRUE;
  return Failed(ERROR_INVALID_HANDLE);
}

}  // namespace kwplat
