// Pictures through the Windows Imaging Component: one call to read, one to write.
//
// Each call enters COM and leaves it, in the mode that the thread has or else the multithreaded one, and
// keeps nothing: no factory, no codec, no thread state.
#pragma once

#include <qecore/core/filter.h>
#include <qecore/image/image.h>
#include <qecore/io/stream.h>
#include <wincodec.h>

namespace qewic {

/// Reads the first picture of a file of format `container` (a GUID_ContainerFormat...) that begins where the
/// stream stands. S_OK: `*image` has one reference, the caller's, and the format closest to the file's. Else
/// it is null: YK_E_BADFILE for what is damaged, cut short or another format, E_OUTOFMEMORY for what is too
/// large, and what the stream says when it fails.
HRESULT ReadPicture(GUID const& container, yk::Stream* stream, yk::AbstractImage** image) noexcept;

/// Writes a file from where the stream stands and leaves it behind its end. What the format cannot hold is
/// written as the closest that it can: fewer bits a channel, without alpha, with 256 colours. YK_E_FORMAT:
/// pixels that no file has. A stream that refuses a byte, or whose state is a failure at the end, is never
/// S_OK.
HRESULT WritePicture(GUID const& container, yk::Stream* stream, yk::Image2d& image) noexcept;

/// The same for a JPEG file of a quality from 1 to 100. A grey picture reads back as a colour one.
HRESULT WriteJpeg(yk::Stream* stream, yk::Image2d& image, unsigned quality) noexcept;

}  // namespace qewic
