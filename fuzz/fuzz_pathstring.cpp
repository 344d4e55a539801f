// Paths from arbitrary text: splitting and joining again gives the path back, the
// parts agree with the getters, joining a name to a folder keeps both, and the
// text-only operations (purify, final slash, Cd) keep their promises.
#include <cstdint>
#include <cstdlib>
#include <string>

#include <kwlib63/framework/exception.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/settings/pathstring.h>

namespace {

void Check(bool ok) {
  if (!ok) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::wstring all = kwfw::Utf8ToWide(std::string(reinterpret_cast<const char*>(data), size));
  // A tab, if any, separates the path from a second text used as a folder or name.
  all = all.substr(0, all.find(L'\0'));
  const std::size_t tab = all.find(L'\t');
  const std::wstring text = all.substr(0, tab), other = tab == std::wstring::npos ? L"" : all.substr(tab + 1);
  const CPathString path(text.c_str(), nullptr);

  CString drive, dir, name, ext;
  path.SplitPath(&drive, &dir, &name, &ext);
  Check(drive.IsEmpty());  // no drives here
  Check(CPathString(drive, dir, name, ext) == path);
  Check(path.GetFitxer() == name + ext && path.GetNomFitxer() == name);
  Check(path.GetDirectori(0) == CPathString::posarBarraFinal(dir, 0));
  Check(ext.IsEmpty() || ext[0] == L'.');
  Check(path.GetExtensio(1) == (ext.IsEmpty() ? CString(L".") : ext));
  Check(path.EsCarpeta() == (name.IsEmpty() && ext.IsEmpty() ? 1 : 0));

  // A final slash added is there once; taken away, one fewer.
  const CString withSlash = CPathString::posarBarraFinal(path, 1);
  Check(!withSlash.IsEmpty() && withSlash[withSlash.GetLength() - 1] == L'/');
  Check(CPathString::posarBarraFinal(withSlash, 1) == withSlash);

  const CString clean = CPathString::purify(path);
  Check(CPathString::purify(clean) == clean);
  for (const wchar_t c : {L'<', L'>', L':', L'"', L'|', L'?', L'*'}) Check(clean.Find(c) < 0);

  // A name (no slash, no quotes at its ends) joined to a folder is that folder's file.
  if (!other.empty() && other.find(L'/') == std::wstring::npos && other.front() != L'"' && other.back() != L'"' &&
      !text.empty() && text.front() != L'"' && text.back() != L'"') {
    const CPathString joined(other.c_str(), text.c_str());
    Check(joined.GetFitxer() == CString(other.c_str()));
    Check(joined.GetRuta(1) == CPathString::posarBarraFinal(CString(text.c_str()), 1));
  }

  // Moving into a relative folder keeps the file name; ".." needs a folder.
  try {
    const CPathString moved = path.Cd(other.c_str());
    if (other.find(L'/') == std::wstring::npos && other != L"..") Check(moved.GetFitxer() == path.GetFitxer());
  } catch (CException* e) {
    e->Delete();
    Check(other == L".." && dir.IsEmpty());
  }
  return 0;
}
