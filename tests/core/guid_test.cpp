#include <gtest/gtest.h>
#include <qecore/core/guid.h>
#include <qecore/values/string.h>

#include <string>

namespace {

using namespace yk;

constexpr Guid ID = {0x01234567, 0x89AB, 0xCDEF, {0x10, 0x32, 0x54, 0x76, 0x98, 0xBA, 0xDC, 0xFE}};

TEST(Guid, HasOneTextForm) {
  char narrow[Guid::TEXT_SIZE];
  wchar_t wide[Guid::TEXT_SIZE];
  ID.toString(narrow);
  ID.toString(wide);
  EXPECT_STREQ(narrow, "{01234567-89AB-CDEF-1032-547698BADCFE}");
  EXPECT_STREQ(wide, L"{01234567-89AB-CDEF-1032-547698BADCFE}");
}

// White space before a group is let through, so that a text can be as long as one likes; 255 wide characters count.
TEST(Guid, ReadsWhatTheRuntimesScannerReads) {
  Guid read = {};
  EXPECT_TRUE(read.Init("{01234567-89ab-cdef-1032-547698badcfe"));
  EXPECT_EQ(read, ID);
  for (char const* const text :
       {"01234567-89AB-CDEF-1032-547698BADCFE}", " {01234567-89AB-CDEF-1032-547698BADCFE}",
        "{01234567-89AB-CDEF-1032-547698BADC", ""}) {
    EXPECT_FALSE(read.Init(text)) << text;
  }
  std::wstring const head = L"{01234567-89AB-CDEF-1032-547698BADC";
  EXPECT_TRUE(read.Init(String((head + std::wstring(218, L' ') + L"FE}").c_str())));
  EXPECT_EQ(read, ID);
  EXPECT_FALSE(read.Init((head + std::wstring(220, L' ') + L"FE}").c_str()));
  EXPECT_FALSE(read.Init(std::wstring(100000, L'\x4E00').c_str()));
}

}  // namespace
