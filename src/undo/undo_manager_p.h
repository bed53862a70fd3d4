// How the System learns of the undo manager.
#pragma once

#include <qecore/core/base.h>

namespace yk {

/// Registers the class under the name "UndoManager".
HRESULT RegisterUndoManager() noexcept;

}  // namespace yk
