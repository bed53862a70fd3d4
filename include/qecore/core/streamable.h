// yk::qe_Streamable: the interface of objects that write themselves into an object file and read themselves
// back.
//
//   slot 8 Save   9 Load      (after the eight of Unknown)
#pragma once

#include <qecore/core/execution_context.h>
#include <qecore/core/unknown.h>

namespace yk {

class Deserializer;
class Serializer;

class qe_Streamable : public Unknown {
 public:
  static Guid const& Id() noexcept { return ids::STREAMABLE; }

  /// Supports its own identifier, with TWO references, and otherwise what Unknown supports. Contract: whoever
  /// queries for qe_Streamable releases twice.
  HRESULT QueryInterface(Guid const& id, void** out) noexcept override {
    if (!(id == Id())) return Unknown::QueryInterface(id, out);
    AddRef();
    *out = this;
    AddRef();
    return S_OK;
  }

  bool IsTypeOf(Guid const& id) noexcept override { return id == Id() || Unknown::IsTypeOf(id); }

  /// Writes the object's own chunks. `context` is passed unchanged to nested objects and may be null.
  virtual HRESULT Save(Serializer* writer, ExecutionContext* context) noexcept {
    (void)writer, (void)context;
    return E_NOTIMPL;
  }

  /// Reads the object from the reader's current chunk.
  virtual HRESULT Load(Deserializer* reader, ExecutionContext* context) noexcept {
    (void)reader, (void)context;
    return E_NOTIMPL;
  }

 protected:
  qe_Streamable() noexcept = default;
  ~qe_Streamable() = default;
};

}  // namespace yk
