// The classes built into the library.
#pragma once

namespace yk {

/// Registers them, in their fixed order, with the System under construction. \return false without memory
bool RegisterBuiltinClasses() noexcept;

}  // namespace yk
