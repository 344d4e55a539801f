// Files' access lists as Windows descriptors, on POSIX ACLs through libacl.
#include <acl/libacl.h>
#include <sys/acl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/security.h>

#include "relativedescriptor.h"

namespace kwplat {
namespace {

constexpr BYTE kInheritable = OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE | INHERIT_ONLY_ACE;

BOOL Fail(DWORD error) {
  SetLastError(error);
  return FALSE;
}

// rwx as a Windows mask, and back. Generic rights count as their file rights.
ACCESS_MASK MaskOf(bool read, bool write, bool execute) {
  if (read && write && execute) return FILE_ALL_ACCESS;
  return (read ? FILE_GENERIC_READ : 0) | (write ? FILE_GENERIC_WRITE | DELETE : 0) |
         (execute ? FILE_GENERIC_EXECUTE : 0);
}

int PermsOf(ACCESS_MASK mask) {
  if ((mask & GENERIC_ALL) != 0) return 7;
  int perms = 0;
  if ((mask & (GENERIC_READ | FILE_READ_DATA)) != 0) perms |= 4;
  if ((mask & (GENERIC_WRITE | FILE_WRITE_DATA | FILE_APPEND_DATA)) != 0) perms |= 2;
  if ((mask & (GENERIC_EXECUTE | FILE_EXECUTE)) != 0) perms |= 1;
  return perms;
}

std::vector<BYTE> Sid(std::uint8_t authority, std::initializer_list<DWORD> subs) {
  std::vector<BYTE> sid = {1, static_cast<BYTE>(subs.size()), 0, 0, 0, 0, 0, authority};
  for (DWORD sub : subs) {
    for (int i = 0; i < 4; ++i) sid.push_back(static_cast<BYTE>(sub >> (8 * i)));
  }
  return sid;
}

DWORD Sub(const BYTE* sid, int i) {
  DWORD value;
  std::memcpy(&value, sid + 8 + 4 * i, 4);
  return value;
}

struct Entry {
  acl_tag_t tag;
  unsigned id;  // for ACL_USER and ACL_GROUP
  int perms;
};

// The entry a SID stands for on a file of owner `uid` and group `gid`.
std::optional<Entry> EntryOf(const BYTE* sid, uid_t uid, gid_t gid) {
  const int count = sid[1];
  const bool unix = count == 2 && std::memcmp(sid + 2, "\0\0\0\0\0\x16", 6) == 0;
  if (count == 1 && std::memcmp(sid + 2, "\0\0\0\0\0\x01", 6) == 0 && Sub(sid, 0) == 0) return Entry{ACL_OTHER, 0, 0};
  if (unix && Sub(sid, 0) == 1) {
    const DWORD id = Sub(sid, 1);
    return id == uid ? Entry{ACL_USER_OBJ, 0, 0} : Entry{ACL_USER, id, 0};
  }
  if (unix && Sub(sid, 0) == 2) {
    const DWORD id = Sub(sid, 1);
    return id == gid ? Entry{ACL_GROUP_OBJ, 0, 0} : Entry{ACL_GROUP, id, 0};
  }
  return std::nullopt;
}

// The entries of an ACL, with their effective rights.
std::vector<Entry> Entries(acl_t acl) {
  std::vector<Entry> entries;
  int mask = 7;
  acl_entry_t entry;
  for (int which = ACL_FIRST_ENTRY; acl_get_entry(acl, which, &entry) == 1; which = ACL_NEXT_ENTRY) {
    acl_tag_t tag;
    acl_permset_t permset;
    acl_get_tag_type(entry, &tag);
    acl_get_permset(entry, &permset);
    const int perms = (acl_get_perm(permset, ACL_READ) == 1 ? 4 : 0) | (acl_get_perm(permset, ACL_WRITE) == 1 ? 2 : 0) |
                      (acl_get_perm(permset, ACL_EXECUTE) == 1 ? 1 : 0);
    if (tag == ACL_MASK) {
      mask = perms;
      continue;
    }
    unsigned id = 0;
    if (tag == ACL_USER || tag == ACL_GROUP) {
      void* qualifier = acl_get_qualifier(entry);
      id = tag == ACL_USER ? *static_cast<uid_t*>(qualifier) : *static_cast<gid_t*>(qualifier);
      acl_free(qualifier);
    }
    entries.push_back({tag, id, perms});
  }
  // The mask limits the group class: named users, the owning group, named groups.
  for (Entry& e : entries) {
    if (e.tag == ACL_USER || e.tag == ACL_GROUP || e.tag == ACL_GROUP_OBJ) e.perms &= mask;
  }
  return entries;
}

std::vector<BYTE> SidOf(const Entry& e, uid_t uid, gid_t gid) {
  switch (e.tag) {
    case ACL_USER_OBJ: return Sid(22, {1, static_cast<DWORD>(uid)});
    case ACL_USER: return Sid(22, {1, e.id});
    case ACL_GROUP_OBJ: return Sid(22, {2, static_cast<DWORD>(gid)});
    case ACL_GROUP: return Sid(22, {2, e.id});
    default: return Sid(1, {0});
  }
}

void AppendAces(std::vector<BYTE>& aces, WORD& count, const std::vector<Entry>& entries, BYTE flags, uid_t uid,
                gid_t gid) {
  for (const Entry& e : entries) {
    const std::vector<BYTE> sid = SidOf(e, uid, gid);
    const ACE_HEADER header{ACCESS_ALLOWED_ACE_TYPE, flags, static_cast<WORD>(8 + sid.size())};
    const ACCESS_MASK mask = MaskOf(e.perms & 4, e.perms & 2, e.perms & 1);
    const std::size_t at = aces.size();
    aces.resize(at + header.AceSize);
    std::memcpy(&aces[at], &header, sizeof header);
    std::memcpy(&aces[at + 4], &mask, 4);
    std::memcpy(&aces[at + 8], sid.data(), sid.size());
    ++count;
  }
}

// An ACL made of `entries` (merged by who they are for), with its mask computed.
acl_t Build(const std::vector<Entry>& entries) {
  acl_t acl = acl_init(static_cast<int>(entries.size()) + 1);
  // The owner, group and other entries always exist; one left out has no rights.
  for (acl_tag_t required : {ACL_USER_OBJ, ACL_GROUP_OBJ, ACL_OTHER}) {
    if (std::none_of(entries.begin(), entries.end(), [required](const Entry& e) { return e.tag == required; })) {
      acl_entry_t entry;
      acl_create_entry(&acl, &entry);
      acl_set_tag_type(entry, required);
    }
  }
  for (const Entry& e : entries) {
    acl_entry_t entry = nullptr;
    // An entry for the same account gathers the rights of both.
    acl_entry_t existing;
    for (int which = ACL_FIRST_ENTRY; acl_get_entry(acl, which, &existing) == 1; which = ACL_NEXT_ENTRY) {
      acl_tag_t tag;
      acl_get_tag_type(existing, &tag);
      if (tag != e.tag) continue;
      if (tag == ACL_USER || tag == ACL_GROUP) {
        void* qualifier = acl_get_qualifier(existing);
        const unsigned id = *static_cast<unsigned*>(qualifier);
        acl_free(qualifier);
        if (id != e.id) continue;
      }
      entry = existing;
      break;
    }
    if (entry == nullptr) {
      acl_create_entry(&acl, &entry);
      acl_set_tag_type(entry, e.tag);
      if (e.tag == ACL_USER || e.tag == ACL_GROUP) acl_set_qualifier(entry, &e.id);
    }
    acl_permset_t permset;
    acl_get_permset(entry, &permset);
    if (e.perms & 4) acl_add_perm(permset, ACL_READ);
    if (e.perms & 2) acl_add_perm(permset, ACL_WRITE);
    if (e.perms & 1) acl_add_perm(permset, ACL_EXECUTE);
    acl_set_permset(entry, permset);
  }
  // Only an ACL with named entries has a mask; a minimal one is the mode bits.
  if (std::any_of(entries.begin(), entries.end(), [](const Entry& e) { return e.tag == ACL_USER || e.tag == ACL_GROUP; })) {
    acl_calc_mask(&acl);
  }
  return acl;
}

}  // namespace

BOOL GetFileSecurityW(LPCWSTR path, SECURITY_INFORMATION requested, PSECURITY_DESCRIPTOR descriptor, DWORD length,
                      LPDWORD needed) {
  if (path == nullptr || needed == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  const std::string file = kwfw::WideToUtf8(path);
  struct stat st {};
  if (stat(file.c_str(), &st) != 0) return Fail(SetLastErrorFromErrno());
  std::vector<BYTE> aces;
  WORD count = 0;
  if ((requested & DACL_SECURITY_INFORMATION) != 0) {
    acl_t access = acl_get_file(file.c_str(), ACL_TYPE_ACCESS);
    if (access == nullptr) return Fail(SetLastErrorFromErrno());
    AppendAces(aces, count, Entries(access), 0, st.st_uid, st.st_gid);
    acl_free(access);
    if (S_ISDIR(st.st_mode)) {
      if (acl_t inherited = acl_get_file(file.c_str(), ACL_TYPE_DEFAULT)) {
        AppendAces(aces, count, Entries(inherited), kInheritable, st.st_uid, st.st_gid);
        acl_free(inherited);
      }
    }
  }
  const std::vector<BYTE> owner = (requested & OWNER_SECURITY_INFORMATION) != 0 ? Sid(22, {1, st.st_uid}) : std::vector<BYTE>();
  const std::vector<BYTE> group = (requested & GROUP_SECURITY_INFORMATION) != 0 ? Sid(22, {2, st.st_gid}) : std::vector<BYTE>();
  const std::vector<BYTE> dacl = MakeAcl(aces, count);
  return WriteRelativeDescriptor(owner, group, (requested & DACL_SECURITY_INFORMATION) != 0 ? &dacl : nullptr,
                                 descriptor, length, needed);
}

BOOL SetFileSecurityW(LPCWSTR path, SECURITY_INFORMATION information, PSECURITY_DESCRIPTOR descriptor) {
  if (path == nullptr || descriptor == nullptr) return Fail(ERROR_INVALID_PARAMETER);
  if ((information & DACL_SECURITY_INFORMATION) == 0) return TRUE;
  BOOL present = FALSE, defaulted = FALSE;
  PACL dacl = nullptr;
  if (!GetSecurityDescriptorDacl(descriptor, &present, &dacl, &defaulted)) return FALSE;
  if (present && dacl != nullptr && !IsValidAcl(dacl)) return Fail(ERROR_INVALID_ACL);
  const std::string file = kwfw::WideToUtf8(path);
  struct stat st {};
  if (stat(file.c_str(), &st) != 0) return Fail(SetLastErrorFromErrno());
  std::vector<Entry> access, inherited;
  // No list at all means everyone may do everything, as on Windows.
  if (!present || dacl == nullptr) {
    access = {{ACL_USER_OBJ, 0, 7}, {ACL_GROUP_OBJ, 0, 7}, {ACL_OTHER, 0, 7}};
  } else {
    for (DWORD i = 0; i < dacl->AceCount; ++i) {
      void* ace = nullptr;
      if (!GetAce(dacl, i, &ace)) return FALSE;
      ACE_HEADER header;
      ACCESS_MASK mask;
      std::memcpy(&header, ace, sizeof header);
      std::memcpy(&mask, static_cast<const BYTE*>(ace) + sizeof header, sizeof mask);
      if (header.AceType != ACCESS_ALLOWED_ACE_TYPE) return Fail(ERROR_NOT_SUPPORTED);
      std::optional<Entry> entry = EntryOf(static_cast<const BYTE*>(ace) + 8, st.st_uid, st.st_gid);
      if (!entry) return Fail(ERROR_NONE_MAPPED);
      entry->perms = PermsOf(mask);
      const BYTE flags = header.AceFlags;
      if ((flags & INHERIT_ONLY_ACE) == 0) access.push_back(*entry);
      if ((flags & (OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE)) != 0 && S_ISDIR(st.st_mode)) inherited.push_back(*entry);
    }
  }
  acl_t made = Build(access);
  const int result = acl_set_file(file.c_str(), ACL_TYPE_ACCESS, made);
  acl_free(made);
  if (result != 0) return Fail(SetLastErrorFromErrno());
  if (S_ISDIR(st.st_mode)) {
    int done = 0;
    if (inherited.empty()) {
      done = acl_delete_def_file(file.c_str());
    } else {
      acl_t defaults = Build(inherited);
      done = acl_set_file(file.c_str(), ACL_TYPE_DEFAULT, defaults);
      acl_free(defaults);
    }
    if (done != 0) return Fail(SetLastErrorFromErrno());
  }
  return TRUE;
}

}  // namespace kwplat
