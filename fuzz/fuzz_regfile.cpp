// The .reg file reader of kwlib on arbitrary bytes: whatever it accepts must come
// back the same after being written and read again, with no warning the second
// time.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <kwlib63/platform/registry.h>

#include "regfile.h"

namespace {

// What a second reading cannot tell apart: where keys and values stood in the first file, and
// an empty string from one holding only its terminator (both are written "").
std::vector<kwlib::RegFileKey> Comparable(std::vector<kwlib::RegFileKey> keys) {
  for (kwlib::RegFileKey& key : keys) {
    key.line = 0;
    for (kwlib::RegFileValue& value : key.values) {
      value.line = 0;
      if (value.type == REG_SZ && !value.remove && value.bytes.empty()) value.bytes = {0, 0};
    }
  }
  return keys;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  kwlib::RegFileContents first;
  std::string error;
  if (!kwlib::ParseRegFile(std::vector<unsigned char>(data, data + size), first, error)) return 0;
  const std::string written = kwlib::WriteRegFile(first.keys);
  kwlib::RegFileContents again;
  if (!kwlib::ParseRegFile(std::vector<unsigned char>(written.begin(), written.end()), again, error)) std::abort();
  if (!again.warnings.empty() || Comparable(again.keys) != Comparable(first.keys)) std::abort();
  return 0;
}
