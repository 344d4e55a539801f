// CStringT over std::basic_string. Every member that can allocate turns the
// standard library's allocation failures into the framework's memory exception.
#include <kwlib63/framework/cstring.h>

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <new>
#include <stdexcept>
#include <utf8proc.h>

#include <kwlib63/framework/casefold.h>
#include <kwlib63/framework/exception.h>
#include <kwlib63/framework/format.h>
#include <kwlib63/framework/textconv.h>

namespace {

template <typename F>
decltype(auto) Guard(F&& f) {
  try {
    return f();
  } catch (const std::bad_alloc&) {
    AfxThrowMemoryException();
  } catch (const std::length_error&) {
    AfxThrowMemoryException();
  }
}

// A thread's buffer for formatting, kept between calls. The flag, a plain value
// without a destructor, tells when the buffers are gone (at the thread's end, or
// at exit for the main thread), so that a later format makes its own.
thread_local bool t_scratchGone = false;

template <typename CharT>
struct Scratch {
  std::basic_string<CharT> text;
  ~Scratch() { t_scratchGone = true; }
};

template <typename CharT>
std::basic_string<CharT>* ThreadScratch() {
  if (t_scratchGone) return nullptr;
  thread_local Scratch<CharT> scratch;
  return &scratch.text;
}

template <typename CharT>
std::size_t Length(const CharT* text) {
  if (text == nullptr) return 0;
  return std::char_traits<CharT>::length(text);
}

std::wstring Convert(const char* text) { return kwfw::Utf8ToWide(text == nullptr ? "" : text); }
std::string Convert(const wchar_t* text) { return kwfw::WideToUtf8(text == nullptr ? L"" : text); }

bool IsSpace(wchar_t c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// Applies a Unicode case mapping to each character; narrow text is mapped per
// UTF-8 sequence and bytes that are not valid UTF-8 are kept as they are.
void MapCase(std::wstring& s, utf8proc_int32_t (*map)(utf8proc_int32_t)) {
  for (wchar_t& c : s) c = static_cast<wchar_t>(map(static_cast<utf8proc_int32_t>(c)));
}
void MapCase(std::string& s, utf8proc_int32_t (*map)(utf8proc_int32_t)) {
  std::string out;
  out.reserve(s.size());
  for (std::size_t pos = 0; pos < s.size();) {
    char32_t cp;
    const std::size_t len = kwfw::DecodeUtf8(s, pos, cp);
    if (len == 0) {
      out += s[pos++];
      continue;
    }
    kwfw::AppendUtf8(out, static_cast<char32_t>(map(static_cast<utf8proc_int32_t>(cp))));
    pos += len;
  }
  s.swap(out);
}

}  // namespace

template <typename CharT>
CStringT<CharT>::CStringT(const CStringT& other) {
  Guard([&] { m_str = other.m_str; });
}

template <typename CharT>
CStringT<CharT>::CStringT(PCXSTR text) {
  Guard([&] { m_str.assign(text == nullptr ? std::basic_string_view<CharT>() : std::basic_string_view<CharT>(text)); });
}

template <typename CharT>
CStringT<CharT>::CStringT(const YCHAR* text) {
  Guard([&] { m_str = Convert(text); });
}

template <typename CharT>
CStringT<CharT>::CStringT(PCXSTR text, int length) {
  if (length < 0 || (text == nullptr && length > 0)) AfxThrowInvalidArgException();
  Guard([&] { m_str.assign(text == nullptr ? std::basic_string_view<CharT>() : std::basic_string_view<CharT>(text, static_cast<std::size_t>(length))); });
}

template <typename CharT>
CStringT<CharT>::CStringT(XCHAR ch, int repeat) {
  Guard([&] { m_str.assign(static_cast<std::size_t>(std::max(repeat, 0)), ch); });
}

template <typename CharT>
CStringT<CharT>::CStringT(std::basic_string_view<XCHAR> text) {
  Guard([&] { m_str.assign(text); });
}

template <typename CharT>
CStringT<CharT>& CStringT<CharT>::operator=(const CStringT& other) {
  if (this != &other) Guard([&] { m_str = other.m_str; });
  return *this;
}

template <typename CharT>
CStringT<CharT>& CStringT<CharT>::operator=(PCXSTR text) {
  Guard([&] { m_str.assign(text == nullptr ? std::basic_string_view<CharT>() : std::basic_string_view<CharT>(text)); });
  return *this;
}

template <typename CharT>
CStringT<CharT>& CStringT<CharT>::operator=(const YCHAR* text) {
  Guard([&] { m_str = Convert(text); });
  return *this;
}

template <typename CharT>
CStringT<CharT>& CStringT<CharT>::operator=(XCHAR ch) {
  Guard([&] { m_str.assign(1, ch); });
  return *this;
}

template <typename CharT>
CStringT<CharT>& CStringT<CharT>::operator+=(const CStringT& other) {
  Guard([&] { m_str += other.m_str; });
  return *this;
}

template <typename CharT>
CStringT<CharT>& CStringT<CharT>::operator+=(PCXSTR text) {
  if (text != nullptr) Guard([&] { m_str += text; });
  return *this;
}

template <typename CharT>
CStringT<CharT>& CStringT<CharT>::operator+=(XCHAR ch) {
  Guard([&] { m_str += ch; });
  return *this;
}

template <typename CharT>
void CStringT<CharT>::Append(PCXSTR text, int length) {
  if (length < 0 || (text == nullptr && length > 0)) AfxThrowInvalidArgException();
  if (length > 0) Guard([&] { m_str.append(text, static_cast<std::size_t>(length)); });
}

template <typename CharT>
CharT CStringT<CharT>::GetAt(int index) const {
  if (index < 0 || index > GetLength()) AfxThrowInvalidArgException();
  return m_str.c_str()[index];
}

template <typename CharT>
void CStringT<CharT>::SetAt(int index, XCHAR ch) {
  if (index < 0 || index >= GetLength()) AfxThrowInvalidArgException();
  m_str[static_cast<std::size_t>(index)] = ch;
}

template <typename CharT>
CStringT<CharT> CStringT<CharT>::Left(int count) const {
  count = std::clamp(count, 0, GetLength());
  return CStringT(std::basic_string_view<CharT>(m_str).substr(0, static_cast<std::size_t>(count)));
}

template <typename CharT>
CStringT<CharT> CStringT<CharT>::Right(int count) const {
  count = std::clamp(count, 0, GetLength());
  return CStringT(std::basic_string_view<CharT>(m_str).substr(m_str.size() - static_cast<std::size_t>(count)));
}

template <typename CharT>
CStringT<CharT> CStringT<CharT>::Mid(int first) const {
  return Mid(first, GetLength());
}

template <typename CharT>
CStringT<CharT> CStringT<CharT>::Mid(int first, int count) const {
  first = std::clamp(first, 0, GetLength());
  count = std::clamp(count, 0, GetLength() - first);
  return CStringT(std::basic_string_view<CharT>(m_str).substr(static_cast<std::size_t>(first), static_cast<std::size_t>(count)));
}

template <typename CharT>
CStringT<CharT> CStringT<CharT>::SpanIncluding(PCXSTR charSet) const {
  const std::size_t n = charSet == nullptr ? 0 : m_str.find_first_not_of(charSet);
  return Left(n == std::basic_string<CharT>::npos ? GetLength() : static_cast<int>(n));
}

template <typename CharT>
CStringT<CharT> CStringT<CharT>::SpanExcluding(PCXSTR charSet) const {
  const std::size_t n = charSet == nullptr ? std::basic_string<CharT>::npos : m_str.find_first_of(charSet);
  return Left(n == std::basic_string<CharT>::npos ? GetLength() : static_cast<int>(n));
}

template <typename CharT>
int CStringT<CharT>::Find(XCHAR ch, int start) const {
  if (start < 0 || start >= GetLength()) return -1;
  const std::size_t at = m_str.find(ch, static_cast<std::size_t>(start));
  return at == std::basic_string<CharT>::npos ? -1 : static_cast<int>(at);
}

template <typename CharT>
int CStringT<CharT>::Find(PCXSTR sub, int start) const {
  if (sub == nullptr || start < 0 || start > GetLength()) return -1;
  const std::size_t at = m_str.find(sub, static_cast<std::size_t>(start));
  return at == std::basic_string<CharT>::npos ? -1 : static_cast<int>(at);
}

template <typename CharT>
int CStringT<CharT>::ReverseFind(XCHAR ch) const {
  const std::size_t at = m_str.rfind(ch);
  return at == std::basic_string<CharT>::npos ? -1 : static_cast<int>(at);
}

template <typename CharT>
int CStringT<CharT>::FindOneOf(PCXSTR charSet) const {
  if (charSet == nullptr) return -1;
  const std::size_t at = m_str.find_first_of(charSet);
  return at == std::basic_string<CharT>::npos ? -1 : static_cast<int>(at);
}

template <typename CharT>
CStringT<CharT>& CStringT<CharT>::MakeUpper() {
  Guard([&] { MapCase(m_str, utf8proc_toupper); });
  return *this;
}

template <typename CharT>
CStringT<CharT>& CStringT<CharT>::MakeLower() {
  Guard([&] { MapCase(m_str, utf8proc_tolower); });
  return *this;
}

template <typename CharT>
CStringT<CharT>& CStringT<CharT>::MakeReverse() {
  std::reverse(m_str.begin(), m_str.end());
  return *this;
}

template <typename CharT>
CStringT<CharT>& CStringT<CharT>::Trim() {
  return TrimRight().TrimLeft();
}
template <typename CharT>
CStringT<CharT>& CStringT<CharT>::Trim(XCHAR target) {
  return TrimRight(target).TrimLeft(target);
}
template <typename CharT>
CStringT<CharT>& CStringT<CharT>::Trim(PCXSTR targets) {
  return TrimRight(targets).TrimLeft(targets);
}

template <typename CharT>
CStringT<CharT>& CStringT<CharT>::TrimLeft() {
  std::size_t n = 0;
  while (n < m_str.size() && IsSpace(static_cast<wchar_t>(m_str[n]))) ++n;
  m_str.erase(0, n);
  return *this;
}
template <typename CharT>
CStringT<CharT>& CStringT<CharT>::TrimLeft(XCHAR target) {
  const XCHAR set[2] = {target, 0};
  return TrimLeft(set);
}
template <typename CharT>
CStringT<CharT>& CStringT<CharT>::TrimLeft(PCXSTR targets) {
  if (targets == nullptr || *targets == 0) return *this;
  const std::size_t n = m_str.find_first_not_of(targets);
  m_str.erase(0, n == std::basic_string<CharT>::npos ? m_str.size() : n);
  return *this;
}

template <typename CharT>
CStringT<CharT>& CStringT<CharT>::TrimRight() {
  std::size_t n = m_str.size();
  while (n > 0 && IsSpace(static_cast<wchar_t>(m_str[n - 1]))) --n;
  m_str.resize(n);
  return *this;
}
template <typename CharT>
CStringT<CharT>& CStringT<CharT>::TrimRight(XCHAR target) {
  const XCHAR set[2] = {target, 0};
  return TrimRight(set);
}
template <typename CharT>
CStringT<CharT>& CStringT<CharT>::TrimRight(PCXSTR targets) {
  if (targets == nullptr || *targets == 0) return *this;
  const std::size_t n = m_str.find_last_not_of(targets);
  m_str.resize(n == std::basic_string<CharT>::npos ? 0 : n + 1);
  return *this;
}

template <typename CharT>
int CStringT<CharT>::Replace(XCHAR oldCh, XCHAR newCh) {
  int count = 0;
  for (XCHAR& c : m_str) {
    if (c == oldCh) {
      c = newCh;
      ++count;
    }
  }
  return count;
}

template <typename CharT>
int CStringT<CharT>::Replace(PCXSTR oldText, PCXSTR newText) {
  const std::size_t oldLen = Length(oldText);
  if (oldLen == 0) return 0;
  const std::basic_string_view<CharT> repl(newText == nullptr ? std::basic_string_view<CharT>() : newText);
  return Guard([&] {
    int count = 0;
    std::basic_string<CharT> out;
    std::size_t from = 0;
    for (std::size_t at; (at = m_str.find(oldText, from, oldLen)) != std::basic_string<CharT>::npos; from = at + oldLen) {
      out.append(m_str, from, at - from);
      out += repl;
      ++count;
    }
    if (count > 0) {
      out.append(m_str, from);
      m_str.swap(out);
    }
    return count;
  });
}

template <typename CharT>
int CStringT<CharT>::Remove(XCHAR ch) {
  const auto removed = std::erase(m_str, ch);
  return static_cast<int>(removed);
}

template <typename CharT>
int CStringT<CharT>::Insert(int index, XCHAR ch) {
  const XCHAR text[2] = {ch, 0};
  return Insert(index, text);
}

template <typename CharT>
int CStringT<CharT>::Insert(int index, PCXSTR text) {
  index = std::clamp(index, 0, GetLength());
  if (text != nullptr) Guard([&] { m_str.insert(static_cast<std::size_t>(index), text); });
  return GetLength();
}

template <typename CharT>
int CStringT<CharT>::Delete(int index, int count) {
  index = std::max(index, 0);
  if (count > 0 && index < GetLength()) {
    m_str.erase(static_cast<std::size_t>(index), static_cast<std::size_t>(std::min(count, GetLength() - index)));
  }
  return GetLength();
}

template <typename CharT>
int CStringT<CharT>::Compare(PCXSTR other) const {
  const std::basic_string_view<CharT> b(other == nullptr ? std::basic_string_view<CharT>() : other);
  // char_traits<char> compares as unsigned char, as strcmp does.
  const int r = std::basic_string_view<CharT>(m_str).compare(b);
  return r < 0 ? -1 : (r > 0 ? 1 : 0);
}

template <typename CharT>
int CStringT<CharT>::CompareNoCase(PCXSTR other) const {
  const std::basic_string_view<CharT> b(other == nullptr ? std::basic_string_view<CharT>() : other);
  return kwfw::CompareNoCase(std::basic_string_view<CharT>(m_str), b);
}

template <typename CharT>
CharT* CStringT<CharT>::GetBuffer() {
  return m_str.data();
}

template <typename CharT>
CharT* CStringT<CharT>::GetBuffer(int minLength) {
  if (minLength < 0) AfxThrowInvalidArgException();
  if (static_cast<std::size_t>(minLength) > m_str.size()) Guard([&] { m_str.resize(static_cast<std::size_t>(minLength)); });
  return m_str.data();
}

template <typename CharT>
CharT* CStringT<CharT>::GetBufferSetLength(int length) {
  if (length < 0) AfxThrowInvalidArgException();
  Guard([&] { m_str.resize(static_cast<std::size_t>(length)); });
  return m_str.data();
}

template <typename CharT>
void CStringT<CharT>::ReleaseBuffer(int newLength) {
  if (newLength < 0) {
    const std::size_t end = m_str.find(CharT(0));
    if (end != std::basic_string<CharT>::npos) m_str.resize(end);
  } else if (static_cast<std::size_t>(newLength) <= m_str.size()) {
    m_str.resize(static_cast<std::size_t>(newLength));
  } else {
    AfxThrowInvalidArgException();
  }
}

template <typename CharT>
void CStringT<CharT>::Format(PCXSTR format, ...) {
  va_list args;
  va_start(args, format);
  FormatV(format, args);
  va_end(args);
}

template <typename CharT>
void CStringT<CharT>::FormatV(PCXSTR format, va_list args) {
  if (format == nullptr) AfxThrowInvalidArgException();
  // Formatted apart, since an argument may be this string's own text, into a
  // buffer the thread keeps, so that formatting again allocates nothing; a buffer
  // grown by a very long text is let go. Once the thread's buffer is gone (a
  // format from a destructor run at exit), a buffer of the call's own serves.
  std::basic_string<CharT> own;
  std::basic_string<CharT>* kept = ThreadScratch<CharT>();
  std::basic_string<CharT>& scratch = kept != nullptr ? *kept : own;
  scratch.clear();
  Guard([&] {
    kwfw::FormatAppendV(scratch, format, args);
    m_str.assign(scratch);
  });
  if (scratch.capacity() > 65536) std::basic_string<CharT>().swap(scratch);
}

template <typename CharT>
void CStringT<CharT>::AppendFormat(PCXSTR format, ...) {
  va_list args;
  va_start(args, format);
  AppendFormatV(format, args);
  va_end(args);
}

template <typename CharT>
void CStringT<CharT>::AppendFormatV(PCXSTR format, va_list args) {
  if (format == nullptr) AfxThrowInvalidArgException();
  Guard([&] { kwfw::FormatAppendV(m_str, format, args); });
}

template class CStringT<wchar_t>;
template class CStringT<char>;
