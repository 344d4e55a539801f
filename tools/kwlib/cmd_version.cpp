// kwlib version: the version note of a program or library, read from the file.
#include <iostream>
#include <vector>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/json.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/platform/versioninfo.h>
#include <kwlib63/settings/pathstring.h>

#include "command.h"
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

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  const kwlib::Arguments arguments = kwlib::SplitFlags(args, {"--json"});
  const bool json = arguments.Has("--json");
  if (arguments.words.size() != 1) throw kwlib::UsageError(arguments.words.empty() ? "no file given" : "give one file");
  const std::string& file = arguments.words[0];
  std::string error;
  if (!kwlib::ReadableFile(file, error)) {
    err << "kwlib version: " << file << ": " << error << "\n";
    return kwlib::kExitFailure;
  }
  const CPathString path(kwfw::Utf8ToWide(file).c_str(), nullptr);
  CInfoVersio fileVersion, productVersion;
  if (!CPathString::GetFileVersion(path, fileVersion) || !CPathString::GetProductVersion(path, productVersion)) {
    const bool missing = kwplat::GetLastError() == ERROR_RESOURCE_TYPE_NOT_FOUND;
    err << "kwlib version: " << file << ": " << (missing ? "no version information" : "not a program or library with a version note") << "\n";
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
    out << "file version     " << Numbers(fileVersion) << " (" << kwfw::WideToUtf8(fileText.GetString()) << ")\n"
        << "product version  " << Numbers(productVersion) << " (" << kwfw::WideToUtf8(productText.GetString()) << ")\n";
    if (fileVersion.bDebug || fileVersion.bPreRelease) {
      out << "flags            " << (fileVersion.bDebug ? "debug " : "") << (fileVersion.bPreRelease ? "pre-release" : "")
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
      out << k << std::string(k.size() < 17 ? 17 - k.size() : 1, ' ') << v << "\n";
    }
  }
  if (json) out << kwlib::JsonText(result) << "\n";
  return kwlib::kExitOk;
}

}  // namespace

KWLIB_COMMAND(kVersion, "version", "print the version information of a program or library",
              "Usage: kwlib version [--json] FILE\n\n"
              "Reads the version note of an ELF program or library (written with\n"
              "KW_VERSION_INFO) without running it, and prints the file and product\n"
              "versions as numbers and as text (with the -beta and -rc suffixes) and the\n"
              "string table.\n"
              "Exit status: 0, or 1 when the file cannot be read or has no version note.\n",
              &Run);
