// An options block's data block saved to a file under injected disk faults, through
// the whole-file replacement every settings file uses: every call fails in turn,
// and the file holds the old block or the whole new one, never a torn one.
#include <sys/stat.h>

#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include <kwlib63/platform/atomicfile.h>
#include <kwlib63/settings/blocopcions.h>

#include "support/faultplan.h"
#include "support/tempdir.h"

namespace {

using kwtest::Fault;
using kwtest::FaultPlan;

std::string BlockBytes(long mida, const wchar_t* nom) {
  TBlocOpcions block;
  block.EntraValorInt32(L"Mida", mida);
  block.EntraValorString(L"Nom", nom);
  unsigned int size = 0;
  unsigned char* data = block.ToBlocDades(size);
  std::string bytes(reinterpret_cast<const char*>(data), size);
  std::free(data);
  return bytes;
}

TEST(BlocOpcionsFault, FileSaveLosesNothingAtAnyCall) {
  const kwtest::TempDir dir("kwlib-blocfault");
  const std::string path = dir.At("options.bin");
  const std::string before = BlockBytes(12, L"petit");
  const std::string after = BlockBytes(480, L"gran");
  const auto counts = kwtest::RunEveryFault<bool>(
      [&] { kwtest::WriteBytes(path, before); },
      [&] {
        struct stat old {};
        const bool exists = stat(path.c_str(), &old) == 0;
        return kwplat::ReplaceFile(path, after, exists ? &old : nullptr);
      },
      [&](const Fault& fault, const bool& ok, const FaultPlan& plan) {
        const int error = errno;
        kwtest::ExpectReplaced(fault, ok, plan, path, before, after);
        if (!ok) {
          EXPECT_EQ(error, fault.error);
        }
      });
  TBlocOpcions read;
  const std::string last = kwtest::ReadBytes(path);
  ASSERT_EQ(read.FromBlocDades(reinterpret_cast<const unsigned char*>(last.data()), static_cast<unsigned>(last.size()), 0), 0);
  RecordProperty("calls", kwtest::Describe(counts));
  EXPECT_GT(counts[static_cast<std::size_t>(kwtest::Call::kWrite)], 0);
}

}  // namespace
