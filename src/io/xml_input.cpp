#include "xml_input_p.h"

#include <qecore/io/stream.h>
#include <string.h>

#include <algorithm>

#include "xml_chars_p.h"
#include "xml_kernels_p.h"

namespace yk::xml {
namespace {

constexpr wchar_t NOT_UTF8[] = L"invalid UTF-8";
constexpr wchar_t NOT_UTF16[] = L"invalid UTF-16";
constexpr wchar_t BIG_ENDIAN[] = L"big-endian UTF-16 is not supported";
constexpr wchar_t BAD_CHARACTER[] = L"invalid character";

struct Utf8Form {
  uint8_t mask, lead;  // the bits of the lead byte under the mask
  unsigned length;     // bytes
  uint32_t least;      // the smallest value that needs this length
};

constexpr Utf8Form UTF8_FORMS[] = {
    {0xE0, 0xC0, 2, 0x80},
    {0xF0, 0xE0, 3, 0x800},
    {0xF8, 0xF0, 4, 0x10000},
};

/// Decodes a sequence of at least two bytes. \return its length; 0: invalid. The halves of a surrogate pair
/// as three bytes each are accepted, since the library itself writes them this way.
unsigned DecodeSequence(uint8_t const* bytes, size_t left, uint32_t& scalar) noexcept {
  for (Utf8Form const& form : UTF8_FORMS) {
    if ((bytes[0] & form.mask) != form.lead) continue;
    if (left < form.length) return 0;
    scalar = bytes[0] & ~uint32_t{form.mask};
    for (unsigned i = 1; i < form.length; ++i) {
      if ((bytes[i] & 0xC0) != 0x80) return 0;
      scalar = scalar << 6 | (bytes[i] & 0x3F);
    }
    return scalar >= form.least && scalar <= 0x10FFFF ? form.length : 0;
  }
  return 0;
}

struct Mark {
  uint8_t bytes[3];
  uint8_t length;   // bytes to compare
  uint8_t skipped;  // bytes that are not text
  bool utf16;
  wchar_t const* fault;
};

// The leading bytes of a document determine its encoding; without any of these it is UTF-8.
constexpr Mark MARKS[] = {
    {{0xEF, 0xBB, 0xBF}, 3, 3, false, nullptr},
    {{0xFF, 0xFE}, 2, 2, true, nullptr},
    {{'<', 0}, 2, 0, true, nullptr},
    {{0xFE, 0xFF}, 2, 2, false, BIG_ENDIAN},
    {{0, '<'}, 2, 0, false, BIG_ENDIAN},
};

constexpr size_t LONGEST = 4;  // bytes of a mark or a sequence

Mark FindMark(uint8_t const* bytes, size_t size) noexcept {
  for (Mark const& mark : MARKS) {
    if (size >= mark.length && memcmp(bytes, mark.bytes, mark.length) == 0) return mark;
  }
  return {};
}

}  // namespace

void Place::Pass(wchar_t const* from, wchar_t const* to) noexcept {
  while (from < to) {
    wchar_t const* const feed = NextOf(from, L'\n');
    if (feed >= to) break;
    ++line;
    column = 1;
    from = feed + 1;
  }
  column += static_cast<uint32_t>(to - from);
}

Input::Input(Stream& source) noexcept : stream(source) {
  unsigned const from = stream.GetPosition();
  unsigned const to = stream.GetSize();
  if (to > from) size = to - from;
}

bool Input::Refill(wchar_t const* from) noexcept {
  constexpr size_t LEAST = 0x2000;
  start.Pass(text.begin(), from);
  text.Remove(0, static_cast<size_t>(from - text.begin()));
  // A token that is longer than the window is read again: each time it must be much longer.
  size_t const wanted = std::max(LEAST, 2 * text.Count());
  while (!isWhole && text.Count() < wanted && Succeeded(code)) code = ReadBlock();
  if (Succeeded(code) && !NeedRoom(text.Count() + INPUT_PAD)) code = E_OUTOFMEMORY;
  if (Failed(code)) return false;
  std::fill_n(text.end(), INPUT_PAD, L'\0');
  return true;
}

/// Reads and decodes a block. The size that a stream reports is not trusted for an allocation. Endless
/// streams fail, since positions have 32 bits.
HRESULT Input::ReadBlock() noexcept {
  constexpr unsigned SMALLEST = 0x1000, LARGEST = 0x8000;
  unsigned const block = std::clamp(size, SMALLEST, LARGEST);
  if (!bytes.Reserve(LONGEST + block)) return E_OUTOFMEMORY;
  unsigned done = 0;
  HRESULT const result = stream.Read(bytes.begin() + left, block, &done);
  if (Failed(result) || done > block || done == 0) {
    // Some streams return a failure at the end; before the reported end, it is one.
    return total < size ? E_FAIL : End();
  }
  total += done;
  if (total > UINT32_MAX) return E_FAIL;
  left += done;
  if (left < LONGEST) return S_OK;
  size_t const used = Decode(More::FOLLOW);
  left -= used;
  memmove(bytes.begin(), bytes.begin() + used, left);
  return code;
}

/// Decodes the last bytes.
HRESULT Input::End() noexcept {
  isWhole = true;
  bool const isUsed = Decode(More::NONE) == left;
  if (!fault && !(isUsed && sink.IsWhole())) fault = utf16 ? NOT_UTF16 : BAD_CHARACTER;
  if (!sink.IsWhole()) text.Shrink(text.Count() - 1);  // half a surrogate pair
  return code;
}

/// Decodes the bytes that are left, at least LONGEST unless they are the last, up to the first fault in the
/// document. \return how many were used; the others, fewer than LONGEST, are due again before the next.
size_t Input::Decode(More more) noexcept {
  Mark const mark = isBegun ? Mark{} : FindMark(bytes.begin(), left);
  if (!isBegun) utf16 = mark.utf16, fault = mark.fault;
  isBegun = true;
  if (fault) return left;
  size_t const count = left - mark.skipped;
  if (!NeedRoom(text.Count() + count + INPUT_PAD)) return code = E_OUTOFMEMORY, left;
  sink.ContinueAt(text.end());
  uint8_t const* const from = bytes.begin() + mark.skipped;
  size_t const used = utf16 ? Utf16(from, count) : Utf8(from, count, more);
  text.Shrink(static_cast<size_t>(sink.Next() - text.begin()));
  return fault ? left : mark.skipped + used;
}

/// Copies instead of resizing the block, which would copy its unused room as well.
bool Input::NeedRoom(size_t units) noexcept {
  constexpr size_t CARRIED = 0x800;  // usually more than what stays in the window
  if (units <= room) return true;
  Buffer<wchar_t> grown;
  size_t const larger = room > 0 ? std::max(units, 2 * room) : units + CARRIED;
  if (!grown.Reserve(larger)) return false;
  room = larger;
  grown.Append(text.begin(), text.Count());  // fits
  grown.Swap(text);
  return true;
}

size_t Input::Utf8(uint8_t const* bytes, size_t size, More more) noexcept {
  // of what is certainly whole
  size_t const end = more == More::NONE ? size : size - std::min(size, LONGEST - 1);
  size_t i = 0;
  while (i < end) {
    uint32_t scalar = bytes[i];
    size_t const plain = scalar < 0x80 ? sink.PutAscii(bytes + i, size - i) : 0;
    i += plain;
    if (plain > 0) continue;
    unsigned const length = scalar < 0x80 ? 1 : DecodeSequence(bytes + i, size - i, scalar);
    if (length == 0) return Stop(NOT_UTF8);
    if (!sink.PutScalar(scalar)) return Stop(BAD_CHARACTER);
    i += length;
  }
  return i;
}

size_t Input::Utf16(uint8_t const* bytes, size_t size) noexcept {
  size_t i = 0;
  while (i + 1 < size) {
    size_t const plain = sink.PutUnits(bytes + i, (size - i) / 2);
    i += 2 * plain;
    if (plain > 0) continue;
    if (!sink.Put(static_cast<wchar_t>(bytes[i] | bytes[i + 1] << 8))) return Stop(BAD_CHARACTER);
    i += 2;
  }
  return i;
}

}  // namespace yk::xml
