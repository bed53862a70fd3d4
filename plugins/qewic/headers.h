// What the headers of PNG, JPEG and GIF files say: the decoders of platforms may decode all before they tell
// it.
#pragma once

#include "reading.h"

namespace qewic {

struct Header {
  Claim claim;
  /// What the picture is read as. IMG_NONE: the decoder chooses.
  yk::IMG_FORMAT format = yk::IMG_NONE;
};

// Describe a picture by its header. S_FALSE: the platform's decoder has to add what is not there.
HRESULT DescribePng(StreamAdapter& file, Header& header) noexcept;
HRESULT DescribeJpeg(StreamAdapter& file, Header& header) noexcept;
HRESULT DescribeGif(StreamAdapter& file, Header& header) noexcept;  // in read_gif.cpp

}  // namespace qewic
