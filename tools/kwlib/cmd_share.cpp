// kwlib share: folders shared on the network through the library's sharing
// manager, on Samba user shares.
#include <iostream>

#include <kwlib63/framework/casefold.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/netshare.h>
#include <kwlib63/system/sharingmanager.h>

#include "command.h"
#include "dispatch.h"

namespace {

struct Listed {
  NET_API_STATUS status;
  std::vector<std::pair<std::string, std::string>> shares;  // name, path
};

Listed List() {
  Listed listed{};
  LPBYTE buffer = nullptr;
  DWORD read = 0, total = 0;
  listed.status = kwplat::NetShareEnum(nullptr, 2, &buffer, MAX_PREFERRED_LENGTH, &read, &total, nullptr);
  for (DWORD i = 0; i < read; ++i) {
    const SHARE_INFO_2& share = reinterpret_cast<SHARE_INFO_2*>(buffer)[i];
    listed.shares.emplace_back(kwfw::WideToUtf8(share.shi2_netname), kwfw::WideToUtf8(share.shi2_path));
  }
  if (buffer != nullptr) kwplat::NetApiBufferFree(buffer);
  return listed;
}

// What to do when the machine does not let users share folders.
int NotEnabled(std::ostream& err) {
  err << "kwlib share: sharing is not enabled on this machine. Install Samba and set, in the [global]\n"
         "section of smb.conf, \"usershare path\" to a folder writable by the users who share (mode 1770),\n"
         "\"usershare max shares\" above 0, and \"usershare allow guests = yes\" to let guests in.\n";
  return kwlib::kExitFailure;
}

std::string ShareOf(const std::string& folder) {
  std::string path = folder;
  if (path.size() > 1 && path.back() == '/') path.pop_back();
  for (const auto& [name, sharedPath] : List().shares) {
    if (kwfw::EqualNoCase(std::string_view(sharedPath), std::string_view(path))) return name;
  }
  return {};
}

int NotAFolder(const std::string& folder, const kwlib::Call& call) {
  call.err << "kwlib share: " << folder << ": not a folder\n";
  return kwlib::kExitFailure;
}

// list
int ListShares(const std::vector<std::string>&, const kwlib::Call& call) {
  const Listed listed = List();
  if (listed.status == NERR_ServerNotStarted) return NotEnabled(call.err);
  for (const auto& [name, path] : listed.shares) call.out << name << "\t" << path << "\n";
  return kwlib::kExitOk;
}

// add FOLDER
int Add(const std::vector<std::string>& words, const kwlib::Call& call) {
  if (AfxShareFolder(kwfw::Utf8ToWide(words[0]).c_str()) == -3) return NotAFolder(words[0], call);
  const std::string name = ShareOf(words[0]);
  if (!name.empty()) {
    call.out << name << "\n";
    return kwlib::kExitOk;
  }
  if (List().status == NERR_ServerNotStarted) return NotEnabled(call.err);
  call.err << "kwlib share: " << words[0] << ": the folder could not be shared (the machine's limit of shares, or rights)\n";
  return kwlib::kExitFailure;
}

// remove FOLDER
int Remove(const std::vector<std::string>& words, const kwlib::Call& call) {
  if (List().status == NERR_ServerNotStarted) return NotEnabled(call.err);
  const bool removedSomething = !ShareOf(words[0]).empty();
  const int result = AfxUnShareFolder(kwfw::Utf8ToWide(words[0]).c_str());
  if (result == -3) return NotAFolder(words[0], call);
  // The library answers 0 also for a folder that had no share to remove.
  if (result == 0 && !removedSomething) {
    call.err << "kwlib share: " << words[0] << ": not shared\n";
    return kwlib::kExitFailure;
  }
  return result == 0 ? kwlib::kExitOk : kwlib::SystemFailure(call.err, "share", static_cast<unsigned long>(result));
}

const kwlib::SubCommand<> kTable[] = {
    {{"add", 1, 1, "kwlib share add FOLDER"}, &Add},
    {{"remove", 1, 1, "kwlib share remove FOLDER"}, &Remove},
    {{"list", 0, 0, "kwlib share list"}, &ListShares},
};

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  return kwlib::Dispatch(kTable, args, {}, out, err);
}

KWLIB_COMMAND(kShare, "share", "share folders on the network (Samba user shares)", kwlib::SyntaxOf(kTable),
              "add shares FOLDER as the library's sharing manager does (a name made from its last\n"
              "part, upper-cased and made unique, remark \"Hot Folder\", full access for Everyone)\n"
              "and prints the share's name; a folder already shared keeps its share. remove\n"
              "withdraws the folder's share. list prints each share's name and folder.\n"
              "Sharing needs Samba's user shares to be enabled; KWLIB63_SMB_CONF names another\n"
              "smb.conf.\n",
              Run);

}  // namespace
