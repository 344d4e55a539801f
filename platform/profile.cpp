#include <kwlib63/platform/profile.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include <kwlib63/framework/casefold.h>
#include <kwlib63/framework/endian.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/atomicfile.h>
#include <kwlib63/platform/codepage.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/syscalls.h>

namespace kwplat {
namespace {

// One line of the file: its bytes as they stand (without the line end), its line
// end's bytes, and its text.
struct Line {
  std::string raw;
  std::string eol;
  std::wstring text;
};

struct IniFile {
  bool utf16 = false;
  std::vector<Line> lines;
};

// What a line is, by its text.
struct Parsed {
  enum Kind { kBlank, kComment, kSection, kEntry } kind = kBlank;
  std::wstring name;      // the section's, or the entry's key
  std::wstring value;     // the entry's value, its surrounding quotes gone
  std::wstring rawValue;  // the entry's value as written (trimmed)
  bool hasEquals = false;
};

// A view, so that a look-up by a caller's name copies nothing.
std::wstring_view Trim(std::wstring_view s) {
  const std::size_t first = s.find_first_not_of(L" \t");
  if (first == std::wstring_view::npos) return {};
  const std::size_t last = s.find_last_not_of(L" \t");
  return s.substr(first, last - first + 1);
}

Parsed Parse(const std::wstring& text) {
  Parsed p;
  // A line's text ends at a NUL, as Windows reads it: a file written with its C
  // terminator ends in one, which makes no entry.
  const std::wstring t(Trim(std::wstring_view(text).substr(0, text.find(L'\0'))));
  if (t.empty()) return p;
  if (t[0] == L';') {
    p.kind = Parsed::kComment;
  } else if (t[0] == L'[') {
    p.kind = Parsed::kSection;
    const std::size_t close = t.find(L']');
    p.name = Trim(std::wstring_view(t).substr(1, close == std::wstring::npos ? std::wstring::npos : close - 1));
  } else {
    p.kind = Parsed::kEntry;
    const std::size_t eq = t.find(L'=');
    p.name = Trim(std::wstring_view(t).substr(0, eq));
    if (eq != std::wstring::npos) {
      p.hasEquals = true;
      p.value = p.rawValue = Trim(std::wstring_view(t).substr(eq + 1));
      if (p.value.size() >= 2 && (p.value[0] == L'"' || p.value[0] == L'\'') && p.value.back() == p.value[0]) {
        p.value = p.value.substr(1, p.value.size() - 2);
      }
    }
  }
  return p;
}

// Names keyed without regard to case.
template <typename Value>
using FoldMap = std::unordered_map<std::wstring, Value, kwfw::NoCaseHash, kwfw::NoCaseEqual>;

// What reads need of a file, found without walking its lines: the sections in
// order, each with its entries and its lines in the section-read form, and the
// first section of each name and the first entry of each key.
struct SectionIndex {
  std::wstring name;
  // The keys: entries with an '='. A line without one is kept by the section read
  // only, as Windows lists and looks up keys.
  std::vector<std::wstring> keys;
  std::vector<std::wstring> values;
  std::vector<std::wstring> lines;
  FoldMap<std::size_t> byKey;
};

struct FileIndex {
  std::vector<SectionIndex> sections;
  FoldMap<std::size_t> byName;

  const SectionIndex* Find(std::wstring_view name) const {
    const auto it = byName.find(name);
    return it != byName.end() ? &sections[it->second] : nullptr;
  }
};

// --- Bytes and text -------------------------------------------------------------

std::wstring DecodeAnsi(const std::string& bytes) {
  if (bytes.empty()) return std::wstring();
  std::wstring text(bytes.size(), L'\0');
  MultiByteToWideChar(1252, 0, bytes.data(), static_cast<int>(bytes.size()), text.data(), static_cast<int>(text.size()));
  return text;
}

std::string Encode(const IniFile& file, const std::wstring& text) {
  if (file.utf16) return kwfw::Utf16LeBytes(kwfw::WideToUtf16(text));
  if (text.empty()) return std::string();
  std::string bytes(text.size(), '\0');
  WideCharToMultiByte(1252, 0, text.data(), static_cast<int>(text.size()), bytes.data(), static_cast<int>(bytes.size()),
                      nullptr, nullptr);
  return bytes;
}

std::string NewLineEnd(const IniFile& file) { return file.utf16 ? std::string("\r\0\n\0", 4) : std::string("\r\n"); }

// Splits the bytes into lines at CR LF, LF or CR, in the file's code units.
IniFile Split(const std::string& bytes) {
  IniFile file;
  file.utf16 = bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFF &&
               static_cast<unsigned char>(bytes[1]) == 0xFE;
  const std::size_t unit = file.utf16 ? 2 : 1;
  const std::size_t start = file.utf16 ? 2 : 0;
  const auto at = [&](std::size_t i) -> unsigned {
    return file.utf16 ? kwfw::Load16(&bytes[i]) : static_cast<unsigned char>(bytes[i]);
  };
  const std::size_t end = start + (bytes.size() - start) / unit * unit;  // an odd last byte is left out
  std::size_t lineStart = start;
  for (std::size_t i = start; i < end;) {
    const unsigned c = at(i);
    if (c != '\r' && c != '\n') {
      i += unit;
      continue;
    }
    std::size_t next = i + unit;
    if (c == '\r' && next < end && at(next) == '\n') next += unit;
    file.lines.push_back(Line{bytes.substr(lineStart, i - lineStart), bytes.substr(i, next - i), L""});
    lineStart = i = next;
  }
  if (lineStart < end) file.lines.push_back(Line{bytes.substr(lineStart, end - lineStart), std::string(), L""});
  for (Line& line : file.lines) {
    line.text = file.utf16 ? kwfw::Utf16ToWide(kwfw::Utf16LeUnits(line.raw)) : DecodeAnsi(line.raw);
  }
  return file;
}

std::string Join(const IniFile& file) {
  std::string bytes = file.utf16 ? std::string("\xFF\xFE", 2) : std::string();
  for (const Line& line : file.lines) bytes += line.raw + line.eol;
  return bytes;
}

FileIndex IndexOf(const IniFile& file) {
  FileIndex index;
  SectionIndex* current = nullptr;
  for (const Line& line : file.lines) {
    const Parsed p = Parse(line.text);
    if (p.kind == Parsed::kSection) {
      index.byName.emplace(p.name, index.sections.size());  // the first of a name wins
      index.sections.push_back(SectionIndex{p.name, {}, {}, {}, {}});
      current = &index.sections.back();
    } else if (p.kind == Parsed::kEntry && current != nullptr) {
      if (p.hasEquals) {
        current->byKey.emplace(p.name, current->keys.size());
        current->keys.push_back(p.name);
        current->values.push_back(p.value);
      }
      // Each line as key=value, the blanks around the '=' gone, as Windows gives them.
      current->lines.push_back(p.hasEquals ? p.name + L"=" + p.rawValue : p.name);
    }
  }
  return index;
}

Line MakeLine(const IniFile& file, const std::wstring& text) { return Line{Encode(file, text), NewLineEnd(file), text}; }

// --- Sections --------------------------------------------------------------------

struct Range {
  std::size_t header, end;  // the header line, and the next section's header (or the end)
};

std::optional<Range> FindSection(const IniFile& file, std::wstring_view name) {
  for (std::size_t i = 0; i < file.lines.size(); ++i) {
    const Parsed p = Parse(file.lines[i].text);
    if (p.kind != Parsed::kSection || !kwfw::EqualNoCase(p.name, name)) continue;
    std::size_t end = i + 1;
    while (end < file.lines.size() && Parse(file.lines[end].text).kind != Parsed::kSection) ++end;
    return Range{i, end};
  }
  return std::nullopt;
}

std::optional<std::size_t> FindKey(const IniFile& file, const Range& r, std::wstring_view key) {
  for (std::size_t i = r.header + 1; i < r.end; ++i) {
    const Parsed p = Parse(file.lines[i].text);
    if (p.kind == Parsed::kEntry && kwfw::EqualNoCase(p.name, key)) return i;
  }
  return std::nullopt;
}

// Lines go at the end of the file; the last line gets its line end first.
void AppendLines(IniFile& file, const std::vector<std::wstring>& texts) {
  if (!file.lines.empty() && file.lines.back().eol.empty()) file.lines.back().eol = NewLineEnd(file);
  for (const std::wstring& t : texts) file.lines.push_back(MakeLine(file, t));
}

// Inserts after the section's last line that is not blank.
void InsertInSection(IniFile& file, const Range& r, const std::vector<std::wstring>& texts) {
  std::size_t at = r.end;
  while (at > r.header + 1 && Parse(file.lines[at - 1].text).kind == Parsed::kBlank) --at;
  if (at == file.lines.size()) {
    AppendLines(file, texts);
    return;
  }
  if (file.lines[at - 1].eol.empty()) file.lines[at - 1].eol = NewLineEnd(file);
  std::vector<Line> added;
  for (const std::wstring& t : texts) added.push_back(MakeLine(file, t));
  file.lines.insert(file.lines.begin() + static_cast<long>(at), added.begin(), added.end());
}

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
    auto index = std::make_shared<const FileIndex>(IndexOf(Split(bytes)));
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
    if (m_notify < 0) m_notify = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (m_notify < 0) return w;
    Drain();
    const std::size_t slash = native.find_last_of('/');
    const std::string folder = slash == std::string::npos ? "." : slash == 0 ? "/" : native.substr(0, slash);
    w.folder = inotify_add_watch(m_notify, folder.c_str(), kFolderEvents | IN_ONLYDIR);
    w.file = inotify_add_watch(m_notify, native.c_str(), kFileEvents);
    w.events = m_events;
    return w;
  }

  // Takes the kernel's reports and untrusts the entries they concern.
  void Drain() {
    if (m_notify < 0) return;
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
    m_notify = -1;
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
  IniFile file = exists ? Split(bytes) : IniFile{};
  bool ok = true;
  // A missing file is made even when nothing changes (a deletion from it), as
  // Windows makes it.
  if (change(file) || !exists) {
    ok = ReplaceFile(target, Join(file), exists ? &st : nullptr);
    if (!ok) SetLastErrorFromErrno();
  }
  g_cache.Forget(path);
  g_cache.Forget(kwfw::Utf8ToWide(target));
  if (lockFd >= 0) Sys().close(lockFd);  // closing releases the lock
  return ok ? TRUE : FALSE;
}

// --- Results into the caller's buffer ---------------------------------------------

DWORD CopyValue(const std::wstring& value, LPWSTR buffer, DWORD size) {
  if (buffer == nullptr || size == 0) return 0;
  const std::size_t n = value.size() < size - 1 ? value.size() : size - 1;
  std::wmemcpy(buffer, value.c_str(), n);
  buffer[n] = 0;
  return static_cast<DWORD>(n);
}

// A list of items, each with its zero, and a closing zero. `spare` asks for one
// character more than the list needs before it counts as fitting, as Windows'
// list of section names does.
DWORD CopyList(const std::vector<std::wstring>& items, LPWSTR buffer, DWORD size, DWORD spare = 0) {
  if (buffer == nullptr || size == 0) return 0;
  if (size == 1) {
    buffer[0] = 0;
    return 0;
  }
  std::wstring list;
  for (const std::wstring& item : items) list += item + L'\0';
  if (list.size() + 1 + spare <= size) {
    std::wmemcpy(buffer, list.c_str(), list.size());
    buffer[list.size()] = 0;
    if (list.empty()) buffer[1] = 0;
    return static_cast<DWORD>(list.size());
  }
  // Cut to fit: the list still ends with two zeros.
  std::wmemcpy(buffer, list.c_str(), size - 2);
  buffer[size - 2] = 0;
  buffer[size - 1] = 0;
  return size - 2;
}

}  // namespace

DWORD GetPrivateProfileStringW(LPCWSTR section, LPCWSTR key, LPCWSTR defaultValue, LPWSTR buffer, DWORD size,
                               LPCWSTR file) {
  if (section == nullptr) return GetPrivateProfileSectionNamesW(buffer, size, file);
  const std::shared_ptr<const FileIndex> index = g_cache.Load(file != nullptr ? file : L"");
  const SectionIndex* found = index ? index->Find(Trim(section)) : nullptr;
  if (key == nullptr) return CopyList(found != nullptr ? found->keys : std::vector<std::wstring>(), buffer, size);
  if (found != nullptr) {
    if (const auto it = found->byKey.find(Trim(key)); it != found->byKey.end()) {
      return CopyValue(found->values[it->second], buffer, size);
    }
  }
  std::wstring fallback = defaultValue != nullptr ? defaultValue : L"";
  while (!fallback.empty() && fallback.back() == L' ') fallback.pop_back();
  return CopyValue(fallback, buffer, size);
}

DWORD GetPrivateProfileSectionNamesW(LPWSTR buffer, DWORD size, LPCWSTR file) {
  const std::shared_ptr<const FileIndex> index = g_cache.Load(file != nullptr ? file : L"");
  // A missing file gives an empty string, not an empty list: the second character
  // stays as it was.
  if (index == nullptr) return CopyValue(L"", buffer, size);
  std::vector<std::wstring> names;
  for (const SectionIndex& s : index->sections) names.push_back(s.name);
  return CopyList(names, buffer, size, 1);
}

DWORD GetPrivateProfileSectionW(LPCWSTR section, LPWSTR buffer, DWORD size, LPCWSTR file) {
  if (section == nullptr || buffer == nullptr || size == 0) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  const std::shared_ptr<const FileIndex> index = file != nullptr ? g_cache.Load(file) : nullptr;
  SetLastError(index != nullptr ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND);
  const SectionIndex* found = index ? index->Find(Trim(section)) : nullptr;
  return CopyList(found != nullptr ? found->lines : std::vector<std::wstring>(), buffer, size);
}

BOOL WritePrivateProfileStringW(LPCWSTR section, LPCWSTR key, LPCWSTR value, LPCWSTR file) {
  if (section == nullptr) {
    if (key == nullptr && value == nullptr) return TRUE;  // a request to flush: every write is already on disk
    SetLastError(ERROR_FILE_NOT_FOUND);
    return FALSE;
  }
  // Names are matched and written without their surrounding blanks, as they are read.
  const std::wstring sectionName(Trim(section)), keyName(key != nullptr ? Trim(key) : std::wstring_view());
  return Modify(file, [&](IniFile& ini) {
    const std::optional<Range> r = FindSection(ini, sectionName);
    if (key == nullptr) {
      if (!r) return false;
      ini.lines.erase(ini.lines.begin() + static_cast<long>(r->header), ini.lines.begin() + static_cast<long>(r->end));
      return true;
    }
    const std::optional<std::size_t> at = r ? FindKey(ini, *r, keyName) : std::nullopt;
    if (value == nullptr) {
      if (!at) return false;
      ini.lines.erase(ini.lines.begin() + static_cast<long>(*at));
      return true;
    }
    const std::wstring text = keyName + L"=" + value;
    if (at) {
      Line& line = ini.lines[*at];
      line.text = text;
      line.raw = Encode(ini, text);
    } else if (r) {
      InsertInSection(ini, *r, {text});
    } else {
      AppendLines(ini, {L"[" + sectionName + L"]", text});
    }
    return true;
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
  return Modify(file, [&](IniFile& ini) {
    const std::optional<Range> r = FindSection(ini, sectionName);
    if (lines == nullptr) {
      if (!r) return false;
      ini.lines.erase(ini.lines.begin() + static_cast<long>(r->header), ini.lines.begin() + static_cast<long>(r->end));
      return true;
    }
    if (!r) {
      std::vector<std::wstring> all{L"[" + sectionName + L"]"};
      all.insert(all.end(), texts.begin(), texts.end());
      AppendLines(ini, all);
      return true;
    }
    // The section's old lines go, blank lines before the next section stay.
    std::size_t end = r->end;
    while (end > r->header + 1 && Parse(ini.lines[end - 1].text).kind == Parsed::kBlank) --end;
    ini.lines.erase(ini.lines.begin() + static_cast<long>(r->header + 1), ini.lines.begin() + static_cast<long>(end));
    InsertInSection(ini, Range{r->header, r->header + 1}, texts);
    return true;
  });
}

}  // namespace kwplat
