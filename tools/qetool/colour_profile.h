// ICC colour profiles.
#pragma once

#include <span>
#include <string>

namespace qetool {

/// The name of a profile, "sRGB IEC61966-2.1"; empty if it has none. The bytes are not trusted.
std::string ProfileName(std::span<unsigned char const> profile);

}  // namespace qetool
