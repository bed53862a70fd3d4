// What reading the records of values has in common: whatever a record claims, a load takes no more than the
// chunk still holds, and what the chunk does not hold reads as zero.
#pragma once

#include "stream_p.h"

#include <qecore/io/deserializer.h>

namespace yk {

/// Reads from the chunk that the reader stands in and not beyond it; the rest of the buffer is zeroed.
void ReadInChunk(Deserializer& reader, void* buffer, unsigned size) noexcept;

/// Notes, for Deserializer::GetFailure, that there was no memory for what was read.
void NoteNoMemory(Deserializer& reader) noexcept;

}  // namespace yk
