// Redirects calls that a library makes to others: to a list that counts them, or to a function that can be
// made to fail.
#pragma once

#include <windows.h>

#include <map>
#include <string>

/// Functions by the names under which they are imported.
using Imports = std::map<std::string, void*>;

/// Redirects the imports of `module` (null: no-op) that have an entry in `to`, and leaves the others
/// unchanged.
void LeadImports(HMODULE module, Imports const& to);
