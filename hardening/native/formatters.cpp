// The Microsoft C runtime's formatters, Wine's own, called from Linux code: variable arguments are passed
// differently, so they are repacked into the array of 8-byte slots that Microsoft's functions read.
#include <windows.h>

#include <stdio.h>

#include "harness.h"

namespace {

constexpr size_t MOST_ARGUMENTS = 64;

uint64_t forced = 0;  // the value of every argument; 0: those that were passed

struct Slots {
  uint64_t values[MOST_ARGUMENTS] = {};
  size_t count = 0;

  void Add(uint64_t value) {
    if (count < MOST_ARGUMENTS) values[count++] = value;
  }
};

constexpr bool IsIn(char const* set, unsigned c) { return c && c < 128 && strchr(set, static_cast<char>(c)); }

// One directive of a format, after its `%`.
template <class Character>
class Directive {
 public:
  explicit Directive(Character const* text) : at(text) {}

  // Flags, width, precision and size. `*` takes an argument.
  void SkipPrefix(Slots& slots, va_list arguments) {
    for (; IsIn("-+ #.*0123456789hlLwIjzt", Here()); ++at) {
      if (*at == '*') slots.Add(static_cast<uint64_t>(va_arg(arguments, int)));
      if (IsIn("jzt", Here()) || (*at == 'l' && at[1] == 'l')) eightBytes = true;
      if (*at == 'I') TakeMicrosoftSize();
    }
  }

  void Take(Slots& slots, va_list arguments) const {
    if (IsIn("diuoxXcC", Here())) {
      slots.Add(eightBytes ? va_arg(arguments, uint64_t) : static_cast<uint64_t>(va_arg(arguments, int)));
    } else if (IsIn("sSpnZ", Here())) {
      slots.Add(reinterpret_cast<uint64_t>(va_arg(arguments, void*)));
    } else if (IsIn("eEfFgGaA", Here())) {
      double const number = va_arg(arguments, double);
      uint64_t bits;
      memcpy(&bits, &number, sizeof bits);
      slots.Add(bits);
    }
  }

  // Where the search for the next directive continues.
  Character const* End() const { return *at ? at + 1 : at; }

 private:
  unsigned Here() const { return static_cast<unsigned>(*at); }

  // I64, I32, or I: the size of a pointer.
  void TakeMicrosoftSize() {
    bool const numbered = (at[1] == '6' && at[2] == '4') || (at[1] == '3' && at[2] == '2');
    eightBytes = at[1] != '3';
    if (numbered) at += 2;
  }

  Character const* at;
  bool eightBytes = false;
};

template <class Character>
Slots Pack(Character const* format, va_list arguments) {
  Slots slots;
  va_list rest;
  va_copy(rest, arguments);
  while (!forced && *format) {
    if (*format++ != '%') continue;
    Directive<Character> directive(format);
    directive.SkipPrefix(slots, rest);
    directive.Take(slots, rest);
    format = directive.End();
  }
  va_end(rest);
  if (forced) {
    for (uint64_t& value : slots.values) value = forced;
  }
  return slots;
}

// Wine's formatter is not instrumented: access both ends of the buffer here, where the sanitizer checks.
template <class Character>
void TouchEnds(Character* buffer, size_t count) {
  if (!buffer || count == 0) return;
  for (Character volatile* const end : {buffer, buffer + count - 1}) *end = *end;
}

template <class Function>
Function Find(char const* name) {
  HMODULE const runtime = LoadLibraryA("msvcrt.dll");
  return reinterpret_cast<Function>(GetProcAddress(runtime, name));
}

}  // namespace

void harness::ForceFormatArguments(uint64_t value) noexcept { forced = value; }

extern "C" {

int _vsnwprintf(wchar_t* buffer, size_t count, wchar_t const* format, va_list arguments) {
  static auto const runtime = Find<int(WINAPI*)(wchar_t*, size_t, wchar_t const*, void*)>("_vsnwprintf");
  Slots slots = Pack(format, arguments);
  TouchEnds(buffer, count);
  return runtime(buffer, count, format, slots.values);
}

int _vsnprintf(char* buffer, size_t count, char const* format, va_list arguments) {
  static auto const runtime = Find<int(WINAPI*)(char*, size_t, char const*, void*)>("_vsnprintf");
  Slots slots = Pack(format, arguments);
  TouchEnds(buffer, count);
  return runtime(buffer, count, format, slots.values);
}

int _vswprintf_c_l(wchar_t* buffer, size_t count, wchar_t const* format, void* locale, va_list arguments) {
  static auto const runtime =
      Find<int(WINAPI*)(wchar_t*, size_t, wchar_t const*, void*, void*)>("_vswprintf_c_l");
  Slots slots = Pack(format, arguments);
  TouchEnds(buffer, count);
  return runtime(buffer, count, format, locale, slots.values);
}

// The formats that the library parses mean the same on Linux.
int _snscanf(char const* text, size_t count, char const* format, ...) {
  std::string const bounded(text, strnlen(text, count));
  va_list arguments;
  va_start(arguments, format);
  int const found = vsscanf(bounded.c_str(), format, arguments);
  va_end(arguments);
  return found;
}

}  // extern "C"
