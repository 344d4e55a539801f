// Both decoders on arbitrary input: never a read past the input, never a write
// past the documented margin (RLE: the limit; PackBits: the limit + 129).
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <kwlib63/persist/compression.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  // Two bytes choose the output limit; the rest is the packed input, copied to
  // a block of its exact size so that any overread is caught.
  const unsigned long limit = (static_cast<unsigned long>(data[0]) << 8 | data[1]) * 4;
  std::vector<unsigned char> input(data + 2, data + size);
  std::vector<unsigned char> rle(limit > 0 ? limit : 1), packbits(limit + 129);
  const unsigned long n = TCompression::DescomprimirRLE(input.data(), input.size(), limit, rle.data());
  if (n > limit) std::abort();
  const unsigned long m = TCompression::DescomprimirPackbits(input.data(), input.size(), limit, packbits.data());
  if (m > limit + 129) std::abort();
  return 0;
}
