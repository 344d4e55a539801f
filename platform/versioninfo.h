// Version information. A program or library states its version with
// KW_VERSION_INFO, which puts an ELF note into the file; the readers
// (GetFileVersionInfoSizeW, GetFileVersionInfoW, VerQueryValueW) parse the file to
// find it, never load or run it. The note holds the fixed version block of Windows,
// one translation (language and code page) and the string table in UTF-8.
//
//   KW_VERSION_INFO(KW_VERSION(6, 3, 0, 0), KW_VERSION(6, 3, 0, 0), 0, 0x0409, 1200,
//                   "CompanyName\0Tormel\0ProductName\0kwlib63\0");
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include <kwlib63/framework/export.h>
#include <kwlib63/framework/wintypes.h>

struct KW_API VS_FIXEDFILEINFO {
  DWORD dwSignature;  // 0xFEEF04BD
  DWORD dwStrucVersion;
  DWORD dwFileVersionMS;
  DWORD dwFileVersionLS;
  DWORD dwProductVersionMS;
  DWORD dwProductVersionLS;
  DWORD dwFileFlagsMask;
  DWORD dwFileFlags;
  DWORD dwFileOS;
  DWORD dwFileType;
  DWORD dwFileSubtype;
  DWORD dwFileDateMS;
  DWORD dwFileDateLS;
};

inline constexpr DWORD VS_FF_DEBUG = 0x01;
inline constexpr DWORD VS_FF_PRERELEASE = 0x02;

namespace kwver {

// A version as its two double words: major.minor and release.build.
struct KW_API Version {
  std::uint32_t ms, ls;
};
constexpr Version MakeVersion(unsigned major, unsigned minor, unsigned release, unsigned build) {
  return Version{(major & 0xFFFFu) << 16 | (minor & 0xFFFFu), (release & 0xFFFFu) << 16 | (build & 0xFFFFu)};
}

inline constexpr char kNoteName[8] = "KWLIB63";
inline constexpr std::uint32_t kNoteType = 0x4B57'5649;  // "KWVI"
// The descriptor: 13 words of the fixed block, the translation word, the strings.
inline constexpr std::size_t kFixedBytes = 13 * 4 + 4;

constexpr std::size_t Padded(std::size_t n) { return (n + 3) & ~std::size_t{3}; }

// The whole note, laid out as the ELF note format wants it, built at compile time.
template <std::size_t N>
struct Note {
  std::uint32_t namesz, descsz, type;
  char name[8];
  std::array<unsigned char, Padded(kFixedBytes + N)> desc;
};

template <std::size_t N>
constexpr Note<N> MakeNote(Version file, Version product, std::uint32_t flags, std::uint16_t language,
                           std::uint16_t codePage, const char (&strings)[N]) {
  Note<N> note{};
  note.namesz = sizeof kNoteName;
  note.descsz = static_cast<std::uint32_t>(kFixedBytes + N);
  note.type = kNoteType;
  for (std::size_t i = 0; i < sizeof kNoteName; ++i) note.name[i] = kNoteName[i];
  const std::uint32_t words[14] = {0xFEEF04BD, 0x00010000, file.ms, file.ls, product.ms, product.ls, 0x3F, flags,
                                   0x40004 /* NT, Windows32 */, 1 /* application */, 0, 0, 0,
                                   static_cast<std::uint32_t>(language) | static_cast<std::uint32_t>(codePage) << 16};
  for (std::size_t w = 0; w < 14; ++w) {
    for (std::size_t b = 0; b < 4; ++b) note.desc[4 * w + b] = static_cast<unsigned char>(words[w] >> (8 * b));
  }
  for (std::size_t i = 0; i < N; ++i) note.desc[kFixedBytes + i] = static_cast<unsigned char>(strings[i]);
  return note;
}

}  // namespace kwver

#define KW_VERSION(major, minor, release, build) ::kwver::MakeVersion(major, minor, release, build)

// The strings are key and value pairs, each closed by a zero, in one literal.
#define KW_VERSION_INFO(fileVersion, productVersion, fileFlags, language, codePage, strings)                 \
  [[gnu::used, gnu::section(".note.kwlib63.version"), gnu::aligned(4)]] static constexpr auto kwVersionNote = \
      ::kwver::MakeNote(fileVersion, productVersion, fileFlags, language, codePage, strings)

namespace kwplat {

// The size of the block GetFileVersionInfoW fills, or 0 with the last error:
// ERROR_RESOURCE_TYPE_NOT_FOUND for a file without the note (or not ELF, or one
// whose headers would take more than a bounded amount of reading to search).
// `handle` gets 0 on failure, else a value naming the data just read: passed to
// GetFileVersionInfoW for the same path, that call uses the data instead of
// reading the file again (only the latest query's handle is kept, and once).
KW_API DWORD GetFileVersionInfoSizeW(LPCWSTR path, DWORD* handle);
// Fills `block` (of `size` bytes) with the file's version data; with 0 or a stale
// `handle` the file is read now.
KW_API BOOL GetFileVersionInfoW(LPCWSTR path, DWORD handle, DWORD size, void* block);
// "\\" gives the VS_FIXEDFILEINFO, "\\VarFileInfo\\Translation" the translation
// word (language in the low half, code page in the high), and
// "\\StringFileInfo\\llllcccc\\Key" (hex, either case) a wide string whose length
// in characters (terminator included) goes to `length`.
KW_API BOOL VerQueryValueW(const void* block, LPCWSTR subBlock, void** buffer, UINT* length);

}  // namespace kwplat
