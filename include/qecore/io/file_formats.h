// The picture formats that the library distinguishes: one row holds all fixed properties of each.
//
//   FileFormat const* format = FindFileFormat(type);           // the result of qe_DetectFileType
//   if (format) puts(format->shortName);                       // "PNG"
//
// To find out what can be read and written, a host asks the filters (filter.h): there may be filters for
// other formats, and none for some of these.
//
// Everything here is a constant: any thread, no failure.
#pragma once

#include <qecore/core/ids.h>

namespace yk {

/// A file name extension, in lower case and without the dot.
struct FileExtension {
  wchar_t const* text = nullptr;  ///< L"png"
  bool isSaved = false;           ///< Image2d::Save uses this format for the extension
};

/// The leading bytes of a file.
struct FileSignature {
  unsigned length = 0;  ///< of `bytes`; 0 for none
  char bytes[8] = {};   ///< what the file begins with
};

/// One format. Unused elements of the lists come last and are empty.
struct FileFormat {
  Guid id;                           ///< such as ids::FILE_PNG; also the class identifier of its filter
  char const* shortName;             ///< "PNG"
  wchar_t const* name;               ///< for display: L"Portable Network Graphics"
  bool hasQuality;                   ///< written with a quality of 1 to 100, since its compression is lossy
  FileExtension extensions[4] = {};  ///< the usual one first
  FileSignature signatures[4] = {};  ///< a file has one of them; tried in the order of the table
};

// clang-format off
/// Every format, in the order in which their signatures are tried.
inline constexpr FileFormat FILE_FORMATS[] = {
    {ids::FILE_PNG, "PNG", L"Portable Network Graphics", false,
     {{L"png", true}},
     {{8, {'\x89', 'P', 'N', 'G', '\r', '\n', '\x1A', '\n'}}}},
    {ids::FILE_GIF, "GIF", L"Graphics Interchange Format", false,
     {{L"gif"}},
     {{4, {'G', 'I', 'F', '8'}}}},
    {ids::FILE_U3D, "U3D", L"Universal 3D", false,
     {},  // recognised only by signature
     {{4, {'U', '3', 'D', '\0'}}}},
    {ids::FILE_TIFF, "TIFF", L"Tagged Image File Format", false,  // either third byte with either byte order
     {{L"tif"}, {L"tiff"}},
     {{3, {'I', 'I', '*'}}, {3, {'I', 'I', '\0'}}, {3, {'M', 'M', '*'}}, {3, {'M', 'M', '\0'}}}},
    {ids::FILE_BMP, "BMP", L"Windows bitmap", false,
     {{L"bmp"}},
     {{2, {'B', 'M'}}}},
    {ids::FILE_JPEG, "JPEG", L"JPEG photograph", true,
     {{L"jpg", true}, {L"jpeg", true}, {L"jpe"}},
     {{3, {'\xFF', '\xD8', '\xFF'}}}},
    {ids::FILE_TGA, "TGA", L"Truevision TGA", false,
     {{L"tga"}},
     {}},  // recognised by a footer, which not all of its files have
};
// clang-format on

/// The row of a format; null for one that only a plug-in knows.
inline FileFormat const* FindFileFormat(Guid const& id) noexcept {
  for (FileFormat const& format : FILE_FORMATS) {
    if (format.id == id) return &format;
  }
  return nullptr;
}

/// Whether a file that begins with `bytes` has a signature of the format. There are at least as many bytes as
/// FileSignature has.
inline bool HasSignature(FileFormat const& format, char const* bytes) noexcept {
  for (FileSignature const& signature : format.signatures) {
    unsigned same = 0;
    while (same < signature.length && bytes[same] == signature.bytes[same]) ++same;
    if (signature.length && same == signature.length) return true;
  }
  return false;
}

}  // namespace yk
