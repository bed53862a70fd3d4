#include "colour_profile.h"

#include <stddef.h>

#include <algorithm>
#include <string_view>

#include "text.h"

namespace qetool {

namespace {

using Bytes = std::span<unsigned char const>;

// Of a profile: a header, the number of tags, and for each a name, its offset in the profile and its size.
constexpr size_t TAG_COUNT = 128, TAGS = 132, TAG_SIZE = 12;
constexpr size_t MOST_TAGS = 256, MOST_BYTES = 256;  // of the name

// What is within the bytes.
Bytes Part(Bytes bytes, size_t offset, size_t size) {
  if (offset > bytes.size()) return {};
  return bytes.subspan(offset, std::min(size, bytes.size() - offset));
}

// Four bytes, the highest first; 0 beyond the end.
size_t NumberAt(Bytes bytes, size_t offset) {
  size_t number = 0;
  for (unsigned char const byte : Part(bytes, offset, 4)) number = number << 8 | byte;
  return offset + 4 > bytes.size() ? 0 : number;
}

bool IsNamed(Bytes bytes, size_t offset, std::string_view name) {
  Bytes const found = Part(bytes, offset, name.size());
  return std::string_view(reinterpret_cast<char const*>(found.data()), found.size()) == name;
}

Bytes FindTag(Bytes profile, std::string_view name) {
  size_t const count = std::min(NumberAt(profile, TAG_COUNT), MOST_TAGS);
  for (size_t at = TAGS; at < TAGS + count * TAG_SIZE; at += TAG_SIZE) {
    if (IsNamed(profile, at, name))
      return Part(profile, NumberAt(profile, at + 4), NumberAt(profile, at + 8));
  }
  return {};
}

// Of version 2: a type, a reserved number, a length and ASCII.
std::string AsciiOf(Bytes tag) {
  std::string text;
  for (unsigned char const c : Part(tag, 12, std::min(NumberAt(tag, 8), MOST_BYTES))) {
    if (c == 0) break;
    text += c < 0x80 ? static_cast<char>(c) : '?';
  }
  return text;
}

// Of version 4: texts in several languages in UTF-16. The first is taken: its length and its offset follow
// its language.
std::string FirstLanguageOf(Bytes tag) {
  Bytes const text = Part(tag, NumberAt(tag, 24), std::min(NumberAt(tag, 20), MOST_BYTES));
  std::wstring wide;
  for (size_t i = 0; i + 1 < text.size(); i += 2) wide += static_cast<wchar_t>(text[i] << 8 | text[i + 1]);
  return ToUtf8(wide.c_str());
}

}  // namespace

std::string ProfileName(Bytes profile) {
  Bytes const tag = FindTag(profile, "desc");
  if (IsNamed(tag, 0, "desc")) return AsciiOf(tag);
  return IsNamed(tag, 0, "mluc") ? FirstLanguageOf(tag) : std::string();
}

}  // namespace qetool
