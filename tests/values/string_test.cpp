#include <malloc.h>
#include <qecore/core/ids.h>
#include <qecore/values/string.h>
#include <windows.h>

#include <algorithm>
#include <string_view>

#include "support/prelude.h"

namespace {

using namespace yk;
using namespace std::string_view_literals;

wstring Characters(String const& s) { return wstring(s.c_str(), s.Length()); }
void* BlockOf(String const& s) { return Field<void*>(&s, 0); }

TEST(String, IsARangeAndAView) {
  for (std::wstring_view const text : {L""sv, L"a\0b"sv}) {
    String const string(text.data(), text.size());
    std::wstring_view const view = string;
    EXPECT_TRUE(view == text && std::ranges::equal(string, text) && string == text);
  }
}

TEST(String, ABlockIsALengthTheCharactersAndRoomInStepsOf32) {
  for (auto [length, bytes] : {std::pair<size_t, size_t>{1, 72}, {31, 72}, {32, 136}, {63, 136}, {64, 200}}) {
    String const s(wstring(length, L'x').c_str()), copy(s);
    EXPECT_EQ((Sizes{_msize(BlockOf(s)), Field<size_t>(BlockOf(copy), 0)}), (Sizes{bytes, length}));
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

TEST(String, ALongTextThatGrowsKeepsItsCharactersAndACopyIsTrimmed) {
  String s;
  wstring expected;
  for (int i = 0; i < 2000; ++i) {
    s.AtInsert(i % 3 ? String::npos : s.Length() / 2, L"in");
    if (i % 3 == 0) expected.insert(expected.size() / 2, L"in");
    if (i % 500 == 499) s.Terminate(s.Length() - 700), expected.resize(expected.size() - 700);
    s += i % 2 ? L"abcdefgh" : L"x";
    expected += i % 2 ? L"abcdefgh" : L"x";
  }
  EXPECT_EQ(Characters(s), expected);
  EXPECT_EQ(s.c_str()[s.Length()], 0);
  String copy(s);
  EXPECT_EQ(Characters(copy), expected);
  EXPECT_EQ(_msize(BlockOf(copy)), 8 + (expected.size() + 32) / 32 * 64);
  s.Realloc(40);
  EXPECT_EQ(_msize(BlockOf(s)), 136u);
}

TEST(String, ConstructsFromEachKindOfText) {
  EXPECT_EQ(Characters(String('\xE9') + String("caf\xE9")), wstring(1, L'\xFFE9') + L"caf\xE9");
  EXPECT_EQ(Characters(String(L'\0')) + Characters(String(L"a\0b", 3)), wstring(L"\0a\0b", 4));
  EXPECT_EQ(Characters(String(ids::UNKNOWN)), L"{9567FA11-6E86-4BB0-B4B6-8D273B879B1F}");
  HWND const window = CreateWindowW(L"STATIC", L"title", 0, 0, 0, 9, 9, nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(Characters(String(window)), L"title");
  DestroyWindow(window);
  String const none, null(static_cast<char*>(nullptr));
  EXPECT_TRUE((null + "" + String(nullptr, 1) + none.Parse_C_string() + none.FilePath()).IsEmpty());
}

TEST(String, GivesItsCharacters) {
  String s(L"ab\0d", 4);
  EXPECT_EQ((Sizes{s.At(3), s.At(4), s.SetAt(0, L'A'), s.SetAt(4, L'x')}), (Sizes{L'd', 0, 1, 0}));
  wchar_t wide[] = L"####";
  s.Get(wide, 4);
  s.Get(wide + 3, 0);  // writes the terminator nevertheless
  EXPECT_EQ(wstring(wide, 4), wstring(L"Ab\0\0", 4));
  s.Get(wide, 2);
  EXPECT_STREQ(wide, L"A");
  char narrow[2][8] = {"###", "###"};
  String const text(L" 12x\xE9");
  text.Get(narrow[0], 8), text.Get(narrow[0], 0);
  text.GetUTF8(narrow[1], size_t{1} << 40);
  EXPECT_EQ(narrow[0] + string(narrow[1]), " 12x\xE9 12x\xC3\xA9");
  String().Get(narrow[0], 0);
  EXPECT_STREQ(narrow[0], "");
  EXPECT_EQ(text.GetInt(), 12);
}

TEST(String, JoinsAndTakesTextsOutOfItself) {
  String s(L"ab");
  s += s;
  s += "c";
  s += L"d";
  s = *&s;
  EXPECT_EQ(Characters(s + String(L"!")), L"ababcd!");
  s = wstring(31, L'x').c_str();
  s += s.c_str() + 1;  // reallocates the block
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
  EXPECT_EQ((Sizes{b.CompareNoCase(a) > 0, b<a, a> b, a >= a, a <= a, none < a}), Sizes(6, 1));
  EXPECT_EQ((Sizes{none == String(), none != a, a == L"a", none == L"", a == "a", none == ""}), Sizes(6, 1));
  EXPECT_FALSE(String(L"a\0b", 3) == a);                  // lengths differ
  EXPECT_TRUE(String(L"a\0b", 3) == String(L"a\0c", 3));  // and nothing after a zero is compared
  EXPECT_EQ((Sizes{a == "ab", String(L"\xE9") == "\xE9", String(L"\xFFE9") == "\xE9"}), Sizes(3));
  EXPECT_EQ((Sizes{none == static_cast<char*>(nullptr), a == static_cast<char*>(nullptr)}), (Sizes{1, 0}));
}

TEST(String, Searches) {
  constexpr size_t NO = String::npos;
  String const text(L"aab\0aa", 6), none;
  EXPECT_EQ((Sizes{text.Find(L'b'), text.Find(L'\0'), text.Find(L'z')}), (Sizes{2, 3, NO}));
  EXPECT_EQ((Sizes{text.Find(L"ab"), text.Find(String(L"b")), text.Find("ab")}), (Sizes{1, 2, 1}));
  EXPECT_EQ((Sizes{text.Find(L""), text.Find(""), text.Find(none), none.Find(L"")}), (Sizes{0, NO, NO, NO}));
  EXPECT_EQ((Sizes{text.Find(static_cast<char*>(nullptr)), none.Find(L'a')}), (Sizes{0, NO}));
  EXPECT_EQ((Sizes{text.RFind(L"a"), text.RFind(L""), text.RFind(L"aaaa")}), (Sizes{1, NO, NO}));
  EXPECT_EQ((Sizes{String(L"aaaa").RFind(L"aa"), String(L"aaa").RFind(String(L"aa"))}), (Sizes{2, 1}));
}

TEST(String, Edits) {
  Table<char const*, wchar_t const*, wchar_t const*, bool (*)(String&)> const cases = {
      {"insert", L"ad", L"abcd", [](String& s) { return s.AtInsert(1, L"bc"); }},
      {"delete", L"abcd", L"ad", [](String& s) { return s.AtDelete(1, 2); }},
      {"cut", L"abcd", L"ad", [](String& s) { return s.Cut(1, 2); }},
      {"cut too much", L"abcd", L"ab", [](String& s) { return s.Cut(2, String::npos); }},
      {"assign nothing", L"abc", L"", [](String& s) { return s = L"", true; }},
      {"trim", L"\t a b ", L"a b", [](String& s) { return s.Trim(); }},
      {"trim all", L" \t", L"", [](String& s) { return s.Trim(); }},
      {"upper, then lower", L"aBc", L"abc", [](String& s) { return s.MakeUpper() && s.MakeLower(); }},
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
  String none, a(L"a"), ends(L"abcd"), bare(L"a.txt");
  EXPECT_EQ((std::vector{String(LR"(a\Tb\\c\q\n\)").Parse_C_string(), String(L"dir.v\\file").FileExt(),
                         String(L"c:/a/b").FilePath(), bare.FileShortName(),
                         ends.Right(1) + ends.Left(2) + ends.Right(2), a.Left(9) + a.Right(9)}),
            (std::vector<String>{L"a\tb\\cq\n\\", L"v\\file", L"c:/a", L"", L"dabcd", L"aa"}));
  EXPECT_EQ((Sizes{a.AtInsert(0, L""), a.AtInsert(2, L"x"), a.AtDelete(0, 0), a.AtDelete(0, 2),
                   a.AtDelete(1, String::npos), a.Cut(1, 1), a.Trim(), a.FileConcatePaths(a, none)}),
            Sizes(8));
  a.RemoveExtension(), none.TerminatePath(), none.UnterminatePath();
  EXPECT_EQ((Sizes{none.DoubleTerminate(), a.DoubleTerminate()}), Sizes(2, 1));
  EXPECT_EQ((Sizes{none.Length(), none.At(1), none.c_str()[2]}), (Sizes{2, 0, 0}));
  EXPECT_EQ(Characters(a), wstring(L"a\0", 2));
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
