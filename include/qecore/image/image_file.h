// Image files, with a reason when something fails and a way to follow and to stop.
//
//   Ref<AbstractImage> image;
//   HRESULT result = img::Load(L"photo.png", nullptr, image.Receive());
//   if (Succeeded(result)) result = img::Save(*image, L"photo.tif", ids::FILE_TIFF, 0, nullptr);
//   if (Failed(result)) ShowMessage(LastError());
//
// AbstractImage::Load and Image2d::Save do the same for hosts that only ask whether it went well. What can be
// read and written is what the registered filters read and write (filter.h).
//
// Progress is counted in bytes of the file, whatever the filter knows of it: the total is the file's size
// when it is read, and not known when it is written. When the host says stop, the result is E_ABORT; no image
// is made, and a file that was to be replaced is as it was.
//
// Ownership: `*image` has one reference, the caller's; it is null after every failure. Failure: result codes,
// and LastError() says why. Threads: one image or stream is used by one thread at a time.
#pragma once

#include <qecore/image/image.h>

namespace yk {

class Stream;

namespace img {

/// Reads the file at `path` through the filter for its type, which its first bytes tell. `*type`, when given,
/// is that type, as soon as it is known. FileStream::Create's codes for a file that cannot be opened,
/// qe_DetectFileType's for one of no known type; YK_E_NOTFOUND: no filter for it; E_NOINTERFACE: a class of
/// that identifier is registered for something else; else what the filter returns.
YK_API HRESULT Load(wchar_t const* path, ExecutionContext* context, AbstractImage** image,
                    Guid* type = nullptr) noexcept;

/// The same from a stream, whose first bytes tell the type whatever its position.
YK_API HRESULT Load(Stream* stream, ExecutionContext* context, AbstractImage** image,
                    Guid* type = nullptr) noexcept;

/// Writes the file at `path` through the filter class `type`, whatever the path's extension. The file is
/// replaced whole, or is as it was. `options` are the filter's, 0 for its defaults. SaveFile's codes for a
/// file that cannot be written; for the filter as Load.
YK_API HRESULT Save(AbstractImage& image, wchar_t const* path, Guid const& type, unsigned options,
                    ExecutionContext* context) noexcept;

}  // namespace img
}  // namespace yk
