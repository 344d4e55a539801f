// A private Samba configuration for user shares in a temporary folder, given to
// the library's share calls for as long as the object lives.
#pragma once

#include <sys/stat.h>

#include <fstream>
#include <stdexcept>
#include <string>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/netshare.h>

#include "support/tempdir.h"

namespace kwtest {

class PrivateSamba {
 public:
  PrivateSamba() {
    if (mkdir(m_dir.At("usershares").c_str(), 01770) != 0) throw std::runtime_error("no usershare folder");
    Configure(10, true);
    kwplat::NetShareSetConfigFile(kwfw::Utf8ToWide(m_dir.At("smb.conf")).c_str());
  }
  ~PrivateSamba() { kwplat::NetShareSetConfigFile(nullptr); }
  PrivateSamba(const PrivateSamba&) = delete;
  PrivateSamba& operator=(const PrivateSamba&) = delete;

  // Rewrites smb.conf: how many shares the machine allows, and whether guests.
  void Configure(int maximum, bool guests) const {
    std::ofstream(m_dir.At("smb.conf")) << "[global]\nusershare path = " << m_dir.At("usershares")
                                        << "\nusershare max shares = " << maximum
                                        << "\nusershare allow guests = " << (guests ? "yes" : "no")
                                        << "\nusershare owner only = no\n";
  }
  // The usershare record Samba keeps for `name` (lower case).
  std::string Record(const std::string& name) const {
    std::ifstream f(m_dir.At("usershares/" + name));
    return std::string(std::istreambuf_iterator<char>(f), {});
  }
  const TempDir& Dir() const { return m_dir; }

 private:
  TempDir m_dir{"kwlib-samba"};
};

}  // namespace kwtest
