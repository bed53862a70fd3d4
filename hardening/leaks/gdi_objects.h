// Counts the GDI objects of this process, so that a test can detect a leak.
#pragma once

#include <windows.h>

/// Uses GetGuiResources where it is implemented; where it is a stub, counts the used entries of the table
/// that the process block points to.
inline int CountGdiObjects() {
  if (DWORD const counted = GetGuiResources(GetCurrentProcess(), GR_GDIOBJECTS))
    return static_cast<int>(counted);
  constexpr int ENTRY_SIZE = 24, ENTRY_COUNT = 0x4000, TYPE_OFFSET = 14, TABLE_OFFSET = 0xF8;
  unsigned char* processBlock;
  asm("movq %%gs:0x60, %0" : "=r"(processBlock));
  unsigned char const* const table = *reinterpret_cast<unsigned char**>(processBlock + TABLE_OFFSET);
  int count = 0;
  for (int i = 0; i < ENTRY_COUNT; ++i) count += table[i * ENTRY_SIZE + TYPE_OFFSET] != 0;
  return count;
}
