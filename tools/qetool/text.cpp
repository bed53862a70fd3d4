#include "text.h"

#include <qecore/core/error.h>
#include <stdarg.h>
#include <stdio.h>
#include <windows.h>

#include <algorithm>
#include <iterator>

namespace qetool {

std::string ToUtf8(wchar_t const* text) {
  int const size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
  std::string utf8(size > 0 ? size : 1, '\0');
  WideCharToMultiByte(CP_UTF8, 0, text, -1, utf8.data(), size, nullptr, nullptr);
  utf8.pop_back();  // the terminator
  return utf8;
}

yk::String ToWide(std::string const& utf8) {
  int const size = MultiByteToWideChar(CP_UTF8, 0, utf8.c_str(), -1, nullptr, 0);
  std::wstring text(size > 0 ? size : 1, L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8.c_str(), -1, text.data(), size);
  return yk::String(text.c_str());
}

std::string Format(char const* format, ...) {
  va_list arguments, again;
  va_start(arguments, format);
  va_copy(again, arguments);
  int const length = vsnprintf(nullptr, 0, format, arguments);
  std::string text(length > 0 ? length : 0, '\0');
  vsnprintf(text.data(), text.size() + 1, format, again);
  va_end(again);
  va_end(arguments);
  return text;
}

std::string Reason(HRESULT result) {
  yk::Error const* const error = yk::LastError();
  return error && error->code == result ? LastReason() : yk::ErrorText(result);
}

std::string LastReason() {
  wchar_t message[1024];
  yk::ErrorMessage(yk::LastError(), message, std::size(message));
  return ToUtf8(message);
}

void Report(std::string const& text) {
  fflush(stdout);  // keeps the order of both outputs
  fprintf(stderr, "qetool: %s\n", text.c_str());
}

std::string Grouped(unsigned long long number) {
  std::string text = std::to_string(number);
  for (size_t at = text.size(); at > 3;) text.insert(at -= 3, 1, ',');
  return text;
}

bool EqualNoCase(std::string const& a, std::string const& b) {
  auto const lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [&](char x, char y) { return lower(x) == lower(y); });
}

std::string ToText(yk::Guid const& id) {
  char text[yk::Guid::TEXT_SIZE];
  id.toString(text);
  return text;
}

}  // namespace qetool
