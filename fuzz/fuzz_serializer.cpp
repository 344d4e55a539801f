// The record reader on arbitrary files: header, NextRecord, ReadRecord,
// ReadNextRecord (every form), SkipRecord and GetRegistre must give result codes,
// never touch memory they do not own.
#include <unistd.h>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/persist/serializer.h>

#include "scratch.h"

namespace {

const std::wstring& FilePath() {
  static const std::wstring path = kwfw::Utf8ToWide(kwfuzz::ScratchDir() + "/f.rec");
  return path;
}

void WriteFile(const uint8_t* data, size_t size) {
  std::FILE* f = std::fopen(kwfw::WideToUtf8(FilePath()).c_str(), "wb");
  if (f == nullptr || std::fwrite(data, 1, size, f) != size || std::fclose(f) != 0) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  WriteFile(data, size);
  const std::wstring& path = FilePath();
  // The first byte of the data also picks an identifier to look for.
  const unsigned long id = size > 18 ? data[18] : 1;

  if (TSerializer* s = TSerializer::Open(path.c_str(), 0)) {
    short t, w2, w3, w4;
    if (s->GetHeader(t, w2, w3, w4) == 0) {
      SER_RECORDHEADER hdr;
      unsigned char small[8];
      for (int step = 0; step < 64; ++step) {
        void* block = nullptr;
        unsigned long length = 0;
        int r;
        switch (step % 5) {
          case 0: r = s->NextRecord(hdr) ? s->ReadRecord(small, hdr.nLength < 8 ? hdr.nLength : 8) : -17; break;
          case 1: r = s->ReadNextRecord(hdr, block, &length); break;
          case 2: r = s->ReadNextRecord(id, block, &length, static_cast<short>(step % 3 - 1)); break;
          case 3: r = s->ReadNextRecord(id, small, sizeof small, &length, -1, nullptr); break;
          default: r = s->SkipRecord(static_cast<short>(step % 2)); break;
        }
        std::free(block);
        if (r == -17) break;
      }
    }
    TSerializer::Close(s);
  }
  void* block = nullptr;
  unsigned long length = 0;
  TSerializer::GetRegistre(path.c_str(), id, block, length);
  std::free(block);
  return 0;
}
