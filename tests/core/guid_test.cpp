#include <gtest/gtest.h>
#include <qecore/core/guid.h>
#include <qecore/values/string.h>

#include <string>

using namespace yk;

// White space before a group is let through, so that a text can be as long as one likes; 255 wide characters
// count.
TEST(Guid, HasOneTextFormAndReadsWhatTheRuntimesScannerReads) {
  Guid const id = {0x01234567, 0x89AB, 0xCDEF, {0x10, 0x32, 0x54, 0x76, 0x98, 0xBA, 0xDC, 0xFE}};
  char narrow[Guid::TEXT_SIZE];
  wchar_t wide[Guid::TEXT_SIZE];
  id.toString(narrow);
  id.toString(wide);
  EXPECT_STREQ(narrow, "{01234567-89AB-CDEF-1032-547698BADCFE}");
  EXPECT_STREQ(wide, L"{01234567-89AB-CDEF-1032-547698BADCFE}");
  Guid read = {};
  EXPECT_TRUE(read.Init("{01234567-89ab-cdef-1032-547698badcfe"));
  EXPECT_EQ(read, id);
  for (std::string const text :
       {"01234567-89AB-CDEF-1032-547698BADCFE}", "{01234567-89AB-CDEF-1032-547698BADC", ""}) {
    EXPECT_FALSE(read.Init(text.c_str())) << text;
  }
  std::wstring const head(wide, 35);
  EXPECT_TRUE(read.Init(String((head + std::wstring(218, L' ') + L"FE}").c_str())));
  EXPECT_EQ(read, id);
  EXPECT_FALSE(read.Init((head + std::wstring(220, L' ') + L"FE}").c_str()));
}
