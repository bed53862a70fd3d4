// What a picture file says about its picture: the keys of the Map that img::QueryInfo and
// ykFlt::QueryFileInfo fill, and of the properties that a read picture carries.
//
//   Ref<Map> info = Ref<Map>::Adopt(Map::Create());
//   if (Succeeded(img::QueryInfo(L"photo.jpg", info.get()))) {        // image_file.h
//     Variant value;
//     unsigned width = 0;
//     if (Succeeded(info->GetValue(img::INFO_WIDTH, value))) value.Get(width);
//   }
//
// A value that the file does not have is not set. Everything is described as it is in the file: the size
// before the orientation is applied, the bits before the pixels are converted. A filter that reads a picture
// may set those from INFO_ORIENTATION on as properties of the image (AbstractImage::SetValue), and writes
// those that it finds there; the keys are far from those that hosts use for properties of their own.
//
// Everything here is constant.
#pragma once

#include <qecore/values/variant.h>

namespace yk::img {

/// The keys. The type of each value is in FILE_INFO.
enum FileInfoKey : unsigned {
  INFO_BASE = 0x51460000,
  INFO_WIDTH = INFO_BASE + 1,           ///< pixels in a row
  INFO_HEIGHT = INFO_BASE + 2,          ///< rows
  INFO_FRAMES = INFO_BASE + 3,          ///< pictures in the file; the other values describe the first
  INFO_BITS = INFO_BASE + 4,            ///< bits of one pixel
  INFO_PIXEL_FORMAT = INFO_BASE + 5,    ///< the IMG_FORMAT that the picture is read as
  INFO_ORIENTATION = INFO_BASE + 16,    ///< 1 to 8, as in EXIF: 1 is upright, 6 to be turned clockwise
  INFO_RESOLUTION_X = INFO_BASE + 17,   ///< pixels per inch
  INFO_RESOLUTION_Y = INFO_BASE + 18,   ///< pixels per inch
  INFO_COLOR_PROFILE = INFO_BASE + 19,  ///< an ICC profile
  INFO_TITLE = INFO_BASE + 32,          ///< texts, from here on
  INFO_AUTHOR = INFO_BASE + 33,
  INFO_DESCRIPTION = INFO_BASE + 34,
  INFO_COPYRIGHT = INFO_BASE + 35,
  INFO_COMMENT = INFO_BASE + 36,
  INFO_SOFTWARE = INFO_BASE + 37,
  INFO_TIME = INFO_BASE + 38,  ///< when it was taken, "2024:05:31 12:00:00"
  INFO_CAMERA_MAKER = INFO_BASE + 39,
  INFO_CAMERA_MODEL = INFO_BASE + 40,
};

/// The constant facts of a key.
struct FileInfoFacts {
  FileInfoKey key;      ///< in the Map
  Variant::Type type;   ///< of the value
  wchar_t const* name;  ///< for display and for machines: lower-case letters and hyphens
};

/// One row for each key, in a good order for display.
inline constexpr FileInfoFacts FILE_INFO[] = {
    {INFO_WIDTH, Variant::UINT32, L"width"},
    {INFO_HEIGHT, Variant::UINT32, L"height"},
    {INFO_FRAMES, Variant::UINT32, L"frames"},
    {INFO_BITS, Variant::UINT32, L"bits"},
    {INFO_PIXEL_FORMAT, Variant::UINT32, L"pixel-format"},
    {INFO_ORIENTATION, Variant::UINT32, L"orientation"},
    {INFO_RESOLUTION_X, Variant::DOUBLE, L"resolution-x"},
    {INFO_RESOLUTION_Y, Variant::DOUBLE, L"resolution-y"},
    {INFO_COLOR_PROFILE, Variant::BLOB, L"color-profile"},
    {INFO_TITLE, Variant::WIDE_STRING, L"title"},
    {INFO_AUTHOR, Variant::WIDE_STRING, L"author"},
    {INFO_DESCRIPTION, Variant::WIDE_STRING, L"description"},
    {INFO_COPYRIGHT, Variant::WIDE_STRING, L"copyright"},
    {INFO_COMMENT, Variant::WIDE_STRING, L"comment"},
    {INFO_SOFTWARE, Variant::WIDE_STRING, L"software"},
    {INFO_TIME, Variant::WIDE_STRING, L"time"},
    {INFO_CAMERA_MAKER, Variant::WIDE_STRING, L"camera-maker"},
    {INFO_CAMERA_MODEL, Variant::WIDE_STRING, L"camera-model"},
};

}  // namespace yk::img
