#include "lzw.h"

#include <algorithm>
#include <iterator>

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

// ---- encoding

namespace {

constexpr uint32_t CLEAR = 256, END = 257, FIRST_FREE = 258, FIRST_BITS = 9;
constexpr uint32_t ENOUGH = 4094;  // readers rely on it that codes end here, and begin anew

}  // namespace

void LzwEncoder::Forget() noexcept {
  std::fill(std::begin(places), std::end(places), NONE);
  next = FIRST_FREE;
  bits = FIRST_BITS;
}

/// Where a string of a known one and another byte is, or has room.
uint32_t& LzwEncoder::Place(uint32_t longer) noexcept {
  uint32_t at = longer * 0x9E3779B1u >> (32 - PLACE_BITS);
  while (places[at] != NONE && places[at] >> MOST_BITS != longer) at = (at + 1) % std::size(places);
  return places[at];
}

void LzwEncoder::PutCode(uint32_t code) noexcept {
  window = window << bits | code;
  for (held += bits; held >= 8;) PutByte(window >> (held -= 8));
}

void LzwEncoder::PutByte(uint32_t byte) noexcept {
  block[used++] = static_cast<uint8_t>(byte);
  if (used == sizeof block) PassOn();
}

void LzwEncoder::PassOn() noexcept {
  take(target, block, used);
  used = 0;
}

// The reader knows the new string a code later.
void LzwEncoder::EndString() noexcept {
  PutCode(string);
  if (++next == ENOUGH) {
    PutCode(CLEAR);
    Forget();
  } else if (next == 1u << bits) {
    ++bits;
  }
}

void LzwEncoder::Add(uint8_t const* data, size_t size) noexcept {
  for (size_t i = 0; i < size; ++i) {
    if (string == NONE) {
      Forget();
      PutCode(CLEAR);
      string = data[i];
      continue;
    }
    uint32_t const longer = string << 8 | data[i];
    uint32_t& place = Place(longer);
    if (place != NONE) {
      string = place & ((1u << MOST_BITS) - 1);
      continue;
    }
    place = longer << MOST_BITS | next;
    EndString();
    string = data[i];
  }
}

void LzwEncoder::Finish() noexcept {
  if (string != NONE) EndString();
  string = NONE;
  PutCode(END);
  if (held > 0) PutByte(window << (8 - held));
  held = 0;
  PassOn();
}

}  // namespace qewic
