#include "xml_input_p.h"

#include <qecore/io/stream.h>
#include <string.h>

#include <algorithm>

#include "xml_chars_p.h"

namespace yk::xml {
namespace {

constexpr wchar_t NOT_UTF8[] = L"invalid UTF-8";
constexpr wchar_t NOT_UTF16[] = L"invalid UTF-16";
constexpr wchar_t BIG_ENDIAN[] = L"big-endian UTF-16 is not supported";
constexpr wchar_t BAD_CHARACTER[] = L"invalid character";

/// Reads the rest of the stream, in growing blocks: the size that a stream reports is not trusted for an
/// allocation. Endless streams fail, since positions have 32 bits.
HRESULT ReadBytes(Stream& stream, Buffer<char>& bytes) noexcept {
  constexpr unsigned FIRST_BLOCK = 0x1000, LARGEST_BLOCK = 0x10000;
  unsigned const start = stream.GetPosition();
  unsigned const end = stream.GetSize();
  for (unsigned block = FIRST_BLOCK;; block = std::min(2 * block, LARGEST_BLOCK)) {
    size_t const before = bytes.Count();
    if (!bytes.Resize(before + block)) return E_OUTOFMEMORY;
    unsigned done = 0;
    HRESULT const result = stream.Read(bytes.begin() + before, block, &done);
    bool const isRead = Succeeded(result) && done <= block;
    bytes.Shrink(before + (isRead ? done : 0));
    if (!isRead || done == 0) break;
    if (bytes.Count() > UINT32_MAX) return E_FAIL;
  }
  // Some streams return a failure at the end; before the reported end, it is one.
  return end > start && bytes.Count() < end - start ? E_FAIL : S_OK;
}

/// Accepts 16-bit units, converts line ends to LF, and rejects what XML does not allow. Has room for all
/// units.
class Sink {
 public:
  explicit Sink(wchar_t* buffer) noexcept : start(buffer), next(buffer) {}

  bool Put(wchar_t unit) noexcept {
    bool const afterReturn = inReturn;
    inReturn = unit == L'\r';
    if (unit < 32) {
      if (!IsAllowedControl(unit) || inPair) return false;
      if (unit == L'\n' && afterReturn) return true;
      if (unit == L'\r') unit = L'\n';
    } else if (unit >= 0xD800 || inPair) {
      if (IsLowSurrogate(unit) != inPair || unit >= 0xFFFE) return false;
      inPair = IsHighSurrogate(unit);
    }
    *next++ = unit;
    return true;
  }

  bool PutScalar(uint32_t scalar) noexcept {
    if (scalar < 0x10000) return Put(static_cast<wchar_t>(scalar));
    return Put(static_cast<wchar_t>(0xD7C0 + (scalar >> 10))) &&
           Put(static_cast<wchar_t>(0xDC00 + (scalar & 0x3FF)));
  }

  bool IsWhole() const noexcept { return !inPair; }
  /// The accepted units, without an unfinished surrogate pair.
  size_t Count() const noexcept { return static_cast<size_t>(next - start) - (inPair ? 1 : 0); }

 private:
  wchar_t* start;
  wchar_t* next;
  bool inReturn = false;
  bool inPair = false;
};

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

wchar_t const* DecodeUtf8(uint8_t const* bytes, size_t size, Sink& sink) noexcept {
  for (size_t i = 0; i < size;) {
    uint32_t scalar = bytes[i];
    unsigned const length = scalar < 0x80 ? 1 : DecodeSequence(bytes + i, size - i, scalar);
    if (length == 0) return NOT_UTF8;
    if (!sink.PutScalar(scalar)) return BAD_CHARACTER;
    i += length;
  }
  return sink.IsWhole() ? nullptr : BAD_CHARACTER;
}

wchar_t const* DecodeUtf16(uint8_t const* bytes, size_t size, Sink& sink) noexcept {
  for (size_t i = 0; i + 1 < size; i += 2) {
    if (!sink.Put(static_cast<wchar_t>(bytes[i] | bytes[i + 1] << 8))) return BAD_CHARACTER;
  }
  return size % 2 == 0 && sink.IsWhole() ? nullptr : NOT_UTF16;
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

Mark FindMark(Buffer<char> const& bytes) noexcept {
  for (Mark const& mark : MARKS) {
    if (bytes.Count() >= mark.length && memcmp(bytes.begin(), mark.bytes, mark.length) == 0) return mark;
  }
  return {};
}

}  // namespace

void ReadInput(Stream& stream, Input& input) noexcept {
  Buffer<char> bytes;
  input.code = ReadBytes(stream, bytes);
  if (Failed(input.code)) return;

  Mark const mark = FindMark(bytes);
  uint8_t const* const from = reinterpret_cast<uint8_t const*>(bytes.begin()) + mark.skipped;
  size_t const size = bytes.Count() - mark.skipped;
  input.utf16 = mark.utf16;
  input.fault = mark.fault;
  // A byte of UTF-8 makes at most one unit, and two of UTF-16 make one.
  if (!input.text.Resize((mark.utf16 ? size / 2 : size) + 1)) {
    input.code = E_OUTOFMEMORY;
    return;
  }
  Sink sink(input.text.begin());
  if (!input.fault) {
    input.fault = mark.utf16 ? DecodeUtf16(from, size, sink) : DecodeUtf8(from, size, sink);
  }
  input.text.Shrink(sink.Count());
  *input.text.end() = 0;
}

}  // namespace yk::xml
