// The loops over documents compared with their definitions, on texts of every length between inaccessible
// pages, each with one character that may end them at one place.
#include "io/xml_kernels_p.h"

#include "support/guarded_memory.h"
#include "support/prelude.h"

using namespace yk;

namespace {

GuardedMemory const& Page(int i) {
  static GuardedMemory const pages[] = {GuardedMemory(4096), GuardedMemory(4096)};
  return pages[i];
}

/// Runs both on a text that ends with a page; what they copy has room for `pad` more.
template <class Unit, class From, class Copy, class Define>
void ExpectSameCopy(From const* text, size_t length, size_t pad, Copy copy, Define define) {
  std::vector<Unit> expected(length + 1);
  size_t const count = define(text, length, expected.data());
  Unit* const to = reinterpret_cast<Unit*>(Page(1).Last((length + pad) * sizeof(Unit)));
  ASSERT_EQ(copy(Page(0).Put(text, length), length, to), count) << length;
  ASSERT_TRUE(std::equal(to, to + count, expected.begin())) << length;
}

template <bool ESCAPED, class Unit>
void ExpectSamePlain(wchar_t const* text, size_t length) {
  for (size_t const left : {size_t{0}, size_t{5}}) {  // units after the text that can be read
    size_t const count = length - std::min(left, length);
    ExpectSameCopy<Unit>(
        text, length, xml::LANES,
        [&](wchar_t const* from, size_t all, Unit* to) {
          return xml::CopyPlain<ESCAPED>(from, count, all, to);
        },
        [&](wchar_t const* from, size_t, Unit* to) {
          return xml::scalar::CopyPlain<ESCAPED>(from, count, to);
        });
  }
}

void ExpectSame(wchar_t const* text, size_t length) {
  std::vector<wchar_t> padded(text, text + length);
  padded.resize(length + xml::LANES);
  wchar_t const* const at = Page(0).Put(padded.data(), padded.size());
  EXPECT_EQ(xml::TextEnd(at), xml::scalar::TextEnd(at));
  for (wchar_t const c : {L'"', L'\'', L'\n'}) {
    EXPECT_EQ(xml::ValueEnd(at, c), xml::scalar::ValueEnd(at, c));
    EXPECT_EQ(xml::NextOf(at, c), xml::scalar::NextOf(at, c));
  }
  std::vector<uint8_t> const bytes(text, text + length);
  ExpectSameCopy<wchar_t>(bytes.data(), length, 0, xml::TakeAscii, xml::scalar::TakeAscii);
  auto const units = [](auto take) {
    return [=](wchar_t const* from, size_t count, wchar_t* to) {
      return take(reinterpret_cast<uint8_t const*>(from), count, to);
    };
  };
  ExpectSameCopy<wchar_t>(text, length, 0, units(xml::TakeUnits), units(xml::scalar::TakeUnits));
  ExpectSamePlain<false, char>(text, length), ExpectSamePlain<false, wchar_t>(text, length);
  ExpectSamePlain<true, char>(text, length), ExpectSamePlain<true, wchar_t>(text, length);
}

}  // namespace

TEST(XmlKernels, DoAsTheirDefinitionAtEveryLength) {
  constexpr wchar_t SPECIALS[] = {L'a',    L'<',    L'>',     L'&',      L'\'',     L'"',     L']',
                                  L'\t',   L'\n',   L'\r',    L'\0',     L'\x1F',   L' ',     L'\x7F',
                                  L'\x80', L'\xFF', L'\x100', L'\xD7FF', L'\xD800', L'\xFFFF'};
  for (size_t length = 0; length <= 40 && !HasFatalFailure(); ++length) {
    for (wchar_t const special : SPECIALS) {
      for (size_t const place : {size_t{0}, length / 3, length / 2, length - 1}) {
        std::wstring text(length, L'x');
        if (place < length) text[place] = special;
        ExpectSame(text.data(), length);
      }
    }
  }
}
