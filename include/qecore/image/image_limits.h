// How large pictures from files may become: a small file can claim a huge picture.
//
//   img::SetReadLimit(256 << 20);  // a server that handles strangers' files: at most 256 MB of pixels each
//
// A filter reads the size from the file's header and compares it before it allocates anything or starts a
// decoder (qewic does); a picture beyond the limit is E_OUTOFMEMORY, and the text names both sizes. Pictures
// that a program makes itself are not limited.
//
// Any thread, no failure; a new limit holds for the pictures read from then on.
#pragma once

#include <qecore/core/base.h>

namespace yk::img {

/// The initial limit, in bytes: what an image can have at most.
inline constexpr uint64_t LARGEST_IMAGE = 0x7FFFFFFF;

/// The bytes of pixels that a picture from a file may have: those of its rows, padded.
YK_API uint64_t GetReadLimit() noexcept;

/// Sets the limit for the whole process. Values above LARGEST_IMAGE mean the same as it.
YK_API void SetReadLimit(uint64_t bytes) noexcept;

}  // namespace yk::img
