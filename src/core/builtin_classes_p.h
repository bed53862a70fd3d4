// The classes that the library itself brings.
#pragma once

namespace yk {

/// Registers them, in their fixed order, with the System that is being built. \return false without memory
bool RegisterBuiltinClasses() noexcept;

}  // namespace yk
