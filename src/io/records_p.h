// Reading the records of values: whatever a record claims, a load reads no further than the chunk's end, and
// missing data reads as zero.
#pragma once

#include <qecore/io/deserializer.h>
#include <qecore/io/serializer.h>

#include "stream_p.h"

namespace yk {

/// Reads from the reader's current chunk and not beyond it; the rest of the buffer is zeroed.
void ReadInChunk(Deserializer& reader, void* buffer, unsigned size) noexcept;

/// Records, for GetFailure, that there was no memory for data to be read or written.
void NoteNoMemory(Deserializer& reader) noexcept;
void NoteNoMemory(Serializer& writer) noexcept;

}  // namespace yk
