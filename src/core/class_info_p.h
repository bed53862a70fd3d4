// What the registry and the module cache do to a class record.
#pragma once

#include <qecore/core/registry.h>

namespace yk {

class ExecutionContext;
class Serializer;

/// Gives the record a copy of a text as its own name; null for a null or an empty text, or without memory.
void CopyName(ClassInfo& info, char const* text) noexcept;

/// Reads what WriteClassInfo wrote, from the chunk in which the reader stands, into a record of zeros.
/// \return false for a damaged record, which then holds what could be read
bool ReadClassInfo(Deserializer& reader, ClassInfo& info) noexcept;

/// Writes the payload of a class record's chunk (module.h draws it).
/// \return S_OK, or why the writer takes no chunk
HRESULT WriteClassInfo(Serializer& writer, ClassInfo const& info, ExecutionContext* context) noexcept;

}  // namespace yk
