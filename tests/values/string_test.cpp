#include <gtest/gtest.h>
#include <malloc.h>
#include <qecore/core/ids.h>
#include <qecore/values/string.h>
#include <windows.h>

#include <string>
#include <tuple>
#include <vector>

#include "support/binary.h"

namespace {

using namespace yk;
using std::wstring;
using Sizes = std::vector<size_t>;

wstring Characters(String const& s) { return wstring(s.c_str(), s.Length()); }
void* BlockOf(String const& s) { return Field<void*>(&s, 0); }

TEST(String, ABlockIsALengthTheCharactersAndRoomInStepsOf32) {
  for (auto [length, bytes] : {std::pair<size_t, size_t>{1, 72}, {31, 72}, {32, 136}, {63, 136}, {64, 200}}) {
    String const s(wstring(length, L'x').c_str()), copy(s);
    EXPECT_EQ(std::pair(_msize(BlockOf(s)), Field<uint64_t>(BlockOf(copy), 0)),
              std::pair(bytes, uint64_t{length}));
    EXPECT_EQ(wstring(static_cast<wchar_t*>(BlockOf(copy)) + 4), wstring(length, L'x'));
  }
  String s(L"0123456789");
  void const* const block = BlockOf(s);
  EXPECT_TRUE(s.Realloc(20));
  EXPECT_EQ(BlockOf(s), block);
  EXPECT_TRUE(s.Realloc(200));
  static_cast<uint64_t*>(BlockOf(s))[0] = 10;  // shorter than its block
  EXPECT_EQ(_msize(BlockOf(String(s))), 456u);
  s.Terminate(200);
  s.Terminate(4);
  for (size_t const much : {String::npos, size_t{1} << 62}) EXPECT_FALSE(s.Realloc(much));
  EXPECT_EQ(_msize(BlockOf(s)), 72u);
  EXPECT_EQ(Characters(s), L"0123");
}

TEST(String, ConstructsFromEachKindOfText) {
  EXPECT_EQ(Characters(String('\xE9') + String("caf\xE9")), wstring(1, L'\xFFE9') + L"caf\xE9");
  EXPECT_EQ(Characters(String(L'\0')) + Characters(String(L"a\0b", 3)), wstring(L"\0a\0b", 4));
  EXPECT_EQ(Characters(String(ids::UNKNOWN)), L"{9567FA11-6E86-4BB0-B4B6-8D273B879B1F}");
  HWND const window = CreateWindowW(L"STATIC", L"title", 0, 0, 0, 9, 9, nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(Characters(String(window)), L"title");
  DestroyWindow(window);
}

TEST(String, GivesItsCharacters) {
  String s(L"ab\0d", 4);
  EXPECT_EQ((Sizes{s.At(3), s.At(4), s.SetAt(0, L'A'), s.SetAt(4, L'x')}), (Sizes{L'd', 0, 1, 0}));
  wchar_t wide[] = L"####";
  s.Get(wide, 4);
  s.Get(wide + 3, 0);  // writes the terminator all the same
  EXPECT_EQ(wstring(wide, 4), wstring(L"Ab\0\0", 4));
  s.Get(wide, 2);
  EXPECT_STREQ(wide, L"A");
  char narrow[2][8] = {"###", "###"};
  String(L"12\xE9").Get(narrow[0], 8);
  String(L"\xE9").GetUTF8(narrow[1], 8);
  EXPECT_EQ(narrow[0] + std::string(narrow[1]), "12\xE9\xC3\xA9");
  String().Get(narrow[0], 0);
  EXPECT_STREQ(narrow[0], "");
  EXPECT_EQ(String(L" 12x").GetInt(), 12);
}

TEST(String, JoinsAndTakesTextsOutOfItself) {
  String s(L"ab");
  s += s;
  s += "c";
  s += L"d";
  EXPECT_EQ(Characters(s + String(L"!")), L"ababcd!");
  s = wstring(31, L'x').c_str();
  s += s.c_str() + 1;  // moves the block
  EXPECT_EQ(Characters(s), wstring(61, L'x'));
  s = L"0123456789";
  s = s.c_str() + 3;
  EXPECT_TRUE(s.AtInsert(1, s.c_str() + 5));
  EXPECT_EQ(Characters(s), L"389456789");
  s.printf(L"%s-%d", L"a", 1);
  s.printf_add(L"+%s", s.c_str());
  EXPECT_EQ(Characters(s), L"a-1+a-1");
  s.printf(L"%s", wstring(9000, L'x').c_str());
  EXPECT_EQ(Characters(s), wstring(8191, L'x'));
}

TEST(String, Compares) {
  String const a(L"a"), b(L"B"), none;
  EXPECT_EQ((Sizes{b.Compare(a) < 0, b.CompareNoCase(a) > 0, b<a, a> b, a >= a, a <= a, none < a}),
            Sizes(7, 1));
  EXPECT_EQ((Sizes{none == String(), none != a, a == L"a", none == L"", a == "a", none == ""}), Sizes(6, 1));
  EXPECT_FALSE(String(L"a\0b", 3) == a);                  // lengths differ
  EXPECT_TRUE(String(L"a\0b", 3) == String(L"a\0c", 3));  // and behind a zero nothing is looked at
  EXPECT_EQ((Sizes{a == "ab", String(L"\xE9") == "\xE9", String(L"\xFFE9") == "\xE9"}), Sizes(3));
}

TEST(String, Searches) {
  constexpr size_t NONE = String::npos;
  String const text(L"aab\0aa", 6), none;
  EXPECT_EQ((Sizes{text.Find(L'b'), text.Find(L'\0'), text.Find(L'z')}), (Sizes{2, 3, NONE}));
  EXPECT_EQ((Sizes{text.Find(L"ab"), text.Find(String(L"b")), text.Find("ab")}), (Sizes{1, 2, 1}));
  EXPECT_EQ((Sizes{text.Find(L""), text.Find(""), text.Find(none), none.Find(L"")}),
            (Sizes{0, NONE, NONE, NONE}));
  EXPECT_EQ(text.Find(static_cast<wchar_t*>(nullptr)) + text.Find(static_cast<char*>(nullptr)), 0u);
  EXPECT_EQ((Sizes{text.RFind(L"a"), text.RFind(L"")}), (Sizes{1, NONE}));
  EXPECT_EQ((Sizes{String(L"aaaa").RFind(L"aa"), String(L"aaa").RFind(String(L"aa"))}), (Sizes{2, 1}));
}

TEST(String, Edits) {
  std::tuple<char const*, wchar_t const*, wchar_t const*, bool (*)(String&)> const cases[] = {
      {"insert", L"ad", L"abcd", [](String& s) { return s.AtInsert(1, L"bc"); }},
      {"delete a range that wraps", L"abcd", L"abcd", [](String& s) { return !s.AtDelete(2, String::npos); }},
      {"cut too much", L"abcd", L"ab", [](String& s) { return s.Cut(2, String::npos); }},
      {"assign nothing", L"abc", L"", [](String& s) { return s = L"", true; }},
      {"trim", L"\t a b ", L"a b", [](String& s) { return s.Trim(); }},
      {"escapes", LR"(a\Tb\\c\q\)", L"a\tb\\cq\\", [](String& s) { return s = s.Parse_C_string(), true; }},
      {"extension", L"dir.v\\file", L"v\\file", [](String& s) { return s = s.FileExt(), true; }},
      {"path", L"c:/a/b", L"c:/a", [](String& s) { return s = s.FilePath(), true; }},
      {"short name of a bare name", L"a.txt", L"", [](String& s) { return s = s.FileShortName(), true; }},
      {"upper, then lower", L"aBc", L"abc", [](String& s) { return s.MakeUpper() && s.MakeLower(); }},
      {"upper of nothing", L"", L"", [](String& s) { return !s.MakeUpper() && !s.MakeLower(); }},
      {"both ends", L"abcd", L"dab", [](String& s) { return s = s.Right(1) + s.Left(2), true; }},
      {"no extension", L"a.b.c", L"a.b", [](String& s) { return s.RemoveExtension(), true; }},
      {"unterminate", L"a/", L"a", [](String& s) { return s.UnterminatePath(), s.UnterminatePath(), true; }},
      {"terminate", L"a/b", L"a/b\\", [](String& s) { return s.TerminatePath(), s.TerminatePath(), true; }},
  };
  for (auto const& [name, before, after, edit] : cases) {
    String s(before);
    EXPECT_TRUE(edit(s)) << name;
    EXPECT_STREQ(s.c_str(), after) << name;
    EXPECT_EQ(BlockOf(s) == nullptr, !*after) << name;
  }
  String list;
  EXPECT_TRUE(list.DoubleTerminate());
  EXPECT_EQ((Sizes{list.Length(), list.At(1), list.c_str()[2]}), (Sizes{2, 0, 0}));
}

TEST(String, ConcatenatesPaths) {
  wchar_t const* const cases[][3] = {
      {L"c:\\x\\y", L"..\\..\\z", L"c:\\z"}, {L"c:\\x", L"./z", L"c:\\x\\.\\z"},
      {L"c:\\x\\", L"a/b", L"c:\\x\\a\\b"},  {L"", L"..\\z", L"z"},
      {L"c:\\x", L"..", L"c:\\x\\.."},
  };
  String path;
  for (auto const& [base, relative, joined] : cases) {
    EXPECT_TRUE(path.FileConcatePaths(String(base), String(relative)));
    EXPECT_STREQ(path.c_str(), joined);
  }
  path = wstring(600, L'b').c_str();
  EXPECT_TRUE(path.FileConcatePaths(path, String(wstring(300, L'r').c_str())));
  EXPECT_EQ(Characters(path), wstring(509, L'b') + L"\\" + wstring(255, L'r'));
}

}  // namespace
