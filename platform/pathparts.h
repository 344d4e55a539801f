// The C run-time's path functions with '/' as the only separator and no drives:
// the drive part of a split is always empty, and a drive given to _wmakepath is
// written as Windows would write it (a colon after a single letter).
#pragma once

#include <string>

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

namespace kwplat {

// Directory up to and including the last '/', name up to the last '.' after it,
// extension from that '.' on. Null outputs are skipped.
KW_API void _wsplitpath(const wchar_t* path, std::wstring* drive, std::wstring* dir, std::wstring* name, std::wstring* ext);
// Drive, directory (a '/' added when it lacks one), name, extension (a '.' added in
// front when it lacks one).
KW_API std::wstring _wmakepath(const wchar_t* drive, const wchar_t* dir, const wchar_t* name, const wchar_t* ext);
// The absolute form of `path` against the current folder, "." and ".." resolved by
// text (links are not followed); an empty result when the current folder cannot
// be read.
KW_API std::wstring _wfullpath(const wchar_t* path);

}  // namespace kwplat
