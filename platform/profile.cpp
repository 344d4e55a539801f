// The profile functions' files: reads served from a cache of parsed files, and
// writes as a locked read-modify-write replaced atomically. The text itself is
// initext.cpp's.
#include <kwlib63/platform/profile.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/atomicfile.h>
#include <kwlib63/platform/initext.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/syscalls.h>

namespace kwplat {
namespace {

using ini::FileIndex;
using ini::IniFile;
using ini::SectionIndex;
using ini::Trim;

// --- Files, cache and the locked write -------------------------------------------

std::string Native(LPCWSTR path) { return kwfw::WideToUtf8(path != nullptr ? path : L""); }

struct Stamp {
  dev_t dev = 0;
  ino_t ino = 0;
  off_t size = -1;
  long long mtime = 0;
  bool operator==(const Stamp&) const = default;
};

Stamp StampOf(const struct stat& st) {
  return Stamp{st.st_dev, st.st_ino, st.st_size, static_cast<long long>(st.st_mtim.tv_sec) * 1000000000LL + st.st_mtim.tv_nsec};
}

bool ReadBytes(const std::string& path, std::string& bytes, struct stat& st) {
  const int fd = Retried(Sys().open, path.c_str(), O_RDONLY | O_CLOEXEC, 0);
  if (fd < 0) return false;
  bool ok = fstat(fd, &st) == 0;
  bytes.clear();
  char block[65536];
  for (ssize_t n; ok && (n = Sys().read(fd, block, sizeof block)) != 0;) {
    if (n < 0) {
      ok = errno == EINTR;
      continue;
    }
    bytes.append(block, static_cast<std::size_t>(n));
  }
  const int error = errno;
  Sys().close(fd);  // read only: nothing is lost when the close fails
  errno = error;
  return ok;
}

// The parsed files of the process. An entry is trusted, and served without asking
// the disk, while the kernel has reported no change to the file or to its name in
// its folder since the entry was read; the watches are set before the file is
// read, so no change can slip between. An entry that cannot be watched (no
// notifier, a symbolic link) is checked by size, modification time and inode on
// every read.
class ProfileCache {
 public:
  std::shared_ptr<const FileIndex> Load(std::wstring_view path) {
    {
      const std::lock_guard lock(m_lock);
      Drain();
      const auto it = m_entries.find(path);
      if (it != m_entries.end() && it->second.trusted) return it->second.index;
    }
    const std::string native = kwfw::WideToUtf8(path);
    Watches watches = Watch(native);
    struct stat st {};
    if (stat(native.c_str(), &st) != 0) {
      SetLastErrorFromErrno();
      return nullptr;
    }
    {
      const std::lock_guard lock(m_lock);
      Drain();
      const auto it = m_entries.find(path);
      if (it != m_entries.end() && it->second.stamp == StampOf(st)) {
        it->second.trusted = watches.Valid() && m_events == watches.events;
        it->second.watches = watches;
        return it->second.index;
      }
    }
    std::string bytes;
    if (!ReadBytes(native, bytes, st)) {
      SetLastErrorFromErrno();
      return nullptr;
    }
    auto index = std::make_shared<const FileIndex>(ini::IndexOf(ini::Split(bytes)));
    const std::lock_guard lock(m_lock);
    Drain();
    if (m_entries.size() >= kEntries && !m_entries.contains(path)) Reset();
    // Any report since the watches were set might concern what was just read: the
    // entry is then checked by its stamp on the next read instead of trusted.
    m_entries[std::wstring(path)] = Entry{StampOf(st), index, watches.Valid() && m_events == watches.events, watches, BaseName(native)};
    return index;
  }

  // A write of this process: the next read goes to the disk.
  void Forget(const std::wstring& path) {
    const std::lock_guard lock(m_lock);
    m_entries.erase(path);
  }

 private:
  struct Watches {
    int file = -1, folder = -1;
    std::uint64_t events = 0;  // reports drained when they were set
    bool Valid() const { return file >= 0 && folder >= 0; }
  };
  struct Entry {
    Stamp stamp;
    std::shared_ptr<const FileIndex> index;
    bool trusted = false;
    Watches watches;
    std::string name;  // within its folder
  };
  static constexpr std::size_t kEntries = 64;
  static constexpr std::uint32_t kFileEvents = IN_MODIFY | IN_ATTRIB | IN_CLOSE_WRITE | IN_DELETE_SELF | IN_MOVE_SELF;
  static constexpr std::uint32_t kFolderEvents = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;

  static std::string BaseName(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
  }

  Watches Watch(const std::string& native) {
    const std::lock_guard lock(m_lock);
    Watches w;
    struct stat st {};
    if (lstat(native.c_str(), &st) != 0 || S_ISLNK(st.st_mode)) return w;
    if (m_notify < 0) m_notify = Notifier(m_ready);
    if (m_notify < 0) return w;
    Drain();
    const std::size_t slash = native.find_last_of('/');
    const std::string folder = slash == std::string::npos ? "." : slash == 0 ? "/" : native.substr(0, slash);
    w.folder = inotify_add_watch(m_notify, folder.c_str(), kFolderEvents | IN_ONLYDIR);
    w.file = inotify_add_watch(m_notify, native.c_str(), kFileEvents);
    w.events = m_events;
    return w;
  }

  // The notifier, and beside it `ready`, which tells whether it holds reports:
  // asking that costs a third of a read that finds none, and the kernel marks it
  // within the call that made the change, so no change can be missed.
  static int Notifier(int& ready) {
    const int notify = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    ready = notify >= 0 ? epoll_create1(EPOLL_CLOEXEC) : -1;
    epoll_event wanted{};
    wanted.events = EPOLLIN;
    if (ready >= 0 && epoll_ctl(ready, EPOLL_CTL_ADD, notify, &wanted) != 0) {
      close(ready);
      ready = -1;
    }
    return notify;
  }

  // Takes the kernel's reports and untrusts the entries they concern.
  void Drain() {
    if (m_notify < 0) return;
    epoll_event event;
    if (m_ready >= 0 && epoll_wait(m_ready, &event, 1, 0) == 0) return;  // nothing reported
    alignas(inotify_event) char buffer[8192];
    for (ssize_t n; (n = read(m_notify, buffer, sizeof buffer)) > 0;) {
      for (ssize_t at = 0; at < n;) {
        const auto* e = reinterpret_cast<const inotify_event*>(buffer + at);
        const std::string name = e->len > 0 ? std::string(e->name) : std::string();
        for (auto& [path, entry] : m_entries) {
          const bool concerned = (e->mask & IN_Q_OVERFLOW) != 0 || e->wd == entry.watches.file ||
                                 (e->wd == entry.watches.folder && (name.empty() || name == entry.name));
          if (concerned) entry.trusted = false;
        }
        ++m_events;
        at += static_cast<ssize_t>(sizeof(inotify_event) + e->len);
      }
    }
  }

  // Drops every entry and every watch. Watches set before cannot be trusted after.
  void Reset() {
    m_entries.clear();
    if (m_notify >= 0) close(m_notify);
    if (m_ready >= 0) close(m_ready);
    m_notify = m_ready = -1;
    ++m_events;
  }

  std::mutex m_lock;  // guards everything below
  // Looked up by the caller's text as it is, without a copy.
  struct PathHash {
    using is_transparent = void;
    std::size_t operator()(std::wstring_view path) const { return std::hash<std::wstring_view>{}(path); }
  };
  std::unordered_map<std::wstring, Entry, PathHash, std::equal_to<>> m_entries;
  std::uint64_t m_events = 0;  // reports drained so far
  int m_notify = -1;
  int m_ready = -1;  // epoll of m_notify alone
};

ProfileCache g_cache;

// Temporary files of writers that were killed before their rename. Only writers
// holding the folder's lock make them, so under the lock none is in use.
void RemoveStaleTemporaries(int folderFd) {
  const int dup = fcntl(folderFd, F_DUPFD_CLOEXEC, 0);
  DIR* dir = dup >= 0 ? fdopendir(dup) : nullptr;
  if (dir == nullptr) {
    if (dup >= 0) close(dup);
    return;
  }
  while (const dirent* e = readdir(dir)) {
    if (std::strncmp(e->d_name, kTemporaryPrefix, sizeof kTemporaryPrefix - 1) == 0) unlinkat(folderFd, e->d_name, 0);
  }
  closedir(dir);
}

// Runs `change` on the current content of `path` under the folder's lock and
// replaces the file with the result. `change` returns false to leave it alone.
template <typename Change>
BOOL Modify(LPCWSTR path, Change&& change) {
  if (path == nullptr || *path == 0) {
    SetLastError(path == nullptr ? ERROR_INVALID_PARAMETER : ERROR_ACCESS_DENIED);
    return FALSE;
  }
  const std::string given = Native(path);
  const std::string target = WriteTarget(given);
  const int lockFd = Retried(Sys().open, FolderOf(target).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0);
  if (lockFd >= 0) {
    flock(lockFd, LOCK_EX);
    RemoveStaleTemporaries(lockFd);
  }
  struct stat st {};
  std::string bytes;
  const bool exists = ReadBytes(target, bytes, st);
  if (!exists && errno != ENOENT) {
    SetLastErrorFromErrno();
    if (lockFd >= 0) Sys().close(lockFd);
    return FALSE;
  }
  IniFile file = exists ? ini::Split(bytes) : IniFile{};
  bool ok = true;
  // A missing file is made even when nothing changes (a deletion from it), as
  // Windows makes it.
  if (change(file) || !exists) {
    ok = ReplaceFile(target, ini::Join(file), exists ? &st : nullptr);
    if (!ok) SetLastErrorFromErrno();
  }
  g_cache.Forget(path);
  g_cache.Forget(kwfw::Utf8ToWide(target));
  if (lockFd >= 0) Sys().close(lockFd);  // closing releases the lock
  return ok ? TRUE : FALSE;
}

}  // namespace

DWORD GetPrivateProfileStringW(LPCWSTR section, LPCWSTR key, LPCWSTR defaultValue, LPWSTR buffer, DWORD size,
                               LPCWSTR file) {
  if (section == nullptr) return GetPrivateProfileSectionNamesW(buffer, size, file);
  const std::shared_ptr<const FileIndex> index = g_cache.Load(file != nullptr ? file : L"");
  const SectionIndex* found = index ? index->Find(Trim(section)) : nullptr;
  if (key == nullptr) return ini::CopyList(found != nullptr ? found->keys : std::vector<std::wstring>(), buffer, size);
  if (found != nullptr) {
    if (const auto it = found->byKey.find(Trim(key)); it != found->byKey.end()) {
      return ini::CopyValue(found->values[it->second], buffer, size);
    }
  }
  std::wstring fallback = defaultValue != nullptr ? defaultValue : L"";
  while (!fallback.empty() && fallback.back() == L' ') fallback.pop_back();
  return ini::CopyValue(fallback, buffer, size);
}

DWORD GetPrivateProfileSectionNamesW(LPWSTR buffer, DWORD size, LPCWSTR file) {
  const std::shared_ptr<const FileIndex> index = g_cache.Load(file != nullptr ? file : L"");
  // A missing file gives an empty string, not an empty list: the second character
  // stays as it was.
  if (index == nullptr) return ini::CopyValue(L"", buffer, size);
  std::vector<std::wstring> names;
  for (const SectionIndex& s : index->sections) names.push_back(s.name);
  return ini::CopyList(names, buffer, size, 1);
}

DWORD GetPrivateProfileSectionW(LPCWSTR section, LPWSTR buffer, DWORD size, LPCWSTR file) {
  if (section == nullptr || buffer == nullptr || size == 0) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  const std::shared_ptr<const FileIndex> index = file != nullptr ? g_cache.Load(file) : nullptr;
  SetLastError(index != nullptr ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND);
  const SectionIndex* found = index ? index->Find(Trim(section)) : nullptr;
  return ini::CopyList(found != nullptr ? found->lines : std::vector<std::wstring>(), buffer, size);
}

BOOL WritePrivateProfileStringW(LPCWSTR section, LPCWSTR key, LPCWSTR value, LPCWSTR file) {
  if (section == nullptr) {
    if (key == nullptr && value == nullptr) return TRUE;  // a request to flush: every write is already on disk
    SetLastError(ERROR_FILE_NOT_FOUND);
    return FALSE;
  }
  // Names are matched and written without their surrounding blanks, as they are read.
  const std::wstring sectionName(Trim(section)), keyName(key != nullptr ? Trim(key) : std::wstring_view());
  return Modify(file, [&](IniFile& content) {
    if (key == nullptr) return ini::RemoveSection(content, sectionName);
    if (value == nullptr) return ini::RemoveKey(content, sectionName, keyName);
    return ini::SetKey(content, sectionName, keyName, value);
  });
}

BOOL WritePrivateProfileSectionW(LPCWSTR section, LPCWSTR lines, LPCWSTR file) {
  if (section == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  std::vector<std::wstring> texts;
  for (const wchar_t* p = lines; p != nullptr && *p != 0; p += std::wcslen(p) + 1) texts.emplace_back(p);
  const std::wstring sectionName(Trim(section));
  return Modify(file, [&](IniFile& content) {
    return lines == nullptr ? ini::RemoveSection(content, sectionName) : ini::ReplaceSection(content, sectionName, texts);
  });
}

}  // namespace kwplat
