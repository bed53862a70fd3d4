#include <qecore/draw/geometry.h>
#include <qecore/values/array.h>
#include <qecore/values/string.h>
#include <qecore/values/variant.h>

#include <algorithm>

#include "support/prelude.h"

namespace {

using namespace yk;

// A variant as a damaged file may leave it: a tag without a value.
Variant Bare(int type) {
  Variant v;
  v.type = static_cast<uint8_t>(type);
  return v;
}

void* PayloadOf(Variant const& v) { return Field<void*>(&v, 0); }

TEST(Variant, TextsAreCopiedBorrowedOrKeptEmpty) {
  wchar_t const* const none = nullptr;
  String const text(L"string");
  Table<Variant, uint8_t, unsigned> const cases = {
      {Made("narrow"), 14, 7}, {Made(L"wide"), 15, 10}, {Made(text), 15, 14},    {Made(""), 0, 0},
      {Made(none, 1u), 0, 0},  {Made("", 2u), 14, 0},   {Made(none, 3u), 15, 0}, {Made(String()), 0, 0},
  };
  for (auto const& [v, type, size] : cases) {
    void* payload = nullptr;
    EXPECT_EQ(std::tuple(v.type, v.flags, v.GetDataPtr(&payload)), std::tuple(type, 0, size));
    EXPECT_EQ(payload == nullptr, size == 0);
  }
  Variant v;
  v.Init(text, true);
  EXPECT_EQ(std::tuple(PayloadOf(v) == text.c_str(), v.flags, v.size), std::tuple(true, 2, 14u));
  v.flags |= Variant::TRANSIENT;
  Variant const copy(v);
  EXPECT_EQ(std::tuple(PayloadOf(copy) == text.c_str(), copy.flags, copy.size), std::tuple(false, 4, 14u));
  v.Init(copy);
  v.Init(static_cast<wchar_t*>(PayloadOf(v)) + 3, 1);  // from itself: copied
  EXPECT_EQ(v.flags, 0);
  EXPECT_STREQ(static_cast<wchar_t*>(PayloadOf(v)), L"ing");
}

TEST(Variant, BlobsOfTheSameSizeKeepTheirBuffer) {
  Variant v, out;
  char own[] = "pq", bytes[4] = "###";
  void* const buffer = bytes;
  v.Init(own, 2, true);
  v.Init("rs", 2, false);  // into the borrowed buffer
  v.Init(nullptr, 2, false);
  EXPECT_STREQ(own, "rs");
  EXPECT_EQ(v.Get(out), S_OK);
  EXPECT_EQ(PayloadOf(out), own);
  v.Init("xyz", 3, false);
  EXPECT_EQ(v.Get(buffer, 2u), 2u);
  EXPECT_STREQ(bytes, "xy#");
  EXPECT_EQ((Sizes{v.Get(buffer, 9u), v.GetDataPtr(nullptr)}), Sizes(2, 3));
  EXPECT_EQ((Sizes{Bare(Variant::BLOB).Get(buffer, 3u), Made(7).Get(buffer, 3u)}), Sizes(2));
  v.Init(nullptr, 9, true);
  EXPECT_EQ(v.Get(out), S_OK);
  EXPECT_EQ(std::tuple(v.size, out.size, out.flags, PayloadOf(out)), std::tuple(9u, 9u, 2, nullptr));
  v.Init(nullptr, 5, false);
  EXPECT_NE(PayloadOf(v), nullptr);
  v.Init("", 0, false);
  EXPECT_EQ(Bare(Variant::BLOB).Get(out), S_OK);
  EXPECT_EQ(v.type + out.type, Variant::EMPTY);
}

template <class Number>
void ExpectNumber(Variant const& v, Number expected) {
  Number number = 9;
  EXPECT_EQ(v.Get(number), v.type != 200) << int{v.type};
  EXPECT_EQ(number, expected) << int{v.type};
}

TEST(Variant, ConvertsToEachNumber) {
  Table<Variant, int, unsigned, float, double> const cases = {
      {Made(true), 1, 1, 1, 1},
      {Made(uint8_t{200}), 200, 200, 200, 200},
      {Made(70000u), 4464, 70000, 70000, 4464},  // some types take 16 bits
      {Made(uint64_t{0xFFFFFFFF00000005}), 5, 5, 0x1p64f, 18446744069414584325.0},
      {Made(short{-3}), -3, 0xFFFFFFFD, -3, -3},
      {Made(int64_t{-5}), -5, 0xFFFFFFFB, -5, -5},
      {Made(-2.5f), -3, 0xFFFFFFFD, -2.5f, -2.5},
      {Made(1e10), INT32_MIN, 0x80000000, 1e10f, 1e10},
      {Made("12.75x"), 12, 12, 12.75f, 12.75},
      {Made(L"0.1"), 0, 0, 0.1f, double{0.1f}},
      {Bare(Variant::NARROW_STRING), 0, 0, 0, 0},
      {Bare(Variant::WIDE_STRING), 0, 0, 0, 0},
      {Bare(200), 0, 0, 0, 0},
  };
  for (auto const& [v, asInt, asUnsigned, asFloat, asDouble] : cases) {
    ExpectNumber(v, asInt);
    ExpectNumber(v, asUnsigned);
    ExpectNumber(v, asFloat);
    ExpectNumber(v, asDouble);
    ExpectNumber(v, asUnsigned != 0);
    ExpectNumber(v, uint8_t(std::min(asUnsigned, 255u)));
    ExpectNumber(v, uint16_t(std::min(asUnsigned, 65535u)));
  }
}

TEST(Variant, ConvertsToTextsAndPoints) {
  String s(L"before");
  for (Variant const& v : {Made("caf\xE9"), Made(L"caf\xE9")}) EXPECT_TRUE(v.Get(s) && s == L"caf\xE9");
  EXPECT_TRUE(!Made(7).Get(s) && s.IsEmpty());
  Table<Variant, bool, double> const points = {{Made(point2d{0.1, 2}), true, 0.1},
                                               {Made(point2df{0.1f, 2}), true, 0.1f},
                                               {Bare(Variant::POINT_2D), false, 0},
                                               {Made(7), false, 0}};
  for (auto const& [v, converts, x] : points) {
    point2d p{9, 9};
    EXPECT_EQ(v.Get(p), converts) << int{v.type};
    EXPECT_EQ(std::pair(p.x, p.y), std::pair(x, converts ? 2.0 : 0.0)) << int{v.type};
  }
}

TEST(Variant, CopiesTextsIntoBuffersAndNotPastThem) {
  // a buffer's size, the four characters afterwards, each of them `#` before, and the result
  Table<unsigned, wstring, size_t> const cases = {
      {4, {L"abc\0", 4}, 3}, {3, L"abc#", 3}, {2, L"ab##", 2}, {0, {L"\0###", 4}, 0}};
  for (auto const& [length, after, result] : cases) {
    string narrow(4, '#');
    wstring wide(4, L'#');
    EXPECT_EQ(Made("abc").Get(narrow.data(), length), result);
    EXPECT_EQ(Made(L"abc").Get(wide.data(), length), result);
    EXPECT_EQ(wide, after) << length;
    EXPECT_EQ(narrow, string(after.begin(), after.end()));
  }
  char narrow[4];
  wchar_t wide[4];
  EXPECT_EQ((Sizes{Made(L"abc").Get(narrow, 4), Made("abc").Get(wide, 4)}), Sizes(2, 3));
  EXPECT_EQ(wide, wstring(narrow, narrow + 3));
  EXPECT_EQ((Sizes{Made(7).Get(narrow, 4), Bare(Variant::NARROW_STRING).Get(wide, 4)}), Sizes(2));
}

TEST(Variant, GetsIntoAnother) {
  Ref<Array> const object = Own(Array::Create(0));
  EXPECT_EQ(Made(static_cast<Unknown*>(object.get())).GetI(), object.get());
  for (Variant const& v : {Made(true), Made(0.1), Made(int64_t{-5}), Made("text"), Made(L"text"),
                           Made(point2d{1, 2}), Made(point2df{1, 2}), Made(point3d{1, 2, 3})}) {
    Variant out = Made("before");
    EXPECT_EQ(v.Get(out), S_OK);
    EXPECT_TRUE(v.Compare(out)) << int{v.type};
  }
  for (Variant const& v : {Bare(0), Bare(16), Made(static_cast<Unknown*>(object.get())), Made(matrix3d{}),
                           Made(matrix2d{}), Made(point3df{}), Made(static_cast<Unknown*>(nullptr))}) {
    Variant out = Made("before");
    EXPECT_EQ(v.Get(out), E_INVALIDARG);
    EXPECT_EQ(std::pair(out.type, PayloadOf(out)), std::pair(v.type, static_cast<void*>(nullptr)));
  }
  Variant out, small = Made(true);
  small.value.bits = UINT64_MAX;
  EXPECT_EQ(small.Get(out), S_OK);
  EXPECT_EQ(out.value.bits, UINT32_MAX) << "only four bytes are written";
  small.Init(small);
  EXPECT_EQ((Ints{small.Get(small), Bare(Variant::POINT_3D).Get(out)}), Ints(2, S_OK));
  EXPECT_EQ(std::tuple(out.type, PayloadOf(out), small.GetI()), std::tuple(23, nullptr, nullptr));
  Variant damaged = Made(L"x", 1u);
  damaged.size = 1;  // less than a terminator
  out.Init(damaged);
  EXPECT_EQ(out.type, Variant::EMPTY);
}

TEST(Variant, Compares) {
  matrix3d near, off;
  near.elements[11] = 1e-30;
  off.elements[11] = 3e-30;
  Variant const none = Made("", 2u), wideNone = Made(L"", 2u), zeros = Made(matrix3d{});
  Variant const equal[] = {Made("abc"), Made(L"abc"), none, none, zeros, Made(near)};
  for (int i = 0; i < 6; ++i) EXPECT_TRUE(equal[i].Compare(equal[i ^ 1])) << i;
  Variant before;
  auto const list = [](auto const&... v) { return std::vector<Variant>{v...}; };
  for (Variant const& v :
       list(Made(5), Made(5u), Made("5"), none, Made("a"), wideNone, none, wideNone, Made(L"a"), Made("\xE9"),
            Made(L"\xE9"), Made(5), Made(L"5"), Made(point2df(1, 2)), Made(point2df(1, 3)),
            Made(point2df(2, 3)), Made(point3d(1, 2, 3)), Made(point3d(1, 2, 4)), Made(point3df(1, 2, 3)),
            Made(point3df(1, 2, 4)), Made(point2d(1, 2)), Made(point2d(1, 3)), Bare(Variant::POINT_3D),
            Made(off), zeros, Bare(Variant::MATRIX_3D), Made(matrix2d()), Made(matrix2d()), Bare(0), Bare(0),
            Bare(255), Bare(255))) {
    EXPECT_FALSE(v.Compare(before)) << int{v.type};
    EXPECT_FALSE(before.Compare(v)) << int{v.type};
    before = v;
  }
}

}  // namespace
