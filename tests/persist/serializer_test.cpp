// Record files: the byte layout, levels, pending records, skipping, searching,
// and the result codes of damaged files.
#include <unistd.h>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>
#include <gtest/gtest.h>

#include <kwlib63/framework/textconv.h>
#include <kwlib63/framework/wnd.h>
#include <kwlib63/persist/filebuffer.h>
#include <kwlib63/persist/serializer.h>
#include <kwlib63/progress/indicadorestat.h>

#include "support/faultplan.h"
#include "support/recorders.h"
#include "support/recordingie.h"
#include "support/stopwatch.h"
#include "support/tempdir.h"

namespace {

class SerializerTest : public ::testing::Test {
 protected:
  void WriteBytes(const std::string& bytes) { kwtest::WriteBytes(m_tmp.At("r.dat"), bytes); }
  std::string Bytes() const { return kwtest::ReadBytes(m_tmp.At("r.dat")); }
  static std::string Header() {
    return std::string("\x07\x00\x01\x00\x02\x00\x03\x00", 8) + std::string(reinterpret_cast<const char*>(KW_SER_SIGNATURE), 10);
  }

  // R(1) { A(2) { B(3) } C(2) } D(1), ids 1..5, data "r", "a", "bb", "", "d"
  void WriteTree() {
    TSerializer* s = TSerializer::Open(m_path.c_str(), 1);
    ASSERT_NE(s, nullptr);
    ASSERT_EQ(s->CreateHeader(7, 1, 2, 3), 0);
    s->SetNivell(1);
    s->WriteRecord(const_cast<char*>("r"), 1, 1);
    s->Push();
    s->WriteRecord(const_cast<char*>("a"), 1, 2);
    s->Push();
    s->WriteRecord(const_cast<char*>("bb"), 2, 3);
    s->Pop();
    s->WriteRecord(nullptr, 0, 4);
    s->Pop();
    s->WriteRecord(const_cast<char*>("d"), 1, 5);
    TSerializer::Close(s);
  }

  kwtest::TempDir m_tmp{"kwlib-ser"};
  std::wstring m_path = kwfw::Utf8ToWide(m_tmp.At("r.dat"));
};

TEST_F(SerializerTest, ByteLayout) {
  WriteTree();
  const std::string b = Bytes();
  ASSERT_EQ(b.size(), 18u + 5 * 10 + 1 + 1 + 2 + 0 + 1);
  EXPECT_EQ(b.substr(0, 18), Header());
  EXPECT_EQ(b.substr(18, 11), std::string("\x01\x00\x00\x00\x01\x00\x00\x00\x01\x00r", 11));
  EXPECT_EQ(TSerializer::TestFitxer(m_path.c_str(), 7), 1);
  EXPECT_EQ(TSerializer::TestFitxer(m_path.c_str(), 8), 0);
  EXPECT_EQ(TSerializer::TestFitxer(m_path.c_str(), -1), 1);
}

TEST_F(SerializerTest, LevelsPendingAndSkipping) {
  WriteTree();
  TSerializer* s = TSerializer::Open(m_path.c_str(), 0);
  short t, w2, w3, w4;
  ASSERT_EQ(s->GetHeader(t, w2, w3, w4), 0);
  EXPECT_EQ(t * 1000 + w2 * 100 + w3 * 10 + w4, 7123);
  SER_RECORDHEADER h;
  ASSERT_EQ(s->NextRecord(h, 1), 1);
  EXPECT_EQ(h.nId, 1u);
  EXPECT_EQ(s->NextRecord(h, 3), 0);  // A is level 2: left pending
  EXPECT_EQ(s->NextRecord(h, -1), 1);
  EXPECT_EQ(h.nId, 2u);
  EXPECT_EQ(s->SkipRecord(-1), 1);  // B is under A; C is not
  char buf[8] = {};
  ASSERT_EQ(s->NextRecord(h, 2), 1);
  EXPECT_EQ(h.nId, 4u);
  EXPECT_EQ(h.nLength, 0u);
  unsigned long id, len;
  short level;
  ASSERT_EQ(s->NextRecord(id, len, level, -1), 1);
  EXPECT_EQ(id * 100 + len * 10 + static_cast<unsigned long>(level), 511u);
  EXPECT_EQ(s->ReadRecord(buf, 0xFFFFFFFF), 1);
  EXPECT_EQ(buf[0], 'd');
  EXPECT_EQ(s->NextRecord(h, -1), 0);  // the end
  TSerializer::Close(s);
}

TEST_F(SerializerTest, ReadNextRecordForms) {
  WriteTree();
  TSerializer* s = TSerializer::Open(m_path.c_str(), 0);
  short t, w2, w3, w4;
  s->GetHeader(t, w2, w3, w4);
  void* data = nullptr;
  unsigned long len = 0;
  EXPECT_EQ(s->ReadNextRecord(9ul, data, &len, -1, nullptr), -9);  // R stays pending
  SER_RECORDHEADER h;
  ASSERT_EQ(s->ReadNextRecord(h, data, &len), 0);
  EXPECT_EQ(std::string(static_cast<char*>(data), len), "r");
  std::free(data);
  data = nullptr;
  EXPECT_EQ(s->ReadNextRecord(2ul, data, &len, -1, nullptr), 0);
  std::free(data);
  char small[1];
  EXPECT_EQ(s->ReadNextRecord(3ul, small, 1, &len, -1, nullptr), 4);  // cut to the buffer
  EXPECT_EQ(len, 1u);
  void* untouched = reinterpret_cast<void*>(0x1);
  len = 77;
  EXPECT_EQ(s->ReadNextRecord(4ul, untouched, &len, -1, nullptr), 0);  // empty: nothing touched
  EXPECT_EQ(untouched, reinterpret_cast<void*>(0x1));
  EXPECT_EQ(len, 77u);
  TSerializer::Close(s);
}

TEST_F(SerializerTest, GetRegistreLooksAmongSiblingsNotInsideSubtrees) {
  WriteTree();
  unsigned long len = 0;
  void* d = TSerializer::GetRegistre(m_path.c_str(), 5, len);
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(std::string(static_cast<char*>(d), len), "d");
  std::free(d);
  EXPECT_EQ(TSerializer::GetRegistre(m_path.c_str(), 3, len), nullptr);  // B lies under R
  void* data = nullptr;
  EXPECT_EQ(TSerializer::GetRegistre(m_path.c_str(), 3ul, data, len), -16102);
  kwtest::MessageBoxRecorder boxes;
  EXPECT_EQ(TSerializer::GetRegistre((m_path + L".no").c_str(), 1ul, data, len), -6);
  EXPECT_EQ(boxes.boxes.size(), 1u);  // the open error was shown
  EXPECT_EQ(boxes.boxes[0].type & MB_ICONERROR, MB_ICONERROR);
}

// Skipping a record's data within a buffered file's block moves in memory: the
// search through 20 000 records makes a few system calls, not two per record.
TEST_F(SerializerTest, SearchingABufferedFileSkipsRecordsWithoutSystemCalls) {
  constexpr unsigned long kRecords = 20000;
  {
    TSerializer* s = TSerializer::Open(m_path.c_str(), 1);
    ASSERT_NE(s, nullptr);
    ASSERT_EQ(s->CreateHeader(1, 0, 0, 0), 0);
    for (unsigned long id = 0; id < kRecords; ++id) {
      std::string data = "record " + std::to_string(id);
      ASSERT_EQ(s->WriteRecord(data.data(), data.size(), id), 0);
    }
    TSerializer::Close(s);
  }
  CFileBuffer file(m_path.c_str(), CFile::modeRead | CFile::shareDenyWrite | CFile::typeBinary, 1 << 20);
  const kwtest::FaultPlan counted;
  void* data = nullptr;
  unsigned long length = 0;
  ASSERT_EQ(TSerializer::GetRegistre(&file, kRecords - 1, data, length), 0);
  EXPECT_EQ(std::string(static_cast<char*>(data), length), "record " + std::to_string(kRecords - 1));
  std::free(data);
  const auto calls = counted.Counts();
  EXPECT_LE(calls[static_cast<std::size_t>(kwtest::Call::kLseek)] + calls[static_cast<std::size_t>(kwtest::Call::kRead)], 10)
      << kwtest::Describe(calls);
}

TEST_F(SerializerTest, DamagedAndShortFiles) {
  kwtest::MessageBoxRecorder boxes;
  WriteBytes(Header());  // a header and nothing else
  TSerializer* s = TSerializer::Open(m_path.c_str(), 0);
  short t, w2, w3, w4;
  EXPECT_EQ(s->GetHeader(t, w2, w3, w4), 0);
  SER_RECORDHEADER h;
  EXPECT_EQ(s->NextRecord(h), 0);
  void* data = nullptr;
  EXPECT_EQ(s->ReadNextRecord(h, data), -17);
  TSerializer::Close(s);

  WriteBytes(Header() + std::string("\x01\x00\x00\x00\x05", 5));  // a partial record header
  s = TSerializer::Open(m_path.c_str(), 0);
  s->GetHeader(t, w2, w3, w4);
  EXPECT_EQ(s->NextRecord(h), 0);
  TSerializer::Close(s);

  // A damaged length far beyond the end of the file: refused before allocating.
  WriteBytes(Header() + std::string("\x07\x00\x00\x00\xF0\xFF\xFF\xFF\x00\x00" "abc", 13));
  s = TSerializer::Open(m_path.c_str(), 0);
  s->GetHeader(t, w2, w3, w4);
  EXPECT_EQ(s->ReadNextRecord(h, data), -7);
  EXPECT_EQ(data, nullptr);
  EXPECT_EQ(s->NextRecord(h), 0);  // nothing after it
  TSerializer::Close(s);
  unsigned long length = 0;
  EXPECT_EQ(TSerializer::GetRegistre(m_path.c_str(), 7, data, length), -7);
  EXPECT_EQ(data, nullptr);

  std::string bad = Header();
  bad[5] = '\x80';  // a negative header word
  WriteBytes(bad);
  s = TSerializer::Open(m_path.c_str(), 0);
  EXPECT_EQ(s->GetHeader(t, w2, w3, w4), -16103);
  TSerializer::Close(s);
  bad = Header();
  bad[17] = 0;  // the signature's last byte
  WriteBytes(bad);
  EXPECT_EQ(TSerializer::TestFitxer(m_path.c_str(), -1), 0);
  WriteBytes("short");
  s = TSerializer::Open(m_path.c_str(), 0);
  EXPECT_EQ(s->GetHeader(t, w2, w3, w4), -7);
  TSerializer::Close(s);
  EXPECT_TRUE(boxes.boxes.empty());  // none of these is a file error
}

TEST_F(SerializerTest, HeaderOnlyOnAnEmptyFileAndLevels) {
  WriteBytes("content");
  CFile f(m_path.c_str(), CFile::modeReadWrite | CFile::modeNoTruncate | CFile::modeCreate);
  TSerializer s(&f);
  EXPECT_EQ(s.CreateHeader(1, 0, 0, 0), -16100);
  f.Close();
  EXPECT_EQ(Bytes(), "content");
  EXPECT_EQ(s.Push(-1), 1);
  EXPECT_EQ(s.Push(-1), 2);
  EXPECT_EQ(s.Pop(5), 5);
  EXPECT_EQ(s.GetNivell(), 5);
  CWnd helper;
  EXPECT_EQ(s.SetHelper(L"x", nullptr), nullptr);
  EXPECT_EQ(s.SetHelper(L"x", &helper), nullptr);
  EXPECT_EQ(s.GetHelper(L"x"), &helper);
  EXPECT_EQ(s.GetHelper(L"X"), nullptr);  // names are case-sensitive
  EXPECT_EQ(s.SetHelper(L"x", nullptr), &helper);
  EXPECT_EQ(s.GetHelper(L"x"), nullptr);
}

TEST_F(SerializerTest, IndicatorFollowsThePositionAndCancels) {
  WriteTree();
  kwtest::RecordingIndicator ie;
  TSerializer* s = TSerializer::Open(m_path.c_str(), 0);
  short t, w2, w3, w4;
  s->GetHeader(t, w2, w3, w4);
  SER_RECORDHEADER h;
  ASSERT_EQ(s->NextRecord(h, -1, &ie), 1);
  ASSERT_EQ(ie.shown.size(), 1u);
  EXPECT_DOUBLE_EQ(ie.shown[0], 28.0 / 73.0);  // after the first record header, of 73 bytes
  ie.Cancelar();
  EXPECT_EQ(s->NextRecord(h, -1, &ie), 0);
  void* data = nullptr;
  EXPECT_EQ(s->ReadNextRecord(h, data, nullptr, -1, &ie), -5);
  TSerializer::Close(s);
}

// Records of every size through a block far smaller than they are, so that headers
// and data straddle block boundaries: the same bytes as through a plain file.
TEST_F(SerializerTest, RecordsAcrossSmallBlocksMatchAPlainFile) {
  const auto writeAll = [](TSerializer& s) {
    s.CreateHeader(3, 0, 0, 0);
    std::string data(300, '\0');
    for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<char>(i * 7);
    for (unsigned long id = 0; id < 200; ++id) {
      s.SetNivell(static_cast<short>(id % 3));
      ASSERT_EQ(s.WriteRecord(data.data(), id * 13 % 301, id), 0);
    }
  };
  {
    CFile plain(m_path.c_str(), CFile::modeCreate | CFile::modeWrite);
    TSerializer s(&plain);
    writeAll(s);
  }
  const std::string expected = Bytes();
  {
    CFileBuffer buffered(m_path.c_str(), CFile::modeCreate | CFile::modeWrite, 64);
    TSerializer s(&buffered);
    writeAll(s);
  }
  ASSERT_EQ(Bytes(), expected);

  CFileBuffer buffered(m_path.c_str(), CFile::modeRead, 37);
  TSerializer s(&buffered);
  short t, w2, w3, w4;
  ASSERT_EQ(s.GetHeader(t, w2, w3, w4), 0);
  SER_RECORDHEADER h;
  char data[301];
  for (unsigned long id = 0; id < 200; ++id) {
    ASSERT_EQ(s.NextRecord(h), 1) << id;
    EXPECT_EQ(h.nId, id);
    EXPECT_EQ(h.nLength, id * 13 % 301);
    EXPECT_EQ(h.nNivell, static_cast<short>(id % 3));
    if (id % 2 == 0) {
      ASSERT_EQ(s.ReadRecord(data, h.nLength), 1) << id;
      for (unsigned long k = 0; k < h.nLength; ++k) ASSERT_EQ(data[k], static_cast<char>(k * 7)) << id;
    }  // odd records are skipped unread
  }
  EXPECT_EQ(s.NextRecord(h), 0);
}

// Record counts and levels come from the file. 200,000 records, each a level
// deeper than the one before up to 999 and then from 0 again, closed by a record
// at level 0: the search walks past them, and a skip passes a whole subtree, in
// time proportional to their number (going back over the records already seen
// would take many minutes).
TEST_F(SerializerTest, ManyDeepRecordsAreWalkedInLinearTime) {
  constexpr unsigned long kRecords = 200'000;
  {
    TSerializer* s = TSerializer::Open(m_path.c_str(), 1);
    ASSERT_NE(s, nullptr);
    ASSERT_EQ(s->CreateHeader(1, 0, 0, 0), 0);
    for (unsigned long id = 0; id < kRecords; ++id) {
      s->SetNivell(static_cast<short>(id % 1000));
      ASSERT_EQ(s->WriteRecord(&id, sizeof id, id), 0);
    }
    s->SetNivell(0);
    ASSERT_EQ(s->WriteRecord(nullptr, 0, kRecords), 0);
    TSerializer::Close(s);
  }
  unsigned long length = 1;
  void* data = nullptr;
  int missing = 0, last = -1, skipped = 0;
  SER_RECORDHEADER h = {};
  const double seconds = kwtest::SecondsTaken([&] {
    missing = TSerializer::GetRegistre(m_path.c_str(), kRecords + 1, data, length);
    last = TSerializer::GetRegistre(m_path.c_str(), kRecords, data, length);
    TSerializer* s = TSerializer::Open(m_path.c_str(), 0);
    short t, w2, w3, w4;
    if (s->GetHeader(t, w2, w3, w4) == 0 && s->NextRecord(h) == 1 && s->SkipRecord() == 1) skipped = s->NextRecord(h);
    TSerializer::Close(s);
  });
  EXPECT_EQ(missing, -16102);
  EXPECT_EQ(last, 0);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(skipped, 1);
  EXPECT_EQ(h.nId, 1000u);  // the first record at level 0 after the first
  EXPECT_LT(seconds, 60.0);
}

}  // namespace
