// Loading and saving image files, with the reason of a failure, progress, and a way to stop.
//
//   Ref<AbstractImage> image;
//   HRESULT result = img::Load(L"photo.png", nullptr, image.Receive());
//   if (Succeeded(result)) result = img::Save(*image, L"photo.tif", ids::FILE_TIFF, 0, nullptr);
//   if (Failed(result)) ShowMessage(LastError());
//
// AbstractImage::Load and Image2d::Save do the same for hosts that only need success or failure. The
// registered filters (filter.h) determine which files can be read and written.
//
// Progress is counted in bytes of the file, without the filter's participation: the total is the file's size
// when it is read, and unknown when it is written. When the host stops it, the result is E_ABORT; no image is
// created, and a file that was to be replaced is unchanged.
//
// Ownership: `*image` has one reference, the caller's; it is null after every failure. Failure: result codes;
// LastError() gives the reason. Threads: one image or stream is used by one thread at a time.
#pragma once

#include <qecore/image/image.h>

namespace yk {

class Stream;

namespace img {

/// Reads the file at `path` through the filter for its type, which its first bytes determine. `*type`, if not
/// null, receives that type as soon as it is known. FileStream::Create's codes for a file that cannot be
/// opened, qe_DetectFileType's for one of unknown type; YK_E_NOTFOUND: there is no filter for it;
/// E_NOINTERFACE: the class with that identifier is not an image filter; otherwise the filter's result.
YK_API HRESULT Load(wchar_t const* path, ExecutionContext* context, AbstractImage** image,
                    Guid* type = nullptr) noexcept;

/// The same from a stream, for a file that begins at its position; the bytes there determine the type.
YK_API HRESULT Load(Stream* stream, ExecutionContext* context, AbstractImage** image,
                    Guid* type = nullptr) noexcept;

/// Writes the file at `path` through the filter class `type`; the path's extension does not matter. The
/// file is replaced completely or not at all. `options` are the filter's, 0 for its defaults. SaveFile's
/// codes for a file that cannot be written; those of Load for the filter.
YK_API HRESULT Save(AbstractImage& image, wchar_t const* path, Guid const& type, unsigned options,
                    ExecutionContext* context) noexcept;

}  // namespace img
}  // namespace yk
