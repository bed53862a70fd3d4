#include <gtest/gtest.h>
#include <qecore/draw/geometry.h>
#include <qecore/values/string.h>
#include <windows.h>

#include "records.h"

namespace {

using namespace yk;

TEST(VariantRecord, Bytes) {
  Variant borrowed;
  borrowed.Init("text", Variant::BORROW_TEXT);
  Variant transient = Make(7);
  transient.flags |= Variant::TRANSIENT;
  struct {
    char const* name;
    Variant value;
    std::string bytes;
    bool comesBack;  // Compare finds it equal; false for the kinds that are saved without a payload
  } const rows[] = {{"empty", Variant(), Bytes("\0\0"), false},
                    {"bool", Make(true), Bytes("\1\0\1"), true},
                    {"byte", Make(static_cast<unsigned char>(9)), Bytes("\2\0\x09"), true},
                    {"short", Make(static_cast<short>(-2)), Bytes("\6\0\xFE\xFF"), true},
                    {"int", Make(0x01020304), Bytes("\7\0\4\3\2\1"), true},
                    {"64 bits", Make(uint64_t{1} << 63), Bytes("\5\0\0\0\0\0\0\0\0\x80"), true},
                    {"float", Make(1.0f), Bytes("\x0B\0\0\0\x80?"), true},
                    {"double", Make(1.0), Bytes("\x0C\0\0\0\0\0\0\0\xF0?"), true},
                    {"narrow", Make("ab"), Bytes("\x0E\0\3\0\0\0ab"), true},
                    {"narrow, borrowed", borrowed, Bytes("\x0E\0\5\0\0\0text"), true},
                    {"wide", Make(L"\u00E9"), Bytes("\x0F\0\4\0\0\0\xE9\0"), true},
                    {"an empty text", Make(L"", 2u), Bytes("\x0F\0\0\0\0\0"), true},
                    {"two floats", Make(point2df{1, 2}), Bytes("\x1A\0\0\0\x80?\0\0\0@"), true},
                    {"transient", transient, Bytes("\7\4\7\0\0\0"), true},
                    {"blob", Make("blob", 4u, false), Bytes("\x0D\0"), false},
                    {"object", Make(static_cast<Unknown*>(nullptr)), Bytes("\x11\0"), false}};
  for (auto const& row : rows) {
    EXPECT_EQ(Saved(row.value), row.bytes) << row.name;
    Ref<Deserializer> const reader = ReaderOf(row.bytes);
    Variant back;
    EXPECT_EQ(back.Load(reader.get(), nullptr), S_OK) << row.name;
    EXPECT_EQ(back.type, row.value.type) << row.name;
    EXPECT_EQ(back.flags, row.value.flags) << row.name;
    EXPECT_EQ(back.Compare(row.value), row.comesBack) << row.name;
    EXPECT_FALSE(reader->IsInChunk()) << row.name;
  }
  borrowed.Init("text", Variant::BORROW_TEXT);
  EXPECT_EQ(Saved(borrowed)[1], Variant::BORROWED) << "the flags as they stand";
  std::string const point = Saved(Make(point3d{1, 2, 3}));
  EXPECT_EQ(point.substr(0, 6), Bytes("\x17\0\x18\0\0\0"));
  Variant back;
  back.Load(ReaderOf(point).get(), nullptr);
  EXPECT_TRUE(back.Compare(Make(point3d{1, 2, 3})));
}

TEST(VariantRecord, DamageLeavesASafeValue) {
  struct {
    char const* name;
    std::string bytes;
    uint8_t type, flags;
    unsigned size;
  } const rows[] = {{"nothing", "", 0, 0, 0},
                    {"a tag that there is not", Bytes("\x1D\2........"), 0, 0, 0},
                    {"an object with a pointer", Bytes("\x11\0AAAAAAAA"), 17, 0, 0},
                    {"a blob with a pointer", Bytes("\x0D\2AAAAAAAA"), 13, 2, 0},
                    {"a scalar cut short", Bytes("\7\0\1"), 7, 0, 0},
                    {"a text longer than its chunk", Bytes("\x0E\0\4\0\0\0ab"), 14, 0, 0},
                    {"a text of 4 GiB",
                     Bytes("\x0E\0\xFF\xFF\xFF\xFF"
                           "ab"),
                     14, 0, 0},
                    {"half a character", Bytes("\x0F\0\5\0\0\0abc"), 15, 0, 0},
                    {"less than a terminator", Bytes("\x0F\0\1\0\0\0"), 15, 0, 0},
                    {"a terminator only", Bytes("\x0F\0\2\0\0\0"), 15, 0, 2},
                    {"a borrowed text", Bytes("\x0E\2\3\0\0\0ab"), 14, 0, 3},
                    {"a small point", Bytes("\x17\0\4\0\0\0abcd"), 23, 0, 0}};
  for (auto const& row : rows) {
    Variant v;
    v.value.bits = 0xAAAA;  // of an empty variant: nobody's pointer
    EXPECT_EQ(v.Load(ReaderOf(row.bytes).get(), nullptr), S_OK) << row.name;
    EXPECT_EQ(v.type, row.type) << row.name;
    EXPECT_EQ(v.flags, row.flags) << row.name;
    EXPECT_EQ(v.size, row.size) << row.name;
    EXPECT_TRUE(row.size ? v.value.pointer != nullptr : v.value.bits <= 1) << row.name;
    String text;
    point3d point;
    Variant copy;
    v.Get(text), v.Get(copy), copy.Init(v);
    (void)point;
  }
}

TEST(StringRecord, TakesWholeCharacters) {
  struct {
    std::string payload;
    std::wstring text;
  } const rows[] = {{Bytes("A\0\xE9\0"), L"A\u00E9"}, {Bytes("A\0B"), L"A"}, {"B", L""}, {"", L""}};
  for (auto const& row : rows) {
    Ref<Deserializer> const reader = ReaderOf(row.payload);
    String text(L"before");
    EXPECT_TRUE(text.Load(reader.get()));
    EXPECT_EQ(text.c_str(), row.text);
    EXPECT_EQ(text.Length(), row.text.size());
    EXPECT_FALSE(reader->IsInChunk());
  }
  String name;
  EXPECT_TRUE(name.TempFile());
  EXPECT_EQ(name.FileShortName().Left(3).CompareNoCase(L"hwu"), 0);
  EXPECT_TRUE(DeleteFileW(name.c_str())) << "it was made";
}

}  // namespace
