// How the example programs print what the library tells.
#pragma once

#include <qecore/core/error.h>
#include <qecore/values/str.h>
#include <stdio.h>

// Not by "%ls", which ends the line at a character that the C locale lacks.
inline void Print(wchar_t const* text) noexcept {
  char line[2048] = "";
  yk::str::WToUTF8(text, line, sizeof line);
  puts(line);
}

/// Prints why the last call failed. \return the program's exit code
inline int Refuse() {
  wchar_t why[400];
  yk::ErrorMessage(yk::LastError(), why, 400);
  return Print(why), 1;
}
