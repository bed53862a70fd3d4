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

  /// Answers its own identifier with TWO references, and all else as Unknown does. The second reference is
  /// intended and is part of the contract: who queries qe_Streamable releases twice.
  HRESULT QueryInterface(Guid const& id, void** out) noexcept override {
    if (!(id == Id())) return Unknown::QueryInterface(id, out);
    AddRef();
    *out = this;
    AddRef();
    return S_OK;
  }

  bool IsTypeOf(Guid const& id) noexcept override { return id == Id() || Unknown::IsTypeOf(id); }

  /// Writes the object's own chunks. `context` goes unchanged to the objects inside and may be null.
  virtual HRESULT Save(Serializer* writer, ExecutionContext* context) noexcept {
    (void)writer, (void)context;
    return E_NOTIMPL;
  }

  /// Reads the object from the chunk that the reader stands in.
  virtual HRESULT Load(Deserializer* reader, ExecutionContext* context) noexcept {
    (void)reader, (void)context;
    return E_NOTIMPL;
  }

 protected:
  qe_Streamable() noexcept = default;
  ~qe_Streamable() = default;
};

}  // namespace yk
