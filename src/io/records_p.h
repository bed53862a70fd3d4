// What reading the records of values has in common: whatever a record claims, a load takes no more than the
// chunk still holds, and what the chunk does not hold reads as zero.
#pragma once

#include "stream_p.h"

#include <qecore/io/deserializer.h>
#include <qecore/io/serializer.h>

namespace yk {

/// Reads from the chunk that the reader stands in and not beyond it; the rest of the buffer is zeroed.
void ReadInChunk(Deserializer& reader, void* buffer, unsigned size) noexcept;

/// Notes, for GetFailure, that there was no memory for what was to be read or written.
void NoteNoMemory(Deserializer& reader) noexcept;
void NoteNoMemory(Serializer& writer) noexcept;

}  // namespace yk
