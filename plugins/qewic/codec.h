// The file formats of the plug-in, one row of a table for each, and the functions to read, describe and write
// their pictures: with the plug-in's own code (reading.h), or through the Windows Imaging Component.
//
// Each call of the component initialises and uninitialises COM, in the thread's mode or else the
// multithreaded one, and keeps nothing: no factory, no codec, no thread state.
#pragma once

#include <qecore/core/filter.h>
#include <qecore/image/image.h>
#include <qecore/io/stream.h>
#include <wincodec.h>

#include <span>

#include "headers.h"
#include "options.h"
#include "write_facts.h"

namespace qewic {

/// What the plug-in adds to a format that the library knows.
struct Codec {
  yk::Guid id;            ///< of its row in io/file_formats.h
  GUID const* container;  ///< the Imaging Component's identifier
  char const* className;
  std::span<Option const> options;
  /// Reads frame `frame`, from 0, of a file that begins at position 0. S_FALSE: the file is sound so far, and
  /// the platform's decoder has to read it.
  HRESULT (*read)(StreamAdapter& file, unsigned frame, yk::Ref<yk::Image2d>& image) noexcept;
  /// The same, decoding all frames before it, too. Null: there is one frame at most.
  HRESULT (*readEvery)(StreamAdapter& file, unsigned frame, yk::Ref<yk::Image2d>& image) noexcept;
  /// Describes the first frame. S_FALSE: the platform's decoder has to.
  HRESULT (*describe)(StreamAdapter& file, Header& header) noexcept;
  /// What the file says of a frame apart from the pixels (file_facts.h). Null: nothing.
  HRESULT (*readFacts)(StreamAdapter& file, unsigned frame, yk::Map& info) noexcept;
  /// Writes a file at the stream's position, where it ends up after the file, with what the image says of
  /// itself. Never S_OK when the stream refuses a byte. `options` may be null. Null: the platform's encoder
  /// is used.
  HRESULT (*write)(yk::Stream& stream, yk::Image2d& image, yk::Map* options) noexcept = nullptr;
  /// Adds what the image says of itself to a file that the platform wrote (write_facts.h). Null: it cannot
  /// hold any.
  void (*writeFacts)(FactsJob& job) noexcept = nullptr;
};

/// All formats.
std::span<Codec const> Codecs() noexcept;

/// The row of a format, or null.
Codec const* FindCodec(yk::Guid const& id) noexcept;

/// Which frames are decoded: the one that is read, or those before it as well.
enum class Decoded { ONE, EVERY };

/// Reads frame `frame`, from 0, of a file that begins at the stream's position. S_OK: `*image` has one
/// reference, owned by the caller, and the format closest to the file's. Otherwise it is null: YK_E_BADFILE
/// for a damaged or truncated file or another format, E_OUTOFMEMORY for one that is too large, E_INVALIDARG
/// for a frame that the file does not have, or the stream's own failure. With EVERY, YK_E_BADFILE also for
/// damage to a frame before it.
HRESULT ReadPicture(Codec const& codec, yk::Stream* stream, unsigned frame, yk::AbstractImage** image,
                    Decoded decoded = Decoded::ONE) noexcept;

/// Reads a frame by the platform's decoder for the container.
HRESULT ReadWithPlatform(GUID const& container, StreamAdapter& file, unsigned frame,
                         yk::Ref<yk::Image2d>& image) noexcept;

/// Writes a file by the platform's encoder, at the stream's position, which ends up after the file. Pixels
/// that the format cannot hold are written as the closest that it can: with fewer bits per channel, without
/// alpha, with 256 colours.
/// YK_E_FORMAT: pixels that no file format has. Never S_OK when the stream refuses a byte or its state is a
/// failure at the end.
HRESULT WritePicture(Codec const& codec, yk::Stream* stream, yk::Image2d& image) noexcept;

// The plug-in's own encoders: see Codec::write.
HRESULT WritePng(yk::Stream& stream, yk::Image2d& image, yk::Map* options) noexcept;
HRESULT WriteTiff(yk::Stream& stream, yk::Image2d& image, yk::Map* options) noexcept;

/// The same for a JPEG file with a quality from 1 to 100. A grey picture reads back as a colour one.
HRESULT WriteJpeg(yk::Stream* stream, yk::Image2d& image, unsigned quality) noexcept;

/// Describes the file at the stream's position under the keys of image/file_info.h.
HRESULT QueryPicture(Codec const& codec, yk::Stream* stream, yk::Map* info) noexcept;

}  // namespace qewic
