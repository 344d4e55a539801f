#include <kwlib63/platform/versioninfo.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <kwlib63/framework/casefold.h>
#include <kwlib63/framework/endian.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/uniquefd.h>

namespace kwplat {
namespace {

constexpr unsigned kSectionNote = 7;   // SHT_NOTE
constexpr unsigned kSegmentNote = 4;   // PT_NOTE
constexpr std::size_t kMaxNoteArea = 1 << 20;
// Bounds on the work a hostile file can ask for: entries of each header table
// visited, note areas read, and bytes read in all. Linked files have a few dozen
// sections and a handful of notes, far inside these.
constexpr std::uint64_t kMaxTableEntries = 4096;
constexpr std::size_t kMaxNoteAreas = 64;
constexpr std::uint64_t kMaxBytesRead = 8u << 20;

// The version data of a file: its fixed block, translation and strings.
struct VersionData {
  VS_FIXEDFILEINFO fixed{};
  DWORD translation = 0;
  std::vector<std::pair<std::wstring, std::wstring>> strings;
};

// The block GetFileVersionInfoW hands out: this header, then per string the two
// lengths (characters with terminators) and the key and the value.
struct BlockHeader {
  char magic[4];
  std::uint32_t count;
  VS_FIXEDFILEINFO fixed;
  DWORD translation;
};
constexpr char kBlockMagic[4] = {'K', 'W', 'V', 'B'};


class ElfFile {
 public:
  explicit ElfFile(const std::string& path) : m_fd(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
  bool IsOpen() const { return static_cast<bool>(m_fd); }

  // Reads `size` bytes at `offset`; false at the end of the file, on an error, or
  // when the bytes would take the file past its read budget.
  bool Read(std::uint64_t offset, std::size_t size, std::vector<unsigned char>& out) {
    if (size > kMaxBytesRead - m_nRead) return false;
    m_nRead += size;
    out.resize(size);
    std::size_t done = 0;
    while (done < size) {
      const ssize_t n = pread(m_fd.Get(), out.data() + done, size - done, static_cast<off_t>(offset + done));
      if (n <= 0) return false;
      done += static_cast<std::size_t>(n);
    }
    return true;
  }

 private:
  UniqueFd m_fd;
  std::uint64_t m_nRead = 0;  // bytes asked for so far, against kMaxBytesRead
};

// The descriptor of our note inside an area of notes, if it is there.
bool FindInNotes(const std::vector<unsigned char>& area, std::vector<unsigned char>& desc) {
  for (std::size_t pos = 0; pos + 12 <= area.size();) {
    const std::uint64_t namesz = kwfw::Load32(&area[pos]), descsz = kwfw::Load32(&area[pos + 4]);
    const std::uint64_t type = kwfw::Load32(&area[pos + 8]);
    const std::uint64_t nameAt = pos + 12, descAt = nameAt + kwver::Padded(namesz);
    if (descAt > area.size() || descsz > area.size() - descAt) return false;
    if (namesz == sizeof kwver::kNoteName && type == kwver::kNoteType &&
        std::memcmp(&area[nameAt], kwver::kNoteName, sizeof kwver::kNoteName) == 0) {
      desc.assign(area.begin() + static_cast<long>(descAt), area.begin() + static_cast<long>(descAt + descsz));
      return true;
    }
    pos = descAt + kwver::Padded(descsz);
  }
  return false;
}

// Little-endian ELF files of either class; the note sections first, then the note
// segments of files whose section table is gone.
bool FindNote(const std::string& path, std::vector<unsigned char>& desc) {
  ElfFile file(path);
  std::vector<unsigned char> ident;
  if (!file.IsOpen() || !file.Read(0, 64, ident) || std::memcmp(ident.data(), "\x7F" "ELF", 4) != 0 || ident[5] != 1) {
    return false;
  }
  const bool wide = ident[4] == 2;
  if (!wide && ident[4] != 1) return false;
  // Offsets and sizes are as wide as the file's addresses.
  const auto address = [wide](const unsigned char* p) -> std::uint64_t {
    return wide ? kwfw::Load64(p) : kwfw::Load32(p);
  };
  const std::uint64_t phoff = address(&ident[wide ? 32 : 28]), shoff = address(&ident[wide ? 40 : 32]);
  const std::size_t tail = wide ? 54 : 42;  // e_phentsize, e_phnum, e_shentsize, e_shnum
  const std::uint64_t phentsize = kwfw::Load16(&ident[tail]), phnum = kwfw::Load16(&ident[tail + 2]);
  const std::uint64_t shentsize = kwfw::Load16(&ident[tail + 4]), shnum = kwfw::Load16(&ident[tail + 6]);
  std::vector<unsigned char> entry, area;
  // Each distinct area is read once, however many headers point at it.
  std::vector<std::pair<std::uint64_t, std::uint64_t>> tried;
  const auto tryArea = [&](std::uint64_t offset, std::uint64_t size) {
    if (size > kMaxNoteArea || tried.size() >= kMaxNoteAreas) return false;
    for (const auto& t : tried) {
      if (t.first == offset && t.second == size) return false;
    }
    tried.emplace_back(offset, size);
    return file.Read(offset, static_cast<std::size_t>(size), area) && FindInNotes(area, desc);
  };
  const std::size_t shMin = wide ? 64 : 40, phMin = wide ? 56 : 32;
  for (std::uint64_t i = 0; shoff != 0 && shentsize >= shMin && i < std::min(shnum, kMaxTableEntries); ++i) {
    if (!file.Read(shoff + i * shentsize, shMin, entry)) break;
    if (kwfw::Load32(&entry[4]) != kSectionNote) continue;
    if (tryArea(address(&entry[wide ? 24 : 16]), address(&entry[wide ? 32 : 20]))) return true;
  }
  for (std::uint64_t i = 0; phoff != 0 && phentsize >= phMin && i < std::min(phnum, kMaxTableEntries); ++i) {
    if (!file.Read(phoff + i * phentsize, phMin, entry)) break;
    if (kwfw::Load32(&entry[0]) != kSegmentNote) continue;
    if (tryArea(address(&entry[wide ? 8 : 4]), address(&entry[wide ? 32 : 16]))) return true;
  }
  return false;
}

bool ReadVersion(LPCWSTR path, VersionData& data) {
  std::vector<unsigned char> desc;
  const std::string native = kwfw::WideToUtf8(path != nullptr ? path : L"");
  if (access(native.c_str(), R_OK) != 0) {
    SetLastErrorFromErrno();
    return false;
  }
  if (!FindNote(native, desc) || desc.size() < kwver::kFixedBytes) {
    SetLastError(ERROR_RESOURCE_TYPE_NOT_FOUND);
    return false;
  }
  DWORD words[14];
  for (std::size_t w = 0; w < 14; ++w) words[w] = static_cast<DWORD>(kwfw::Load32(&desc[4 * w]));
  std::memcpy(&data.fixed, words, sizeof data.fixed);
  data.translation = words[13];
  // Key and value pairs up to an empty key or the end of the note.
  const std::string_view text(reinterpret_cast<const char*>(desc.data()) + kwver::kFixedBytes,
                              desc.size() - kwver::kFixedBytes);
  for (std::size_t pos = 0; pos < text.size();) {
    const std::size_t keyEnd = text.find('\0', pos);
    if (keyEnd == std::string_view::npos || keyEnd == pos) break;
    const std::size_t valueEnd = text.find('\0', keyEnd + 1);
    if (valueEnd == std::string_view::npos) break;
    data.strings.emplace_back(kwfw::Utf8ToWide(text.substr(pos, keyEnd - pos)),
                              kwfw::Utf8ToWide(text.substr(keyEnd + 1, valueEnd - keyEnd - 1)));
    pos = valueEnd + 1;
  }
  return true;
}

std::size_t BlockSize(const VersionData& data) {
  std::size_t size = sizeof(BlockHeader);
  for (const auto& [key, value] : data.strings) size += 8 + (key.size() + value.size() + 2) * sizeof(wchar_t);
  return size;
}

// The data of the last size query, kept so that the read which follows it does not
// parse the file again; the handle the query gave out names it.
struct PendingRead {
  std::mutex lock;  // guards the members below
  DWORD handle = 0;
  std::wstring path;
  VersionData data;
  DWORD lastHandle = 0;
};
PendingRead& Pending() {
  static PendingRead pending;
  return pending;
}

}  // namespace

DWORD GetFileVersionInfoSizeW(LPCWSTR path, DWORD* handle) {
  if (handle != nullptr) *handle = 0;
  VersionData data;
  if (!ReadVersion(path, data)) return 0;
  const auto size = static_cast<DWORD>(BlockSize(data));
  if (handle != nullptr) {
    PendingRead& pending = Pending();
    const std::lock_guard<std::mutex> guard(pending.lock);
    pending.handle = pending.lastHandle = pending.lastHandle % 0xFFFFFFFEu + 1;  // never 0
    pending.path = path;
    pending.data = std::move(data);
    *handle = pending.handle;
  }
  return size;
}

BOOL GetFileVersionInfoW(LPCWSTR path, DWORD handle, DWORD size, void* block) {
  VersionData data;
  if (block == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  bool known = false;
  if (handle != 0 && path != nullptr) {
    PendingRead& pending = Pending();
    const std::lock_guard<std::mutex> guard(pending.lock);
    if (pending.handle == handle && pending.path == path) {
      data = std::move(pending.data);
      pending.handle = 0;
      pending.data = VersionData{};
      known = true;
    }
  }
  if (!known && !ReadVersion(path, data)) return FALSE;
  if (BlockSize(data) > size) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return FALSE;
  }
  auto* out = static_cast<unsigned char*>(block);
  BlockHeader header{};
  std::memcpy(header.magic, kBlockMagic, 4);
  header.count = static_cast<std::uint32_t>(data.strings.size());
  header.fixed = data.fixed;
  header.translation = data.translation;
  std::memcpy(out, &header, sizeof header);
  std::size_t pos = sizeof header;
  for (const auto& [key, value] : data.strings) {
    const std::uint32_t lengths[2] = {static_cast<std::uint32_t>(key.size() + 1), static_cast<std::uint32_t>(value.size() + 1)};
    std::memcpy(out + pos, lengths, 8);
    std::memcpy(out + pos + 8, key.c_str(), lengths[0] * sizeof(wchar_t));
    std::memcpy(out + pos + 8 + lengths[0] * sizeof(wchar_t), value.c_str(), lengths[1] * sizeof(wchar_t));
    pos += 8 + (lengths[0] + lengths[1]) * sizeof(wchar_t);
  }
  return TRUE;
}

BOOL VerQueryValueW(const void* block, LPCWSTR subBlock, void** buffer, UINT* length) {
  if (block == nullptr || buffer == nullptr || length == nullptr ||
      std::memcmp(block, kBlockMagic, sizeof kBlockMagic) != 0) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  auto* bytes = static_cast<unsigned char*>(const_cast<void*>(block));
  auto* header = reinterpret_cast<BlockHeader*>(bytes);
  const std::wstring query = subBlock != nullptr ? subBlock : L"";
  if (query.empty() || query == L"\\") {
    *buffer = &header->fixed;
    *length = sizeof header->fixed;
    return TRUE;
  }
  if (kwfw::EqualNoCase(query, L"\\VarFileInfo\\Translation")) {
    *buffer = &header->translation;
    *length = sizeof header->translation;
    return TRUE;
  }
  constexpr std::wstring_view kStrings = L"\\StringFileInfo\\";
  wchar_t expected[16];
  std::swprintf(expected, 16, L"%04x%04x\\", header->translation & 0xFFFF, header->translation >> 16);
  if (query.size() > kStrings.size() + 9 && kwfw::EqualNoCase(std::wstring_view(query).substr(0, kStrings.size()), kStrings) &&
      kwfw::EqualNoCase(std::wstring_view(query).substr(kStrings.size(), 9), expected)) {
    const std::wstring_view key = std::wstring_view(query).substr(kStrings.size() + 9);
    std::size_t pos = sizeof(BlockHeader);
    for (std::uint32_t i = 0; i < header->count; ++i) {
      std::uint32_t lengths[2];
      std::memcpy(lengths, bytes + pos, 8);
      auto* text = reinterpret_cast<wchar_t*>(bytes + pos + 8);
      if (kwfw::EqualNoCase(std::wstring_view(text, lengths[0] - 1), key)) {
        *buffer = text + lengths[0];
        *length = lengths[1];
        return TRUE;
      }
      pos += 8 + (lengths[0] + lengths[1]) * sizeof(wchar_t);
    }
  }
  SetLastError(ERROR_RESOURCE_TYPE_NOT_FOUND);
  *buffer = nullptr;
  *length = 0;
  return FALSE;
}

}  // namespace kwplat
