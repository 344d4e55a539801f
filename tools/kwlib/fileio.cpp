#include "fileio.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <kwlib63/platform/atomicfile.h>

#include "longwork.h"

namespace kwlib {

bool ReadBlocks(const std::string& path, std::size_t size,
                const std::function<void(const unsigned char*, std::size_t)>& block, std::string& error) {
  std::FILE* f = path == "-" ? stdin : std::fopen(path.c_str(), "rb");
  if (f == nullptr) {
    error = std::strerror(errno);
    return false;
  }
  std::vector<unsigned char> buffer(size);
  FileProgress progress(path, fileno(f));
  for (std::size_t n; (n = std::fread(buffer.data(), 1, buffer.size(), f)) > 0;) {
    block(buffer.data(), n);
    progress.Read(n);
  }
  const bool failed = std::ferror(f) != 0;
  if (failed) error = std::strerror(errno);
  if (f != stdin) std::fclose(f);
  return !failed;
}

bool ReadAll(const std::string& path, std::vector<unsigned char>& data, std::string& error) {
  data.clear();
  return ReadBlocks(path, 1 << 16, [&](const unsigned char* bytes, std::size_t n) { data.insert(data.end(), bytes, bytes + n); },
                    error);
}

Output::Output(const std::string& path) {
  if (path == "-") {
    m_stream = stdout;
    return;
  }
  const std::string target = kwplat::WriteTarget(path);
  struct stat old {};
  const bool exists = stat(target.c_str(), &old) == 0;
  // A device, a pipe or a socket is written to, never replaced by a file.
  if (exists && !S_ISREG(old.st_mode)) {
    m_stream = std::fopen(target.c_str(), "wb");
    m_owned = m_stream != nullptr;
    if (m_stream == nullptr) {
      m_ok = false;
      m_errno = errno;
    }
    return;
  }
  m_file = std::make_unique<kwplat::AtomicFile>(target, exists ? &old : nullptr);
}

Output::~Output() {
  if (m_owned) std::fclose(m_stream);
}

void Output::Write(const void* data, std::size_t size) {
  if (!m_ok || size == 0) return;  // an empty record's data may be no block at all
  if (m_stream == stdout) BeforeOutput();
  m_ok = m_file != nullptr ? m_file->Write(data, size) : std::fwrite(data, 1, size, m_stream) == size;
  if (!m_ok) m_errno = errno;
  if (m_stream == stdout) AfterOutput(stdout, std::string_view(static_cast<const char*>(data), size));
}

bool Output::Finish(std::string& error) {
  if (m_ok) {
    m_ok = m_file != nullptr ? m_file->Commit() : std::fflush(m_stream) == 0;
    if (!m_ok) m_errno = errno;
  }
  if (!m_ok) error = std::strerror(m_errno);
  return m_ok;
}

bool WriteAll(const std::string& path, const unsigned char* data, std::size_t size, std::string& error) {
  Output output(path);
  output.Write(data, size);
  return output.Finish(error);
}

bool ReadableFile(const std::string& path, std::string& error) {
  struct stat st {};
  if (stat(path.c_str(), &st) != 0 || access(path.c_str(), R_OK) != 0) {
    error = std::strerror(errno);
    return false;
  }
  if (S_ISDIR(st.st_mode)) {
    error = std::strerror(EISDIR);
    return false;
  }
  return true;
}

}  // namespace kwlib
