// Shared by the readers of files: what a header may claim, the image for it, and why a file is refused.
#pragma once

#include <qecore/image/image.h>

#include <span>

#include "stream_adapter.h"

namespace qewic {

/// Up to four bytes as a number, the lowest or the highest first.
inline uint32_t Little(uint8_t const* at, unsigned size) noexcept {
  uint32_t value = 0;
  for (unsigned i = size; i-- > 0;) value = value << 8 | at[i];
  return value;
}
inline uint32_t Big(uint8_t const* at, unsigned size) noexcept {
  uint32_t value = 0;
  for (unsigned i = 0; i < size; ++i) value = value << 8 | at[i];
  return value;
}

/// The bytes that hold so many bits.
constexpr size_t BytesOf(uint64_t bits) noexcept { return static_cast<size_t>((bits + 7) / 8); }

/// The format with these channels; IMG_NONE: there is none.
constexpr yk::IMG_FORMAT FormatOfChannels(yk::img::ChannelKind kind, unsigned channels,
                                          unsigned bits) noexcept {
  for (yk::img::FormatFacts const& row : yk::img::FORMATS)
    if (row.kind == kind && row.channels == channels && row.channelBits == bits) return row.format;
  return yk::IMG_NONE;
}

/// The smallest format of palette indices that have `bits` bits in the file; IMG_NONE: there is none.
constexpr yk::IMG_FORMAT IndexFormat(unsigned bits) noexcept {
  yk::IMG_FORMAT format = yk::IMG_NONE;
  for (yk::img::FormatFacts const& row : yk::img::FORMATS)
    if (row.kind == yk::img::ChannelKind::INDEX && row.bits >= bits &&
        (format == yk::IMG_NONE || row.bits < yk::img::GetFacts(format).bits))
      format = row.format;
  return format;
}

/// Makes entries opaque black: what an index beyond the file's palette shows, in a damaged picture.
void FillBlack(std::span<yk::IMG_PALENTRY> entries) noexcept;
/// Makes entries greys, from black to white.
void FillGreys(std::span<yk::IMG_PALENTRY> entries) noexcept;

/// Whether the file has a signature of the format (io/file_formats.h).
bool HasSignature(StreamAdapter& file, yk::Guid const& type) noexcept;

/// What a header says of the picture.
struct Claim {
  uint32_t width = 0, height = 0;
  unsigned bits = 0;  ///< of a pixel
};

/// Refuses, before anything is allocated, sizes that no image can have, those above the host's limit
/// (image_limits.h) and those that the file cannot back: a few dozen bytes must not allocate gigabytes.
HRESULT CheckClaim(StreamAdapter const& file, Claim const& claim) noexcept;

/// Whether the file is large enough for so many decoded bytes. Decoders check it where parts of a file can be
/// used again and again, or are larger than what is seen of them.
bool CanBack(StreamAdapter const& file, double bytes) noexcept;

/// An image of that size, checked in the same way, with all pixels 0 and all palette entries black: a decoder
/// may leave some of them out.
HRESULT MakePicture(StreamAdapter const& file, yk::IMG_FORMAT format, uint32_t width, uint32_t height,
                    yk::Ref<yk::Image2d>& image) noexcept;

/// Records that the file is at fault: "damaged: " and `what`. \return YK_E_BADFILE
HRESULT FailDamaged(wchar_t const* what) noexcept;
/// Records that the file may be sound: "not supported, because " and `reason`. \return YK_E_BADFILE
HRESULT FailUnsupported(wchar_t const* reason) noexcept;

/// Records that there is no frame `frame`, but only `frames`, at least one. \return E_INVALIDARG
HRESULT FailNoFrame(unsigned frame, unsigned frames) noexcept;

/// "it is truncated", which is what most damage amounts to.
HRESULT FailTruncated() noexcept;

// The readers: see Codec::read. CheckPng and CheckJpeg return a failure or S_FALSE, and make no image.
HRESULT CheckPng(StreamAdapter& file, unsigned frame, yk::Ref<yk::Image2d>& image) noexcept;
HRESULT CheckJpeg(StreamAdapter& file, unsigned frame, yk::Ref<yk::Image2d>& image) noexcept;
HRESULT ReadBmp(StreamAdapter& file, unsigned frame, yk::Ref<yk::Image2d>& image) noexcept;
HRESULT ReadGif(StreamAdapter& file, unsigned frame, yk::Ref<yk::Image2d>& image) noexcept;
HRESULT ReadEveryGif(StreamAdapter& file, unsigned frame, yk::Ref<yk::Image2d>& image) noexcept;
/// S_FALSE: it is compressed as fax.
HRESULT ReadTiff(StreamAdapter& file, unsigned frame, yk::Ref<yk::Image2d>& image) noexcept;
HRESULT ReadEveryTiff(StreamAdapter& file, unsigned frame, yk::Ref<yk::Image2d>& image) noexcept;

}  // namespace qewic
