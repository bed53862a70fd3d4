// What kind of picture a stream holds.
#pragma once

#include <qecore/core/guid.h>

namespace yk {

class Stream;

/// Tells the format by the first bytes from where the stream stands, by the footer of a TGA file, or, for a
/// FileStream, by its extension; `type` is then one of ids::FILE_PNG ... ids::FILE_TGA. On failure `type` is
/// untouched: YK_E_TOOSHORT for fewer than 8 bytes, YK_E_NOTFOUND for an unknown format. The stream's
/// position is the same afterwards.
YK_API HRESULT qe_DetectFileType(Stream* stream, Guid& type) noexcept;

}  // namespace yk
