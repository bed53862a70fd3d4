#include "xml_chars_p.h"

namespace yk::xml {
namespace {

struct Range {
  wchar_t first, last;
};

// Characters that can start a name. Surrogates represent the planes 1 to 14, all of which are allowed in
// names.
constexpr Range NAME_START[] = {
    {L':', L':'},     {L'A', L'Z'},     {L'_', L'_'},     {L'a', L'z'},     {0x00C0, 0x00D6},
    {0x00D8, 0x00F6}, {0x00F8, 0x02FF}, {0x0370, 0x037D}, {0x037F, 0x1FFF}, {0x200C, 0x200D},
    {0x2070, 0x218F}, {0x2C00, 0x2FEF}, {0x3001, 0xD7FF}, {0xD800, 0xDB7F}, {0xDC00, 0xDFFF},
    {0xF900, 0xFDCF}, {0xFDF0, 0xFFFD},
};

// Those that can only continue a name.
constexpr Range NAME_REST[] = {
    {L'-', L'.'}, {L'0', L'9'}, {0x00B7, 0x00B7}, {0x0300, 0x036F}, {0x203F, 0x2040},
};

template <size_t N>
constexpr bool In(Range const (&ranges)[N], wchar_t c) noexcept {
  for (Range const& range : ranges) {
    if (c >= range.first && c <= range.last) return true;
  }
  return false;
}

}  // namespace

constexpr AsciiClasses ASCII_CLASSES = [] {
  AsciiClasses classes;
  for (wchar_t c = 0; c < 128; ++c) {
    classes.start[c] = In(NAME_START, c);
    classes.rest[c] = classes.start[c] || In(NAME_REST, c);
  }
  return classes;
}();

bool StartsNameBeyondAscii(wchar_t c) noexcept { return In(NAME_START, c) && !IsLowSurrogate(c); }

bool ContinuesNameBeyondAscii(wchar_t c) noexcept { return In(NAME_START, c) || In(NAME_REST, c); }

bool IsName(wchar_t const* text, size_t length) noexcept {
  return length > 0 && NameLength(text) == length && IsText(text, length);
}

bool IsText(wchar_t const* text, size_t length) noexcept {
  bool inPair = false;
  for (size_t i = 0; i < length; ++i) {
    if (IsLowSurrogate(text[i]) != inPair) return false;
    if (text[i] >= 0xFFFE) return false;
    inPair = IsHighSurrogate(text[i]);
  }
  return !inPair;
}

bool IsReservedTarget(wchar_t const* text, size_t length) noexcept {
  return length == 3 && (text[0] | 0x20) == L'x' && (text[1] | 0x20) == L'm' && (text[2] | 0x20) == L'l';
}

}  // namespace yk::xml
