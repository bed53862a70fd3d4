#include <qecore/io/file_type.h>

#include <qecore/core/ref.h>
#include <qecore/io/file_formats.h>
#include <qecore/io/file_stream.h>

#include "core/error_p.h"
#include "file_type_p.h"
#include "stream_p.h"

namespace yk {
namespace {

constexpr unsigned LOOKED_AT = 256;  // bytes read
constexpr unsigned NEEDED = 8;       // fewer are not enough
static_assert(NEEDED >= sizeof FileSignature::bytes);

Guid const* BySignature(char const* bytes) noexcept {
  for (FileFormat const& format : FILE_FORMATS) {
    if (HasSignature(format, bytes)) return &format.id;
  }
  return nullptr;
}

/// A TGA file of the second version ends in two offsets, this text, a dot and a zero.
Guid const* ByFooter(Stream& stream, HRESULT& read) noexcept {
  constexpr char TEXT[] = "TRUEVISION-XFILE";
  constexpr unsigned FOOTER = 26;
  constexpr unsigned TEXT_AT = 8;
  unsigned char footer[FOOTER];
  Attempt const attempt;  // a file may well be shorter
  if (Failed(stream.Seek(-static_cast<long>(FOOTER), Stream::FROM_END))) return nullptr;
  if (ReadUpTo(stream, footer, FOOTER, &read) < FOOTER) return nullptr;
  return memcmp(footer + TEXT_AT, TEXT, sizeof TEXT - 1) == 0 ? &ids::FILE_TGA : nullptr;
}

/// The name of a file stream; otherwise empty.
String NameOf(Stream& stream) noexcept {
  Attempt const attempt;
  Ref<FileStream> const file = Ref<Stream>::Share(&stream).Query<FileStream>();
  String name;
  if (file) file->GetFileName(name);
  return name;
}

/// For files without a known signature; not case-sensitive.
Guid const* ByExtension(String const& name) noexcept {
  String const extension = name.FileExt();
  for (FileFormat const& format : FILE_FORMATS) {
    for (FileExtension const& known : format.extensions) {
      if (known.text && extension.CompareNoCase(known.text) == 0) return &format.id;
    }
  }
  return nullptr;
}

HRESULT FailUnknown(HRESULT result, String const& name) noexcept {
  wchar_t const* const why =
      result == YK_E_TOOSHORT ? L"too short to determine its type" : L"not a file of a known type";
  return Fail(result, "qe_DetectFileType", name.IsEmpty() ? L"%s%s" : L"%s: %s", name.c_str(), why);
}

}  // namespace

// Contract: a memory stream fails to read at its very end.
HRESULT DetectFileType(Stream& stream, Guid& type, HRESULT& read) noexcept {
  unsigned const position = stream.GetPosition();
  char bytes[LOOKED_AT];
  bool const enough = ReadUpTo(stream, bytes, LOOKED_AT, &read) >= NEEDED;
  if (enough || position == stream.GetSize()) read = S_OK;
  Guid const* format = enough ? BySignature(bytes) : nullptr;
  if (!format && enough) format = ByFooter(stream, read);
  if (!format) format = ByExtension(NameOf(stream));
  SeekTo(stream, position);
  if (!format) return enough ? YK_E_NOTFOUND : YK_E_TOOSHORT;
  type = *format;
  return S_OK;
}

HRESULT qe_DetectFileType(Stream* stream, Guid& type) noexcept {
  if (!stream) return FailNull("qe_DetectFileType", L"stream");
  Ref<Stream> const kept = Ref<Stream>::Share(stream);
  HRESULT read = S_OK;
  HRESULT const result = DetectFileType(*stream, type, read);
  return Succeeded(result) ? result : FailUnknown(result, NameOf(*stream));
}

}  // namespace yk
