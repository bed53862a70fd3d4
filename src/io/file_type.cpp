#include "stream_p.h"

#include <qecore/core/ref.h>
#include <qecore/io/file_stream.h>
#include <qecore/io/file_type.h>

namespace yk {
namespace {

constexpr unsigned LOOKED_AT = 256;  // bytes read
constexpr unsigned NEEDED = 8;       // fewer tell nothing

/// The bytes that a file of a format begins with.
struct Signature {
  Guid const* format;
  unsigned length;
  char bytes[8];
};

constexpr Signature SIGNATURES[] = {
    {&ids::FILE_PNG, 8, {'\x89', 'P', 'N', 'G', '\r', '\n', '\x1A', '\n'}},
    {&ids::FILE_GIF, 4, {'G', 'I', 'F', '8'}},
    {&ids::FILE_U3D, 4, {'U', '3', 'D', '\0'}},
    {&ids::FILE_TIFF, 3, {'I', 'I', '*'}},  // either third byte stands with either byte order
    {&ids::FILE_TIFF, 3, {'I', 'I', '\0'}},
    {&ids::FILE_TIFF, 3, {'M', 'M', '*'}},
    {&ids::FILE_TIFF, 3, {'M', 'M', '\0'}},
    {&ids::FILE_BMP, 2, {'B', 'M'}},
    {&ids::FILE_JPEG, 3, {'\xFF', '\xD8', '\xFF'}},
};

/// Extensions, in any case, for files whose bytes tell nothing.
constexpr struct {
  wchar_t const* extension;
  Guid const* format;
} EXTENSIONS[] = {
    {L"bmp", &ids::FILE_BMP},  {L"gif", &ids::FILE_GIF},   {L"png", &ids::FILE_PNG},
    {L"jpg", &ids::FILE_JPEG}, {L"jpeg", &ids::FILE_JPEG}, {L"jpe", &ids::FILE_JPEG},
    {L"tif", &ids::FILE_TIFF}, {L"tiff", &ids::FILE_TIFF}, {L"TGA", &ids::FILE_TGA},
};

Guid const* BySignature(char const* bytes) noexcept {
  for (Signature const& signature : SIGNATURES) {
    if (memcmp(bytes, signature.bytes, signature.length) == 0) return signature.format;
  }
  return nullptr;
}

/// A TGA file of the second version ends in two offsets, this text, a dot and a zero.
Guid const* ByFooter(Stream& stream) noexcept {
  constexpr char TEXT[] = "TRUEVISION-XFILE";
  constexpr unsigned FOOTER = 26;
  constexpr unsigned TEXT_AT = 8;
  unsigned char footer[FOOTER];
  if (Failed(stream.Seek(-static_cast<long>(FOOTER), Stream::FROM_END))) return nullptr;
  if (ReadUpTo(stream, footer, FOOTER) < FOOTER) return nullptr;
  return memcmp(footer + TEXT_AT, TEXT, sizeof TEXT - 1) == 0 ? &ids::FILE_TGA : nullptr;
}

Guid const* ByExtension(Stream& stream) noexcept {
  Ref<FileStream> const file = Ref<Stream>::Share(&stream).Query<FileStream>();
  String name;
  if (!file || Failed(file->GetFileName(name))) return nullptr;
  String const extension = name.FileExt();
  for (auto const& row : EXTENSIONS) {
    if (extension.CompareNoCase(row.extension) == 0) return row.format;
  }
  return nullptr;
}

}  // namespace

HRESULT qe_DetectFileType(Stream* stream, Guid& type) noexcept {
  if (!stream) return E_INVALIDARG;
  Ref<Stream> const kept = Ref<Stream>::Share(stream);
  unsigned const position = stream->GetPosition();
  char bytes[LOOKED_AT];
  bool const enough = ReadUpTo(*stream, bytes, LOOKED_AT) >= NEEDED;
  Guid const* format = enough ? BySignature(bytes) : nullptr;
  if (!format && enough) format = ByFooter(*stream);
  if (!format) format = ByExtension(*stream);
  SeekTo(*stream, position);
  if (!format) return enough ? YK_E_NOTFOUND : YK_E_TOOSHORT;
  type = *format;
  return S_OK;
}

}  // namespace yk
