// Base64 decoding of arbitrary text into a block sized by Base64decode_len, and
// the round trip of the decoded bytes.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <kwlib63/persist/base64.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);  // NUL-terminated copy
  std::vector<char> decoded(static_cast<size_t>(Base64decode_len(text.c_str())));
  const int n = Base64decode(decoded.data(), text.c_str());
  if (n < 0 || static_cast<size_t>(n) >= decoded.size()) std::abort();
  std::vector<char> encoded(static_cast<size_t>(Base64encode_len(n)));
  Base64encode(encoded.data(), decoded.data(), n);
  std::vector<char> again(static_cast<size_t>(Base64decode_len(encoded.data())));
  if (Base64decode(again.data(), encoded.data()) != n || std::memcmp(again.data(), decoded.data(), n) != 0)
    std::abort();
  return 0;
}
