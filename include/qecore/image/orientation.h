// Pictures the right way up. Cameras store pixels as their sensor delivers them, and say how to turn them.
//
//   Ref<AbstractImage> loaded = Ref<AbstractImage>::Adopt(AbstractImage::Load(L"photo.jpg"));
//   Image2d* upright = nullptr;
//   HRESULT result = img::MakeUpright(static_cast<Image2d&>(*loaded), &upright);
//
//   A B   1 as it is       2 mirrored          3 turned by half            4 top to bottom
//   C D   5 transposed     6 turned clockwise  7 along the other diagonal  8 turned anticlockwise
//
//   2 B A    3 D C    4 C D    5 A C    6 C A    7 D B    8 B D
//     D C      B A      A B      B D      D B      C A      A C
//
// Ownership: `*result` has one reference, the caller's; it is null after a failure. Failure: result codes,
// and LastError() says why. Threads: as for images.
#pragma once

#include <qecore/image/image.h>

namespace yk::img {

/// A new image with the pixels turned as EXIF's number asks, in the same format. Properties are not copied.
/// E_INVALIDARG: not 1 to 8; YK_E_EMPTY: no pixels; otherwise the result of Create.
YK_API HRESULT Orient(Image2d& image, unsigned orientation, Image2d** result) noexcept;

/// The image as it is to be shown: turned as its property INFO_ORIENTATION asks (file_info.h), with what else
/// the file said. The image itself, with one more reference, when it is upright already.
YK_API HRESULT MakeUpright(Image2d& image, Image2d** result) noexcept;

/// Copies what a file said of its picture, the properties of file_info.h, to an image that was made of it.
/// E_OUTOFMEMORY: not all.
YK_API HRESULT CopyFileInfo(AbstractImage& from, AbstractImage& to) noexcept;

}  // namespace yk::img
