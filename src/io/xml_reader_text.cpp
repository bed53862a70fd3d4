// What is between the tags: characters, references, and CDATA sections.
#include "xml_reader_p.h"

#include <iterator>

namespace yk::xml {
namespace {

struct Entity {
  wstring_view name;
  wchar_t character;
};

constexpr Entity ENTITIES[] = {
    {L"amp", L'&'}, {L"lt", L'<'}, {L"gt", L'>'}, {L"quot", L'"'}, {L"apos", L'\''},
};

uint32_t DigitValue(wchar_t c) noexcept {
  if (c >= L'0' && c <= L'9') return c - L'0';
  if (c >= L'a' && c <= L'f') return c - L'a' + 10;
  if (c >= L'A' && c <= L'F') return c - L'A' + 10;
  return 16;
}

bool IsXmlCharacter(uint32_t c) noexcept {
  if (c < 32) return IsAllowedControl(static_cast<wchar_t>(c));
  return c < 0xD800 || (c >= 0xE000 && c < 0xFFFE) || (c >= 0x10000 && c <= 0x10FFFF);
}

}  // namespace

bool Reader::Characters() noexcept {
  if (IsInElement()) return *cursor == L'&' ? ReferenceInText() : RawRun();
  return SkipBlanks() || Fail(cursor, L"text outside the root element");
}

/// Literal text, up to the next markup or reference.
bool Reader::RawRun() noexcept {
  wchar_t const* const from = cursor;
  for (cursor = TextEnd(from); *cursor == L']'; cursor = TextEnd(cursor + 1)) {
    if (At(L"]]>")) return Fail(cursor, L"']]>' is not allowed in text");
  }
  if (cursor == end && !input.IsAtEnd()) return Fail(end, UNEXPECTED_END);
  wstring_view const run(from, static_cast<size_t>(cursor - from));
  Open const& top = Top();
  if (Begins(cursor, L"</") && !top.node->FirstChild() && gatherer.buffer.Count() == top.text.start)
    return onlyRun = run, true;
  return gatherer.AddRaw(Top().text, run) || FailMemory();
}

bool Reader::ReferenceInText() noexcept {
  wchar_t units[2];
  wstring_view character;
  if (!Reference(units, character)) return false;
  return gatherer.AddSolid(Top().text, character) || FailMemory();
}

/// A CDATA section.
bool Reader::CData() noexcept {
  wchar_t const* const from = cursor + 9;
  wchar_t const* const to = Find(from, L"]]>");
  if (!to) return FailAtEnd(cursor, L"unterminated CDATA section");
  cursor = to + 3;
  return gatherer.AddSolid(Top().text, {from, static_cast<size_t>(to - from)}) || FailMemory();
}

/// Reads a reference; `units` is room for the one or two units of its character.
bool Reader::Reference(wchar_t* units, wstring_view& out) noexcept {
  wchar_t const* const start = cursor++;
  uint32_t value = 0;
  if (*cursor == L'#') {
    if (!Number(value)) return Fail(start, L"invalid character reference");
  } else {
    wstring_view const name(cursor, NameLength(cursor));
    auto const row = std::find_if(std::begin(ENTITIES), std::end(ENTITIES),
                                  [name](Entity const& known) { return known.name == name; });
    if (row == std::end(ENTITIES)) return Fail(start, L"unknown entity");
    value = row->character;
    cursor += name.size();
  }
  if (*cursor != L';') return Fail(start, L"';' expected");
  ++cursor;
  bool const isPair = value >= 0x10000;
  units[0] = isPair ? HighSurrogateOf(value) : static_cast<wchar_t>(value);
  units[1] = LowSurrogateOf(value);
  out = {units, isPair ? 2u : 1u};
  return true;
}

/// "#" and decimal digits, or "#x" and hexadecimal ones.
bool Reader::Number(uint32_t& value) noexcept {
  uint32_t const base = cursor[1] == L'x' ? 16 : 10;
  cursor += base == 16 ? 2 : 1;
  wchar_t const* const digits = cursor;
  for (uint32_t digit; (digit = DigitValue(*cursor)) < base; ++cursor) {
    value = std::min<uint32_t>(value * base + digit, 0x110000);
  }
  return cursor != digits && IsXmlCharacter(value);
}

}  // namespace yk::xml
