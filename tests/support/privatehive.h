// The current user's registry hive moved to a fresh database in a temporary
// folder for as long as the object lives, and put back afterwards.
#pragma once

#include <string>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/registry.h>

#include "support/tempdir.h"

namespace kwtest {

class PrivateHive {
 public:
  PrivateHive() { kwplat::RegSetHiveFile(HKEY_CURRENT_USER, kwfw::Utf8ToWide(m_file).c_str()); }
  ~PrivateHive() { kwplat::RegSetHiveFile(HKEY_CURRENT_USER, nullptr); }
  PrivateHive(const PrivateHive&) = delete;
  PrivateHive& operator=(const PrivateHive&) = delete;

  const std::string& File() const { return m_file; }
  const TempDir& Dir() const { return m_dir; }

 private:
  TempDir m_dir{"kwlib-reg"};
  std::string m_file = m_dir.At("HKCU.db");
};

}  // namespace kwtest
