// Conversion of runs of pixels between formats.
//
//   img::ConvertPixels(grey, bgra, IMG_GRAY8, IMG_BGRA32, count, nullptr);
//
//   from \ to   GRAY8  BGR24  BGRA32  GRAYF  BGRF  BGRAF
//   GRAY8         =      x      x       x      x     x     grey is copied to alpha as well: 0 is transparent
//   PAL8          x      x      x       x      x     x     to GRAYF: the entry's alpha, not its colour
//   BGR24         x      =      x              x     x     alpha becomes 255, or 1.0
//   BGRA32        x      x      =              x     x
//   GRAY16               x      x              x     x     alpha like GRAY8
//   BGR48                x      x              x     x
//   BGRA64               x      x              x     x
//   GRAYF         x      x      x       =      x     x     alpha like GRAY8; to GRAY8: clamps
//   BGRF          x      x      x              =     x
//   BGRAF         x      x      x              x     =
//   PAL1          x      x
//   PAL4                 x
//   RGB555               x
//
// Every format also converts to itself, as a copy. Any other pair is refused; go through BGRA32 or BGRAF.
//
// Arithmetic: byte to float is v / 255 and 16 bits to float v / 65535, both in single precision; 16 bits to
// byte takes the high byte; colour to grey is the unweighted mean. Float to byte is v * 255.0 + 0.5 in double
// precision, truncated to an integer, of which the low 8 bits are kept: nothing is clamped (1.5 gives 127),
// so keep float pixels within 0.0 to 1.0. Only GRAYF to GRAY8 clamps, and truncates without rounding.
//
// Failures: result codes, and LastError() says why (error.h).
// The conversions are available while yk::System exists. Any number of threads may convert at once.
#pragma once

#include <qecore/image/format.h>

namespace yk::img {

/// Converts `count` pixels. In formats of less than a byte per pixel, the first pixel is the first one of its
/// byte. `palette` is the source's palette, required when the source is a palette format, and must have all
/// entries of that format.
///
/// From GRAY8 to BGRF the call writes four bytes past the last pixel: provide room for them (contract;
/// ConvertLine and RescaleTo do not write them).
///
/// S_OK. E_INVALIDARG, with nothing written: unknown format or pair, negative count, a null pointer where
/// pixels or entries are needed, no System.
YK_API HRESULT ConvertPixels(void const* src, void* dst, IMG_FORMAT srcFormat, IMG_FORMAT dstFormat,
                             int count, IMG_PALENTRY* palette) noexcept;

}  // namespace yk::img
