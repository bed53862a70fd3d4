#include <gtest/gtest.h>
#include <qecore/core/ref.h>
#include <qecore/draw/geometry.h>
#include <qecore/values/array.h>
#include <qecore/values/string.h>
#include <qecore/values/variant.h>

#include <algorithm>
#include <string>
#include <tuple>

#include "support/binary.h"

namespace {

using namespace yk;
using std::string;
using std::wstring;

template <class... Arguments>
Variant Made(Arguments... arguments) {
  Variant v;
  v.Init(arguments...);
  return v;
}

// A variant as a damaged file may leave it: a tag and nothing behind it.
Variant Bare(int type) {
  Variant v;
  v.type = static_cast<uint8_t>(type);
  return v;
}

void* PayloadOf(Variant const& v) { return Field<void*>(&v, 0); }

TEST(Variant, TextsAreCopiedBorrowedOrKeptEmpty) {
  wchar_t const* const none = nullptr;
  String const text(L"string");
  std::tuple<Variant, uint8_t, unsigned> const cases[] = {
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
  v.Init(static_cast<wchar_t*>(PayloadOf(v)) + 3, 1);  // out of itself: copied
  EXPECT_EQ(v.flags, 0);
  EXPECT_STREQ(static_cast<wchar_t*>(PayloadOf(v)), L"ing");
}

TEST(Variant, BlobsOfTheSameSizeKeepTheirBuffer) {
  Variant v, out;
  char own[] = "pq", bytes[4] = "###";
  v.Init(own, 2, true);
  v.Init("rs", 2, false);  // into the borrowed buffer
  v.Init(nullptr, 2, false);
  EXPECT_STREQ(own, "rs");
  EXPECT_EQ(v.Get(out), S_OK);
  EXPECT_EQ(PayloadOf(out), own);
  v.Init("xyz", 3, false);
  EXPECT_EQ(v.Get(static_cast<void*>(bytes), 2u), 2u);
  EXPECT_STREQ(bytes, "xy#");
  v.Init(nullptr, 9, true);
  EXPECT_EQ(v.Get(out), S_OK);
  EXPECT_EQ(std::tuple(v.size, out.size, out.flags, PayloadOf(out)), std::tuple(9u, 9u, 2, nullptr));
}

template <class Number>
std::pair<bool, Number> Converted(Variant const& v) {
  Number number = 9;
  bool const converted = v.Get(number);
  return {converted, number};
}

TEST(Variant, ConvertsToEachNumber) {
  std::tuple<char const*, Variant, bool, int, unsigned, float, double> const cases[] = {
      {"32 bits, of which some take 16", Made(70000u), true, 4464, 70000, 70000, 4464},
      {"64 bits", Made(uint64_t{0xFFFFFFFF00000005}), true, 5, 5, 0x1p64f, 18446744069414584325.0},
      {"float", Made(-2.5f), true, -3, 0xFFFFFFFD, -2.5f, -2.5},
      {"too large a double", Made(1e10), true, INT32_MIN, 0x80000000, 1e10f, 1e10},
      {"narrow text", Made("12.75x"), true, 12, 12, 12.75f, 12.75},
      {"wide text", Made(L"0.1"), true, 0, 0, 0.1f, double{0.1f}},
      {"no tag at all", Bare(200), false, 0, 0, 0, 0},
  };
  for (auto const& [name, v, converts, asInt, asUnsigned, asFloat, asDouble] : cases) {
    EXPECT_EQ(Converted<int>(v), std::pair(converts, asInt)) << name;
    EXPECT_EQ(Converted<unsigned>(v), std::pair(converts, asUnsigned)) << name;
    EXPECT_EQ(Converted<float>(v), std::pair(converts, asFloat)) << name;
    EXPECT_EQ(Converted<double>(v), std::pair(converts, asDouble)) << name;
    EXPECT_EQ(Converted<bool>(v), std::pair(converts, asUnsigned != 0)) << name;
    EXPECT_EQ(Converted<uint8_t>(v), std::pair(converts, uint8_t(std::min(asUnsigned, 255u)))) << name;
    EXPECT_EQ(Converted<uint16_t>(v), std::pair(converts, uint16_t(std::min(asUnsigned, 65535u)))) << name;
  }
}

TEST(Variant, ConvertsToTextsAndPoints) {
  String s(L"before");
  std::tuple<Variant, bool, wchar_t const*> const texts[] = {
      {Made("caf\xE9"), true, L"caf\xE9"}, {Made(L"wide"), true, L"wide"}, {Made(7), false, L""}};
  for (auto const& [v, converts, text] : texts) {
    EXPECT_EQ(v.Get(s), converts);
    EXPECT_STREQ(s.c_str(), text);
  }
  std::tuple<Variant, bool, point2d> const points[] = {{Made(point2d{0.1, 2}), true, {0.1, 2}},
                                                       {Made(point2df{0.1f, 3}), true, {0.1f, 3}},
                                                       {Bare(Variant::POINT_2D), false, {}}};
  for (auto const& [v, converts, point] : points) {
    point2d p{9, 9};
    EXPECT_EQ(v.Get(p), converts);
    EXPECT_TRUE(p == point) << int{v.type};
  }
}

TEST(Variant, CopiesTextsIntoBuffersAndNotBehindThem) {
  // a buffer's size, the four characters after, of which each was `#`, and the result
  std::tuple<unsigned, wstring, size_t> const cases[] = {
      {4, {L"abc\0", 4}, 3}, {3, L"abc#", 3}, {2, L"ab##", 2}, {0, {L"\0###", 4}, 0}};
  for (auto const& [length, after, result] : cases) {
    string narrow(4, '#');
    wstring wide(4, L'#');
    EXPECT_EQ(Made("abc").Get(narrow.data(), length), result);
    EXPECT_EQ(Made(L"abc").Get(wide.data(), length), result);
    EXPECT_EQ(wide, after) << length;
    EXPECT_EQ(narrow, string(after.begin(), after.end()));
  }
}

TEST(Variant, GetsIntoAnother) {
  Ref<Array> const object = Ref<Array>::Adopt(Array::Create(0));
  EXPECT_EQ(Made(static_cast<Unknown*>(object.get())).GetI(), object.get());
  for (Variant const& v : {Made(true), Made(0.1), Made(int64_t{-5}), Made("text"), Made(L"text"),
                           Made(point2d{1, 2}), Made(point2df{1, 2}), Made(point3d{1, 2, 3})}) {
    Variant out = Made("before");
    EXPECT_EQ(v.Get(out), S_OK);
    EXPECT_TRUE(v.Compare(out)) << int{v.type};
  }
  for (Variant const& v : {Bare(0), Bare(16), Made(static_cast<Unknown*>(object.get())), Made(matrix3d{})}) {
    Variant out = Made("before");
    EXPECT_EQ(v.Get(out), E_INVALIDARG);
    EXPECT_EQ(std::pair(out.type, PayloadOf(out)), std::pair(v.type, static_cast<void*>(nullptr)));
  }
  Variant out, small = Made(true);
  small.value.bits = UINT64_MAX;
  EXPECT_EQ(small.Get(out), S_OK);
  EXPECT_EQ(out.value.bits, UINT32_MAX) << "four bytes";
}

TEST(Variant, Compares) {
  matrix3d near, off;
  near.elements[11] = 1e-30;
  off.elements[11] = 3e-30;
  std::tuple<Variant, Variant, bool> const cases[] = {
      {Made(5), Made(5u), false},
      {Made("abc"), Made(L"abc"), true},
      {Made("\xE9"), Made(L"\xE9"), false},
      {Made("", 2u), Made(L"", 2u), false},
      {Made(point3d{1, 2, 3}), Made(point3d{1, 2, 4}), false},
      {Made(matrix3d{}), Made(near), true},
      {Made(matrix3d{}), Made(off), false},
      {Bare(255), Bare(255), false},
  };
  for (auto const& [a, b, equal] : cases) {
    EXPECT_EQ(a.Compare(b), equal) << int{a.type} << " and " << int{b.type};
    EXPECT_EQ(b.Compare(a), equal);
  }
}

}  // namespace
