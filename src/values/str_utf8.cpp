#include <limits.h>
#include <qecore/values/str.h>

#include <algorithm>

#include "text_kernels_p.h"

namespace yk {

namespace {

constexpr int LONGEST = 6;  // bytes of a sequence in the original form of UTF-8; 16-bit input needs at most 3

// Sequences of at least two bytes: the first value that needs another byte, the mark of the lead byte, and
// the first lead byte of longer sequences.
struct Form {
  uint32_t valueLimit;
  uint8_t leadMark;
  uint8_t leadLimit;
};

constexpr Form FORMS[] = {
    {0x800, 0xC0, 0xE0},       // 2 bytes; stray continuation bytes are treated as such lead bytes
    {0x10000, 0xE0, 0xF0},     // 3
    {0x200000, 0xF0, 0xF8},    // 4
    {0x4000000, 0xF8, 0xFC},   // 5
    {0x80000000, 0xFC, 0xFE},  // 6
};
static_assert(sizeof FORMS / sizeof *FORMS == LONGEST - 1);

int Encode(uint16_t value, char* bytes) noexcept {
  if (value < 0x80) {
    bytes[0] = static_cast<char>(value);
    return 1;
  }
  int form = 0;
  while (value >= FORMS[form].valueLimit) ++form;
  int const length = form + 2;
  for (int i = length - 1; i > 0; --i, value >>= 6) bytes[i] = static_cast<char>(0x80 | (value & 0x3F));
  bytes[0] = static_cast<char>(FORMS[form].leadMark | value);
  return length;
}

// Decodes one sequence and moves `src` past it. Continuation bytes are not checked; those cut off by the
// terminator count as zeros, and the text ends there.
uint32_t Decode(char const*& src) noexcept {
  uint8_t const lead = static_cast<uint8_t>(*src++);
  if (lead < 0x80) return lead;
  if (lead >= FORMS[LONGEST - 2].leadLimit) return 0xFFFFFFFF;
  int form = 0;
  while (lead >= FORMS[form].leadLimit) ++form;
  uint32_t value = lead & (0x1F >> form);
  for (int left = form + 1; left > 0; --left) {
    value <<= 6;
    if (*src) value |= static_cast<uint8_t>(*src++) & 0x3F;
  }
  return value;
}

// Writes bytes into a buffer that may be null, unlimited (a negative size) or too small.
class Output {
 public:
  Output(char* buffer, int bytes) noexcept : dst(buffer), size(bytes) {}

  void Put(wchar_t unit) noexcept {
    char bytes[LONGEST];
    int const length = Encode(static_cast<uint16_t>(unit), bytes);
    if (Reaches(position + length)) {
      for (int i = 0; i < length; ++i) dst[position + i] = bytes[i];
    }
    position += length;  // even if it did not fit, so that nothing after it fits either
  }

  // Writes a text's first units, at most `most`: all of plain ASCII, up to a zero, or one. \return their number
  size_t PutSome(wchar_t const* text, size_t most) noexcept {
    auto const unit = static_cast<uint16_t>(*text);
    if (unit == 0 || unit >= 0x80) return Put(*text), 1;
    bool const fits = Reaches(position + 1);
    if (fits && size > 0) most = std::min(most, static_cast<size_t>(size - 1 - position));
    size_t const done = text::ConvertAscii(text, fits ? dst + position : nullptr, most);
    position += static_cast<int64_t>(done);
    return done;
  }

  // Whether the buffer extends past this many bytes.
  bool Reaches(int64_t bytes) const noexcept { return dst && (size < 0 || bytes < size); }

  // False when the text is too long to be terminated at its end.
  bool Terminate() noexcept {
    if (!Reaches(position)) return false;
    dst[position] = 0;
    return true;
  }

  // A null text is terminated regardless of the size.
  int Nothing() noexcept {
    if (dst) dst[0] = 0;
    return 0;
  }

  int Needed() const noexcept { return position < INT_MAX ? static_cast<int>(position + 1) : INT_MAX; }

 private:
  char* dst;
  int size;
  int64_t position = 0;
};

}  // namespace

int str::WToUTF8(wchar_t const* src, char* dst, int size) noexcept {
  Output out(dst, size);
  if (!src) return out.Nothing();
  while (*src) src += out.PutSome(src, SIZE_MAX);
  if (!out.Terminate() && dst && size > 0) dst[size - 1] = 0;
  return out.Needed();
}

int str::UTF8ToW(char const* src, wchar_t* dst, int size) noexcept {
  int units = 0;
  int const most = dst ? size : INT_MAX;
  while (src && *src && units < most) {
    wchar_t* const to = dst ? dst + units : nullptr;
    auto const* const bytes = reinterpret_cast<signed char const*>(src);
    if (*bytes > 0) {
      size_t const done = text::ConvertAscii(bytes, to, static_cast<size_t>(most - units));
      src += done;
      units += static_cast<int>(done);
      continue;
    }
    uint32_t const value = Decode(src);
    if (to) *to = static_cast<wchar_t>(value & 0xFFFF);
    ++units;
  }
  if (dst && size >= 0) dst[units] = 0;
  return units;
}

int WideToUTF8StringEx(wchar_t const* src, char* dst, int count, int size) noexcept {
  Output out(dst, size);
  if (!src) return out.Nothing();
  for (int i = 0; i < count;) i += static_cast<int>(out.PutSome(src + i, static_cast<size_t>(count - i)));
  out.Terminate();
  return out.Needed();
}

}  // namespace yk
