// What files say about their pictures apart from the pixels: see image/file_info.h.
#pragma once

#include <qecore/values/map.h>
#include <wincodec.h>

#include "reading.h"

namespace qewic {

/// Sets the values that the file has, those from INFO_ORIENTATION on, in `info`. Nothing is set for parts
/// that are damaged: they are not the picture. E_OUTOFMEMORY, or S_OK.
HRESULT ReadFacts(GUID const& container, StreamAdapter& file, yk::Map& info) noexcept;

/// The same as properties of the image that was read.
HRESULT ReadFacts(GUID const& container, StreamAdapter& file, yk::AbstractImage& image) noexcept;

}  // namespace qewic
