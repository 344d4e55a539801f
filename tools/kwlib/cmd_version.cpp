// kwlib version: the version note of a program or library, read from the file.
#include <iostream>
#include <vector>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/json.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/versioninfo.h>
#include <kwlib63/settings/pathstring.h>

#include "command.h"
#include "dispatch.h"
#include "fileio.h"

namespace {

// The string-table keys a version note usually holds, in the order printed.
constexpr const wchar_t* kKeys[] = {L"CompanyName",    L"FileDescription", L"FileVersion",     L"InternalName",
                                    L"LegalCopyright", L"OriginalFilename", L"ProductName",     L"ProductVersion",
                                    L"Comments"};

std::string Numbers(const CInfoVersio& v) {
  return std::to_string(v.nMajor) + "." + std::to_string(v.nMinor) + "." + std::to_string(v.nRelease) + "." +
         std::to_string(v.nBuild);
}

int Show(const std::vector<std::string>& words, const kwlib::Call& call) {
  const bool json = call.arguments.Has("--json");
  const std::string& file = words[0];
  std::string error;
  if (!kwlib::ReadableFile(file, error)) {
    call.err << "kwlib version: " << file << ": " << error << "\n";
    return kwlib::kExitFailure;
  }
  const CPathString path(kwfw::Utf8ToWide(file).c_str(), nullptr);
  CInfoVersio fileVersion, productVersion;
  if (!CPathString::GetFileVersion(path, fileVersion) || !CPathString::GetProductVersion(path, productVersion)) {
    const bool missing = kwplat::GetLastError() == ERROR_RESOURCE_TYPE_NOT_FOUND;
    call.err << "kwlib version: " << file << ": " << (missing ? "no version information" : "not a program or library with a version note") << "\n";
    return kwlib::kExitFailure;
  }
  CString fileText, productText;
  path.GetFileVersion(fileText, 1);
  path.GetProductVersion(productText);
  Json::Value result;
  if (json) {
    result["file"] = file;
    result["fileVersion"] = Numbers(fileVersion);
    result["productVersion"] = Numbers(productVersion);
    result["fileVersionText"] = kwfw::WideToUtf8(fileText.GetString());
    result["productVersionText"] = kwfw::WideToUtf8(productText.GetString());
    result["debug"] = fileVersion.bDebug != 0;
    result["preRelease"] = fileVersion.bPreRelease != 0;
  } else {
    call.out << "file version     " << Numbers(fileVersion) << " (" << kwfw::WideToUtf8(fileText.GetString()) << ")\n"
        << "product version  " << Numbers(productVersion) << " (" << kwfw::WideToUtf8(productText.GetString()) << ")\n";
    if (fileVersion.bDebug || fileVersion.bPreRelease) {
      call.out << "flags            " << (fileVersion.bDebug ? "debug " : "") << (fileVersion.bPreRelease ? "pre-release" : "")
          << "\n";
    }
  }
  for (const wchar_t* key : kKeys) {
    CString value;
    if (!CPathString::GetStringInformacio(path, key, value)) continue;
    const std::string k = kwfw::WideToUtf8(key), v = kwfw::WideToUtf8(value.GetString());
    if (json) {
      result["strings"][k] = v;
    } else {
      call.out << k << std::string(k.size() < 17 ? 17 - k.size() : 1, ' ') << v << "\n";
    }
  }
  if (json) call.out << kwlib::JsonText(result) << "\n";
  return kwlib::kExitOk;
}

const kwlib::SubCommand<> kTable[] = {{{"", 1, 1, "kwlib version [--json] FILE"}, &Show}};

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  return kwlib::Dispatch(kTable, args, {.flags = {"--json"}}, out, err);
}

}  // namespace

KWLIB_COMMAND(kVersion, "version", "print the version information of a program or library", kwlib::SyntaxOf(kTable),
              "\n"
              "Reads the version note of an ELF program or library (written with\n"
              "KW_VERSION_INFO) without running it, and prints the file and product\n"
              "versions as numbers and as text (with the -beta and -rc suffixes) and the\n"
              "string table.\n"
              "Exit status: 0, or 1 when the file cannot be read or has no version note.\n",
              &Run);
