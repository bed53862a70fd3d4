// Files that the tool writes: whole, or not at all.
#pragma once

#include <qecore/io/stream.h>

#include <functional>
#include <string>

namespace qetool {

/// Replaces the file at `path` by what `write` puts into the stream. What stood there stays until the new
/// file is complete. Throws Failure, with the path and the reason, when anything fails.
void WriteWhole(std::string const& path, std::function<HRESULT(yk::Stream&)> const& write);

}  // namespace qetool
