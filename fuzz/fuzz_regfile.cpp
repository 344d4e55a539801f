// The .reg file reader of kwlib on arbitrary bytes: whatever it accepts must come
// back the same after being written and read again.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "regfile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<kwlib::RegFileKey> keys;
  std::string error;
  if (!kwlib::ParseRegFile(std::vector<unsigned char>(data, data + size), keys, error)) return 0;
  const std::string written = kwlib::WriteRegFile(keys);
  std::vector<kwlib::RegFileKey> again;
  if (!kwlib::ParseRegFile(std::vector<unsigned char>(written.begin(), written.end()), again, error)) std::abort();
  if (again != keys) std::abort();
  return 0;
}
