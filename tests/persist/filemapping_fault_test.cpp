// File mappings that extend a file, under injected disk faults: every call of the
// open, the mapping, the view and the closes fails in turn. A full disk is
// reported when the mapping is made (never as a fault on a store through the
// view), and the bytes already in the file stay.
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <kwlib63/framework/file.h>
#include <kwlib63/framework/textconv.h>
#include <kwlib63/persist/filemapping.h>
#include <kwlib63/persist/mapviewoffile.h>
#include <kwlib63/platform/lasterror.h>

#include "filefault_support.h"
#include "support/tempdir.h"

namespace {

using kwtest::Call;
using kwtest::Fault;
using kwtest::FaultPlan;

constexpr unsigned long kSize = 8192;

struct Outcome {
  bool ok = false;
  DWORD error = 0;  // the last error, or a CFileException's system error
};

TEST(FileMappingFault, ExtendingMappingReportsEveryFault) {
  const kwtest::TempDir dir("kwlib-mapfault");
  const std::string path = dir.At("mapped.bin");
  const std::wstring wide = kwfw::Utf8ToWide(path);
  const std::string before(100, 'a');
  const std::string stored = "stored through the view";
  std::string after = before + stored;
  after.resize(kSize, '\0');
  const auto counts = kwtest::RunEveryFault<Outcome>(
      [&] { kwtest::WriteBytes(path, before); },
      [&] {
        try {
          CFile file(wide.c_str(), CFile::modeReadWrite);
          Outcome out;
          {
            CFileMapping mapping(static_cast<HANDLE>(file));
            CMapViewOfFile view(&mapping);
            if (!mapping.Open(PAGE_READWRITE, kSize) || !view.Open(0, kSize, FILE_MAP_WRITE)) {
              return Outcome{false, kwplat::GetLastError()};
            }
            std::memcpy(static_cast<char*>(view.GetData()) + before.size(), stored.data(), stored.size());
            out.ok = view.Close() == 1 && mapping.Close() == 1;
          }
          file.Close();
          return out;
        } catch (CFileException* e) {
          const Outcome told{false, static_cast<DWORD>(e->m_lOsError)};
          e->Delete();
          return told;
        }
      },
      [&](const Fault& fault, const Outcome& result, const FaultPlan&) {
        const Call c = fault.call;
        if (kwtest::Transient(fault)) {
          EXPECT_TRUE(result.ok);
        } else if (c == Call::kFallocate || c == Call::kMmap || (c == Call::kOpen && fault.position == 1)) {
          EXPECT_FALSE(result.ok);
        }
        const std::string content = kwtest::ReadBytes(path);
        if (result.ok) {
          EXPECT_EQ(content, after);
        } else {
          EXPECT_EQ(result.error, static_cast<DWORD>(kwtest::OsErrorOf(fault)));
          EXPECT_EQ(content.substr(0, before.size()), before);
        }
      });
  RecordProperty("calls", kwtest::Describe(counts));
  EXPECT_GT(counts[static_cast<std::size_t>(Call::kFallocate)], 0);
  EXPECT_GT(counts[static_cast<std::size_t>(Call::kMmap)], 0);
}

}  // namespace
