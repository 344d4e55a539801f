// kwlib find: the files of a folder that match a Windows mask, through the
// library's file iterator.
#include <iostream>
#include <set>

#include <kwlib63/framework/stringlist.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/platform/lasterror.h>
#include <kwlib63/system/iteradorfitxers.h>

#include "command.h"
#include "dispatch.h"
#include "longwork.h"

namespace {

// GetLlistaFitxers' walk, with the folder it is in on the progress bar.
class Walk : public TIteradorFitxers {
 public:
  static int Found(const wchar_t* carpeta, const wchar_t* nom, int nivell, __int64 list) {
    if (TIndicadorEstat* ie = kwlib::Progress()) {
      ie->SetMissatge(carpeta);
      ie->MostrarEstat(0.0);
    }
    return _fnGetLlistaFitxers(carpeta, nom, nivell, list);
  }
};

int Find(const std::vector<std::string>& words, const kwlib::Call& call) {
  const bool recursive = (call.arguments.Has("-r") || call.arguments.Has("--recursive"));
  CStringList list;
  Walk walk;
  const int result = walk.IteraFitxers(&Walk::Found, reinterpret_cast<__int64>(&list), kwfw::Utf8ToWide(words[0]).c_str(),
                                       kwfw::Utf8ToWide(words[1]).c_str(), recursive ? TRUE : FALSE);
  // The walk answers "cannot be listed" also for a readable folder where nothing
  // matched; the listing's own error tells the two apart.
  if (result == TIteradorFitxers::kNoLlistable && kwplat::GetLastError() != ERROR_FILE_NOT_FOUND) {
    return kwlib::SystemFailure(call.err, "find: " + words[1], kwplat::GetLastError());
  }
  // The recursive walk meets deeper folders more than once; each path is shown once.
  std::set<std::wstring> shown;
  for (POSITION pos = list.GetHeadPosition(); pos != nullptr;) {
    const CString& path = list.GetNext(pos);
    if (shown.insert(path.GetString()).second) call.out << kwfw::WideToUtf8(path.GetString()) << "\n";
  }
  return kwlib::kExitOk;
}

const kwlib::SubCommand<> kTable[] = {{{"", 2, 2, "kwlib find [-r|--recursive] MASK FOLDER"}, &Find}};

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  return kwlib::Dispatch(kTable, args, {.flags = {"-r", "--recursive"}}, out, err);
}

KWLIB_COMMAND(kFind, "find", "list the files of a folder that match a mask", kwlib::SyntaxOf(kTable),
              "Prints the files of FOLDER whose names match MASK (Windows rules: * and ?,\n"
              "\"*.*\" for every name, without regard to case), with -r those of its subfolders\n"
              "too, deepest first, each path once. Links to folders are not followed. No match\n"
              "is no error (exit 0, no output); a folder that cannot be listed makes the exit\n"
              "status 1.\n",
              Run);

}  // namespace
