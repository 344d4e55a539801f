// The security data model in its binary layout: SIDs of accounts of this system,
// lists grown entry by entry until full, insertion in the middle, and descriptors
// in both forms.
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/memory.h>
#include <kwlib63/platform/security.h>

namespace {

using namespace kwplat;

std::vector<BYTE> Lookup(const wchar_t* name, std::wstring* domainOut = nullptr, SID_NAME_USE* use = nullptr) {
  DWORD sidSize = 0, domainLength = 0;
  EXPECT_FALSE(LookupAccountNameW(nullptr, name, nullptr, &sidSize, nullptr, &domainLength, use));
  if (GetLastError() != ERROR_INSUFFICIENT_BUFFER) return {};
  std::vector<BYTE> sid(sidSize);
  std::wstring domain(domainLength, L'\0');
  EXPECT_TRUE(LookupAccountNameW(nullptr, name, sid.data(), &sidSize, domain.data(), &domainLength, use));
  domain.resize(domainLength);
  if (domainOut != nullptr) *domainOut = domain;
  return sid;
}

// S-1-22-k-id in bytes.
std::vector<BYTE> UnixSid(DWORD kind, DWORD id) {
  std::vector<BYTE> sid = {1, 2, 0, 0, 0, 0, 0, 22};
  for (DWORD sub : {kind, id}) {
    for (int i = 0; i < 4; ++i) sid.push_back(static_cast<BYTE>(sub >> (8 * i)));
  }
  return sid;
}

TEST(Security, SidsOfThisSystem) {
  DWORD size = 0;
  EXPECT_FALSE(CreateWellKnownSid(WinWorldSid, nullptr, nullptr, &size));
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  ASSERT_EQ(size, 12u);
  BYTE world[SECURITY_MAX_SID_SIZE];
  size = sizeof world;
  ASSERT_TRUE(CreateWellKnownSid(WinWorldSid, nullptr, world, &size));
  EXPECT_EQ(std::vector<BYTE>(world, world + size), (std::vector<BYTE>{1, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0}));

  std::wstring domain;
  SID_NAME_USE use{};
  std::vector<BYTE> everyone = Lookup(L"everyone", &domain, &use);
  ASSERT_FALSE(everyone.empty());
  EXPECT_TRUE(EqualSid(everyone.data(), world));
  EXPECT_EQ(use, SidTypeWellKnownGroup);
  EXPECT_EQ(Lookup(L"root", &domain, &use), UnixSid(1, 0));
  EXPECT_EQ(domain, L"Unix User");
  EXPECT_EQ(Lookup(L"MACHINE\\adm", &domain, &use), UnixSid(2, 4));  // a group with no user of its name
  EXPECT_EQ(use, SidTypeGroup);
  EXPECT_EQ(Lookup(L"GUEST"), UnixSid(1, 65534));                   // Samba's guest: nobody
  EXPECT_EQ(GetLengthSid(everyone.data()), 12u);

  DWORD sidSize = 0, domainLength = 0;
  EXPECT_FALSE(LookupAccountNameW(nullptr, L"no-such-account-kw", nullptr, &sidSize, nullptr, &domainLength, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_NONE_MAPPED);
}

TEST(Security, AccessListsGrowUntilFull) {
  std::vector<BYTE> root = UnixSid(1, 0), adm = UnixSid(2, 4);
  BYTE world[SECURITY_MAX_SID_SIZE];
  DWORD size = sizeof world;
  ASSERT_TRUE(CreateWellKnownSid(WinWorldSid, nullptr, world, &size));
  // Room for two entries of 16-byte SIDs and no more.
  alignas(4) BYTE buffer[8 + 2 * (8 + 16)];
  auto* acl = reinterpret_cast<PACL>(buffer);
  ASSERT_TRUE(InitializeAcl(acl, sizeof buffer, ACL_REVISION));
  ASSERT_TRUE(AddAccessAllowedAce(acl, ACL_REVISION, GENERIC_READ, root.data()));
  ASSERT_TRUE(AddAccessAllowedAceEx(acl, ACL_REVISION, INHERITED_ACE, 0x1F01FF, adm.data()));
  EXPECT_FALSE(AddAccessAllowedAce(acl, ACL_REVISION, GENERIC_ALL, world));
  EXPECT_EQ(GetLastError(), ERROR_ALLOTTED_SPACE_EXCEEDED);

  ACL_SIZE_INFORMATION info{};
  ASSERT_TRUE(GetAclInformation(acl, &info, sizeof info, AclSizeInformation));
  EXPECT_EQ(info.AceCount, 2u);
  EXPECT_EQ(info.AclBytesInUse, sizeof buffer);
  EXPECT_EQ(info.AclBytesFree, 0u);

  // A larger list: the first entry, then a new one before the inherited one.
  alignas(4) BYTE larger[256];
  auto* grown = reinterpret_cast<PACL>(larger);
  ASSERT_TRUE(InitializeAcl(grown, sizeof larger, ACL_REVISION));
  void* ace = nullptr;
  for (DWORD i = 0; i < 2; ++i) {
    ASSERT_TRUE(GetAce(acl, i, &ace));
    ASSERT_TRUE(AddAce(grown, ACL_REVISION, MAXDWORD, ace, static_cast<ACE_HEADER*>(ace)->AceSize));
  }
  ASSERT_TRUE(AddAccessAllowedAce(grown, ACL_REVISION, GENERIC_ALL, world));
  ASSERT_TRUE(GetAce(grown, 2, &ace));
  std::vector<BYTE> last(static_cast<BYTE*>(ace), static_cast<BYTE*>(ace) + static_cast<ACE_HEADER*>(ace)->AceSize);
  ASSERT_TRUE(AddAce(grown, ACL_REVISION, 1, last.data(), static_cast<DWORD>(last.size())));
  ASSERT_TRUE(GetAce(grown, 1, &ace));
  EXPECT_TRUE(EqualSid(static_cast<BYTE*>(ace) + 8, world));
  EXPECT_EQ(static_cast<ACCESS_ALLOWED_ACE*>(ace)->Mask, GENERIC_ALL);
  ASSERT_TRUE(GetAce(grown, 2, &ace));
  EXPECT_EQ(static_cast<ACE_HEADER*>(ace)->AceFlags, INHERITED_ACE);
  EXPECT_FALSE(GetAce(grown, 4, &ace));

  BYTE torn[4] = {1, 2, 3, 4};  // entries that do not fill their length
  EXPECT_FALSE(AddAce(grown, ACL_REVISION, 0, torn, sizeof torn));
  EXPECT_FALSE(InitializeAcl(acl, 4, ACL_REVISION));
}

TEST(Security, DescriptorsInBothForms) {
  SECURITY_DESCRIPTOR sd;
  EXPECT_FALSE(InitializeSecurityDescriptor(&sd, 2));
  EXPECT_EQ(GetLastError(), ERROR_UNKNOWN_REVISION);
  ASSERT_TRUE(InitializeSecurityDescriptor(&sd, SECURITY_DESCRIPTOR_REVISION));
  alignas(4) BYTE buffer[64];
  auto* acl = reinterpret_cast<PACL>(buffer);
  ASSERT_TRUE(InitializeAcl(acl, sizeof buffer, ACL_REVISION));
  BOOL present = TRUE, defaulted = TRUE;
  PACL got = nullptr;
  ASSERT_TRUE(GetSecurityDescriptorDacl(&sd, &present, &got, &defaulted));
  EXPECT_FALSE(present);
  ASSERT_TRUE(SetSecurityDescriptorDacl(&sd, TRUE, acl, FALSE));
  ASSERT_TRUE(GetSecurityDescriptorDacl(&sd, &present, &got, &defaulted));
  EXPECT_TRUE(present && got == acl && !defaulted);
  ASSERT_TRUE(SetSecurityDescriptorControl(&sd, SE_DACL_AUTO_INHERIT_REQ | SE_DACL_AUTO_INHERITED,
                                           SE_DACL_AUTO_INHERIT_REQ | SE_DACL_AUTO_INHERITED));
  EXPECT_FALSE(SetSecurityDescriptorControl(&sd, SE_DACL_PRESENT, 0));  // not one of the settable bits
  SECURITY_DESCRIPTOR_CONTROL control = 0;
  DWORD revision = 0;
  ASSERT_TRUE(GetSecurityDescriptorControl(&sd, &control, &revision));
  EXPECT_EQ(control, SE_DACL_PRESENT | SE_DACL_AUTO_INHERIT_REQ | SE_DACL_AUTO_INHERITED);

  // Self-relative: the list sits at an offset of the same block.
  alignas(4) BYTE relative[20 + 8] = {};
  SECURITY_DESCRIPTOR_RELATIVE header{1, 0, SE_SELF_RELATIVE | SE_DACL_PRESENT | SE_DACL_PROTECTED, 0, 0, 0, 20};
  std::memcpy(relative, &header, sizeof header);
  ASSERT_TRUE(InitializeAcl(reinterpret_cast<PACL>(relative + 20), 8, ACL_REVISION));
  ASSERT_TRUE(GetSecurityDescriptorDacl(relative, &present, &got, &defaulted));
  EXPECT_EQ(reinterpret_cast<BYTE*>(got), relative + 20);
  EXPECT_FALSE(SetSecurityDescriptorDacl(relative, TRUE, acl, FALSE));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_SECURITY_DESCR);

  // From outside, the parts must lie inside the bytes given.
  EXPECT_TRUE(IsValidRelativeSecurityDescriptor(relative, sizeof relative));
  EXPECT_FALSE(IsValidRelativeSecurityDescriptor(relative, sizeof relative - 1));  // the list runs past the end
  header.Dacl = 4000;
  std::memcpy(relative, &header, sizeof header);
  EXPECT_FALSE(IsValidRelativeSecurityDescriptor(relative, sizeof relative));
  // An entry whose SID claims more than the entry holds.
  std::vector<BYTE> root = UnixSid(1, 0);
  ASSERT_TRUE(InitializeAcl(acl, sizeof buffer, ACL_REVISION));
  ASSERT_TRUE(AddAccessAllowedAce(acl, ACL_REVISION, GENERIC_READ, root.data()));
  EXPECT_TRUE(IsValidAcl(acl));
  buffer[sizeof(ACL) + 8 + 1] = 9;  // nine sub-authorities in a 16-byte SID
  EXPECT_FALSE(IsValidAcl(acl));
}

// The list that nobody, root and adm's explicit entries make of a list holding an
// inherited entry for adm and an explicit one for root: null on failure.
PACL ListFromExplicitEntries() {
  std::vector<BYTE> root = UnixSid(1, 0), adm = UnixSid(2, 4);
  alignas(4) BYTE buffer[128];
  auto* old = reinterpret_cast<PACL>(buffer);
  EXPECT_TRUE(InitializeAcl(old, sizeof buffer, ACL_REVISION));
  EXPECT_TRUE(AddAccessAllowedAceEx(old, ACL_REVISION, INHERITED_ACE, GENERIC_READ, adm.data()));
  EXPECT_TRUE(AddAccessAllowedAce(old, ACL_REVISION, GENERIC_READ, root.data()));
  EXPLICIT_ACCESS_W entries[3];
  wchar_t nobodyName[] = L"nobody", rootName[] = L"root", admName[] = L"adm";
  BuildExplicitAccessWithNameW(&entries[0], nobodyName, GENERIC_READ, GRANT_ACCESS, NO_INHERITANCE);
  BuildExplicitAccessWithNameW(&entries[1], rootName, GENERIC_ALL, SET_ACCESS, NO_INHERITANCE);
  BuildExplicitAccessWithNameW(&entries[2], admName, GENERIC_WRITE, DENY_ACCESS, NO_INHERITANCE);
  PACL made = nullptr;
  EXPECT_EQ(SetEntriesInAclW(3, entries, old, &made), ERROR_SUCCESS);
  return made;
}

TEST(Security, ExplicitEntriesChangeAListInWindowsOrder) {
  std::vector<BYTE> root = UnixSid(1, 0), adm = UnixSid(2, 4), nobody = UnixSid(1, 65534);
  PACL made = ListFromExplicitEntries();
  ASSERT_NE(made, nullptr);
  // Denying, then allowing (in the order the entries made them), then inherited.
  struct Expected {
    BYTE type, flags;
    ACCESS_MASK mask;
    std::vector<BYTE>* sid;
  } expected[] = {{ACCESS_DENIED_ACE_TYPE, 0, GENERIC_WRITE, &adm},
                  {ACCESS_ALLOWED_ACE_TYPE, 0, GENERIC_READ, &nobody},
                  {ACCESS_ALLOWED_ACE_TYPE, 0, GENERIC_ALL, &root},
                  {ACCESS_ALLOWED_ACE_TYPE, INHERITED_ACE, GENERIC_READ, &adm}};
  ASSERT_EQ(made->AceCount, 4);
  for (DWORD i = 0; i < 4; ++i) {
    void* ace = nullptr;
    ASSERT_TRUE(GetAce(made, i, &ace));
    const auto* allowed = static_cast<ACCESS_ALLOWED_ACE*>(ace);
    EXPECT_EQ(allowed->Header.AceType, expected[i].type) << i;
    EXPECT_EQ(allowed->Header.AceFlags, expected[i].flags) << i;
    EXPECT_EQ(allowed->Mask, expected[i].mask) << i;
    EXPECT_TRUE(EqualSid(static_cast<BYTE*>(ace) + 8, expected[i].sid->data())) << i;
  }
  LocalFree(made);
}

// Granting more to an allowing entry adds to it; revoking removes every explicit
// entry of the account, and its inherited one stays.
TEST(Security, GrantingAddsToAnEntryAndRevokingRemovesTheExplicitOnes) {
  PACL made = ListFromExplicitEntries();
  ASSERT_NE(made, nullptr);
  EXPLICIT_ACCESS_W entries[2];
  wchar_t nobodyName[] = L"nobody", admName[] = L"adm";
  BuildExplicitAccessWithNameW(&entries[0], nobodyName, GENERIC_EXECUTE, GRANT_ACCESS, NO_INHERITANCE);
  BuildExplicitAccessWithNameW(&entries[1], admName, 0, REVOKE_ACCESS, NO_INHERITANCE);
  PACL again = nullptr;
  ASSERT_EQ(SetEntriesInAclW(2, entries, made, &again), ERROR_SUCCESS);
  ASSERT_EQ(again->AceCount, 3);  // the inherited adm entry stays
  void* ace = nullptr;
  ASSERT_TRUE(GetAce(again, 0, &ace));
  EXPECT_EQ(static_cast<ACCESS_ALLOWED_ACE*>(ace)->Mask, GENERIC_READ | GENERIC_EXECUTE);
  LocalFree(made);
  LocalFree(again);
}

TEST(Security, AnUnknownAccountMapsToNothing) {
  EXPLICIT_ACCESS_W entry;
  wchar_t unknown[] = L"no-such-account-kw";
  BuildExplicitAccessWithNameW(&entry, unknown, GENERIC_READ, GRANT_ACCESS, NO_INHERITANCE);
  PACL made = nullptr;
  EXPECT_EQ(SetEntriesInAclW(1, &entry, nullptr, &made), ERROR_NONE_MAPPED);
}

}  // namespace
