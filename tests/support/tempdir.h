// A fresh folder under /tmp for a test, removed with everything in it when the
// object goes (write permissions given back first, for tests that take them away).
#pragma once

#include <unistd.h>

#include <filesystem>
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
  ~TempDir() {
    Unlock(m_path);
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& Path() const { return m_path; }
  std::string At(const std::string& name) const { return m_path + "/" + name; }

 private:
  // Gives back to the folders inside the permissions a test may have taken away,
  // so that everything can be removed. Links are not followed.
  static void Unlock(const std::filesystem::path& folder) {
    std::error_code ignored;
    if (!std::filesystem::is_directory(std::filesystem::symlink_status(folder, ignored))) return;
    std::filesystem::permissions(folder, std::filesystem::perms::owner_all, std::filesystem::perm_options::add, ignored);
    for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) Unlock(entry.path());
  }

  std::string m_path;
};

// All of a file's bytes ("" when it cannot be read), and a file made of `bytes`.
inline std::string ReadBytes(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(f), {});
}
inline void WriteBytes(const std::string& path, const std::string& bytes) { std::ofstream(path, std::ios::binary) << bytes; }

}  // namespace kwtest
