// The text of a document: a stream's bytes, decoded and with every line end as LF. A window of it is in
// memory.
#pragma once

#include <qecore/core/base.h>

#include "core/buffer_p.h"
#include "xml_chars_p.h"
#include "xml_kernels_p.h"

namespace yk {

class Stream;

namespace xml {

/// Units that can be read after the window, all zero.
inline constexpr size_t INPUT_PAD = 16;

/// A position in a document, both from 1.
struct Place {
  uint32_t line = 1;
  uint32_t column = 1;

  /// Moves past a part of a window.
  void Pass(wchar_t const* from, wchar_t const* to) noexcept;
};

/// Accepts 16-bit units, converts line ends to LF, and rejects what XML does not allow.
class Sink {
 public:
  /// Where to continue writing, with room for all units that come next.
  void ContinueAt(wchar_t* place) noexcept { next = place; }
  wchar_t* Next() const noexcept { return next; }

  /// Puts the leading characters of 7 bits that are taken as they are. \return how many
  size_t PutAscii(uint8_t const* bytes, size_t count) noexcept { return PutPlain<TakeAscii>(bytes, count); }
  /// The same for units of two bytes.
  size_t PutUnits(uint8_t const* bytes, size_t count) noexcept { return PutPlain<TakeUnits>(bytes, count); }

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
    return Put(HighSurrogateOf(scalar)) && Put(LowSurrogateOf(scalar));
  }

  /// False after the first half of a surrogate pair.
  bool IsWhole() const noexcept { return !inPair; }

 private:
  template <auto TAKE>
  size_t PutPlain(uint8_t const* bytes, size_t count) noexcept {
    if (inReturn || inPair) return 0;  // what comes next depends on the last unit
    size_t const taken = TAKE(bytes, count, next);
    next += taken;
    return taken;
  }

  wchar_t* next = nullptr;
  bool inReturn = false;
  bool inPair = false;
};

class Input {
 public:
  /// The rest of a stream, from its position. The window is empty at first.
  explicit Input(Stream& source) noexcept;

  wchar_t const* begin() const noexcept { return text.begin(); }
  wchar_t const* end() const noexcept { return text.end(); }

  /// Makes the window begin at `from`, and extends it considerably unless it reaches the end. It may move.
  /// False: Code() is E_FAIL or E_OUTOFMEMORY.
  bool Refill(wchar_t const* from) noexcept;
  bool IsAtEnd() const noexcept { return isWhole; }
  HRESULT Code() const noexcept { return code; }

  bool IsUtf16() const noexcept { return utf16; }
  /// At the end: why the text ends before the stream does; null: it does not.
  wchar_t const* Fault() const noexcept { return fault; }
  /// Where the window begins.
  Place Start() const noexcept { return start; }

 private:
  HRESULT ReadBlock() noexcept;
  HRESULT End() noexcept;
  /// Whether more bytes follow those that are decoded.
  enum class More { NONE, FOLLOW };

  size_t Decode(More more) noexcept;
  bool NeedRoom(size_t units) noexcept;
  size_t Utf8(uint8_t const* from, size_t count, More more) noexcept;
  size_t Utf16(uint8_t const* from, size_t count) noexcept;
  size_t Stop(wchar_t const* why) noexcept { return fault = why, 0; }

  Stream& stream;
  unsigned size = 0;   // as the stream reports it
  uint64_t total = 0;  // bytes read
  Buffer<uint8_t> bytes;
  size_t left = 0;  // bytes that are not decoded yet
  Sink sink;
  bool isBegun = false;  // the encoding is known

  Buffer<wchar_t> text;
  size_t room = 0;  // of the text
  Place start;
  bool utf16 = false;
  bool isWhole = false;
  HRESULT code = S_OK;
  wchar_t const* fault = nullptr;
};

}  // namespace xml

}  // namespace yk
