// Included before each test, precompiled: GoogleTest is compiled for Linux, which this program is, not for
// Windows.
#pragma once

#pragma push_macro("_WIN32")
#pragma push_macro("WIN32")
#undef _WIN32
#undef WIN32
#include <gtest/gtest.h>
#pragma pop_macro("WIN32")
#pragma pop_macro("_WIN32")
