// What those who open files share about paths and the system's errors.
#pragma once

#include <qecore/io/file_stream.h>

namespace yk {

/// The result for a system error of opening or replacing a file.
HRESULT FileFailure(unsigned long error) noexcept;

/// True for "$(module)NAME:RESOURCE.TYPE", which is no file.
bool IsResourcePath(String const& path) noexcept;

}  // namespace yk
