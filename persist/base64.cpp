// The public Base64 calls; the engines are base64_encode.cpp and base64_decode.cpp,
// each with vector blocks chosen once by the CPU.
#include <kwlib63/persist/base64.h>

#include <kwlib63/persist/base64_impl.h>

int Base64encode_len(int nLength) { return ((nLength + 2) / 3) * 4 + 1; }

int Base64encode(char* pOut, const char* pIn, int nLength) {
  static const bool wide = kwpersist::Base64WideAvailable();
  return kwpersist::Base64EncodeWith(pOut, pIn, nLength, wide);
}

int Base64decode_len(const char* pCoded) {
  const std::size_t n = kwpersist::Base64AlphabetLength(reinterpret_cast<const unsigned char*>(pCoded));
  return static_cast<int>((n + 3) / 4 * 3 + 1);
}

int Base64decode(char* pOut, const char* pCoded) {
  static const bool wide = kwpersist::Base64WideAvailable();
  return kwpersist::Base64DecodeWith(pOut, pCoded, wide);
}
