// Text of the command line: UTF-8 outside the library, and how a failure is told.
#pragma once

#include <qecore/values/string.h>

#include <string>

namespace qetool {

/// What a command throws when it cannot go on: one line, what, where and why. main prints it and exits with
/// 1.
struct Failure {
  std::string text;
};

std::string ToUtf8(wchar_t const* text);
inline std::string ToUtf8(yk::String const& text) { return ToUtf8(text.c_str()); }
yk::String ToWide(std::string const& utf8);

/// printf into a string.
#if defined(__GNUC__) && !defined(__clang__)
__attribute__((format(gnu_printf, 1, 2)))
#endif
std::string
Format(char const* format, ...);

/// Why the library's last call failed, whose result this is: what it recorded, or what the code means.
std::string Reason(HRESULT result);

/// Prints "qetool: ..." to standard error.
void Report(std::string const& text);

/// 1234567 as "1,234,567".
std::string Grouped(unsigned long long number);

/// Case of ASCII letters aside.
bool EqualNoCase(std::string const& a, std::string const& b);

/// "{012345..}".
std::string ToText(yk::Guid const& id);

}  // namespace qetool
