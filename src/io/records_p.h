// Reading the records of values: even for a damaged record, a load never reads past the chunk's end, and
// missing data reads as zero.
#pragma once

#include <qecore/io/deserializer.h>
#include <qecore/io/serializer.h>
#include <qecore/values/variant.h>

#include "core/progress_p.h"
#include "stream_p.h"

namespace yk {

/// Reads from the reader's current chunk and not beyond it; the rest of the buffer is zeroed.
void ReadInChunk(Deserializer& reader, void* buffer, unsigned size) noexcept;

/// Reads exactly so many bytes. False, with nothing read, when the reader's current chunk has fewer; or when
/// the stream fails.
inline bool ReadBytes(Deserializer& reader, void* to, unsigned size) noexcept {
  if (reader.GetRemaining() < size) return false;
  Ref<Stream> const stream = Ref<Stream>::Share(reader.GetStream());  // null if that call closed the reader
  unsigned done = 0;
  return stream && Succeeded(stream->Read(to, size, &done)) && done == size;
}

/// Variant::Save and Load as a part of the caller's operation, whose host may stop it inside a large payload.
/// Records no stop. A variant that was stopped while it was loaded is empty.
void SaveVariant(Variant const& value, Serializer& writer, ProgressMeter& meter) noexcept;
void LoadVariant(Variant& value, Deserializer& reader, ProgressMeter& meter) noexcept;

/// Stores a failure of a load or a save, if it is the first: there was no memory, or the host stopped it.
/// \return `result`
HRESULT NoteFailure(Deserializer& reader, HRESULT result) noexcept;
HRESULT NoteFailure(Serializer& writer, HRESULT result) noexcept;

/// Sizes and positions in an object file have 32 bits.
inline HRESULT FailTooLong(char const* operation, HRESULT result = E_FAIL) noexcept {
  return Fail(result, operation, L"an object file must be smaller than 4 GB");
}

}  // namespace yk
