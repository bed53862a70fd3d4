#include <qecore/values/str.h>

#include <climits>

#include "support/prelude.h"

namespace {

using namespace yk;

char* const noText = nullptr;
wchar_t* const noWide = nullptr;

TEST(Utf8, EncodesEachUnitByItselfAndTruncatesAsStated) {
  // text, size, the buffer after (8 bytes, `#` before), result
  Table<wchar_t const*, int, string, int> const cases = {
      {L"\x7F\x80\x7FF", -1, {"\x7F\xC2\x80\xDF\xBF\0##", 8}, 6},
      {L"\x800\xFFFF", -1, {"\xE0\xA0\x80\xEF\xBF\xBF\0#", 8}, 7},
      {L"\xD83D\xDE00", 8, {"\xED\xA0\xBD\xED\xB8\x80\0#", 8}, 7},
      {L"\xE9\x20AC", 4, {"\xC3\xA9#\0####", 8}, 6},
      {L"\x20ACz", 3, {"##\0#####", 8}, 5},
      {L"a", 0, "########", 2},
      {nullptr, 0, {"\0#######", 8}, 0},
  };
  for (auto const& [text, size, after, result] : cases) {
    string buffer(8, '#');
    EXPECT_EQ(str::WToUTF8(text, buffer.data(), size), result);
    EXPECT_EQ(buffer, after) << "result " << result << ", size " << size;
    EXPECT_EQ(str::WToUTF8(text, nullptr, 0), result);
  }
}

TEST(Utf8, EncodesACountOfUnits) {
  string buffer(9, '#');
  EXPECT_EQ(WideToUTF8StringEx(L"abc", buffer.data() + 6, 3, 3), 4);  // truncated: no terminator
  EXPECT_EQ(WideToUTF8StringEx(L"a\0b", buffer.data(), 2, -1), 3);
  EXPECT_EQ(WideToUTF8StringEx(nullptr, buffer.data() + 4, 2, 0), 0);
  EXPECT_EQ(buffer, string("a\0\0#\0#ab#", 9));
}

TEST(Utf8, DecodesByTheLeadAlone) {
  Table<char const*, wstring> const cases = {
      {"\xFF\x41", L"\xFFFF\x41"},
      {"\x80\xBFz", L"\x3Fz"},                    // a stray continuation byte as a lead byte
      {"\xF0\x9F\x98\x80z", L"\xF600z"},          // U+1F600 without its high bits
      {"\xFD\x81\x82\x83\x84\x85z", L"\x3105z"},  // six bytes
      {"\xE2\x82", L"\x2080"},                    // truncated: zeros for the missing bytes
  };
  for (auto const& [bytes, expected] : cases) {
    int const size = static_cast<int>(expected.size());
    wstring units(expected.size() + 2, L'#');
    for (wchar_t* out : {noWide, units.data()}) EXPECT_EQ(str::UTF8ToW(bytes, out, size), size);
    EXPECT_EQ(units, expected + L'\0' + L'#');
    EXPECT_EQ(str::UTF8ToW(bytes, units.data(), -1), 0);
  }
}

TEST(Str, ConcatStaysInItsBuffer) {
  // the texts, size, the text after, result
  Table<string, string, size_t, string, size_t> const cases = {
      {"ab", "cd", 5, "abcd", 4}, {"ab", "cd", 4, "abc", 4}, {"ab", "cd", 3, "ab", 3}, {"", "cd", 1, "", 1},
      {"abcd", "e", 3, "ab", 3},  {"ab", "", 6, "ab", 2},    {"ab", "c", 0, "ab", 0},
  };
  for (auto const& [dst, src, size, after, result] : cases) {
    string text = dst + string(8 - dst.size(), '\0');
    EXPECT_EQ(str::Concat(text.data(), size, src.c_str()), result);
    EXPECT_STREQ(text.c_str(), after.c_str());
  }
}

TEST(Str, CopiesMeasuresConvertsAndTrims) {
  wchar_t* const copy = str::New(L"c:\\caf\xE9");
  EXPECT_EQ((Sizes{str::Length(copy), GetDirLen(copy), GetDirLen(L"c:x"), GetDirLen(L"a/x")}),
            (Sizes{7, 3, 2, 2}));
  char narrow[8];
  wchar_t wide[10];
  EXPECT_EQ(wtoa(copy, narrow, size_t{1} << 40), wtoa_BufSize(copy));
  EXPECT_STREQ(narrow, "c:\\caf\xE9");
  EXPECT_EQ(atow(narrow, wide, 10), 8);
  for (int i = 0; i < 2; ++i) str::TerminatePath(wide);
  EXPECT_EQ(wide, wstring(copy) + L"\\");
  FreeInLibrary(copy);
  for (auto [text, after] : Table<string, string>{{" \ta \n \t", "a \n"}, {"a b", "a b"}, {"\t", ""}}) {
    wstring units(text.begin(), text.end());
    str::AllTrim(text.data()), str::AllTrim(units.data());
    EXPECT_STREQ(text.c_str(), after.c_str());
    EXPECT_EQ(units.c_str(), wstring(after.begin(), after.end()));
  }
}

TEST(Str, TakesNullForNothing) {
  char text[] = "a";
  wchar_t units[] = L"a";
  str::AllTrim(noText), str::TerminatePath(noWide), preprocess_C(noText);
  EXPECT_EQ((Sizes{str::Concat(text, 2, noText), str::Length(noText), GetDirLen(noWide)}), (Sizes{1, 0, 0}));
  EXPECT_EQ((std::array{str::New(""), str::New(noText)}), (std::array{noText, noText}));
  EXPECT_EQ((Ints{str::printf(noText, 1, "a"), str::printf(units, 0, L"")}), Ints(2, -1));
  EXPECT_EQ((Ints{qeprintf2(noWide, 0, L"9%", noWide), qeprintf2(noWide, 9, L"%1", L"%d", 3)}), Ints(2, 1));
  EXPECT_EQ((Ints{qeprintf2(units, 2, L"%1", noWide), qeprintf2(units, 2, noWide, noWide)}), Ints(2));
}

TEST(Str, PreprocessCKeepsTheOldByteForWhatIsNoEscape) {
  Table<string, string> const cases = {
      {"a\\n\\r\\tb", "a\n\r\tb"}, {"a\\qb", "a\\b"}, {"\\nx\\qy", "\nxxy"}, {"a\\", "a\\"}};
  for (auto [text, after] : cases) {
    preprocess_C(text.data());
    EXPECT_STREQ(text.c_str(), after.c_str());
  }
}

TEST(Str, FormatsWhatThePlatformDoesNotBear) {
  // format, text, result; the arguments are 300, -30 and 55, the character 7
  Table<string, string, int> const cases = {
      {"%d%%%-5.3l", "300%", 4},
      {"%q%I6%I3%d%", "qI6I3300", 8},
      {"%5%I64d %I32d %Id", "300 -30 55", 10},
      {"%*q%-*d|", "q55" + string(28, ' ') + "|", 32},
      {"%d%n%d", "300", -1},
      {"%q%llllllllld", "q", -1},
      {"%.30llllllllld", "", -1},
      {"%+.39d", "+" + string(36, '0') + "300", 40},
      {"%X|%-*.25u|", "12C|" + string(23, '0') + "55     |", 35},
      {"%#040x", "0x" + string(35, '0') + "12c", 40},
      {"%#.30o", string(27, '0') + "454", 30},
      {"% .24d%.*d", " " + string(21, '0') + "30055", 27},
      {"%q%.4x%d%c", "q012c-307", 9},
  };
  for (auto const& [format, expected, result] : cases) {
    wstring const wideFormat(format.begin(), format.end());
    char const* const f = format.c_str();
    wchar_t const* const w = wideFormat.c_str();
    string narrow(64, '#');
    wstring wide(64, L'#');
    EXPECT_EQ(str::printf(narrow.data(), 64, f, 300LL, -30LL, 55LL), result) << format;
    EXPECT_EQ(str::printf(wide.data(), 64, w, 300LL, -30LL, 55LL), result) << format;
    EXPECT_EQ(str::printf(noWide, 0, w, 300LL, -30LL, 55LL), result);
    EXPECT_STREQ(narrow.c_str(), expected.c_str());
    EXPECT_EQ(wide.c_str(), wstring(expected.begin(), expected.end()));
    if (result < 4) continue;
    EXPECT_EQ(str::printf(narrow.data(), expected.size(), f, 300LL, -30LL, 55LL), result);
    EXPECT_EQ(str::printf(narrow.data(), 3, f, 300LL, -30LL, 55LL), -1);
    EXPECT_EQ(str::printf(wide.data(), 3, w, 300LL, -30LL, 55LL), -1);
    EXPECT_EQ(wide.c_str(), wstring(expected.begin(), expected.begin() + 2));
  }
  EXPECT_EQ(str::printf(noText, 0, "%q%.1f%s", 2.5, "text"), 8);
  EXPECT_EQ(str::printf(noText, 0, "%*.30d", INT_MIN, 1), INT_MAX);
  EXPECT_EQ(str::printf(noWide, 0, L"%.99999999999u", 1), INT_MAX);
  EXPECT_EQ(str::printf(noText, 0, "%*d%.99999999999d", 9, 1, 2), -1);
}

TEST(Qeprintf2, PlacesArgumentsByNumber) {
  // format, argument format, text, result; the arguments are 3 and "files"
  Table<wchar_t const*, wchar_t const*, wchar_t const*, int> const cases = {
      {L"%2 of %1", L"%d%s", L"files of 3", 7},
      {L"100%% %1", L"%d%s", L"100% 3", 7},
      {L"%1-%2%%2", L"<%d> and <%s>", L"<3> and <-files>%2", 16},
      {L"%3", L"%d%s", L"$ERROR$", 7},
      {L"", L"%d", L"", 1},
      {L"%d%%%s", nullptr, L"3%files", 7},  // an ordinary format
      {L"%9%1", L"%d%q%q%q%q%q%q%q%q%q%q", L"q3", 21},
  };
  wchar_t text[64];
  for (auto const& [format, argfmt, expected, result] : cases) {
    EXPECT_EQ(qeprintf2(text, 64, format, argfmt, 3, L"files"), result) << format;
    EXPECT_STREQ(text, expected);
  }
}

TEST(Qeprintf2, StaysInItsBuffers) {
  wstring text(8, L'#');
  EXPECT_EQ(qeprintf2(text.data(), 4, L"%2 of %1", L"%d%s", 3, L"files"), 7);
  EXPECT_EQ(qeprintf2(text.data(), 0, L"%1", L"%d", 3), 1);
  EXPECT_EQ(text, wstring(L"fil\0####", 8));
  wstring room(9000, L'#');
  EXPECT_EQ(qeprintf2(room.data(), 9000, L"%1%2", L"%d%s", 3, wstring(6000, L'x').c_str()), -1);
  EXPECT_EQ(room.c_str(), L"3" + wstring(4093, L'x'));
  // an argument format that is truncated inside a directive
  wstring const inside = L"%.1s%-" + wstring(8190, L'0') + L"9d%s";
  EXPECT_EQ(qeprintf2(room.data(), 9000, L"<%1%2%3>", inside.c_str(), L"files", 1), -1);
  EXPECT_STREQ(room.c_str(), L"<f>");
}

}  // namespace
