// What a library calls of others, led elsewhere: to a list that counts, or to a call that can be made to
// fail.
#pragma once

#include <windows.h>

#include <map>
#include <string>

/// Functions by the names that they are imported under.
using Imports = std::map<std::string, void*>;

/// Leads the imports of `module` (null: of none) that have a row in `to` there, and leaves the others alone.
void LeadImports(HMODULE module, Imports const& to);
