// A fresh folder under /tmp for a test, removed with everything in it when the
// object goes (write permissions given back first, for tests that take them away).
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace kwtest {

class TempDir {
 public:
  explicit TempDir(const std::string& prefix = "kwlib") {
    std::string pattern = "/tmp/" + prefix + "-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    m_path = pattern;
  }
  ~TempDir() { (void)std::system(("chmod -R u+w " + m_path + " 2>/dev/null; rm -rf " + m_path).c_str()); }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& Path() const { return m_path; }
  std::string At(const std::string& name) const { return m_path + "/" + name; }

 private:
  std::string m_path;
};

// All of a file's bytes ("" when it cannot be read), and a file made of `bytes`.
inline std::string ReadBytes(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(f), {});
}
inline void WriteBytes(const std::string& path, const std::string& bytes) { std::ofstream(path, std::ios::binary) << bytes; }

}  // namespace kwtest
