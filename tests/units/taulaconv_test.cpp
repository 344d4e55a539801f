// The conversion tables: exact ends, the rounding of word to byte, and whole-table
// assignment.
#include <cmath>
#include <memory>
#include <gtest/gtest.h>

#include <kwlib63/units/taulaconv.h>

namespace {

TEST(TaulaConv, Entries) {
  EXPECT_EQ(g_byte2double.m_taula[0], 0.0);
  EXPECT_EQ(g_byte2double.m_taula[255], 1.0);
  EXPECT_EQ(g_byte2double.m_taula[51], 51 / 255.0);
  EXPECT_EQ(g_word2double.m_taula[0], 0.0);
  EXPECT_EQ(g_word2double.m_taula[65535], 1.0);
  EXPECT_EQ(g_word2double.m_taula[1000], 1000 / 65535.0);
  for (int i = 0; i < 65536; ++i) {
    ASSERT_EQ(g_word2byte.m_taula[i], static_cast<unsigned char>(std::lround(i / 257.0))) << i;
  }
}

TEST(TaulaConv, AssignmentCopiesTheWholeTable) {
  auto table = std::make_unique<CTaulaConvWord2Byte>();
  table->m_taula[7] = 99;
  *table = g_word2byte;
  EXPECT_EQ(table->m_taula[7], 0);
  EXPECT_EQ(table->m_taula[65535], 255);
  CTaulaConvByte2Double small;
  small.m_taula[3] = -1;
  CTaulaConvByte2Double& same = small;
  small = std::move(same);  // onto itself: nothing lost
  EXPECT_EQ(small.m_taula[3], -1);
  small = g_byte2double;
  EXPECT_EQ(small.m_taula[3], 3 / 255.0);
}

}  // namespace
