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
  // With a port, also what a private smbd needs: loopback only, that port, and
  // every folder it keeps state in under the temporary folder.
  void Configure(int maximum, bool guests, int port = 0) const {
    std::ofstream conf(m_dir.At("smb.conf"));
    conf << "[global]\nusershare path = " << m_dir.At("usershares") << "\nusershare max shares = " << maximum
         << "\nusershare allow guests = " << (guests ? "yes" : "no") << "\nusershare owner only = no\n";
    if (port == 0) return;
    conf << "interfaces = lo\nbind interfaces only = yes\nsmb ports = " << port
         << "\ndisable netbios = yes\nserver role = standalone server\nmap to guest = Bad User\n"
            "guest account = nobody\n";
    for (const char* folder : {"state", "lock", "cache", "pid", "private", "ncalrpc", "log"}) {
      mkdir(m_dir.At(folder).c_str(), 0755);
    }
    conf << "state directory = " << m_dir.At("state") << "\nlock directory = " << m_dir.At("lock")
         << "\ncache directory = " << m_dir.At("cache") << "\npid directory = " << m_dir.At("pid")
         << "\nprivate dir = " << m_dir.At("private") << "\nncalrpc dir = " << m_dir.At("ncalrpc")
         << "\nlog file = " << m_dir.At("log/log.%m") << "\n";
  }
  // Adds a share to smb.conf itself, as an administrator defines one (after
  // Configure, which rewrites the file).
  void AddConfiguredShare(const std::string& name, const std::string& path) const {
    std::ofstream conf(m_dir.At("smb.conf"), std::ios::app);
    conf << "[" << name << "]\npath = " << path << "\n";
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
