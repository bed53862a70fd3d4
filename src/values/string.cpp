#include <qecore/values/string.h>

#include <malloc.h>
#include <qecore/core/memory.h>
#include <qecore/values/str.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>
#include <windows.h>

#include <algorithm>

#include "core/conversions_p.h"
#include "core/format_p.h"
#include "inner_text_p.h"
#include "text_kernels_p.h"

namespace yk {

namespace {

using text::IsBlank;

constexpr size_t CAPACITY_STEP = 32;  // characters, including the terminator
constexpr size_t LENGTH_BYTES = InnerText::HEADER;
constexpr size_t MOST_LENGTH = (static_cast<size_t>(-1) - LENGTH_BYTES) / sizeof(wchar_t) - CAPACITY_STEP;
constexpr size_t FORMAT_ROOM = 8192;  // characters that printf and printf_add format into

constexpr size_t BlockSize(size_t length) noexcept {
  size_t const capacity = (length + 1 + CAPACITY_STEP - 1) / CAPACITY_STEP * CAPACITY_STEP;
  return LENGTH_BYTES + sizeof(wchar_t) * capacity;
}
static_assert(BlockSize(1) == 72 && BlockSize(31) == 72 && BlockSize(32) == 136 && BlockSize(63) == 136);

// Up to here a block has exactly the size that its length states.
constexpr size_t EXACT_BYTES = 2048;

// The size of a larger block that a text outgrew: twice the length, so that the cost of appending does not
// depend on it.
constexpr size_t GrownSize(size_t length) noexcept {
  return BlockSize(length < MOST_LENGTH / 2 ? 2 * length : length);
}

// Contract: in every search, a found index passes through a signed 32-bit integer.
size_t Found(size_t index) noexcept { return static_cast<size_t>(static_cast<int>(index)); }

// A formatted text, truncated at its buffer.
class Formatted {
 public:
  Formatted(wchar_t const* format, va_list arguments) noexcept {
    FormatText(text, FORMAT_ROOM, format, arguments);
  }
  wchar_t const* c_str() const noexcept { return text; }

 private:
  wchar_t text[FORMAT_ROOM] = {};  // zeroed: a failed conversion leaves the text without a terminator
};

// Compares as wcscmp does: up to the first zero.
int CompareTexts(String const& a, wchar_t const* b, size_t bLength) noexcept {
  wchar_t const* const text = a.c_str();
  size_t const length = std::min(a.Length(), bLength) + 1;
  size_t const at = text::Mismatch(text, b, length);
  if (at == length) return wcscmp(text, b);  // a length that somebody else wrote
  return text[at] < b[at] ? -1 : text[at] > b[at];
}

// The character for the escape `\c`, or c itself.
constexpr wchar_t Unescaped(wchar_t c) noexcept {
  constexpr struct {
    wchar_t lower, upper, character;
  } ESCAPES[] = {{L'b', L'B', L'\b'}, {L'n', L'N', L'\n'}, {L'r', L'R', L'\r'}, {L't', L'T', L'\t'}};
  for (auto const& escape : ESCAPES) {
    if (c == escape.lower || c == escape.upper) return escape.character;
  }
  return c;
}

}  // namespace

// ---- construction and lifetime

void String::AssignBlock(String const& other) noexcept {
  if (InnerText::Is(other)) {
    Assign(other.c_str(), other.Length());
    return;
  }
  if (!other.block) return;
  size_t bytes = _msize(other.block);                          // may be more than the length needs
  if (bytes > EXACT_BYTES) bytes = BlockSize(other.Length());  // the room to grow is not copied
  void* const copy = yk_new(bytes);
  if (copy) block = static_cast<Block*>(memcpy(copy, other.block, bytes));
}

void String::AssignGuid(Guid const& id) noexcept {
  wchar_t text[Guid::TEXT_SIZE];
  id.toString(text);
  Assign(text, Guid::TEXT_SIZE - 1);
}

void String::AssignAnsi(char const* text) noexcept {
  int const size = text ? atow(text, nullptr, 0) : 0;
  if (size <= 1 || !Realloc(static_cast<size_t>(size - 1))) return;
  atow(text, GetBuffer(), static_cast<size_t>(size));
}

void String::AssignWindow(HWND window) noexcept {
  LRESULT const length = SendMessageW(window, WM_GETTEXTLENGTH, 0, 0);
  if (length < 1 || !Realloc(static_cast<size_t>(length))) return;
  // The text may have become shorter since: the rest is zero.
  memset(Text(block), 0, Length() * sizeof(wchar_t));
  SendMessageW(window, WM_GETTEXT, Length() + 1, reinterpret_cast<LPARAM>(Text(block)));
  Text(block)[Length()] = 0;
}

void String::Empty() noexcept {
  yk_delete(block);
  block = nullptr;
}

// ---- access

wchar_t String::At(size_t index) const noexcept { return index < Length() ? Text(block)[index] : L'\0'; }

bool String::SetAt(size_t index, wchar_t c) noexcept {
  if (index >= Length()) return false;
  Text(block)[index] = c;
  return true;
}

void String::Get(wchar_t* buffer, size_t size) const noexcept {
  if (!buffer) return;
  wchar_t const* const text = c_str();
  size_t end = 0;
  for (; end + 1 < size && text[end]; ++end) buffer[end] = text[end];
  buffer[end] = 0;  // Contract: even for a size of 0
}

void String::Get(char* buffer, size_t size) const noexcept {
  if (!buffer) return;
  if (!block) {
    buffer[0] = 0;
    return;
  }
  if (size > 0) wtoa(c_str(), buffer, size);
}

void String::GetUTF8(char* buffer, size_t size) const noexcept {
  if (!buffer) return;
  buffer[0] = 0;
  str::WToUTF8(c_str(), buffer, AsCount(size));
}

int String::GetInt() const noexcept { return _wtol(c_str()); }

// ---- assignment and concatenation

String& String::operator=(String const& other) noexcept {
  if (this != &other) Assign(other.c_str(), other.Length());
  return *this;
}

String& String::operator=(String&& other) noexcept {
  Block* const own = block;
  block = other.block;
  other.block = own;
  return *this;
}

String& String::operator=(wchar_t const* text) noexcept {
  Assign(text, str::Length(text));
  return *this;
}

void String::Join(String const& other, String& sum) const noexcept {
  if (!sum.Realloc(Length() + other.Length()) || !sum.block) return;
  memcpy(Text(sum.block), c_str(), Length() * sizeof(wchar_t));
  memcpy(Text(sum.block) + Length(), other.c_str(), other.Length() * sizeof(wchar_t));
}

String& String::operator+=(String const& other) noexcept {
  Append(other.c_str(), other.Length());
  return *this;
}

String& String::operator+=(wchar_t const* text) noexcept {
  Append(text, str::Length(text));
  return *this;
}

String& String::operator+=(char const* text) noexcept { return *this += String(text); }

void String::printf(wchar_t const* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  *this = Formatted(format, arguments).c_str();
  va_end(arguments);
}

void String::printf_add(wchar_t const* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  *this += Formatted(format, arguments).c_str();
  va_end(arguments);
}

// ---- comparison

int String::Compare(String const& other) const noexcept {
  return CompareTexts(*this, other.c_str(), other.Length());
}

int String::CompareNoCase(String const& other) const noexcept { return _wcsicmp(c_str(), other.c_str()); }

bool String::operator==(String const& other) const noexcept {
  return Length() == other.Length() && Compare(other) == 0;
}

bool String::operator==(wchar_t const* text) const noexcept {
  if (!text) text = L"";
  return *c_str() == *text && CompareTexts(*this, text, str::Length(text)) == 0;
}

bool String::operator==(char const* text) const noexcept {
  if (!text) return !block;
  wchar_t const* own = c_str();
  // As integers: a byte from 0x80 up is negative here and equals no character.
  for (; int{*own} == int{static_cast<signed char>(*text)}; ++own, ++text) {
    if (*own == 0) return true;
  }
  return false;
}

// ---- searching

size_t String::Find(wchar_t c) const noexcept {
  size_t const hit = block ? text::Find(Text(block), Length(), c) : 0;
  return hit < Length() ? Found(hit) : npos;
}

size_t String::Find(wchar_t const* text) const noexcept {
  if (!block) return npos;
  size_t const sought = str::Length(text);
  size_t const hit = sought ? text::FindText(Text(block), Length(), text, sought) : 0;
  return hit < Length() ? Found(hit) : npos;
}

size_t String::Find(String const& text) const noexcept { return text.block ? Find(text.c_str()) : npos; }

size_t String::Find(char const* text) const noexcept {
  if (!text) return block ? 0 : npos;
  return Find(String(text));
}

size_t String::RFind(wchar_t const* text) const noexcept {
  size_t const sought = str::Length(text);
  size_t const length = str::Length(c_str());
  if (sought == 0 || sought > length) return npos;
  for (size_t index = length - sought + 1; index-- > 0;) {
    wchar_t const* const at = Text(block) + index;
    if (*at == *text && wmemcmp(at, text, sought) == 0) return Found(index);
  }
  return npos;
}

size_t String::RFind(String const& text) const noexcept { return RFind(text.c_str()); }

// ---- editing

bool String::Realloc(size_t length) noexcept {
  if (length == 0) {
    Empty();
    return true;
  }
  if (length > MOST_LENGTH) return false;
  if (!block || BlockSize(length) != BlockSize(Length())) {
    void* const moved = yk_realloc(block, BlockSize(length));
    if (moved) block = static_cast<Block*>(moved);
    if (!block || (!moved && length > Length())) return false;  // one that cannot be shrunk is large enough
  }
  block->length = length;
  Text(block)[length] = 0;
  return true;
}

bool String::AtInsert(size_t position, wchar_t const* text) noexcept {
  if (!text || !*text || position > Length()) return false;
  if (Holds(text)) return AtInsert(position, String(text).c_str());
  size_t const old = Length();
  size_t const added = wcslen(text);
  if (!Extend(old + added)) return false;
  wchar_t* const at = Text(block) + position;
  memmove(at + added, at, (old - position) * sizeof(wchar_t));
  memcpy(at, text, added * sizeof(wchar_t));
  return true;
}

bool String::AtDelete(size_t position, size_t count) noexcept {
  if (count == 0 || count > Length() || position > Length() - count) return false;
  wchar_t* const at = Text(block) + position;
  memmove(at, at + count, (wcslen(at + count) + 1) * sizeof(wchar_t));
  return Realloc(Length() - count);
}

bool String::Cut(size_t position, size_t count) noexcept {
  if (position >= Length()) return false;
  if (count >= Length() - position) return Realloc(position);
  wchar_t* const at = Text(block) + position;
  size_t const moved = wcslen(at + count);
  memmove(at, at + count, moved * sizeof(wchar_t));
  return Realloc(position + moved);
}

bool String::Trim() noexcept {
  size_t first = 0;
  size_t end = Length();
  while (first < end && IsBlank(Text(block)[first])) ++first;
  while (end > first && IsBlank(Text(block)[end - 1])) --end;
  size_t const kept = end - first;
  if (kept == Length()) return false;
  memmove(Text(block), Text(block) + first, kept * sizeof(wchar_t));
  return Realloc(kept);
}

void String::Unescape(String& result) const noexcept {
  if (!result.Realloc(Length()) || !block) return;
  wchar_t const* in = Text(block);
  wchar_t const* const end = in + Length();
  wchar_t* const text = Text(result.block);
  wchar_t* out = text;
  for (; in < end; ++in) {
    bool const escape = *in == L'\\' && in + 1 < end;
    *out++ = escape ? Unescaped(*++in) : *in;
  }
  result.Terminate(static_cast<size_t>(out - text));
}

bool String::MakeUpper() noexcept {
  if (block) CharUpperW(Text(block));
  return block != nullptr;
}

bool String::MakeLower() noexcept {
  if (block) CharLowerW(Text(block));
  return block != nullptr;
}

bool String::DoubleTerminate() noexcept {
  size_t const last = block ? Length() : 1;  // Contract: character 0 of an empty string is not written
  if (!Realloc(last + 1)) return false;
  Text(block)[last] = 0;
  return true;
}

// ---- private

void String::Assign(wchar_t const* text, size_t length) noexcept {
  if (Holds(text)) {
    memmove(Text(block), text, length * sizeof(wchar_t));
    Realloc(length);
  } else if (Realloc(length) && length > 0) {
    memcpy(Text(block), text, length * sizeof(wchar_t));
  }
}

void String::Append(wchar_t const* text, size_t length) noexcept {
  size_t const old = Length();
  bool const own = Holds(text);
  size_t const offset = own ? static_cast<size_t>(text - Text(block)) : 0;
  if (length == 0 || !Extend(old + length)) return;
  memcpy(Text(block) + old, own ? Text(block) + offset : text, length * sizeof(wchar_t));
}

// Realloc to a greater length that leaves a large block room to grow. Any other change of the length trims
// the block.
bool String::Extend(size_t length) noexcept {
  size_t const bytes = length <= MOST_LENGTH ? BlockSize(length) : 0;
  if (!block || bytes <= EXACT_BYTES || bytes == BlockSize(Length())) return Realloc(length);
  if (_msize(block) < bytes) {
    void* const moved = yk_new(GrownSize(length));
    if (!moved) return false;
    memcpy(moved, block, LENGTH_BYTES + Length() * sizeof(wchar_t));
    yk_delete(block);
    block = static_cast<Block*>(moved);
  }
  block->length = length;
  Text(block)[length] = 0;
  return true;
}

// Whether the text is inside this string's block, which editing may move.
bool String::Holds(wchar_t const* text) const noexcept {
  uintptr_t const address = reinterpret_cast<uintptr_t>(text);
  uintptr_t const first = reinterpret_cast<uintptr_t>(c_str());
  return block && address >= first && address <= first + Length() * sizeof(wchar_t);
}

}  // namespace yk
