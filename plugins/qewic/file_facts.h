// What files say about their pictures apart from the pixels: see image/file_info.h.
#pragma once

#include <qecore/image/file_info.h>
#include <qecore/values/map.h>

#include "tiff_directory.h"

namespace qewic {

inline constexpr double INCH = 0.0254;  // in metres

/// A text of TIFF files, and of EXIF in others.
struct TextTag {
  Tag tag;
  yk::img::FileInfoKey key;
};

inline constexpr TextTag TEXT_TAGS[] = {{Tag::DESCRIPTION, yk::img::INFO_DESCRIPTION},
                                        {Tag::CAMERA_MAKER, yk::img::INFO_CAMERA_MAKER},
                                        {Tag::CAMERA_MODEL, yk::img::INFO_CAMERA_MODEL},
                                        {Tag::SOFTWARE, yk::img::INFO_SOFTWARE},
                                        {Tag::TIME, yk::img::INFO_TIME},
                                        {Tag::AUTHOR, yk::img::INFO_AUTHOR},
                                        {Tag::COPYRIGHT, yk::img::INFO_COPYRIGHT}};

/// A text of PNG files.
struct Keyword {
  char const* text;
  yk::img::FileInfoKey key;
};

inline constexpr Keyword KEYWORDS[] = {{"Title", yk::img::INFO_TITLE},
                                       {"Author", yk::img::INFO_AUTHOR},
                                       {"Description", yk::img::INFO_DESCRIPTION},
                                       {"Copyright", yk::img::INFO_COPYRIGHT},
                                       {"Comment", yk::img::INFO_COMMENT},
                                       {"Software", yk::img::INFO_SOFTWARE},
                                       {"Creation Time", yk::img::INFO_TIME}};

// Set the values that a file has for a frame, those from INFO_ORIENTATION on, in `info`. Nothing is set for
// parts that are damaged: they are not the picture. E_OUTOFMEMORY, or S_OK.
HRESULT ReadPngFacts(StreamAdapter& file, unsigned frame, yk::Map& info) noexcept;
HRESULT ReadJpegFacts(StreamAdapter& file, unsigned frame, yk::Map& info) noexcept;
HRESULT ReadBmpFacts(StreamAdapter& file, unsigned frame, yk::Map& info) noexcept;
HRESULT ReadTiffFacts(StreamAdapter& file, unsigned frame, yk::Map& info) noexcept;

using FactsFunction = HRESULT (*)(StreamAdapter& file, unsigned frame, yk::Map& info) noexcept;

/// Sets what `read`, one of them or null, finds as properties of the image.
HRESULT ReadFacts(FactsFunction read, StreamAdapter& file, unsigned frame, yk::AbstractImage& image) noexcept;

}  // namespace qewic
