// kwlib acl: a file's access list as the library's security calls see it, and
// entries added through the sharing manager.
#include <grp.h>
#include <pwd.h>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <vector>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/security.h>
#include <kwlib63/system/sharingmanager.h>

#include "command.h"
#include "dispatch.h"

namespace {

DWORD Sub(const BYTE* sid, int i) {
  DWORD value;
  std::memcpy(&value, sid + 8 + 4 * i, 4);
  return value;
}

// "S-1-22-1-1000" and the account it stands for here.
std::string SidText(const BYTE* sid, std::string& account) {
  unsigned long long authority = 0;
  for (int i = 2; i < 8; ++i) authority = authority << 8 | sid[i];
  std::string text = "S-1-" + std::to_string(authority);
  for (int i = 0; i < sid[1]; ++i) text += "-" + std::to_string(Sub(sid, i));
  account = "?";
  if (authority == 1 && sid[1] == 1 && Sub(sid, 0) == 0) account = "Everyone";
  if (authority == 22 && sid[1] == 2 && Sub(sid, 0) == 1) {
    const passwd* user = getpwuid(Sub(sid, 1));
    account = user != nullptr ? user->pw_name : "uid " + std::to_string(Sub(sid, 1));
  }
  if (authority == 22 && sid[1] == 2 && Sub(sid, 0) == 2) {
    const group* g = getgrgid(Sub(sid, 1));
    account = g != nullptr ? g->gr_name : "gid " + std::to_string(Sub(sid, 1));
  }
  return text;
}

// A mask given as a number or as letters: F (all), R, W, X.
unsigned long ParseMask(const std::string& text) {
  if (!text.empty() && std::isdigit(static_cast<unsigned char>(text[0]))) {
    return kwlib::ParseNumber(text, 0xFFFFFFFFul, "access mask");
  }
  const kwlib::UsageError invalid("invalid access mask '" + text + "' (a number, or letters of F, R, W, X)");
  unsigned long mask = 0;
  for (char c : text) {
    switch (std::toupper(static_cast<unsigned char>(c))) {
      case 'F': mask |= GENERIC_ALL; break;
      case 'R': mask |= GENERIC_READ; break;
      case 'W': mask |= GENERIC_WRITE; break;
      case 'X': mask |= GENERIC_EXECUTE; break;
      default: throw invalid;
    }
  }
  if (mask == 0) throw invalid;
  return mask;
}


int Show(const std::vector<std::string>& words, const kwlib::Call& call) {
  const std::string& file = words[0];
  const std::wstring path = kwfw::Utf8ToWide(file);
  DWORD needed = 0;
  kwplat::GetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, nullptr, 0, &needed);
  if (kwplat::GetLastError() != ERROR_INSUFFICIENT_BUFFER) return kwlib::SystemFailure(call.err, "acl: " + file, kwplat::GetLastError());
  std::vector<BYTE> descriptor(needed);
  if (!kwplat::GetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, descriptor.data(), needed, &needed)) {
    return kwlib::SystemFailure(call.err, "acl: " + file, kwplat::GetLastError());
  }
  BOOL present = FALSE, defaulted = FALSE;
  PACL dacl = nullptr;
  kwplat::GetSecurityDescriptorDacl(descriptor.data(), &present, &dacl, &defaulted);
  for (DWORD i = 0; present && dacl != nullptr && i < dacl->AceCount; ++i) {
    void* ace = nullptr;
    kwplat::GetAce(dacl, i, &ace);
    const auto* entry = static_cast<const ACCESS_ALLOWED_ACE*>(ace);
    std::string account;
    const std::string sid = SidText(static_cast<const BYTE*>(ace) + 8, account);
    char mask[16];
    std::snprintf(mask, sizeof mask, "0x%06X", entry->Mask);
    call.out << (entry->Header.AceType == ACCESS_ALLOWED_ACE_TYPE ? "allow" : "deny") << "\t" << sid << "\t" << account
        << "\t" << mask << ((entry->Header.AceFlags & INHERIT_ONLY_ACE) != 0 ? "\tinherited by new files" : "")
        << "\n";
  }
  return kwlib::kExitOk;
}

// add FILE ACCOUNT MASK, or add FILE MASK with --everyone.
int Add(const std::vector<std::string>& words, const kwlib::Call& call) {
  const bool everyone = call.arguments.Has("--everyone");
  const std::size_t want = everyone ? 2 : 3;
  if (words.size() != want) throw kwlib::WrongCount{want, want};
  std::wstring file = kwfw::Utf8ToWide(words[0]);
  std::wstring account = everyone ? L"" : kwfw::Utf8ToWide(words[1]);
  const unsigned long mask = ParseMask(words.back());
  std::cout.flush();
  // The sharing manager reports a failing step on standard output itself.
  return AfxAddAccessRights(file.data(), everyone ? nullptr : account.data(), mask, everyone ? TRUE : FALSE) == 1
             ? kwlib::kExitOk
             : kwlib::kExitFailure;
}

const kwlib::SubCommand<> kTable[] = {
    {{"show", 1, 1, "kwlib acl show FILE"}, &Show},
    {{"add", 2, 3, "kwlib acl add FILE ACCOUNT MASK\nkwlib acl add FILE --everyone MASK"}, &Add},
};

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  return kwlib::Dispatch(kTable, args, {.flags = {"--everyone"}}, out, err);
}

KWLIB_COMMAND(kAcl, "acl", "show a file's access list, or add an entry to it", kwlib::SyntaxOf(kTable),
              "show prints the file's access list as Windows entries: allow or deny, the SID,\n"
              "the account, the access mask, and for a folder's default ACL that new files\n"
              "inherit it. add gives ACCOUNT (a user or group of this system, or GUEST) or\n"
              "Everyone the rights MASK, replacing the account's own entries: MASK is a number\n"
              "(0x1F01FF) or letters of F (all), R (read), W (write) and X (execute).\n",
              Run);

}  // namespace
