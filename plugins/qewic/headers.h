// What the headers of files say: the decoders of platforms may decode all before they tell it.
#pragma once

#include "reading.h"

namespace qewic {

struct Header {
  Claim claim;
  /// What the picture is read as. IMG_NONE: the decoder or the pixels decide.
  yk::IMG_FORMAT format = yk::IMG_NONE;
  uint32_t frames = 1;
};

// Describe the first picture by its header: see Codec::describe.
HRESULT DescribePng(StreamAdapter& file, Header& header) noexcept;
HRESULT DescribeJpeg(StreamAdapter& file, Header& header) noexcept;
HRESULT DescribeBmp(StreamAdapter& file, Header& header) noexcept;
HRESULT DescribeGif(StreamAdapter& file, Header& header) noexcept;
HRESULT DescribeTiff(StreamAdapter& file, Header& header) noexcept;

}  // namespace qewic
