#include <kwlib63/platform/codepage.h>

#include <iconv.h>

#include <array>
#include <cstring>
#include <cwchar>
#include <string>
#include <string_view>
#include <unordered_map>

#include <kwlib63/framework/endian.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/lasterror.h>

namespace kwplat {
namespace {

constexpr char32_t kInvalid = 0xFFFFFFFF;
constexpr char32_t kReplacement = 0xFFFD;

// A single-byte code page both ways.
struct SingleByteTable {
  std::array<char32_t, 256> toWide{};
  std::unordered_map<char32_t, unsigned char> fromWide;
};

// Each byte converted alone through iconv. Windows-1252's unassigned bytes map to
// the C1 controls of the same value, as Windows' own table has them.
SingleByteTable BuildTable(const char* name, bool c1ForUnassigned) {
  SingleByteTable t;
  t.toWide.fill(kInvalid);
  iconv_t cd = iconv_open("UTF-32LE", name);
  for (unsigned b = 0; b < 256; ++b) {
    char in = static_cast<char>(b);
    unsigned char out[4] = {};
    char* inp = &in;
    char* outp = reinterpret_cast<char*>(out);
    std::size_t inLeft = 1, outLeft = sizeof out;
    if (cd != reinterpret_cast<iconv_t>(-1) && iconv(cd, &inp, &inLeft, &outp, &outLeft) != static_cast<std::size_t>(-1) &&
        outLeft == 0) {
      t.toWide[b] = kwfw::Load32(out);
    } else if (b < 0x80 && cd == reinterpret_cast<iconv_t>(-1)) {
      t.toWide[b] = b;  // without the converter, ASCII is still ASCII
    } else if (c1ForUnassigned && b >= 0x80 && b < 0xA0) {
      t.toWide[b] = b;
    }
  }
  if (cd != reinterpret_cast<iconv_t>(-1)) iconv_close(cd);
  for (unsigned b = 256; b-- > 0;) {  // the lowest byte wins where two share a character
    if (t.toWide[b] != kInvalid) t.fromWide[t.toWide[b]] = static_cast<unsigned char>(b);
  }
  return t;
}

// The table of a single-byte code page, or null for UTF-8 and unknown pages.
const SingleByteTable* Table(UINT codePage) {
  switch (codePage) {
    case CP_ACP:
    case CP_THREAD_ACP:
    case 1252: {
      static const SingleByteTable t = BuildTable("WINDOWS-1252", true);
      return &t;
    }
    case CP_OEMCP:
    case 437: {
      static const SingleByteTable t = BuildTable("IBM437", false);
      return &t;
    }
    case 850: {
      static const SingleByteTable t = BuildTable("IBM850", false);
      return &t;
    }
    case CP_MACCP:
    case 10000: {
      static const SingleByteTable t = BuildTable("MACINTOSH", false);
      return &t;
    }
    case 28591: {
      static const SingleByteTable t = BuildTable("ISO-8859-1", false);
      return &t;
    }
    case 20127: {
      static const SingleByteTable t = BuildTable("ASCII", false);
      return &t;
    }
    default:
      return nullptr;
  }
}

int Fail(DWORD error) {
  SetLastError(error);
  return 0;
}

// The result handed to the caller: its size, or the text copied when it fits.
template <typename Char>
int Deliver(const std::basic_string<Char>& text, Char* dst, int dstSize) {
  if (dstSize == 0) return static_cast<int>(text.size());
  if (text.size() > static_cast<std::size_t>(dstSize)) return Fail(ERROR_INSUFFICIENT_BUFFER);
  std::memcpy(dst, text.data(), text.size() * sizeof(Char));
  return static_cast<int>(text.size());
}

}  // namespace

bool IsValidCodePage(UINT codePage) { return codePage == CP_UTF8 || Table(codePage) != nullptr; }

int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR src, int srcLength, LPWSTR dst, int dstSize) {
  if (!IsValidCodePage(codePage) || src == nullptr || srcLength == 0 || srcLength < -1 || dstSize < 0 ||
      (dstSize > 0 && dst == nullptr)) {
    return Fail(ERROR_INVALID_PARAMETER);
  }
  const std::string_view bytes(src, srcLength == -1 ? std::strlen(src) + 1 : static_cast<std::size_t>(srcLength));
  const bool strict = (flags & MB_ERR_INVALID_CHARS) != 0;
  std::wstring text;
  text.reserve(bytes.size());
  if (const SingleByteTable* t = Table(codePage)) {
    for (const char c : bytes) {
      const char32_t w = t->toWide[static_cast<unsigned char>(c)];
      if (w == kInvalid && strict) return Fail(ERROR_NO_UNICODE_TRANSLATION);
      text += static_cast<wchar_t>(w == kInvalid ? kReplacement : w);
    }
  } else {
    for (std::size_t pos = 0; pos < bytes.size();) {
      char32_t cp = 0;
      const std::size_t length = kwfw::DecodeUtf8(bytes, pos, cp);
      if (length == 0 && strict) return Fail(ERROR_NO_UNICODE_TRANSLATION);
      text += static_cast<wchar_t>(length == 0 ? kReplacement : cp);
      pos += length == 0 ? 1 : length;
    }
  }
  return Deliver(text, dst, dstSize);
}

int WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR src, int srcLength, LPSTR dst, int dstSize,
                        LPCSTR defaultChar, BOOL* usedDefault) {
  if (!IsValidCodePage(codePage) || src == nullptr || srcLength == 0 || srcLength < -1 || dstSize < 0 ||
      (dstSize > 0 && dst == nullptr) || (codePage == CP_UTF8 && (defaultChar != nullptr || usedDefault != nullptr))) {
    return Fail(ERROR_INVALID_PARAMETER);
  }
  const std::wstring_view wide(src, srcLength == -1 ? std::wcslen(src) + 1 : static_cast<std::size_t>(srcLength));
  if (usedDefault != nullptr) *usedDefault = FALSE;
  std::string text;
  text.reserve(wide.size());
  if (const SingleByteTable* t = Table(codePage)) {
    const char fallback = defaultChar != nullptr ? *defaultChar : '?';
    for (const wchar_t w : wide) {
      const auto it = t->fromWide.find(static_cast<char32_t>(w));
      if (it != t->fromWide.end()) {
        text += static_cast<char>(it->second);
        continue;
      }
      text += fallback;
      if (usedDefault != nullptr) *usedDefault = TRUE;
    }
  } else {
    for (const wchar_t w : wide) {
      const auto cp = static_cast<char32_t>(w);
      if ((cp >= 0xD800 && cp <= 0xDFFF) || cp > 0x10FFFF) {
        if ((flags & WC_ERR_INVALID_CHARS) != 0) return Fail(ERROR_NO_UNICODE_TRANSLATION);
      }
      kwfw::AppendUtf8(text, cp);
    }
  }
  return Deliver(text, dst, dstSize);
}

}  // namespace kwplat
