#include <qecore/values/str.h>

#include <limits.h>

#include <algorithm>

#include "text_kernels_p.h"

namespace yk {

namespace {

// text::ConvertAscii, which is worth a call only for a long run of such characters.
template <class From, class To>
size_t ConvertRun(From const* from, To* to, size_t most) noexcept {
  constexpr size_t SHORT = 16;
  size_t const done = text::scalar::ConvertAscii(from, to, std::min(most, SHORT));
  return done < SHORT ? done : done + text::ConvertAscii(from + done, to ? to + done : nullptr, most - done);
}

constexpr int LengthOf(uint16_t value) noexcept { return 1 + (value >= 0x80) + (value >= 0x800); }

void Encode(uint16_t value, int length, char* bytes) noexcept {
  auto const following = [&](int shift) { return static_cast<char>(0x80 | (value >> shift & 0x3F)); };
  if (length == 1) {
    bytes[0] = static_cast<char>(value);
  } else if (length == 2) {
    bytes[0] = static_cast<char>(0xC0 | value >> 6);
    bytes[1] = following(0);
  } else {
    bytes[0] = static_cast<char>(0xE0 | value >> 12);
    bytes[1] = following(6);
    bytes[2] = following(0);
  }
}

// The bits that the byte at `src` continues a sequence with, moving past it. The terminator counts as zeros,
// and is not passed.
inline uint32_t Following(char const*& src) noexcept {
  return *src ? static_cast<uint8_t>(*src++) & 0x3F : 0;
}

// Decodes one sequence and moves `src` past it, also in the original form of UTF-8 with up to 6 bytes.
// Continuation bytes are not checked, and stray ones are treated as the first of two bytes.
uint32_t Decode(char const*& src) noexcept {
  uint8_t const lead = static_cast<uint8_t>(*src++);
  if (lead < 0x80) return lead;
  if (lead >= 0xFE) return 0xFFFFFFFF;
  uint32_t value = Following(src);
  if (lead < 0xE0) return (lead & 0x1Fu) << 6 | value;
  value = value << 6 | Following(src);
  if (lead < 0xF0) return (lead & 0x0Fu) << 12 | value;
  int const longer = (lead >= 0xF8) + (lead >= 0xFC);
  for (int left = longer; left >= 0; --left) value = value << 6 | Following(src);
  return (lead & (0x07u >> longer)) << (18 + 6 * longer) | value;
}

// Writes bytes into a buffer that may be null, unlimited (a negative size) or too small.
class Output {
 public:
  Output(char* buffer, int bytes) noexcept : dst(buffer), size(bytes) {}

  void Put(wchar_t unit) noexcept {
    auto const value = static_cast<uint16_t>(unit);
    int const length = LengthOf(value);
    if (Reaches(position + length)) Encode(value, length, dst + position);
    position += length;  // even if it did not fit, so that nothing after it fits either
  }

  void PutAll(wchar_t const* text, size_t count) noexcept {
    for (size_t i = 0; i < count;) {
      auto const unit = static_cast<uint16_t>(text[i]);
      if (unit > 0 && unit < 0x80) {
        i += PutAscii(text + i, count - i);
      } else {
        Put(text[i++]);
      }
    }
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
  // Writes the plain ASCII with which a text begins, up to a zero. \return how many characters it wrote, or
  // counted
  size_t PutAscii(wchar_t const* text, size_t most) noexcept {
    bool const fits = Reaches(position + 1);
    if (fits && size > 0) most = std::min(most, static_cast<size_t>(size - 1 - position));
    size_t const done = ConvertRun(text, fits ? dst + position : nullptr, most);
    position += static_cast<int64_t>(done);
    return done;
  }

  char* dst;
  int size;
  int64_t position = 0;
};

}  // namespace

int str::WToUTF8(wchar_t const* src, char* dst, int size) noexcept {
  Output out(dst, size);
  if (!src) return out.Nothing();
  out.PutAll(src, Length(src));
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
      size_t const done = ConvertRun(bytes, to, static_cast<size_t>(most - units));
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
  if (count > 0) out.PutAll(src, static_cast<size_t>(count));
  out.Terminate();
  return out.Needed();
}

}  // namespace yk
