// Files' access lists on real POSIX ACLs in a temporary folder: what a file's ACL
// reads as, a list read and written back changing nothing, an added entry with its
// mask, a folder's inheritable entries, and the entries that cannot be written.
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/security.h>

#include "support/shell.h"
#include "support/tempdir.h"

namespace {

using namespace kwplat;


std::vector<BYTE> Descriptor(const std::string& path) {
  const std::wstring wide = kwfw::Utf8ToWide(path);
  DWORD needed = 0;
  EXPECT_FALSE(GetFileSecurityW(wide.c_str(), DACL_SECURITY_INFORMATION, nullptr, 0, &needed));
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  std::vector<BYTE> descriptor(needed);
  EXPECT_TRUE(GetFileSecurityW(wide.c_str(), DACL_SECURITY_INFORMATION, descriptor.data(), needed, &needed));
  return descriptor;
}

PACL Dacl(std::vector<BYTE>& descriptor) {
  BOOL present = FALSE, defaulted = FALSE;
  PACL dacl = nullptr;
  EXPECT_TRUE(GetSecurityDescriptorDacl(descriptor.data(), &present, &dacl, &defaulted));
  return dacl;
}

// A descriptor holding `dacl`, as SetFileSecurityW takes it.
BOOL Write(const std::string& path, PACL dacl) {
  SECURITY_DESCRIPTOR sd;
  InitializeSecurityDescriptor(&sd, SECURITY_DESCRIPTOR_REVISION);
  SetSecurityDescriptorDacl(&sd, TRUE, dacl, FALSE);
  return SetFileSecurityW(kwfw::Utf8ToWide(path).c_str(), DACL_SECURITY_INFORMATION, &sd);
}

std::vector<BYTE> NobodySid() { return {1, 2, 0, 0, 0, 0, 0, 22, 1, 0, 0, 0, 0xFE, 0xFF, 0, 0}; }

class FileSecurityTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::ofstream(m_file) << "x";
    ASSERT_EQ(chmod(m_file.c_str(), 0640), 0);
  }
  kwtest::TempDir m_dir{"kwlib-acl"};
  std::string m_file = m_dir.At("f.txt");
};

TEST_F(FileSecurityTest, ModeBitsReadAsThreeEntries) {
  std::vector<BYTE> descriptor = Descriptor(m_file);
  PACL dacl = Dacl(descriptor);
  ASSERT_NE(dacl, nullptr);
  ASSERT_EQ(dacl->AceCount, 3);
  const ACCESS_MASK expected[] = {FILE_GENERIC_READ | FILE_GENERIC_WRITE | DELETE, FILE_GENERIC_READ, 0};
  for (DWORD i = 0; i < 3; ++i) {
    void* ace = nullptr;
    ASSERT_TRUE(GetAce(dacl, i, &ace));
    EXPECT_EQ(static_cast<ACCESS_ALLOWED_ACE*>(ace)->Mask, expected[i]) << i;
  }
  void* everyone = nullptr;
  GetAce(dacl, 2, &everyone);
  BYTE world[SECURITY_MAX_SID_SIZE];
  DWORD size = sizeof world;
  CreateWellKnownSid(WinWorldSid, nullptr, world, &size);
  EXPECT_TRUE(EqualSid(static_cast<BYTE*>(everyone) + 8, world));
}

TEST_F(FileSecurityTest, ReadAndWrittenBackChangesNothingAndAddingKeepsTheRest) {
  // A named entry wider than the mask reads with its effective rights only.
  ASSERT_EQ(kwtest::Output("setfacl -m u:nobody:rwx,m::r-- '" + m_file + "' 2>&1"), "");
  std::vector<BYTE> descriptor = Descriptor(m_file);
  ASSERT_TRUE(Write(m_file, Dacl(descriptor)));
  EXPECT_EQ(kwtest::Facl(m_file), "user::rw-\nuser:nobody:r--\ngroup::r--\nmask::r--\nother::---\n\n");  // nothing widened

  // The new list: the old entries and one more, for Everyone, with a mask to match.
  std::vector<BYTE> buffer(512);
  auto* grown = reinterpret_cast<PACL>(buffer.data());
  ASSERT_TRUE(InitializeAcl(grown, 512, ACL_REVISION));
  PACL old = Dacl(descriptor);
  for (DWORD i = 0; i < old->AceCount; ++i) {
    void* ace = nullptr;
    ASSERT_TRUE(GetAce(old, i, &ace));
    ASSERT_TRUE(AddAce(grown, ACL_REVISION, MAXDWORD, ace, static_cast<ACE_HEADER*>(ace)->AceSize));
  }
  std::vector<BYTE> nobody = NobodySid();
  ASSERT_TRUE(AddAccessAllowedAce(grown, ACL_REVISION, GENERIC_ALL, nobody.data()));
  ASSERT_TRUE(Write(m_file, grown));
  EXPECT_EQ(kwtest::Facl(m_file), "user::rw-\nuser:nobody:rwx\ngroup::r--\nmask::rwx\nother::---\n\n");
}

TEST_F(FileSecurityTest, FoldersKeepTheirInheritableEntries) {
  const std::string folder = m_dir.At("d");
  ASSERT_EQ(mkdir(folder.c_str(), 0750), 0);
  ASSERT_EQ(kwtest::Output("setfacl -d -m u:nobody:r-x '" + folder + "' 2>&1"), "");
  const std::string before = kwtest::Facl(folder);
  std::vector<BYTE> descriptor = Descriptor(folder);
  PACL dacl = Dacl(descriptor);
  ASSERT_GT(dacl->AceCount, 3);
  void* ace = nullptr;
  ASSERT_TRUE(GetAce(dacl, 3, &ace));
  EXPECT_EQ(static_cast<ACE_HEADER*>(ace)->AceFlags, OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE | INHERIT_ONLY_ACE);
  ASSERT_TRUE(Write(folder, dacl));
  EXPECT_EQ(kwtest::Facl(folder), before);
}

TEST_F(FileSecurityTest, EntriesThatCannotBeWritten) {
  alignas(4) BYTE buffer[128];
  auto* acl = reinterpret_cast<PACL>(buffer);
  ASSERT_TRUE(InitializeAcl(acl, sizeof buffer, ACL_REVISION));
  const BYTE administrators[] = {1, 2, 0, 0, 0, 0, 0, 5, 32, 0, 0, 0, 0x20, 2, 0, 0};  // S-1-5-32-544
  ASSERT_TRUE(AddAccessAllowedAce(acl, ACL_REVISION, GENERIC_ALL, const_cast<BYTE*>(administrators)));
  const std::string before = kwtest::Facl(m_file);
  EXPECT_FALSE(Write(m_file, acl));
  EXPECT_EQ(GetLastError(), ERROR_NONE_MAPPED);
  EXPECT_EQ(kwtest::Facl(m_file), before);  // nothing was changed

  ASSERT_TRUE(InitializeAcl(acl, sizeof buffer, ACL_REVISION));
  std::vector<BYTE> nobody = NobodySid();
  ASSERT_TRUE(AddAccessAllowedAce(acl, ACL_REVISION, GENERIC_READ, nobody.data()));
  reinterpret_cast<ACE_HEADER*>(buffer + sizeof(ACL))->AceType = ACCESS_DENIED_ACE_TYPE;
  EXPECT_FALSE(Write(m_file, acl));
  EXPECT_EQ(GetLastError(), ERROR_NOT_SUPPORTED);
  DWORD needed = 0;
  EXPECT_FALSE(GetFileSecurityW(L"/nonexistent/file", DACL_SECURITY_INFORMATION, nullptr, 0, &needed));
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
}

}  // namespace
