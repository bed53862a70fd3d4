// Paths and system errors, for all sources that open files.
#pragma once

#include <qecore/io/file_stream.h>

namespace yk {

/// Fails with the result for a system error of opening or replacing a file.
HRESULT FailFile(char const* operation, String const& path, unsigned long error) noexcept;

/// True for "$(module)NAME:RESOURCE.TYPE", which is not a file.
bool IsResourcePath(String const& path) noexcept;

}  // namespace yk
