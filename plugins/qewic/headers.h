// What the headers of PNG, JPEG and GIF files say: the decoders of platforms may decode all before they tell
// it.
#pragma once

#include "reading.h"

namespace qewic {

struct Header {
  Claim claim;
  /// What the picture is read as. IMG_NONE: the decoder chooses, or there is a palette.
  yk::IMG_FORMAT format = yk::IMG_NONE;
};

/// False: the header cannot be read, and is left to the decoder.
bool ReadPngHeader(StreamAdapter& file, Header& header) noexcept;
bool ReadJpegHeader(StreamAdapter& file, Header& header) noexcept;
/// In read_gif.cpp, since a frame may enlarge the picture.
bool ReadGifHeader(StreamAdapter& file, Header& header) noexcept;

}  // namespace qewic
