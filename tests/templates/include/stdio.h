// What the templates use of the C runtime, whose headers for this ABI are Microsoft's.
#pragma once

extern "C" __declspec(dllimport) int printf(char const* format, ...);
extern "C" __declspec(dllimport) int puts(char const* line);
