// kwlib share and kwlib acl as child processes, on a private Samba configuration
// and real POSIX ACLs.
#include <sys/stat.h>

#include <string>

#include <gtest/gtest.h>

#include "kwlibrun.h"
#include "support/privatesamba.h"

namespace {

using kwtest::Result;

TEST(KwlibShare, AddListRemoveAndADisabledMachine) {
  kwtest::PrivateSamba samba;
  const std::string folder = samba.Dir().At("Hot");
  ASSERT_EQ(mkdir(folder.c_str(), 0750), 0);
  const std::string kwlib = "KWLIB63_SMB_CONF=" + samba.Dir().At("smb.conf") + " " + KWLIB_EXE;
  Result r = kwtest::Shell(kwlib + " share add " + folder);
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "HOT\n");
  EXPECT_EQ(kwtest::Shell(kwlib + " share list").out, "HOT\t" + folder + "\n");
  EXPECT_EQ(kwtest::Shell(kwlib + " share remove " + folder + "/").status, 0);
  EXPECT_EQ(kwtest::Shell(kwlib + " share list").out, "");
  r = kwtest::Shell(kwlib + " share remove " + folder);  // nothing left to remove
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "kwlib share: " + folder + ": not shared\n");
  EXPECT_EQ(kwtest::Shell(kwlib + " share add " + samba.Dir().At("smb.conf")).status, 1);  // not a folder

  samba.Configure(0, true);
  r = kwtest::Shell(kwlib + " share add " + folder);
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("usershare path"), std::string::npos) << r.err;  // what to configure
  EXPECT_EQ(kwtest::Shell(kwlib + " share").status, 2);
}

// A shared folder is found by its path without regard to case beyond ASCII
// (kwlib runs in the "C" locale).
TEST(KwlibShare, NonAsciiFolderFoundWithoutRegardToCase) {
  kwtest::PrivateSamba samba;
  const std::string made = samba.Dir().At("\xC3\xA9t\xC3\xA9"), asked = samba.Dir().At("\xC3\x89T\xC3\x89");
  ASSERT_EQ(mkdir(made.c_str(), 0750), 0);
  ASSERT_EQ(mkdir(asked.c_str(), 0750), 0);
  const std::string kwlib = "KWLIB63_SMB_CONF=" + samba.Dir().At("smb.conf") + " " + KWLIB_EXE;
  Result r = kwtest::Shell(kwlib + " share add '" + made + "'");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "\xC3\x89T\xC3\x89\n");
  r = kwtest::Shell(kwlib + " share add '" + asked + "'");  // the same folder, already shared
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "\xC3\x89T\xC3\x89\n");
  EXPECT_EQ(kwtest::Shell(kwlib + " share list").out, "\xC3\x89T\xC3\x89\t" + made + "\n");
}

TEST(KwlibAcl, ShowAndAdd) {
  kwtest::TempDir dir("kwlib-aclcmd");
  const std::string file = dir.At("f");
  kwtest::Shell("touch " + file + " && chmod 640 " + file);
  Result r = kwtest::Kwlib("acl add " + file + " nobody RX");
  EXPECT_EQ(r.status, 0) << r.out << r.err;
  r = kwtest::Kwlib("acl show " + file);
  EXPECT_NE(r.out.find("allow\tS-1-22-1-65534\tnobody\t0x1200A9\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("allow\tS-1-1-0\tEveryone\t0x000000\n"), std::string::npos) << r.out;
  r = kwtest::Kwlib("acl add " + file + " no-such-account-kw F");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "LookupAccountName() failed. Error 1332\n");
  EXPECT_EQ(kwtest::Kwlib("acl add " + file + " nobody Q").status, 2);
  EXPECT_EQ(kwtest::Kwlib("acl show " + dir.At("missing")).status, 1);
}

}  // namespace
