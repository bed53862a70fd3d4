#include "values/text_kernels_p.h"

#include <algorithm>
#include <cstring>

#include "support/guarded_memory.h"
#include "support/prelude.h"

namespace {

using namespace yk;

constexpr size_t LONGEST = 100;

// Texts of every length, each with a special character at no place or at one, terminated by a zero.
template <class Char, class Check>
void ForEachText(std::initializer_list<Char> specials, Check check) {
  for (size_t length = 0; length <= LONGEST; ++length) {
    Char text[LONGEST + 1];
    for (size_t i = 0; i < length; ++i) text[i] = static_cast<Char>('a' + i % 3);
    text[length] = 0;
    check(text, length);
    for (Char const special : specials) {
      for (size_t const place : {size_t{0}, length / 3, length / 2, length - 1}) {
        if (place >= length) continue;
        Char const before = std::exchange(text[place], special);
        check(text, length);
        text[place] = before;
      }
    }
  }
}

TEST(TextKernels, SearchesFindWhatTheirDefinitionsFind) {
  GuardedMemory const end(4096), other(4096);
  ForEachText<wchar_t>({L'b', L'z', L'\0', L'\x8061', L'\x6180'}, [&](wchar_t const* text, size_t length) {
    for (size_t const gap : {0, 2, 6, 14}) {
      wchar_t const* const all = end.Put(text, length + 1, gap);
      EXPECT_EQ(text::Length(all), text::scalar::Length(text));
      wchar_t const* const at = end.Put(text, length, gap);
      for (wchar_t const c : {L'z', L'\0', L'\x8061'})
        EXPECT_EQ(text::Find(at, length, c), text::scalar::Find(text, length, c));
      for (wchar_t const* const sought : {L"z", L"ca", L"abz", L"abcabcabc", L"bcabcabcabcabcabcabcab"}) {
        size_t const count = wcslen(sought);
        EXPECT_EQ(text::FindText(at, length, other.Put(sought, count), count),
                  text::scalar::FindText(text, length, sought, count));
      }
      wchar_t plain[LONGEST];
      for (size_t i = 0; i < length; ++i) plain[i] = static_cast<wchar_t>(L'a' + i % 3);
      EXPECT_EQ(text::Mismatch(at, other.Put(plain, length), length),
                text::scalar::Mismatch(text, plain, length));
      EXPECT_EQ(text::Mismatch(other.Put(text, length), at, length),
                text::scalar::Mismatch(text, text, length));
    }
  });
}

template <class From, class To>
void CompareConversion(From const* text, size_t length) {
  GuardedMemory const source(4096), target(4096);
  for (size_t const odd : {0, 1, 3, 7, 15}) {
    size_t const gap = odd / sizeof(From) * sizeof(From);
    From const* const at = source.Put(text, length + 1, gap);
    for (size_t const most : {size_t{0}, length / 2, length, SIZE_MAX}) {
      To expected[LONGEST + 1] = {}, nothing[LONGEST + 1] = {};
      size_t const count = text::scalar::ConvertAscii(text, expected, most);
      size_t const room = std::min(most, length);
      To* const to = target.Put(nothing, room);
      EXPECT_EQ(text::ConvertAscii(at, to, most), count);
      EXPECT_EQ(memcmp(to, expected, room * sizeof(To)), 0) << length << " at most " << most;
      EXPECT_EQ(text::ConvertAscii(at, static_cast<To*>(nullptr), most), count);
    }
  }
}

TEST(TextKernels, ConvertAsciiAsItsDefinitionDoes) {
  ForEachText<signed char>({'\x7F', 0, -128, -1}, CompareConversion<signed char, wchar_t>);
  ForEachText<wchar_t>({L'\x7F', L'\0', L'\x80', L'\x100', L'\x8000', L'\xFFFF'},
                       CompareConversion<wchar_t, char>);
}

}  // namespace
