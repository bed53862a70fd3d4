// What kind of picture a stream holds.
//
// Failures: result codes, and LastError() says which file and why (error.h).
#pragma once

#include <qecore/core/guid.h>

namespace yk {

class Stream;

/// Detects the format from the first bytes at the stream's position, from the footer of a TGA file or, for a
/// FileStream, from its extension; `type` is then one of ids::FILE_PNG ... ids::FILE_TGA. On failure `type`
/// is unchanged: YK_E_TOOSHORT for fewer than 8 bytes, YK_E_NOTFOUND for an unknown format. The stream's
/// position is restored.
YK_API HRESULT qe_DetectFileType(Stream* stream, Guid& type) noexcept;

}  // namespace yk
