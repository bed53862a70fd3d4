#include <limits.h>
#include <qecore/values/str.h>

namespace yk {

namespace {

constexpr int LONGEST = 6;  // bytes of a sequence in the historical form; 16-bit input needs no more than 3

// Sequences of two bytes and more: the first value that needs one byte more, the lead's mark, and the lead
// byte from which on a sequence is longer.
struct Form {
  uint32_t valueLimit;
  uint8_t leadMark;
  uint8_t leadLimit;
};

constexpr Form FORMS[] = {
    {0x800, 0xC0, 0xE0},       // 2 bytes; stray continuation bytes are taken for leads of this form
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

// One sequence; moves `src` behind it. Continuation bytes are not checked; those that the terminator cuts off
// count as zeros, and the text ends there.
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

// Bytes on their way into a buffer that may be absent, unlimited (a negative size) or too small.
class Output {
 public:
  Output(char* buffer, int bytes) noexcept : dst(buffer), size(bytes) {}

  void Put(wchar_t unit) noexcept {
    char bytes[LONGEST];
    int const length = Encode(static_cast<uint16_t>(unit), bytes);
    if (Reaches(position + length)) {
      for (int i = 0; i < length; ++i) dst[position + i] = bytes[i];
    }
    position += length;  // also when it did not fit: then nothing later fits either
  }

  // Whether the buffer goes on behind this many bytes.
  bool Reaches(int64_t bytes) const noexcept { return dst && (size < 0 || bytes < size); }

  // Answers false when the text is too long to be terminated where it ends.
  bool Terminate() noexcept {
    if (!Reaches(position)) return false;
    dst[position] = 0;
    return true;
  }

  // Behind a null text there is a terminator whatever the size is.
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
  while (*src) out.Put(*src++);
  if (!out.Terminate() && dst && size > 0) dst[size - 1] = 0;
  return out.Needed();
}

int str::UTF8ToW(char const* src, wchar_t* dst, int size) noexcept {
  int units = 0;
  for (; src && *src && units < (dst ? size : INT_MAX); ++units) {
    uint32_t const value = Decode(src);
    if (dst) dst[units] = static_cast<wchar_t>(value & 0xFFFF);
  }
  if (dst && size >= 0) dst[units] = 0;
  return units;
}

int WideToUTF8StringEx(wchar_t const* src, char* dst, int count, int size) noexcept {
  Output out(dst, size);
  if (!src) return out.Nothing();
  for (int i = 0; i < count; ++i) out.Put(src[i]);
  out.Terminate();
  return out.Needed();
}

}  // namespace yk
