#include "lzw.h"

#include <algorithm>

namespace qewic {

namespace {

constexpr unsigned MOST_BITS = 12, MOST_CODES = 1 << MOST_BITS;

class Decoder {
 public:
  Decoder(LzwKind how, uint8_t const* from, size_t size, uint8_t* to, size_t most) noexcept
      : kind(how), data(from), left(size), out(to), room(most), clear(1u << how.rootBits) {
    for (unsigned i = 0; i < clear; ++i)
      strings[i] = {0, 1, static_cast<uint8_t>(i), static_cast<uint8_t>(i)};
    Clear();
  }

  size_t Run() noexcept {
    unsigned code = 0;
    while (done < room && NextCode(code) && code != clear + 1) {
      if (code == clear) {
        Clear();
      } else if (!Use(code)) {
        break;
      }
    }
    return done;
  }

 private:
  struct String {
    uint16_t before;  // the string without its last byte
    uint16_t length;
    uint8_t first, last;
  };
  static constexpr unsigned NONE = MOST_CODES;

  void Clear() noexcept {
    count = clear + 2;
    bits = kind.rootBits + 1;
    previous = NONE;
  }

  bool NextCode(unsigned& code) noexcept {
    while (held < bits) {
      if (left == 0) return false;
      --left;
      uint32_t const byte = *data++;
      window = kind.highestFirst ? window << 8 | byte : window | byte << held;
      held += 8;
    }
    held -= bits;
    unsigned const mask = (1u << bits) - 1;
    code = (kind.highestFirst ? window >> held : window) & mask;
    if (!kind.highestFirst) window >>= bits;
    return true;
  }

  /// Puts the string of a code and adds a new string. False: there is no such code yet.
  bool Use(unsigned code) noexcept {
    bool const isKnown = code < clear || (code >= clear + 2 && code < count);
    bool const isNext = code == count && count < MOST_CODES && previous != NONE;
    if (!isKnown && !isNext) return false;
    if (previous != NONE && count < MOST_CODES) Add(strings[isNext ? previous : code].first);
    Put(code);
    previous = code;
    return true;
  }

  void Add(uint8_t last) noexcept {
    String const& before = strings[previous];
    strings[count++] = {static_cast<uint16_t>(previous), static_cast<uint16_t>(before.length + 1),
                        before.first, last};
    if (count + kind.early >= 1u << bits && bits < MOST_BITS) ++bits;
  }

  // Backwards, since a string is known by its last byte and the string before that.
  void Put(unsigned code) noexcept {
    size_t const length = strings[code].length;
    size_t const fits = std::min(length, room - done);
    for (size_t i = length; i-- > 0; code = strings[code].before)
      if (i < fits) out[done + i] = strings[code].last;
    done += fits;
  }

  LzwKind const kind;
  uint8_t const* data;
  size_t left;
  uint8_t* const out;
  size_t const room;
  size_t done = 0;
  unsigned const clear;
  unsigned count = 0, bits = 0, previous = NONE;
  uint32_t window = 0;
  unsigned held = 0;  // bits in the window
  String strings[MOST_CODES];
};

}  // namespace

size_t DecodeLzw(LzwKind kind, uint8_t const* data, size_t size, uint8_t* out, size_t room) noexcept {
  return Decoder(kind, data, size, out, room).Run();
}

}  // namespace qewic
