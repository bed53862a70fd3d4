#pragma once

#include <stddef.h>

extern "C" int memcmp(void const* a, void const* b, size_t count);
