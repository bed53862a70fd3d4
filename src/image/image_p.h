// What the rest of the library needs of the image class and its users do not.
#pragma once

#include <qecore/core/base.h>

namespace yk::img {

/// Registers Image2d with the class registry; the constructor of System calls it. \return the registry's
/// answer.
HRESULT RegisterImageClass() noexcept;

}  // namespace yk::img
