// What is said of pictures that could not be read or written.
#pragma once

#include <qecore/core/error.h>

namespace qewic {

inline constexpr char READ[] = "qewic::Read";
inline constexpr char WRITE[] = "qewic::Write";

/// Records what a step of the Imaging Component failed with, in words, unless somebody has recorded since
/// ErrorCount() was `before` why that happened. \return `result`
HRESULT Report(unsigned before, char const* operation, HRESULT result, HRESULT ofCodec) noexcept;

}  // namespace qewic
