// Functions to read and to write a picture: with the plug-in's own decoder (reading.h), or through the
// Windows Imaging Component.
//
// Each call of the component initialises and uninitialises COM, in the thread's mode or else the
// multithreaded one, and keeps nothing: no factory, no codec, no thread state.
#pragma once

#include <qecore/core/filter.h>
#include <qecore/image/image.h>
#include <qecore/io/stream.h>
#include <wincodec.h>

#include <span>

namespace qewic {

/// Reads the first picture of a file of format `container` (a GUID_ContainerFormat...) that begins at the
/// stream's position. S_OK: `*image` has one reference, owned by the caller, and the format closest to the
/// file's. Otherwise it is null: YK_E_BADFILE for a damaged or truncated file or another format,
/// E_OUTOFMEMORY for one that is too large, or the stream's own failure.
HRESULT ReadPicture(GUID const& container, yk::Stream* stream, yk::AbstractImage** image) noexcept;

/// An option of an encoder of the Imaging Component.
struct EncoderSetting {
  wchar_t const* property;
  VARTYPE type;  ///< VT_BOOL or VT_UI1
  unsigned value;
};

/// Writes a file at the stream's position, which ends up after the file. Pixels that the format cannot hold
/// are written as the closest that it can: with fewer bits per channel, without alpha, with 256 colours.
/// YK_E_FORMAT: pixels that no file format has. Never S_OK when the stream refuses a byte or its state is a
/// failure at the end.
HRESULT WritePicture(GUID const& container, yk::Stream* stream, yk::Image2d& image,
                     std::span<EncoderSetting const> settings = {}) noexcept;

/// The same for a JPEG file with a quality from 1 to 100. A grey picture reads back as a colour one.
HRESULT WriteJpeg(yk::Stream* stream, yk::Image2d& image, unsigned quality) noexcept;

/// Describes the file at the stream's position under the keys of image/file_info.h.
HRESULT QueryPicture(GUID const& container, yk::Stream* stream, yk::Map* info) noexcept;

}  // namespace qewic
