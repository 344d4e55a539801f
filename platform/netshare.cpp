#include <kwlib63/platform/netshare.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <string>
#include <string_view>
#include <vector>

#include <kwlib63/framework/casefold.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/event.h>
#include <kwlib63/platform/handle.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/memory.h>
#include <kwlib63/platform/process.h>
#include <kwlib63/platform/uniquefd.h>

#include "processchoice.h"

namespace kwplat {
namespace {

kwplat::ProcessChoice g_config("KWLIB63_SMB_CONF", "");

struct Share {
  std::wstring name, path, comment, acl;
  bool guests = false;
  bool configured = false;  // defined in smb.conf, not a user share
};

struct Result {
  DWORD exitCode = 1;
  std::string out, err;
};

std::string ReadAll(HANDLE pipe) {
  std::string text;
  char buffer[4096];
  DWORD read = 0;
  while (ReadFile(pipe, buffer, sizeof buffer, &read, nullptr) && read > 0) text.append(buffer, read);
  return text;
}

// Runs a Samba command and collects its answers.
Result Run(const std::vector<std::wstring>& line) {
  std::wstring commandLine = JoinCommandLine(line);

  Result result;
  HANDLE outRead = nullptr, outWrite = nullptr, errRead = nullptr, errWrite = nullptr;
  CreatePipe(&outRead, &outWrite, nullptr, 0);
  CreatePipe(&errRead, &errWrite, nullptr, 0);
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = outWrite;
  startup.hStdError = errWrite;
  PROCESS_INFORMATION information{};
  const BOOL started = CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                                      &startup, &information);
  CloseHandle(outWrite);
  CloseHandle(errWrite);
  if (started) {
    // net writes little to its error stream; its output is read to the end first.
    result.out = ReadAll(outRead);
    result.err = ReadAll(errRead);
    WaitForSingleObject(information.hProcess, INFINITE);
    GetExitCodeProcess(information.hProcess, &result.exitCode);
    CloseHandle(information.hProcess);
  } else {
    result.err = kwfw::WideToUtf8(line.front()) + ": the Samba command is not installed";
  }
  CloseHandle(outRead);
  CloseHandle(errRead);
  return result;
}

// Runs `net [-s CONF] usershare COMMAND... -- OPERANDS...`. After "--" net reads
// no option, so a name, path or remark that begins with '-' stays what it is.
Result Net(const std::vector<std::wstring>& command, const std::vector<std::wstring>& operands) {
  const std::wstring config = kwfw::Utf8ToWide(g_config.Get());
  std::vector<std::wstring> line = {L"net"};
  if (!config.empty()) line.insert(line.end(), {L"-s", config});
  line.push_back(L"usershare");
  line.insert(line.end(), command.begin(), command.end());
  line.push_back(L"--");
  line.insert(line.end(), operands.begin(), operands.end());
  return Run(line);
}

// Runs `testparm -s OPTIONS... [CONF]`, which reads smb.conf as Samba does.
Result Testparm(const std::vector<std::wstring>& options) {
  const std::wstring config = kwfw::Utf8ToWide(g_config.Get());
  std::vector<std::wstring> line = {L"testparm", L"-s", L"--suppress-prompt"};
  line.insert(line.end(), options.begin(), options.end());
  if (!config.empty()) line.push_back(config);
  return Run(line);
}

// The folder Samba keeps user shares in, as smb.conf sets it; empty when unknown.
std::string UsershareFolder() {
  const Result r = Testparm({L"--parameter-name=usershare path"});
  if (r.exitCode != 0) return {};
  const std::size_t end = r.out.find('\n');
  return r.out.substr(0, end);
}

// An exclusive flock(2) on the usershare folder itself, held while the object
// lives. flock excludes every other open description of the folder, so each
// process of the machine, and each thread, that adds through this library to
// that folder waits for the others; `net` itself takes no lock. When the folder
// cannot be opened nothing is held: `net` then fails on the folder anyway.
class UsershareLock {
 public:
  explicit UsershareLock(const std::string& folder)
      : m_fd(folder.empty() ? -1 : open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (m_fd) {
      while (flock(m_fd.Get(), LOCK_EX) != 0 && errno == EINTR) {
      }
    }
  }

 private:
  const UniqueFd m_fd;  // closing it releases the lock
};

bool Contains(const std::string& text, const char* part) { return text.find(part) != std::string::npos; }

// The Windows result for a failed `net usershare` call, from what it said.
NET_API_STATUS Failure(const Result& r) {
  if (Contains(r.err, "is not a directory") || Contains(r.err, "does not exist") || Contains(r.err, "No such file")) {
    return Contains(r.err, "usershare directory") ? NERR_ServerNotStarted : NERR_UnknownDevDir;
  }
  if (Contains(r.err, "currently disabled") || Contains(r.err, "not installed") || Contains(r.err, "Can't load")) {
    return NERR_ServerNotStarted;
  }
  if (Contains(r.err, "maximum number")) return ERROR_TOO_MANY_NAMES;
  if (Contains(r.err, "invalid characters")) return ERROR_INVALID_NAME;
  if (Contains(r.err, "not permitted") || Contains(r.err, "Permission denied") || Contains(r.err, "not allowed")) {
    return ERROR_ACCESS_DENIED;
  }
  return NERR_NetNameNotFound;
}

std::wstring Trimmed(const std::wstring& text) {
  const std::size_t first = text.find_first_not_of(L" \t");
  if (first == std::wstring::npos) return L"";
  return text.substr(first, text.find_last_not_of(L" \t") - first + 1);
}

// The shares `net usershare info --long` ("key=value") or `testparm -s`
// ("key = value", the configuration's own names) describes, in its order.
std::vector<Share> Parse(const std::string& text) {
  std::vector<Share> shares;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    const std::wstring line = Trimmed(kwfw::Utf8ToWide(std::string_view(text).substr(start, end - start)));
    start = end + 1;
    if (line.size() > 2 && line.front() == L'[' && line.back() == L']') {
      Share share;
      share.name = line.substr(1, line.size() - 2);
      shares.push_back(share);
      continue;
    }
    const std::size_t equals = line.find(L'=');
    if (shares.empty() || equals == std::wstring::npos) continue;
    const std::wstring key = Trimmed(line.substr(0, equals)), value = Trimmed(line.substr(equals + 1));
    Share& share = shares.back();
    if (key == L"path") share.path = value;
    else if (key == L"comment") share.comment = value;
    else if (key == L"usershare_acl") share.acl = value;
    else if (key == L"guest_ok") share.guests = value == L"y";
    else if (key == L"read only") share.acl = value == L"No" ? L"S-1-1-0:F" : L"S-1-1-0:R";
    else if (key == L"guest ok") share.guests = value == L"Yes";
  }
  return shares;
}

// The shares smb.conf defines (user shares are not among them), as Samba reads
// the file; none when it cannot be read.
std::vector<Share> ConfiguredShares() {
  const Result r = Testparm({});
  if (r.exitCode != 0) return {};
  std::vector<Share> shares = Parse(r.out);
  std::erase_if(shares, [](const Share& s) { return s.name == L"global"; });
  for (Share& share : shares) {
    share.configured = true;
    if (share.acl.empty()) share.acl = L"S-1-1-0:R";  // read only unless it says otherwise
  }
  return shares;
}

bool Local(LPWSTR server) { return server == nullptr || *server == L'\0'; }

// The user shares Samba matches with `name` by its own rules (a pattern, without
// regard to case), or all of them for null, then the shares of its configuration:
// they take names and folders too.
std::vector<Share> SambaShares(const wchar_t* name, NET_API_STATUS& status) {
  std::vector<std::wstring> names;
  if (name != nullptr) names.push_back(name);
  const Result r = Net({L"info", L"--long"}, names);
  // A user share Samba cannot read back (made outside this library, say with a
  // line feed in its name) fails the command when it is the last one read; the
  // shares it could read are listed all the same.
  const bool unreadableSkipped = Contains(r.err, "not a well formed usershare file");
  status = r.exitCode == 0 || unreadableSkipped ? NERR_Success : Failure(r);
  std::vector<Share> shares = Parse(r.out);
  if (status == NERR_Success) {
    std::vector<Share> configured = ConfiguredShares();
    shares.insert(shares.end(), configured.begin(), configured.end());
  }
  return shares;
}

// The shares of that name by the library's fold, or all of them for null.
std::vector<Share> Find(const wchar_t* name, NET_API_STATUS& status) {
  std::vector<Share> shares = SambaShares(name, status);
  if (name != nullptr) {
    std::erase_if(shares, [name](const Share& s) { return !kwfw::EqualNoCase(s.name, name); });
  }
  return shares;
}

// Windows' limit on a share name (NNLEN), in UTF-16 units. 80 units are at most
// 240 bytes of UTF-8, so such a name also fits the file Samba keeps a share in.
inline constexpr std::size_t kMaxNameUnits = 80;

// NERR_Success for a name a share may take. ERROR_INVALID_NAME for one that
// Windows or Samba cannot take: characters either side refuses ('%' is Samba's,
// the brackets Windows'); control characters (a line feed splits the name in
// Samba's record and lists, so the share could not be found again); more than
// kMaxNameUnits; "." and ".." (a user share is a file named by the share); and
// the sections smb.conf reads as no share of a folder (global, homes, printers).
// NERR_DuplicateShare for IPC$, which Samba always serves.
NET_API_STATUS CheckName(std::wstring_view name) {
  if (name.find_first_of(L"%<>*?|/\\+=;:\",[]") != std::wstring_view::npos) return ERROR_INVALID_NAME;
  std::size_t units = 0;
  for (const wchar_t c : name) {
    if (c < 0x20 || (c >= 0x7F && c <= 0x9F)) return ERROR_INVALID_NAME;
    units += static_cast<std::uint32_t>(c) > 0xFFFF ? 2 : 1;
  }
  if (units > kMaxNameUnits || name == L"." || name == L"..") return ERROR_INVALID_NAME;
  for (const wchar_t* section : {L"global", L"homes", L"printers"}) {
    if (kwfw::EqualNoCase(name, section)) return ERROR_INVALID_NAME;
  }
  return kwfw::EqualNoCase(name, L"IPC$") ? NERR_DuplicateShare : NERR_Success;
}

// One block holding the records and, after them, their texts.
LPBYTE Pack(const std::vector<Share>& shares, DWORD level) {
  const std::size_t recordSize = level == 0 ? sizeof(SHARE_INFO_0) : sizeof(SHARE_INFO_2);
  std::size_t textSize = 0;
  for (const Share& s : shares) textSize += (s.name.size() + s.comment.size() + s.path.size() + 4) * sizeof(wchar_t);
  auto* block = static_cast<BYTE*>(LocalAlloc(LPTR, recordSize * shares.size() + textSize));
  if (block == nullptr) return nullptr;
  auto* text = reinterpret_cast<wchar_t*>(block + recordSize * shares.size());
  auto place = [&text](const std::wstring& value) {
    wchar_t* at = text;
    std::wmemcpy(at, value.c_str(), value.size() + 1);
    text += value.size() + 1;
    return at;
  };
  for (std::size_t i = 0; i < shares.size(); ++i) {
    const Share& s = shares[i];
    if (level == 0) {
      reinterpret_cast<SHARE_INFO_0*>(block)[i] = {place(s.name)};
      continue;
    }
    // Everyone with full rights reads as every right; read-only as read.
    const bool full = s.acl.find(L":F") != std::wstring::npos;
    reinterpret_cast<SHARE_INFO_2*>(block)[i] = {place(s.name), STYPE_DISKTREE, place(s.comment),
                                                 full ? ACCESS_ALL : ACCESS_READ, MAX_PREFERRED_LENGTH, 0,
                                                 place(s.path), place(L"")};
  }
  return block;
}

}  // namespace

void NetShareSetConfigFile(LPCWSTR path) {
  g_config.Set(path);
}

NET_API_STATUS NetShareAdd(LPWSTR server, DWORD level, LPBYTE buffer, LPDWORD parameterError) {
  if (!Local(server)) return ERROR_BAD_NETPATH;
  if (level != 2) return ERROR_INVALID_LEVEL;
  if (buffer == nullptr) return ERROR_INVALID_PARAMETER;
  const auto* info = reinterpret_cast<const SHARE_INFO_2*>(buffer);
  if (parameterError != nullptr) *parameterError = 0;
  if (info->shi2_netname == nullptr || *info->shi2_netname == L'\0' || info->shi2_path == nullptr) {
    return ERROR_INVALID_PARAMETER;
  }
  const NET_API_STATUS named = CheckName(info->shi2_netname);
  if (named != NERR_Success) return named;
  struct stat st {};
  if (stat(kwfw::WideToUtf8(info->shi2_path).c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) return NERR_UnknownDevDir;
  // Samba would replace a user share it takes for the same name, by its rules or
  // ours; Windows refuses it. The name has no pattern characters, so every user
  // share Samba matches is one. The check and the add are one step under the
  // folder's lock, so of two adds of one name, from any processes, one is refused.
  const UsershareLock lock(UsershareFolder());
  NET_API_STATUS status = NERR_Success;
  std::vector<Share> taken = SambaShares(info->shi2_netname, status);
  if (std::any_of(taken.begin(), taken.end(), [info](const Share& s) {
        return !s.configured || kwfw::EqualNoCase(s.name, info->shi2_netname);
      })) {
    return NERR_DuplicateShare;
  }
  const bool writable = (info->shi2_permissions & (ACCESS_WRITE | ACCESS_CREATE | ACCESS_DELETE)) != 0 ||
                        info->shi2_permissions == 0;
  std::vector<std::wstring> words = {info->shi2_netname, info->shi2_path,
                                     info->shi2_remark != nullptr ? info->shi2_remark : L"",
                                     writable ? L"S-1-1-0:F" : L"S-1-1-0:R", L"guest_ok=y"};
  Result r = Net({L"add"}, words);
  // Guests are let in only where Samba allows them.
  if (r.exitCode != 0 && Contains(r.err, "guest_ok=y requested")) {
    words.back() = L"guest_ok=n";
    r = Net({L"add"}, words);
  }
  return r.exitCode == 0 ? NERR_Success : Failure(r);
}

NET_API_STATUS NetShareDel(LPWSTR server, LPWSTR name, DWORD) {
  if (!Local(server)) return ERROR_BAD_NETPATH;
  if (name == nullptr || *name == L'\0') return ERROR_INVALID_PARAMETER;
  NET_API_STATUS status = NERR_Success;
  const std::vector<Share> found = Find(name, status);
  if (status != NERR_Success) return status;
  if (found.empty()) return NERR_NetNameNotFound;
  // A share of smb.conf is the administrator's: only user shares are removed here.
  if (found.front().configured) return ERROR_ACCESS_DENIED;
  const Result r = Net({L"delete"}, {found.front().name});
  return r.exitCode == 0 ? NERR_Success : Failure(r);
}

NET_API_STATUS NetShareEnum(LPWSTR server, DWORD level, LPBYTE* buffer, DWORD, LPDWORD read, LPDWORD total,
                            LPDWORD resume) {
  if (!Local(server)) return ERROR_BAD_NETPATH;
  if (level != 0 && level != 2) return ERROR_INVALID_LEVEL;
  if (buffer == nullptr || read == nullptr || total == nullptr) return ERROR_INVALID_PARAMETER;
  *buffer = nullptr;
  *read = *total = 0;
  NET_API_STATUS status = NERR_Success;
  const std::vector<Share> shares = Find(nullptr, status);
  if (status != NERR_Success) return status;
  *buffer = Pack(shares, level);
  if (*buffer == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
  *read = *total = static_cast<DWORD>(shares.size());
  if (resume != nullptr) *resume = 0;
  return NERR_Success;
}

NET_API_STATUS NetShareGetInfo(LPWSTR server, LPWSTR name, DWORD level, LPBYTE* buffer) {
  if (!Local(server)) return ERROR_BAD_NETPATH;
  if (level != 0 && level != 2) return ERROR_INVALID_LEVEL;
  if (name == nullptr || buffer == nullptr) return ERROR_INVALID_PARAMETER;
  *buffer = nullptr;
  NET_API_STATUS status = NERR_Success;
  const std::vector<Share> found = Find(name, status);
  if (status != NERR_Success) return status;
  if (found.empty()) return NERR_NetNameNotFound;
  *buffer = Pack({found.front()}, level);
  return *buffer != nullptr ? NERR_Success : static_cast<NET_API_STATUS>(ERROR_NOT_ENOUGH_MEMORY);
}

NET_API_STATUS NetApiBufferFree(LPVOID buffer) {
  LocalFree(buffer);
  return NERR_Success;
}

}  // namespace kwplat
