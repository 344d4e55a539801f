// kwlib osversion: the system version as the library reports it, and the version
// the kwlib63 library gives of itself.
#include <sys/utsname.h>

#include <iostream>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/json.h>
#include <kwlib63/platform/module.h>
#include <kwlib63/system/osversioninfo.h>

#include "command.h"
#include "dispatch.h"

namespace {

int Show(const std::vector<std::string>&, const kwlib::Call& call) {
  const COSVersionInfo* info = AfxGetOSVersionInfo();
  CString versio;
  info->GetVersio(versio);
  utsname system{};
  uname(&system);
  wchar_t library[4096];
  const DWORD length = kwplat::GetModuleFileNameW(
      kwplat::GetModuleFromAddress(reinterpret_cast<const void*>(&DllGetVersion)), library, 4096);
  const unsigned long packed = length > 0 && length < 4096 ? AfxGetShellDllVersion(library) : 0;
  Json::Value v;
  v["name"] = kwfw::WideToUtf8(info->GetNom().GetString());
  v["version"] = kwfw::WideToUtf8(versio.GetString());
  v["kernel"] = system.release;
  v["library"] = kwfw::WideToUtf8(library);
  v["libraryVersion"] = std::to_string(packed >> 16) + "." + std::to_string(packed & 0xFFFF);
  if (call.arguments.Has("--json")) {
    call.out << kwlib::JsonText(v) << "\n";
    return kwlib::kExitOk;
  }
  call.out << "name             " << v["name"].asString() << "\n"
      << "version          " << v["version"].asString() << "\n"
      << "kernel           " << v["kernel"].asString() << "\n"
      << "library          " << v["library"].asString() << "\n"
      << "library version  " << v["libraryVersion"].asString() << "\n";
  return kwlib::kExitOk;
}

const kwlib::SubCommand<> kTable[] = {{{"", 0, 0, "kwlib osversion [--json]"}, &Show}};

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  return kwlib::Dispatch(kTable, args, {.flags = {"--json"}}, out, err);
}

KWLIB_COMMAND(kOsversion, "osversion", "the system version as the library reports it", kwlib::SyntaxOf(kTable),
              "Prints the system's name and version as COSVersionInfo gives them (the kernel\n"
              "release read as major.minor, its patch level as the service pack, within the\n"
              "ranges the library probes), the kernel release itself, and the kwlib63 library\n"
              "in use with the version its DllGetVersion entry reports.\n",
              Run);

}  // namespace
