// The picture formats that the library tells apart: one row says all that is fixed about each.
//
//   FileFormat const* format = FindFileFormat(type);           // what qe_DetectFileType found
//   if (format) puts(format->shortName);                       // "PNG"
//
// A host asks the filters what they read and write (filter.h): there may be others, and none for some of
// these.
//
// Everything here is a constant: any thread, no failure.
#pragma once

#include <qecore/core/ids.h>

namespace yk {

/// A file name's last part, in lower case and without the dot.
struct FileExtension {
  wchar_t const* text = nullptr;
  bool isSaved = false;  ///< Image2d::Save takes the format from this one
};

/// What a file begins with.
struct FileSignature {
  unsigned length = 0;
  char bytes[8] = {};
};

/// One format. Places of the lists that are not used come last and are empty.
struct FileFormat {
  Guid id;                           ///< ids::FILE_PNG ...; the class of its filter has it, too
  char const* shortName;             ///< "PNG"
  wchar_t const* name;               ///< to show: L"Portable Network Graphics"
  FileExtension extensions[4] = {};  ///< the usual one first
  FileSignature signatures[4] = {};  ///< of any of its files; looked for in the order of the table
};

// clang-format off
inline constexpr FileFormat FILE_FORMATS[] = {
    {ids::FILE_PNG, "PNG", L"Portable Network Graphics",
     {{L"png", true}},
     {{8, {'\x89', 'P', 'N', 'G', '\r', '\n', '\x1A', '\n'}}}},
    {ids::FILE_GIF, "GIF", L"Graphics Interchange Format",
     {{L"gif"}},
     {{4, {'G', 'I', 'F', '8'}}}},
    {ids::FILE_U3D, "U3D", L"Universal 3D",
     {},  // its files are known by their bytes alone
     {{4, {'U', '3', 'D', '\0'}}}},
    {ids::FILE_TIFF, "TIFF", L"Tagged Image File Format",  // either third byte with either byte order
     {{L"tif"}, {L"tiff"}},
     {{3, {'I', 'I', '*'}}, {3, {'I', 'I', '\0'}}, {3, {'M', 'M', '*'}}, {3, {'M', 'M', '\0'}}}},
    {ids::FILE_BMP, "BMP", L"Windows bitmap",
     {{L"bmp"}},
     {{2, {'B', 'M'}}}},
    {ids::FILE_JPEG, "JPEG", L"JPEG photograph",
     {{L"jpg", true}, {L"jpeg", true}, {L"jpe"}},
     {{3, {'\xFF', '\xD8', '\xFF'}}}},
    {ids::FILE_TGA, "TGA", L"Truevision TGA",
     {{L"tga"}},
     {}},  // some of its files have a footer instead
};
// clang-format on

/// The row of a format; null for one that only a plug-in knows.
inline FileFormat const* FindFileFormat(Guid const& id) noexcept {
  for (FileFormat const& format : FILE_FORMATS) {
    if (format.id == id) return &format;
  }
  return nullptr;
}

}  // namespace yk
