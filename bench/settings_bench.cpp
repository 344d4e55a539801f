// INI reads through the profile cache against re-reading and parsing the file on
// every call, and the cost of one write; a file of 1000 keys in 10 sections.
#include <algorithm>
#include <cctype>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>
#include <benchmark/benchmark.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/settings/fitxerini.h>

namespace {

const char* const kIniFile = "/tmp/kwlib-bench-settings.ini";

struct Key {
  std::string section, key;
  std::wstring wideSection, wideKey;
};

// Writes the file once and returns its keys in a shuffled order.
const std::vector<Key>& Keys() {
  static const std::vector<Key> keys = [] {
    std::vector<Key> k;
    std::ofstream out(kIniFile, std::ios::binary | std::ios::trunc);
    for (int s = 0; s < 10; ++s) {
      out << "[Section" << s << "]\r\n";
      for (int i = 0; i < 100; ++i) {
        const std::string key = "Key" + std::to_string(i);
        out << key << " = value " << s << "." << i << "\r\n";
        k.push_back({"Section" + std::to_string(s), key, kwfw::Utf8ToWide("Section" + std::to_string(s)),
                     kwfw::Utf8ToWide(key)});
      }
      out << "\r\n";
    }
    std::shuffle(k.begin(), k.end(), std::mt19937(9));
    return k;
  }();
  return keys;
}

bool SameNoCase(const std::string& a, const std::string& b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::toupper(static_cast<unsigned char>(x)) == std::toupper(static_cast<unsigned char>(y));
         });
}

std::string Trimmed(const std::string& s) {
  const std::size_t a = s.find_first_not_of(" \t\r"), b = s.find_last_not_of(" \t\r");
  return a == std::string::npos ? std::string() : s.substr(a, b - a + 1);
}

// The peer: the file read and scanned line by line for every value asked for.
std::string ReadAndParse(const std::string& section, const std::string& key) {
  std::ifstream in(kIniFile, std::ios::binary);
  std::string line, current;
  while (std::getline(in, line)) {
    const std::string t = Trimmed(line);
    if (t.empty() || t[0] == ';') continue;
    if (t[0] == '[') {
      current = Trimmed(t.substr(1, t.find(']') - 1));
      continue;
    }
    const std::size_t eq = t.find('=');
    if (SameNoCase(current, section) && eq != std::string::npos && SameNoCase(Trimmed(t.substr(0, eq)), key)) {
      return Trimmed(t.substr(eq + 1));
    }
  }
  return std::string();
}

void BM_IniGetStringCached(benchmark::State& state) {
  const auto& keys = Keys();
  const CFitxerINI ini(kwfw::Utf8ToWide(kIniFile).c_str());
  std::size_t i = 0;
  for (auto _ : state) {
    const Key& k = keys[i++ % keys.size()];
    benchmark::DoNotOptimize(ini.GetString(k.wideSection.c_str(), k.wideKey.c_str(), L""));
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(BM_IniGetStringCached);

void BM_IniReadAndParsePerCall(benchmark::State& state) {
  const auto& keys = Keys();
  std::size_t i = 0;
  for (auto _ : state) {
    const Key& k = keys[i++ % keys.size()];
    benchmark::DoNotOptimize(ReadAndParse(k.section, k.key));
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(BM_IniReadAndParsePerCall);

// One write: the locked read-modify-write, flushed to disk and renamed.
void BM_IniSetString(benchmark::State& state) {
  Keys();
  CFitxerINI ini(kwfw::Utf8ToWide(std::string(kIniFile) + ".w").c_str());
  int n = 0;
  for (auto _ : state) ini.SetString(L"Section0", L"Key7", std::to_wstring(n++).c_str());
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(BM_IniSetString)->Unit(benchmark::kMicrosecond);

}  // namespace
