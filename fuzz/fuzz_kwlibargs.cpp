// kwlib's argument parsing from arbitrary words: a number is accepted exactly when
// it is plain decimal or 0x-prefixed hex digits within the limit, with the value
// those digits spell; flags are sorted out of the words without losing any.
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include "command.h"

namespace {

void Check(bool ok) {
  if (!ok) std::abort();
}

int Digit(char c, bool hex) {
  if (c >= '0' && c <= '9') return c - '0';
  if (hex && c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (hex && c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// The model: true with the value when `text` is a number no larger than `max`.
bool ModelNumber(const std::string& text, unsigned long max, unsigned long& value) {
  const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  const std::size_t from = hex ? 2 : 0;
  if (text.size() == from) return false;
  value = 0;
  for (std::size_t i = from; i < text.size(); ++i) {
    const int d = Digit(text[i], hex);
    if (d < 0) return false;
    const unsigned long base = hex ? 16 : 10;
    if (value > (std::numeric_limits<unsigned long>::max() - static_cast<unsigned long>(d)) / base) return false;
    value = value * base + static_cast<unsigned long>(d);
  }
  return value <= max;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  // The first byte picks the limit; the rest are words separated by zero bytes.
  const unsigned long limits[] = {0, 1, 255, 65535, 0xFFFFFFFFul, std::numeric_limits<unsigned long>::max()};
  const unsigned long max = limits[data[0] % 6];
  std::vector<std::string> words;
  std::string word;
  for (size_t i = 1; i < size; ++i) {
    if (data[i] == 0) {
      words.push_back(word);
      word.clear();
    } else {
      word += static_cast<char>(data[i]);
    }
  }
  words.push_back(word);

  for (const std::string& w : words) {
    unsigned long expected = 0;
    const bool valid = ModelNumber(w, max, expected);
    try {
      const unsigned long got = kwlib::ParseNumber(w, max, "value");
      Check(valid && got == expected);
    } catch (const kwlib::UsageError&) {
      Check(!valid);
    }
  }

  const std::vector<std::string> known = {"--json", "--all", "-r"};
  try {
    const kwlib::Arguments a = kwlib::SplitFlags(words, {known});
    std::size_t f = 0, o = 0;
    bool options = true;  // until "--", which is dropped
    for (const std::string& w : words) {
      if (options && w == "--") {
        options = false;
      } else if (options && f < a.flags.size() && a.flags[f] == w && (w == "--json" || w == "--all" || w == "-r")) {
        Check(a.Has(w));
        ++f;
      } else {
        Check(o < a.words.size() && a.words[o] == w);  // words keep their order
        Check(!options || w.size() <= 2 || w.rfind("--", 0) != 0);
        ++o;
      }
    }
    Check(f == a.flags.size() && o == a.words.size());
  } catch (const kwlib::UsageError&) {
    bool unknown = false;
    for (const std::string& w : words) {
      if (w == "--") break;
      unknown = unknown || (w.size() > 2 && w.rfind("--", 0) == 0 && w != "--json" && w != "--all");
    }
    Check(unknown);
  }
  return 0;
}
