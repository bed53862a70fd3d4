// Text of the command line: conversion to and from UTF-8, formatting, and messages.
#pragma once

#include <qecore/values/string.h>

#include <string>

namespace qetool {

/// Thrown by a command that cannot continue: one line that says what failed, where and why. main prints it
/// and exits with 1.
struct Failure {
  std::string text;
};

std::string ToUtf8(wchar_t const* text);
inline std::string ToUtf8(yk::String const& text) { return ToUtf8(text.c_str()); }
yk::String ToWide(std::string const& utf8);

/// printf to a string.
#if defined(__GNUC__) && !defined(__clang__)
__attribute__((format(gnu_printf, 1, 2)))
#endif
std::string
Format(char const* format, ...);

/// Why the library's last call failed with this result: the text that it recorded, or that of the code.
std::string Reason(HRESULT result);

/// Why the library's last call failed, for one that returns a pointer.
std::string LastReason();

/// Prints "qetool: ..." to standard error.
void Report(std::string const& text);

/// 1234567 as "1,234,567".
std::string Grouped(unsigned long long number);

/// Compares, ignoring the case of ASCII letters.
bool EqualNoCase(std::string const& a, std::string const& b);

/// "{012345..}".
std::string ToText(yk::Guid const& id);

}  // namespace qetool
