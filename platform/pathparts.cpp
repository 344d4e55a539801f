#include <kwlib63/platform/pathparts.h>

#include <vector>

#include <kwlib63/platform/fileapi.h>

namespace kwplat {

void _wsplitpath(const wchar_t* path, std::wstring* drive, std::wstring* dir, std::wstring* name, std::wstring* ext) {
  const std::wstring p = path != nullptr ? path : L"";
  const std::size_t slash = p.find_last_of(L'/');
  const std::size_t fileStart = slash == std::wstring::npos ? 0 : slash + 1;
  const std::size_t dot = p.find_last_of(L'.');
  const std::size_t extStart = dot != std::wstring::npos && dot >= fileStart ? dot : p.size();
  if (drive != nullptr) drive->clear();
  if (dir != nullptr) *dir = p.substr(0, fileStart);
  if (name != nullptr) *name = p.substr(fileStart, extStart - fileStart);
  if (ext != nullptr) *ext = p.substr(extStart);
}

std::wstring _wmakepath(const wchar_t* drive, const wchar_t* dir, const wchar_t* name, const wchar_t* ext) {
  std::wstring out;
  if (drive != nullptr && *drive != 0) {
    out += drive;
    if (out.size() == 1) out += L':';
  }
  if (dir != nullptr && *dir != 0) {
    out += dir;
    if (out.back() != L'/') out += L'/';
  }
  if (name != nullptr) out += name;
  if (ext != nullptr && *ext != 0) {
    if (*ext != L'.') out += L'.';
    out += ext;
  }
  return out;
}

std::wstring _wfullpath(const wchar_t* path) {
  std::wstring p = path != nullptr ? path : L"";
  if (p.empty() || p[0] != L'/') {
    const DWORD size = GetCurrentDirectoryW(0, nullptr);
    std::wstring cwd(size, L'\0');
    if (size == 0 || GetCurrentDirectoryW(size, cwd.data()) + 1 != size) return std::wstring();
    cwd.resize(size - 1);
    p = cwd + L"/" + p;
  }
  std::vector<std::wstring> parts;
  std::size_t start = 0;
  while (start <= p.size()) {
    const std::size_t end = std::min(p.find(L'/', start), p.size());
    const std::wstring part = p.substr(start, end - start);
    if (part == L"..") {
      if (!parts.empty()) parts.pop_back();
    } else if (!part.empty() && part != L".") {
      parts.push_back(part);
    }
    start = end + 1;
  }
  std::wstring out;
  for (const std::wstring& part : parts) out += L"/" + part;
  // A trailing separator stays: it says the path names a folder.
  if (out.empty() || p.back() == L'/') out += L'/';
  return out;
}

}  // namespace kwplat
