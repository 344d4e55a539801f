// A program on kwlib63 without GTK: it stores a catalogue of parts in a record
// file and reads it back, keeps a summary in an INI file and in the registry, and
// shows the progress of the long steps on standard error through a status
// indicator that any library call taking a TIndicadorEstat* can report to.
//
//   kwlib63-files-demo DIR [PARTS]
// Writes DIR/parts.rec and DIR/demo.ini (DIR must exist) and the registry key
// HKCU\Software\kwlib63 demo; prints what it read back on standard output.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <kwlib63/framework/cstring.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/persist/serializer.h>
#include <kwlib63/progress/indicadorestat.h>
#include <kwlib63/settings/carpetaregistry.h>
#include <kwlib63/settings/fitxerini.h>

namespace {

// Writes a line whenever the message changes or the work passes another tenth.
class TenthsIndicator : public TIndicadorEstat {
 public:
  int MostrarEstat(double pos) override {
    const int going = TIndicadorEstat::MostrarEstat(pos);
    const int tenth = static_cast<int>(pos * 10);
    if (tenth != m_tenth) {
      m_tenth = tenth;
      std::fprintf(stderr, "%3d%% %s\n", tenth * 10, kwfw::WideToUtf8(GetMissatge().GetString()).c_str());
    }
    return going;
  }
  void SetMissatge(const wchar_t* text) override {
    TIndicadorEstat::SetMissatge(text);
    m_tenth = -1;
  }

 private:
  int m_tenth = -1;
};

struct Part {
  char name[32];
  unsigned int grams;
};

// One level-1 record per part and, below it, a level-2 record for each of its
// two sizes: the file is a tree, as record files usually are.
bool WriteParts(const std::wstring& path, unsigned long count, TIndicadorEstat& ie) {
  TSerializer* out = TSerializer::Open(path.c_str(), 1);
  if (out == nullptr) return false;
  out->CreateHeader(1, 0, 0, 0);
  ie.SetMissatge(L"Writing the parts");
  bool ok = true;
  for (unsigned long i = 0; i < count && ok; ++i) {
    Part part{};
    std::snprintf(part.name, sizeof part.name, "part %lu", i);
    part.grams = static_cast<unsigned int>(10 + i % 990);
    out->Push(1);
    ok = out->WriteRecord(&part, sizeof part, i) == 0;
    out->Push(2);
    for (unsigned int size = 0; size < 2 && ok; ++size) {
      unsigned int millimetres = 5 * (size + 1) + static_cast<unsigned int>(i % 7);
      ok = out->WriteRecord(&millimetres, sizeof millimetres, size) == 0;
    }
    // A report per step would cost more than the step: one per thousand parts.
    if (i % 1000 == 0 && !ie.MostrarEstatRel(static_cast<double>(i) / static_cast<double>(count))) ok = false;
  }
  ie.MostrarEstat(1.0);
  TSerializer::Close(out);
  return ok;
}

// Reads the file back; the reader reports its place in the file to `ie` itself.
bool ReadParts(const std::wstring& path, unsigned long& parts, unsigned long& sizes, unsigned long long& grams,
               TIndicadorEstat& ie) {
  TSerializer* in = TSerializer::Open(path.c_str(), 0);
  if (in == nullptr) return false;
  short type = 0, w2 = 0, w3 = 0, w4 = 0;
  bool ok = in->GetHeader(type, w2, w3, w4) == 0 && type == 1;
  ie.SetMissatge(L"Reading the parts");
  SER_RECORDHEADER header{};
  while (ok && in->NextRecord(header, -1, &ie)) {
    if (header.nNivell == 1) {
      Part part{};
      ok = header.nLength == sizeof part && in->ReadRecord(&part, sizeof part) != 0;
      ++parts;
      grams += part.grams;
    } else {
      ++sizes;
    }
  }
  ie.MostrarEstat(1.0);
  TSerializer::Close(in);
  return ok;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || argc > 3) {
    std::fprintf(stderr, "Usage: kwlib63-files-demo DIR [PARTS]\n");
    return 2;
  }
  const std::string dir = argv[1];
  const char* given = argc == 3 ? argv[2] : "200000";
  char* end = nullptr;
  errno = 0;
  const unsigned long count = std::strtoul(given, &end, 10);
  // Digits only, within range: strtoul alone would skip blanks and take a sign,
  // turning "-5" into a count near the largest there is.
  if (*given < '0' || *given > '9' || *end != 0 || errno == ERANGE) {
    std::fprintf(stderr, "kwlib63-files-demo: %s is not a number of parts\n", given);
    return 2;
  }

  TenthsIndicator ie;
  const std::wstring records = kwfw::Utf8ToWide(dir + "/parts.rec");
  if (!WriteParts(records, count, ie)) {
    std::fprintf(stderr, "kwlib63-files-demo: cannot write %s/parts.rec\n", dir.c_str());
    return 1;
  }
  unsigned long parts = 0, sizes = 0;
  unsigned long long grams = 0;
  if (!ReadParts(records, parts, sizes, grams, ie)) {
    std::fprintf(stderr, "kwlib63-files-demo: cannot read %s/parts.rec back\n", dir.c_str());
    return 1;
  }
  std::printf("parts.rec: %lu parts, %lu sizes, %llu g in all\n", parts, sizes, grams);

  // The summary where a Windows program of the library would keep it, both ways.
  const std::wstring total = std::to_wstring(grams);
  CFitxerINI ini(kwfw::Utf8ToWide(dir + "/demo.ini").c_str());
  if (!ini.SetString(L"Catalogue", L"Grams", total.c_str())) {
    std::fprintf(stderr, "kwlib63-files-demo: cannot write %s/demo.ini\n", dir.c_str());
    return 1;
  }
  std::printf("demo.ini: [Catalogue] Grams=%s\n",
              kwfw::WideToUtf8(ini.GetString(L"Catalogue", L"Grams", L"").GetString()).c_str());

  TCarpetaRegistry key(L"Software\\kwlib63 demo");
  if (key.EntraValor(L"Parts", parts) != 0) {
    std::fprintf(stderr, "kwlib63-files-demo: cannot write the registry\n");
    return 1;
  }
  unsigned long stored = 0;
  key.TornaValor(L"Parts", stored, 0);
  std::printf("registry: HKCU\\Software\\kwlib63 demo\\Parts = %lu\n", stored);
  return 0;
}
