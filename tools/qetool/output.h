// Files that the tool writes: completely or not at all.
#pragma once

#include <qecore/io/stream.h>

#include <functional>
#include <string>

namespace qetool {

/// Replaces the file at `path` by what `write` writes to the stream. The old file stays until the new one is
/// complete. Throws Failure, with the path and the reason, when anything fails.
void WriteWhole(std::string const& path, std::function<HRESULT(yk::Stream&)> const& write);

/// Writes to standard output, after what was printed, without changing line ends. Throws Failure.
void WriteToOutput(void const* bytes, size_t size);

/// Writes what was printed, unless that failed before. Throws Failure.
void FlushOutput();

}  // namespace qetool
