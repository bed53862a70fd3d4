// Which module this library is in the process.
#pragma once

#include <qecore/core/base.h>

namespace yk {

/// The library's own module handle, stored when it was attached.
HINSTANCE LibraryInstance() noexcept;

}  // namespace yk
