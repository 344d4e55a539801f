// kwlib records: the records of a record file, as a tree, or one record's data.
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include <kwlib63/framework/exception.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/json.h>
#include <kwlib63/persist/filebuffer.h>
#include <kwlib63/persist/serializer.h>
#include <kwlib63/platform/messagebox.h>

#include "command.h"
#include "dispatch.h"
#include "longwork.h"
#include "fileio.h"

namespace {

// File errors the library shows in a box go to standard error, prefixed.
int ShowOnStderr(HWND, const wchar_t* text, const wchar_t*, UINT, void*) {
  std::cerr << "kwlib records: " << kwfw::WideToUtf8(text) << "\n";
  return IDOK;
}

// The record with `id`, as TSerializer::GetRegistre finds it. The search reads a
// header and skips a record's data per record: through a buffered file (with the
// block TSerializer::Open reads with) both are moves within the block, where the
// plain file that the path form opens makes two system calls per record. What the
// buffered file cannot read (a pipe, which has no length to fill a block from; no
// memory for the block; a damaged file) goes to the path form, which reads it as
// it always has and reports what it finds.
int FindRecord(const std::wstring& path, unsigned long id, void*& data, unsigned long& length) {
  constexpr unsigned long kBlock = 8ul << 20;
  struct stat st {};
  if (stat(kwfw::WideToUtf8(path).c_str(), &st) == 0 && S_ISREG(st.st_mode)) {
    try {
      CFileBuffer file(path.c_str(), CFile::modeRead | CFile::shareDenyWrite | CFile::typeBinary, kBlock);
      const int r = TSerializer::GetRegistre(&file, id, data, length, kwlib::Progress());
      if (r != -7 && r != -16103) return r;
    } catch (CException* e) {
      e->Delete();
    }
  }
  return TSerializer::GetRegistre(path.c_str(), id, data, length, kwlib::Progress());
}

std::string Preview(const std::vector<unsigned char>& data, bool text) {
  std::string out;
  const std::size_t n = std::min<std::size_t>(data.size(), 16);
  for (std::size_t i = 0; i < n; ++i) {
    if (text) {
      out += data[i] >= 0x20 && data[i] < 0x7F ? static_cast<char>(data[i]) : '.';
    } else {
      char hex[4];
      std::snprintf(hex, sizeof hex, i + 1 < n ? "%02x " : "%02x", data[i]);
      out += hex;
    }
  }
  return out;
}

// dump FILE
int Dump(const std::vector<std::string>& words, const kwlib::Call& call) {
  if (call.arguments.Value("-o")) throw kwlib::UsageError("dump takes no -o");
  const std::string& path = words[0];
  const bool json = call.arguments.Has("--json");
  std::ostream& out = call.out;
  std::ostream& err = call.err;
  std::string error;
  if (!kwlib::ReadableFile(path, error)) {
    err << "kwlib records: " << path << ": " << error << "\n";
    return kwlib::kExitFailure;
  }
  const std::wstring wide = kwfw::Utf8ToWide(path);
  TSerializer* s = TSerializer::Open(wide.c_str(), 0);
  if (s == nullptr) return kwlib::kExitFailure;
  short type, w2, w3, w4;
  if (s->GetHeader(type, w2, w3, w4) != 0) {
    err << "kwlib records: " << path << ": not a record file (bad or missing header)\n";
    TSerializer::Close(s);
    return kwlib::kExitFailure;
  }
  Json::Value records(Json::arrayValue);
  if (!json) out << "type " << type << ", header words " << w2 << " " << w3 << " " << w4 << "\n";
  SER_RECORDHEADER h;
  int status = kwlib::kExitOk;
  if (kwlib::Progress() != nullptr) kwlib::Progress()->SetMissatge(wide.c_str());
  // A damaged length can claim more than the whole file: no memory is taken for it.
  struct stat info {};
  const unsigned long long fileLength = stat(path.c_str(), &info) == 0 ? static_cast<unsigned long long>(info.st_size) : 0;
  while (s->NextRecord(h, -1, kwlib::Progress())) {
    std::vector<unsigned char> data;
    bool whole = h.nLength <= fileLength;
    if (whole && h.nLength > 0) {
      data.resize(h.nLength);
      whole = s->ReadRecord(data.data(), 0xFFFFFFFF) != 0;
    }
    if (!whole) {
      err << "kwlib records: " << path << ": record " << h.nId << " is cut short\n";
      status = kwlib::kExitFailure;
      break;
    }
    if (json) {
      Json::Value r;
      r["id"] = h.nId;
      r["length"] = h.nLength;
      r["level"] = h.nNivell;
      r["preview"] = Preview(data, false);
      records.append(r);
    } else {
      const int indent = h.nNivell > 0 ? std::min<int>(h.nNivell, 40) : 0;
      out << std::string(static_cast<std::size_t>(2 * indent), ' ') << "id " << h.nId << "  length " << h.nLength
          << "  level " << h.nNivell << "  " << Preview(data, false) << "  |" << Preview(data, true) << "|\n";
    }
  }
  if (json) {
    Json::Value root;
    root["type"] = type;
    root["header"] = Json::Value(Json::arrayValue);
    for (short w : {w2, w3, w4}) root["header"].append(w);
    root["records"] = records;
    out << kwlib::JsonText(root) << "\n";
  }
  TSerializer::Close(s);
  return status;
}

// get FILE ID [-o OUT]
int Get(const std::vector<std::string>& words, const kwlib::Call& call) {
  if (call.arguments.Has("--json")) throw kwlib::UsageError("get takes no --json");
  const std::string& path = words[0];
  const unsigned long id = kwlib::ParseNumber(words[1], 0xFFFFFFFF, "record id");
  const std::string output = call.arguments.Value("-o").value_or("-");
  std::ostream& err = call.err;
  std::string reason;
  if (!kwlib::ReadableFile(path, reason)) {
    err << "kwlib records: " << path << ": " << reason << "\n";
    return kwlib::kExitFailure;
  }
  void* data = nullptr;
  unsigned long length = 0;
  const std::wstring wide = kwfw::Utf8ToWide(path);
  if (kwlib::Progress() != nullptr) kwlib::Progress()->SetMissatge(wide.c_str());
  const int r = FindRecord(wide, id, data, length);
  if (r == -16102) err << "kwlib records: " << path << ": no record with id " << id << "\n";
  if (r == -16103 || r == -7) err << "kwlib records: " << path << ": not a record file, or damaged\n";
  if (r < 0) return kwlib::kExitFailure;
  std::string error;
  const bool ok = kwlib::WriteAll(output, static_cast<unsigned char*>(data), length, error);
  std::free(data);
  if (!ok) err << "kwlib records: " << output << ": " << error << "\n";
  return ok ? kwlib::kExitOk : kwlib::kExitFailure;
}

const kwlib::SubCommand<> kTable[] = {
    {{"dump", 1, 1, "kwlib records dump [--json] FILE"}, &Dump},
    {{"get", 2, 2, "kwlib records get FILE ID [-o OUT]"}, &Get},
};

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  void* previousContext = nullptr;
  const AFX_MSGBOX_HANDLER previous = AfxSetMessageBoxHandler(ShowOnStderr, nullptr, &previousContext);
  struct Restore {
    AFX_MSGBOX_HANDLER handler;
    void* context;
    ~Restore() { AfxSetMessageBoxHandler(handler, context); }
  } restore{previous, previousContext};
  return kwlib::Dispatch(kTable, args, {.flags = {"--json"}, .valued = {"-o"}}, out, err);
}

}  // namespace

KWLIB_COMMAND(kRecords, "records", "list a record file or take one record's data", kwlib::SyntaxOf(kTable),
              "\n"
              "dump lists the records of a record file in order, indented by level, with\n"
              "the identifier, the length and the first 16 bytes in hex and as text.\n"
              "get writes the data of the first record with identifier ID found among the\n"
              "top records (not inside a skipped subtree) to OUT or standard output.\n"
              "Exit status: 1 for a missing file, a bad header or a missing record.\n",
              &Run);
