// Text conversions on arbitrary bytes: UTF-8, UTF-16, the mark-stripping reader and
// the single-byte code pages. Each must round-trip what it can represent and keep
// its size query equal to what it writes.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/codepage.h>
#include <kwlib63/settings/stringex.h>

namespace {

bool ValidUtf8(std::string_view text) {
  char32_t cp;
  for (std::size_t pos = 0; pos < text.size();) {
    const std::size_t n = kwfw::DecodeUtf8(text, pos, cp);
    if (n == 0) return false;
    pos += n;
  }
  return true;
}

void Check(bool ok) {
  if (!ok) std::abort();
}

// Code pages in which every byte is one character of its own, so bytes -> wide ->
// bytes gives the bytes back.
constexpr UINT kByteExact[] = {CP_MACCP, 10000, 437, 850, 28591};

void CodePages(const std::string& bytes) {
  const int n = static_cast<int>(bytes.size());
  for (const UINT cp : {0u, 1u, 2u, 3u, 1252u, 437u, 850u, 28591u, 20127u, 10000u, 65001u}) {
    const int need = kwplat::MultiByteToWideChar(cp, 0, bytes.data(), n, nullptr, 0);
    std::vector<wchar_t> wide(static_cast<std::size_t>(need) + 1, L'\x7777');
    Check(kwplat::MultiByteToWideChar(cp, 0, bytes.data(), n, wide.data(), need) == need);
    if (cp != CP_UTF8) Check(need == n);  // one character per byte
    const int back = kwplat::WideCharToMultiByte(cp, 0, wide.data(), need, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<std::size_t>(back), '\x77');
    Check(kwplat::WideCharToMultiByte(cp, 0, wide.data(), need, narrow.data(), back, nullptr, nullptr) == back);
    bool exact = cp == CP_UTF8 ? ValidUtf8(bytes) : false;
    for (const UINT e : kByteExact) exact = exact || e == cp;
    if (exact) Check(narrow == bytes);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);

  // UTF-8: decoding is stable, and valid text comes back byte for byte.
  const std::wstring wide = kwfw::Utf8ToWide(bytes);
  const std::string again = kwfw::WideToUtf8(wide);
  Check(kwfw::Utf8ToWide(again) == wide);
  if (ValidUtf8(bytes)) Check(again == bytes);

  // UTF-16 from the bytes as little-endian units: stable the same way.
  std::u16string units(size / 2, u'\0');
  for (std::size_t i = 0; i < units.size(); ++i) units[i] = static_cast<char16_t>(data[2 * i] | data[2 * i + 1] << 8);
  const std::wstring fromUnits = kwfw::Utf16ToWide(units);
  Check(kwfw::Utf16ToWide(kwfw::WideToUtf16(fromUnits)) == fromUnits);

  // The mark-stripping reader reads up to the terminator, a zero byte for text
  // and a zero unit after the UTF-16 mark; each is given an exact heap copy that
  // ends with its terminator, so that a read past it is caught.
  const std::string text = bytes.substr(0, bytes.find('\0'));
  const std::unique_ptr<char[]> exact(new char[text.size() + 1]);
  std::memcpy(exact.get(), text.c_str(), text.size() + 1);
  if (CStringEx::DetectBOMEncoding(text.c_str()) != 5) {
    const CString plain = CStringEx::RemoveBOMEncoding(exact.get());
    if (text.size() >= 3 && text.compare(0, 3, "\xEF\xBB\xBF") == 0 && CStringEx::DetectBOMEncoding(text.c_str() + 3) == 0) {
      Check(plain == CStringEx::RemoveBOMEncoding(text.c_str() + 3));
    }
    if (CStringEx::DetectBOMEncoding(text.c_str()) == 0) Check(plain == CString(kwfw::Utf8ToWide(text).c_str()));
  } else {
    std::u16string marked = u"\uFFFE";  // FE FF as a little-endian unit
    for (std::size_t i = 2; i + 1 < size && (data[i] | data[i + 1]) != 0; i += 2) {
      marked += static_cast<char16_t>(data[i] | data[i + 1] << 8);
    }
    const std::unique_ptr<char[]> units(new char[2 * marked.size() + 2]);
    for (std::size_t i = 0; i < marked.size(); ++i) {
      units[2 * i] = static_cast<char>(marked[i] & 0xFF);
      units[2 * i + 1] = static_cast<char>(marked[i] >> 8);
    }
    units[2 * marked.size()] = units[2 * marked.size() + 1] = 0;
    Check(CStringEx::RemoveBOMEncoding(units.get()) == CString(kwfw::Utf16ToWide(marked.substr(1)).c_str()));
  }

  // Mac Roman through the caller-buffer forms: every byte is a character.
  std::vector<wchar_t> mac(text.size() + 1, L'\x7777');
  const int m = CStringEx::MacToWide(exact.get(), mac.data(), static_cast<int>(mac.size()));
  if (m > 0) {
    std::string back(text.size() + 1, '\x77');
    const int b = CStringEx::WideToMac(mac.data(), back.data(), static_cast<int>(back.size()));
    Check(b > 0 && std::string(back.c_str()) == text);
  }

  CodePages(bytes);
  return 0;
}
