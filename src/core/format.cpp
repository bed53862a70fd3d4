#include "format_p.h"

#include <limits.h>
#include <stdint.h>
#include <stdio.h>
#include <wchar.h>

// The Microsoft C runtime's bounded wide formatter. The standard one of MinGW reads `%s` as narrow.
#if defined(__MINGW32__)
extern "C" __declspec(dllimport) int __cdecl _vswprintf_c_l(wchar_t* buffer, size_t count,
                                                            wchar_t const* format, _locale_t locale,
                                                            va_list arguments);
#endif

namespace yk {

namespace {

constexpr int NONE = -1;           // no precision
constexpr int FROM_ARGUMENT = -2;  // a width or a precision `*`
constexpr int MOST = 10000;        // the largest width and precision passed to the runtime in a format
// A number of digits that every runtime can handle. Wine's wide formatter overruns its buffer beyond this.
constexpr int SAFE_DIGITS = 22;
constexpr size_t SPEC_ROOM = 24;

enum Flag : unsigned { LEFT = 1, SIGN = 2, BLANK = 4, ZERO = 8, ALTERNATE = 16 };
constexpr char FLAGS[] = "-+ 0#";  // in the order of their bits

template <class Char>
constexpr bool IsOneOf(Char c, char const* set) noexcept {
  for (; *set; ++set) {
    if (c == static_cast<Char>(*set)) return true;
  }
  return false;
}

template <class Char>
constexpr bool IsInteger(Char c) noexcept {
  return IsOneOf(c, "diouxX");
}

template <class Char>
constexpr bool IsReal(Char c) noexcept {
  return IsOneOf(c, "eEfFgGaA");
}

// The length of the first size prefix of a directive; 0: no prefix. A capital I alone is a prefix for
// integers.
template <class Char>
constexpr int PrefixLength(Char const* at) noexcept {
  if (IsOneOf(*at, "hlwLjzt")) return 1;
  if (*at == 'I' && ((at[1] == '6' && at[2] == '4') || (at[1] == '3' && at[2] == '2'))) return 3;
  return *at == 'I' && IsInteger(at[1]) ? 1 : 0;
}

// A parsed directive.
template <class Char>
struct Directive {
  explicit constexpr Directive(Char const* at) noexcept {  // after its `%`
    for (; IsOneOf(*at, FLAGS); ++at) {
      for (unsigned i = 0; FLAGS[i]; ++i) flags |= *at == static_cast<Char>(FLAGS[i]) ? 1u << i : 0u;
    }
    at = Number(at, width);
    if (*at == '.') at = Number(at + 1, precision = 0);
    prefix = at;
    while (int const length = PrefixLength(at)) at += length;
    conversion = at;
  }

  constexpr bool Is(Flag flag) const noexcept { return (flags & flag) != 0; }
  constexpr bool Known() const noexcept { return IsInteger(*conversion) || IsReal(*conversion) || IsOther(); }
  constexpr bool IsOther() const noexcept { return IsOneOf(*conversion, "cCsSpZ"); }

  // Zeros that pad the width go between the prefix 0x and the digits.
  constexpr bool FillsDigits() const noexcept {
    return Is(ZERO) && Is(ALTERNATE) && !Is(LEFT) && IsOneOf(*conversion, "xX");
  }

  // Whether the directive can be passed to the runtime as it is.
  constexpr bool Plain() const noexcept {
    if (!Known() || IsOneOf(*conversion, "FZ") || width > MOST || precision > MOST) return false;
    if (!IsInteger(*conversion)) return true;
    bool const filled = FillsDigits() && (width > SAFE_DIGITS || width == FROM_ARGUMENT);
    return precision <= SAFE_DIGITS && precision != FROM_ARGUMENT && !filled;
  }

  unsigned flags = 0;
  int width = 0;
  int precision = NONE;
  Char const* prefix;
  Char const* conversion;  // points to the terminator when the directive is truncated

 private:
  // Reads a number, or FROM_ARGUMENT; a number that does not fit is clamped to the largest int.
  static constexpr Char const* Number(Char const* at, int& number) noexcept {
    if (*at == '*') {
      number = FROM_ARGUMENT;
      return at + 1;
    }
    int64_t value = 0;
    bool digits = false;
    for (; *at >= '0' && *at <= '9'; ++at, digits = true) {
      value = value * 10 + (*at - '0');
      if (value > INT_MAX) value = INT_MAX;
    }
    if (digits) number = static_cast<int>(value);
    return at;
  }
};

// Whether the whole format can be passed to the runtime.
template <class Char>
bool IsPlain(Char const* format) noexcept {
  while (*format) {
    if (*format++ != '%') continue;
    if (*format == '%') {
      ++format;
      continue;
    }
    Directive<Char> const directive(format);
    if (!directive.Plain()) return false;
    format = directive.conversion + 1;
  }
  return true;
}

int Runtime(wchar_t* buffer, size_t size, wchar_t const* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  int const length = _vsnwprintf(buffer, size, format, arguments);
  va_end(arguments);
  return length;
}

int Runtime(char* buffer, size_t size, char const* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  int const length = _vsnprintf(buffer, size, format, arguments);
  va_end(arguments);
  return length;
}

// Formats directive by directive.
template <class Char>
class Formatter {
 public:
  Formatter(Char* buffer, size_t size, va_list list) noexcept : next(buffer), room(size) {
    va_copy(arguments, list);
  }
  ~Formatter() { va_end(arguments); }
  Formatter(Formatter const&) = delete;
  Formatter& operator=(Formatter const&) = delete;

  // The text's length, even when it is truncated or exceeds an int; -1: a conversion failed.
  int64_t Format(Char const* format) noexcept {
    while (*format) {
      if (*format != '%' || format[1] == '%') {
        Put(*format, 1);
        format += *format == '%' ? 2 : 1;
        continue;
      }
      Directive<Char> directive(format + 1);
      format = directive.conversion;
      TakeNumbers(directive);
      if (!directive.Known()) {
        if (*format == 'n') return -1;
        if (*format && *format != '%') Put(*format++, 1);
        continue;
      }
      if (!Convert(directive)) return -1;
      ++format;
    }
    return total;
  }

  // False: the text fills its buffer, or no text is left.
  bool Terminate() noexcept {
    if (room == 0) return false;
    *next = 0;
    return true;
  }

 private:
  void Put(Char c, int64_t times) noexcept {
    if (times <= 0) return;
    total += times;
    for (; room > 0 && times > 0; --room, --times) *next++ = c;
  }

  void TakeNumbers(Directive<Char>& directive) noexcept {
    if (directive.width == FROM_ARGUMENT) {
      int const width = va_arg(arguments, int);
      if (width < 0) directive.flags |= LEFT;
      directive.width = width >= 0 ? width : width == INT_MIN ? INT_MAX : -width;
    }
    if (directive.precision != FROM_ARGUMENT) return;
    int const precision = va_arg(arguments, int);
    directive.precision = precision < 0 ? NONE : precision;
  }

  bool Convert(Directive<Char> const& directive) noexcept {
    if (IsReal(*directive.conversion)) return Pass(directive, va_arg(arguments, double));
    if (!IsInteger(*directive.conversion)) return Pass(directive, va_arg(arguments, void*));
    unsigned long long const value = va_arg(arguments, unsigned long long);
    bool const filled = directive.FillsDigits() && directive.width > SAFE_DIGITS;
    if (directive.precision > SAFE_DIGITS || filled) return PutDigits(directive, value);
    return Pass(directive, value);
  }

  // Whether width and precision are arguments.
  enum class Numbers { NONE, PASSED };

  // The directive with these flags and a `*` for each number.
  template <class SpecChar>
  static bool Spell(Directive<Char> const& directive, unsigned flags, Numbers numbers,
                    SpecChar (&spec)[SPEC_ROOM]) noexcept {
    if (directive.conversion - directive.prefix > 8) return false;  // more prefixes than any directive has
    SpecChar* out = spec;
    *out++ = '%';
    for (unsigned i = 0; FLAGS[i]; ++i) {
      if (flags & (1u << i)) *out++ = static_cast<SpecChar>(FLAGS[i]);
    }
    for (char const* c = numbers == Numbers::NONE ? "" : directive.precision < 0 ? "*" : "*.*"; *c;) {
      *out++ = static_cast<SpecChar>(*c++);
    }
    for (Char const* c = directive.prefix; c <= directive.conversion;) *out++ = static_cast<SpecChar>(*c++);
    *out = 0;
    return true;
  }

  // Passes it to the runtime.
  template <class Value>
  bool Pass(Directive<Char> const& directive, Value value) noexcept {
    Char spec[SPEC_ROOM];
    if (!Spell(directive, directive.flags, Numbers::PASSED, spec)) return false;
    int const width = directive.width;
    int const precision = directive.precision;
    auto const write = [&](Char* buffer, size_t size) noexcept {
      return precision < 0 ? Runtime(buffer, size, spec, width, value)
                           : Runtime(buffer, size, spec, width, precision, value);
    };
    int const length = write(nullptr, 0);
    if (length < 0) return false;
    if (room > 0) write(next, room);
    size_t const written = static_cast<size_t>(length) < room ? static_cast<size_t>(length) : room;
    total += length;
    next += written;
    room -= written;
    return true;
  }

  // An integer with more digits than the runtime can handle: the runtime formats the sign, the prefix and the
  // significant digits.
  bool PutDigits(Directive<Char> const& directive, unsigned long long value) noexcept {
    char spec[SPEC_ROOM];
    char text[2 * SAFE_DIGITS] = {};
    // The alternate octal form needs a leading zero, which the padding provides.
    unsigned const unwanted = LEFT | ZERO | (*directive.conversion == 'o' ? unsigned{ALTERNATE} : 0u);
    if (!Spell(directive, directive.flags & ~unwanted, Numbers::NONE, spec)) return false;
    int const length = Runtime(text, sizeof text - 1, spec, value);
    if (length < 0) return false;
    int lead = IsOneOf(text[0], "-+ ") ? 1 : 0;
    if (text[0] == '0' && IsOneOf(text[1], "xX")) lead = 2;

    int64_t const zeros =
        (directive.precision < 0 ? directive.width - lead : directive.precision) - (length - lead);
    int64_t const blanks = directive.width - length - (zeros > 0 ? zeros : 0);
    if (!directive.Is(LEFT)) Put(' ', blanks);
    for (int i = 0; i < lead; ++i) Put(static_cast<Char>(text[i]), 1);
    Put('0', zeros);
    for (int i = lead; i < length; ++i) Put(static_cast<Char>(text[i]), 1);
    if (directive.Is(LEFT)) Put(' ', blanks);
    return true;
  }

  Char* next;
  size_t room;
  int64_t total = 0;
  va_list arguments;
};

}  // namespace

int FormatText(wchar_t* buffer, size_t size, wchar_t const* format, va_list arguments) noexcept {
  // With only one of them, the runtime would end the process.
  if (!format || (buffer == nullptr) != (size == 0)) return -1;
  if (IsPlain(format)) {
    // Without a buffer, Wine's bounded formatter writes to its end when a conversion fails.
    return buffer ? _vswprintf_c_l(buffer, size, format, nullptr, arguments)
                  : _vsnwprintf(nullptr, 0, format, arguments);
  }
  Formatter<wchar_t> formatter(buffer, size, arguments);
  int64_t const length = formatter.Format(format);
  bool const terminated = formatter.Terminate();
  if (buffer && !terminated) buffer[size - 1] = 0;
  return (terminated || !buffer) && length <= INT_MAX ? static_cast<int>(length) : -1;
}

int FormatText(char* buffer, size_t size, char const* format, va_list arguments) noexcept {
  if ((!buffer && size > 0) || !format) return -1;
  if (IsPlain(format)) return _vsnprintf(buffer, size, format, arguments);
  Formatter<char> formatter(buffer, size, arguments);
  int64_t const length = formatter.Format(format);
  bool const whole = formatter.Terminate() || !buffer || static_cast<uint64_t>(length) == size;
  return whole && length <= INT_MAX ? static_cast<int>(length) : -1;
}

}  // namespace yk
