#include "xml_input_p.h"

#include <emmintrin.h>
#include <qecore/io/stream.h>
#include <string.h>

#include <algorithm>
#include <bit>

#include "xml_chars_p.h"

namespace yk::xml {
namespace {

constexpr wchar_t NOT_UTF8[] = L"invalid UTF-8";
constexpr wchar_t NOT_UTF16[] = L"invalid UTF-16";
constexpr wchar_t BIG_ENDIAN[] = L"big-endian UTF-16 is not supported";
constexpr wchar_t BAD_CHARACTER[] = L"invalid character";

/// Accepts 16-bit units, converts line ends to LF, and rejects what XML does not allow.
class Sink {
 public:
  /// Where to continue writing, with room for all units that come next, and for INPUT_PAD more.
  void ContinueAt(wchar_t* place) noexcept { next = place; }
  wchar_t* Next() const noexcept { return next; }

  /// Puts the characters of 7 bits at the start that are written as they are. \return how many
  size_t PutAscii(uint8_t const* bytes, size_t size) noexcept;
  /// The same for units of 16 bits.
  size_t PutUnits(uint8_t const* bytes, size_t size) noexcept;

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

  /// False after the first half of a surrogate pair.
  bool IsWhole() const noexcept { return !inPair; }

 private:
  /// Whether the next unit can be taken as it is.
  bool IsFree() const noexcept { return !inReturn && !inPair; }

  wchar_t* next = nullptr;
  bool inReturn = false;
  bool inPair = false;
};

size_t Sink::PutAscii(uint8_t const* bytes, size_t size) noexcept {
  auto const all = [](char c) { return _mm_set1_epi8(c); };
  size_t done = 0;
  for (; IsFree() && done + 16 <= size; done += 16) {
    __m128i const sixteen = _mm_loadu_si128(reinterpret_cast<__m128i const*>(bytes + done));
    __m128i const blank =
        _mm_or_si128(_mm_cmpeq_epi8(sixteen, all('\t')), _mm_cmpeq_epi8(sixteen, all('\n')));
    __m128i const low = _mm_cmplt_epi8(sixteen, all(' '));  // or from 128 up: as signed, they are negative
    unsigned const odd = static_cast<unsigned>(_mm_movemask_epi8(_mm_andnot_si128(blank, low)));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(next), _mm_unpacklo_epi8(sixteen, _mm_setzero_si128()));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(next + 8), _mm_unpackhi_epi8(sixteen, _mm_setzero_si128()));
    size_t const plain = odd ? static_cast<size_t>(std::countr_zero(odd)) : 16;
    next += plain;
    if (odd) return done + plain;
  }
  return done;
}

size_t Sink::PutUnits(uint8_t const* bytes, size_t size) noexcept {
  auto const all = [](unsigned c) { return _mm_set1_epi16(static_cast<short>(c)); };
  size_t done = 0;
  for (; IsFree() && done + 16 <= size; done += 16) {
    __m128i const eight = _mm_loadu_si128(reinterpret_cast<__m128i const*>(bytes + done));
    __m128i const blank = _mm_or_si128(_mm_cmpeq_epi16(eight, all('\t')), _mm_cmpeq_epi16(eight, all('\n')));
    // Moved so that the units from a space up to the surrogates are the smallest signed numbers.
    __m128i const moved = _mm_add_epi16(eight, all(0x8000 - ' '));
    __m128i const plain = _mm_or_si128(blank, _mm_cmplt_epi16(moved, all(0x8000 + 0xD800 - ' ')));
    unsigned const odd = static_cast<unsigned>(_mm_movemask_epi8(plain)) ^ 0xFFFF;
    _mm_storeu_si128(reinterpret_cast<__m128i*>(next), eight);
    size_t const taken = odd ? static_cast<size_t>(std::countr_zero(odd)) : 16;
    next += taken / 2;
    if (odd) return done + taken;
  }
  return done;
}

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

/// Decodes a document piece by piece, up to its first fault.
class Decoder {
 public:
  explicit Decoder(Input& toFill) noexcept : input(toFill) {}

  /// Decodes at least LONGEST bytes, of about `expected` in the whole document. \return how many were used; the
  /// rest, fewer than LONGEST, is due again before the next. The input has a failure.
  size_t Decode(uint8_t const* bytes, size_t size, uint64_t expected) noexcept;
  /// Decodes the rest and terminates the text.
  void End(uint8_t const* bytes, size_t size) noexcept;

 private:
  size_t Add(uint8_t const* bytes, size_t size, bool last) noexcept;
  bool NeedRoom(size_t units) noexcept;
  size_t SkipMark(uint8_t const* bytes, size_t size) noexcept;
  size_t Utf8(uint8_t const* bytes, size_t size, bool last) noexcept;
  size_t Utf16(uint8_t const* bytes, size_t size) noexcept;
  size_t Stop(wchar_t const* why) noexcept { return input.fault = why, 0; }

  Input& input;
  Sink sink;
  size_t room = 0;  // of the text
  uint64_t expectedUnits = 0;
  bool begun = false;
};

size_t Decoder::Decode(uint8_t const* bytes, size_t size, uint64_t expected) noexcept {
  size_t const mark = begun ? 0 : SkipMark(bytes, size);
  begun = true;
  expectedUnits = (input.utf16 ? expected / 2 : expected) + INPUT_PAD;
  return input.fault ? size : mark + Add(bytes + mark, size - mark, false);
}

void Decoder::End(uint8_t const* bytes, size_t size) noexcept {
  size_t const mark = begun ? 0 : SkipMark(bytes, size);
  size_t const used = input.fault ? size : mark + Add(bytes + mark, size - mark, true);
  bool const isWhole = used == size && sink.IsWhole();
  if (!input.fault && !isWhole) input.fault = input.utf16 ? NOT_UTF16 : BAD_CHARACTER;
  size_t const count = input.text.Count() - (sink.IsWhole() ? 0 : 1);  // without half a surrogate pair
  input.text.Shrink(count);
  if (!NeedRoom(count + INPUT_PAD)) {
    input.code = E_OUTOFMEMORY;
    return;
  }
  std::fill_n(input.text.end(), INPUT_PAD, L'\0');
}

/// Copies instead of resizing the block, which would copy its unused room as well.
bool Decoder::NeedRoom(size_t units) noexcept {
  if (units <= room) return true;
  size_t const larger = std::max({units, 2 * room, static_cast<size_t>(expectedUnits)});
  Buffer<wchar_t> grown;
  bool const isGrown = grown.Reserve(larger);
  if (!isGrown && !grown.Reserve(units)) return false;
  room = isGrown ? larger : units;
  grown.Append(input.text.begin(), input.text.Count());  // fits
  grown.Swap(input.text);
  return true;
}

size_t Decoder::Add(uint8_t const* bytes, size_t size, bool last) noexcept {
  if (!NeedRoom(input.text.Count() + size + INPUT_PAD)) return input.code = E_OUTOFMEMORY, size;
  sink.ContinueAt(input.text.end());
  size_t const used = input.utf16 ? Utf16(bytes, size) : Utf8(bytes, size, last);
  input.text.Shrink(static_cast<size_t>(sink.Next() - input.text.begin()));
  return input.fault ? size : used;
}

/// Finds out the encoding. \return the bytes that are not text
size_t Decoder::SkipMark(uint8_t const* bytes, size_t size) noexcept {
  for (Mark const& mark : MARKS) {
    if (size < mark.length || memcmp(bytes, mark.bytes, mark.length) != 0) continue;
    input.utf16 = mark.utf16;
    input.fault = mark.fault;
    return mark.skipped;
  }
  return 0;
}

size_t Decoder::Utf8(uint8_t const* bytes, size_t size, bool last) noexcept {
  size_t const end = last ? size : size - std::min(size, LONGEST - 1);  // of what is certainly whole
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

size_t Decoder::Utf16(uint8_t const* bytes, size_t size) noexcept {
  size_t i = 0;
  while (i + 1 < size) {
    size_t const plain = sink.PutUnits(bytes + i, size - i);
    i += plain;
    if (plain > 0) continue;
    if (!sink.Put(static_cast<wchar_t>(bytes[i] | bytes[i + 1] << 8))) return Stop(BAD_CHARACTER);
    i += 2;
  }
  return i;
}

/// Reads the rest of the stream and decodes it block by block. The size that a stream reports is not trusted
/// for an allocation, beyond some times what it has delivered. Endless streams fail, since positions have 32
/// bits.
HRESULT ReadAndDecode(Stream& stream, Input& input) noexcept {
  constexpr unsigned SMALLEST_BLOCK = 0x1000, LARGEST_BLOCK = 0x10000, TRUST = 16;
  unsigned const start = stream.GetPosition();
  unsigned const end = stream.GetSize();
  unsigned const size = end > start ? end - start : 0;
  unsigned const block = std::clamp(size, SMALLEST_BLOCK, LARGEST_BLOCK);
  Decoder decoder(input);
  Buffer<uint8_t> bytes;
  if (!bytes.Resize(LONGEST + block)) return E_OUTOFMEMORY;
  uint64_t total = 0;
  size_t left = 0;  // bytes that are not decoded yet
  for (;;) {
    unsigned done = 0;
    HRESULT const result = stream.Read(bytes.begin() + left, block, &done);
    if (Failed(result) || done > block || done == 0) break;
    total += done;
    if (total > UINT32_MAX) return E_FAIL;
    left += done;
    if (left < LONGEST) continue;
    size_t const used = decoder.Decode(bytes.begin(), left, std::min<uint64_t>(size, total * TRUST));
    if (Failed(input.code)) return input.code;
    left -= used;
    memmove(bytes.begin(), bytes.begin() + used, left);
  }
  // Some streams return a failure at the end; before the reported end, it is one.
  if (total < size) return E_FAIL;
  decoder.End(bytes.begin(), left);
  return input.code;
}

}  // namespace

void ReadInput(Stream& stream, Input& input) noexcept { input.code = ReadAndDecode(stream, input); }

}  // namespace yk::xml
