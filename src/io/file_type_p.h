// Detection of a file's type for callers that say themselves which file it is.
#pragma once

#include <qecore/io/file_type.h>

namespace yk {

/// qe_DetectFileType without its text. `read` is the failure of a read without which the type may have been
/// missed, and S_OK for a file that is merely short.
HRESULT DetectFileType(Stream& stream, Guid& type, HRESULT& read) noexcept;

}  // namespace yk
