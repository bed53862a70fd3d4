// How the example programs print, and what the library tells.
//
// They begin in wmain, whose arguments are in UTF-16: those of main have lost each character that the code
// page lacks.
#pragma once

#include <qecore/core/error.h>
#include <qecore/image/image.h>
#include <qecore/values/str.h>
#include <qecore/values/string.h>
#include <stdio.h>

// Not by "%ls", which ends the line at a character that the C locale lacks.
inline void Print(wchar_t const* text) noexcept {
  char line[2048] = "";
  yk::str::WToUTF8(text, line, sizeof line);
  puts(line);
}

/// Prints the size of the picture that was saved at `path`.
inline void PrintSize(wchar_t const* path, yk::Image2d const& picture) {
  yk::String line;
  line.printf(L"%s: %d x %d pixels", path, picture.width, picture.height);
  Print(line.c_str());
}

/// Prints why the last call failed. \return the program's exit code
inline int Refuse() {
  wchar_t why[400];
  yk::ErrorMessage(yk::LastError(), why, 400);
  return Print(why), 1;
}
