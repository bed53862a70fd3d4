// Operations of the registry and the module cache on class records.
#pragma once

#include <qecore/core/registry.h>

namespace yk {

class Deserializer;
class ExecutionContext;
class Serializer;

/// Gives the record its own copy of a name; null for a null or empty text, or without memory.
void CopyName(ClassInfo& info, char const* text) noexcept;

/// Reads the output of WriteClassInfo from the reader's current chunk into a zeroed record.
/// \return false for a damaged record, which then holds what could be read
bool ReadClassInfo(Deserializer& reader, ClassInfo& info) noexcept;

/// Writes the payload of a class record's chunk (drawn in module_cache.h).
/// \return S_OK, or the reason why the writer accepts no chunk
HRESULT WriteClassInfo(Serializer& writer, ClassInfo const& info, ExecutionContext* context) noexcept;

}  // namespace yk
