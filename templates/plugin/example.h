// What hosts know of the plug-in.
#pragma once

#include <qecore/core/guid.h>

/// The filter's class: made for this plug-in, and no other's.
inline constexpr yk::Guid EXAMPLE_ID = {
    0xE4A3B0C1, 0x5D72, 0x4F18, {0x9A, 0x36, 0x07, 0xC5, 0x8E, 0x21, 0xD4, 0x6B}};
