// Which library a plug-in lacks, for messages: the system does not say.
#pragma once

#include <qecore/values/string.h>

#include "failure_text_p.h"

namespace yk {

/// The name of the first library that the one at `path`, a full path, imports and that the system would not
/// find. Empty: nothing is missing, or the file cannot be examined. The file is mapped, but no code of it
/// runs.
FailureText FindMissingImport(String const& path) noexcept;

}  // namespace yk
