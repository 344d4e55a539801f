// A client program of an installed kwlib63: one header, one library.
#include <cstdio>
#include <cstring>
#include <kwlib63/kwlib63.h>

int main() {
  int failures = 0;
  auto check = [&](bool ok, const char* what) {
    if (!ok) {
      std::fprintf(stderr, "client: %s\n", what);
      ++failures;
    }
  };

  TItemString s(L"hola");
  TItem* copy = s.Duplicar();
  check(copy != nullptr && copy->QueSoc() == 200, "TItemString::Duplicar");
  delete copy;

  check(AfxLoadString(22050) == L"&Accepter", "AfxLoadString");
  try {
    AfxThrowCancel(nullptr, nullptr);
  } catch (CMoxelExcepcio* e) {
    check(e->EsCancel() == 1, "EsCancel");
    e->Delete();
  }

  CString f;
  f.Format(L"%S=%I64d", "n", 42LL);
  check(f == L"n=42", "CString::Format");

  Json::Value v;
  v["ok"] = true;
  check(v["ok"].asBool(), "jsoncpp");
  check(utf8proc_toupper(0xE9) == 0xC9, "utf8proc");

  if (failures == 0) std::puts("client: ok");
  return failures == 0 ? 0 : 1;
}
