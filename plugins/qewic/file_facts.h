// What files say about their pictures apart from the pixels: see image/file_info.h.
#pragma once

#include <qecore/values/map.h>

#include "reading.h"

namespace qewic {

// Set the values that a file has, those from INFO_ORIENTATION on, in `info`. Nothing is set for parts that are
// damaged: they are not the picture. E_OUTOFMEMORY, or S_OK.
HRESULT ReadPngFacts(StreamAdapter& file, yk::Map& info) noexcept;
HRESULT ReadJpegFacts(StreamAdapter& file, yk::Map& info) noexcept;
HRESULT ReadBmpFacts(StreamAdapter& file, yk::Map& info) noexcept;
HRESULT ReadTiffFacts(StreamAdapter& file, yk::Map& info) noexcept;

/// Sets what `read`, one of them or null, finds as properties of the image.
HRESULT ReadFacts(HRESULT (*read)(StreamAdapter& file, yk::Map& info) noexcept, StreamAdapter& file,
                  yk::AbstractImage& image) noexcept;

}  // namespace qewic
