// Formatters for the plain program, which has no Microsoft C runtime: the formats used by the library itself,
// in ASCII.
#include <stdio.h>

#include <algorithm>
#include <string>

namespace {

std::string Narrowed(wchar_t const* text) {
  std::string narrow;
  for (; text && *text; ++text) narrow += static_cast<char>(*text);
  return narrow;
}

template <class Argument>
std::string Formatted(std::string const& directive, Argument argument) {
  char text[400];
  snprintf(text, sizeof text, directive.c_str(), argument);
  return text;
}

// One directive, from its `%` to its letter.
std::string FormatOne(std::string const& directive, va_list arguments) {
  bool const isLong = directive.find("ll") != directive.npos;
  switch (directive.back()) {
    case '%':
      return "%";
    case 's':
      return Narrowed(va_arg(arguments, wchar_t const*));
    case 'f':
    case 'g':
      return Formatted(directive, va_arg(arguments, double));
    default:
      return isLong ? Formatted(directive, va_arg(arguments, long long))
                    : Formatted(directive, va_arg(arguments, int));
  }
}

}  // namespace

extern "C" {

int _vsnwprintf(wchar_t* buffer, size_t count, wchar_t const* format, va_list arguments) {
  std::string const text = Narrowed(format);
  std::string result;
  va_list rest;
  va_copy(rest, arguments);
  for (size_t at = 0; at < text.size();) {
    size_t const percent = std::min(text.find('%', at), text.size());
    size_t const letter = std::min(text.find_first_not_of("-+ #.0123456789l", percent + 1), text.size() - 1);
    result.append(text, at, percent - at);
    if (percent < text.size()) result += FormatOne(text.substr(percent, letter - percent + 1), rest);
    at = percent < text.size() ? letter + 1 : percent;
  }
  va_end(rest);
  std::copy_n(result.c_str(), std::min(count, result.size() + 1), buffer);
  return result.size() <= count ? static_cast<int>(result.size()) : -1;
}

int _vswprintf_c_l(wchar_t* buffer, size_t count, wchar_t const* format, void*, va_list arguments) {
  return _vsnwprintf(buffer, count, format, arguments);
}

int _vsnprintf(char* buffer, size_t count, char const* format, va_list arguments) {
  return vsnprintf(buffer, count, format, arguments);
}

}  // extern "C"
