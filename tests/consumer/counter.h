// Shared by the plug-in and its host: an identifier and a property number.
#pragma once

#include <qecore/core/guid.h>

inline constexpr yk::Guid COUNTER_ID = {
    0x5A3C8F10, 0x91D4, 0x4E2B, {0xB7, 0x06, 0x2E, 0x6F, 0x90, 0x1D, 0x43, 0xC8}};
inline constexpr unsigned COUNTER_NEXT = 1;  ///< an int that is incremented by each read
