// A service's access list as a polkit rule. The rule lets the users and groups
// the list allows start and stop the unit (and restart it, given both), refusing
// those it denies, in the list's order; the list itself is kept in the rule's
// first lines, so that reading it back gives exactly what was written.
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/atomicfile.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/service.h>

#include "processchoice.h"
#include "relativedescriptor.h"
#include "servicehandle.h"

namespace {

constexpr char kListMark[] = "// access list: ";
constexpr DWORD kEveryoneRead = SERVICE_QUERY_CONFIG | SERVICE_QUERY_STATUS | SERVICE_ENUMERATE_DEPENDENTS |
                                SERVICE_INTERROGATE | 0x100 | READ_CONTROL;

kwplat::ProcessChoice g_rules("KWLIB63_POLKIT_RULES", "/etc/polkit-1/rules.d");

std::string RuleFile(const std::string& unit) { return g_rules.Get() + "/60-kwlib63-" + unit + ".rules"; }

BOOL Fail(DWORD error) {
  kwplat::SetLastError(error);
  return FALSE;
}

// Root may do everything and everyone may look, as systemd lets them.
std::vector<BYTE> DefaultList() {
  std::vector<BYTE> acl(256);
  auto* list = reinterpret_cast<PACL>(acl.data());
  kwplat::InitializeAcl(list, static_cast<DWORD>(acl.size()), ACL_REVISION);
  BYTE root[] = {1, 2, 0, 0, 0, 0, 0, 22, 1, 0, 0, 0, 0, 0, 0, 0};
  BYTE everyone[] = {1, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0};
  kwplat::AddAccessAllowedAce(list, ACL_REVISION, SERVICE_ALL_ACCESS, root);
  kwplat::AddAccessAllowedAce(list, ACL_REVISION, kEveryoneRead, everyone);
  DWORD used = sizeof(ACL);
  for (DWORD i = 0; i < list->AceCount; ++i) {
    void* ace = nullptr;
    kwplat::GetAce(list, i, &ace);
    used += static_cast<ACE_HEADER*>(ace)->AceSize;
  }
  list->AclSize = static_cast<WORD>(used);
  acl.resize(used);
  return acl;
}

// The list kept in the unit's rule ("none": no list at all), the default without
// a rule; false with the last error set for a rule that cannot be read back.
bool ReadList(const std::string& unit, std::vector<BYTE>& acl, bool& present) {
  const std::string file = RuleFile(unit);
  struct stat st {};
  present = true;
  if (stat(file.c_str(), &st) != 0) {
    if (errno != ENOENT) return Fail(kwplat::Win32ErrorFromErrno(errno));
    acl = DefaultList();
    return true;
  }
  std::ifstream in(file);
  std::string line;
  while (std::getline(in, line)) {
    if (line.rfind(kListMark, 0) != 0) continue;
    const std::string hex = line.substr(sizeof kListMark - 1);
    if (hex == "none") {
      present = false;
      acl.clear();
      return true;
    }
    acl.clear();
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
      acl.push_back(static_cast<BYTE>(std::strtoul(hex.substr(i, 2).c_str(), nullptr, 16)));
    }
    if (acl.size() >= sizeof(ACL) && hex.size() == 2 * acl.size() &&
        reinterpret_cast<const ACL*>(acl.data())->AclSize == acl.size() &&
        kwplat::IsValidAcl(reinterpret_cast<PACL>(acl.data()))) {
      return true;
    }
    break;
  }
  return Fail(in.is_open() ? ERROR_INVALID_ACL : ERROR_ACCESS_DENIED);
}

std::string Quoted(const std::string& text) {
  std::string out = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out + "\"";
}

// The polkit test for the account a SID names; empty for one that is not mapped.
std::string SubjectTest(const BYTE* sid) {
  DWORD sub[2] = {};
  const int count = sid[1];
  std::memcpy(sub, sid + 8, 4 * std::min(count, 2));
  if (count == 1 && sid[7] == 1 && sub[0] == 0) return "true";
  if (count != 2 || sid[7] != 22 || (sub[0] != 1 && sub[0] != 2)) return {};
  std::vector<char> buffer(16384);
  if (sub[0] == 1) {
    passwd entry{}, *found = nullptr;
    if (getpwuid_r(sub[1], &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) return {};
    return "subject.user == " + Quoted(found->pw_name);
  }
  group entry{}, *found = nullptr;
  if (getgrgid_r(sub[1], &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) return {};
  return "subject.isInGroup(" + Quoted(found->gr_name) + ")";
}

// The systemd verbs a mask allows.
std::string Verbs(ACCESS_MASK mask) {
  const bool all = (mask & GENERIC_ALL) != 0 || (mask & SERVICE_ALL_ACCESS) == SERVICE_ALL_ACCESS;
  const bool start = all || (mask & SERVICE_START) != 0;
  const bool stop = all || (mask & SERVICE_STOP) != 0;
  std::string verbs;
  const auto add = [&verbs](const char* verb) { verbs += (verbs.empty() ? "\"" : ", \"") + std::string(verb) + "\""; };
  if (start) add("start");
  if (stop) add("stop");
  if (start && stop) add("restart"), add("try-restart");
  if (all) add("reload"), add("reload-or-restart"), add("reload-or-try-restart");
  return verbs;
}

// The rule for `acl` (not present: no list, which lets everyone do everything); empty with
// the last error set when an entry cannot be expressed.
std::string Rule(const std::string& unit, const std::vector<BYTE>& acl, bool present) {
  std::ostringstream rule;
  rule << "// The access list of " << unit << ", written by kwlib63; the line below is read back.\n" << kListMark;
  static constexpr char kHex[] = "0123456789abcdef";
  if (!present) rule << "none";
  for (BYTE b : acl) rule << kHex[b >> 4] << kHex[b & 15];
  rule << "\npolkit.addRule(function(action, subject) {\n"
       << "  if (action.id != \"org.freedesktop.systemd1.manage-units\" || action.lookup(\"unit\") != " << Quoted(unit)
       << ") return null;\n"
       << "  var verb = action.lookup(\"verb\");\n";
  if (!present) rule << "  return polkit.Result.YES;\n";
  const auto* list = reinterpret_cast<const ACL*>(acl.data());
  for (DWORD i = 0; present && i < list->AceCount; ++i) {
    void* ace = nullptr;
    kwplat::GetAce(const_cast<PACL>(list), i, &ace);
    const BYTE* bytes = static_cast<const BYTE*>(ace);
    const BYTE type = bytes[0];
    if (type != ACCESS_ALLOWED_ACE_TYPE && type != ACCESS_DENIED_ACE_TYPE) {
      Fail(ERROR_NOT_SUPPORTED);
      return {};
    }
    ACCESS_MASK mask;
    std::memcpy(&mask, bytes + 4, sizeof mask);
    const std::string subject = SubjectTest(bytes + 8);
    if (subject.empty()) {
      Fail(ERROR_NONE_MAPPED);
      return {};
    }
    const std::string verbs = Verbs(mask);
    if (verbs.empty()) continue;
    rule << "  if (" << subject << " && [" << verbs << "].indexOf(verb) >= 0) return polkit.Result."
         << (type == ACCESS_ALLOWED_ACE_TYPE ? "YES" : "NO") << ";\n";
  }
  rule << "  return null;\n});\n";
  return rule.str();
}

}  // namespace

void ServiceSetRulesFolder(LPCWSTR folder) { g_rules.Set(folder); }

namespace kwplat {

BOOL QueryServiceObjectSecurity(SC_HANDLE handle, SECURITY_INFORMATION information, PSECURITY_DESCRIPTOR descriptor,
                                DWORD size, LPDWORD needed) {
  const std::shared_ptr<ServiceObject> service = ServiceWith(handle, READ_CONTROL);
  if (service == nullptr) return FALSE;
  if (information != DACL_SECURITY_INFORMATION || needed == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  std::vector<BYTE> acl;
  bool present = true;
  if (!ReadList(service->unit, acl, present)) return FALSE;
  return WriteRelativeDescriptor({}, {}, present ? &acl : nullptr, descriptor, size, needed);
}

BOOL SetServiceObjectSecurity(SC_HANDLE handle, SECURITY_INFORMATION information, PSECURITY_DESCRIPTOR descriptor) {
  const std::shared_ptr<ServiceObject> service = ServiceWith(handle, WRITE_DAC);
  if (service == nullptr) return FALSE;
  if (information != DACL_SECURITY_INFORMATION || descriptor == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  BOOL present = FALSE, defaulted = FALSE;
  PACL dacl = nullptr;
  if (!GetSecurityDescriptorDacl(descriptor, &present, &dacl, &defaulted)) return FALSE;
  std::vector<BYTE> acl;
  if (present && dacl != nullptr) {
    if (!IsValidAcl(dacl)) return Fail(ERROR_INVALID_ACL);
    acl.assign(reinterpret_cast<const BYTE*>(dacl), reinterpret_cast<const BYTE*>(dacl) + dacl->AclSize);
  }
  const std::string rule = Rule(service->unit, acl, present && dacl != nullptr);
  if (rule.empty()) return FALSE;
  const std::string target = RuleFile(service->unit);
  struct stat old {};
  const bool exists = stat(target.c_str(), &old) == 0;
  if (!ReplaceFile(target, rule, exists ? &old : nullptr)) return Fail(Win32ErrorFromErrno(errno));
  return TRUE;
}

}  // namespace kwplat
