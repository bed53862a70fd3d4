// Failures: what the library's own sources need for them beyond error.h.
#pragma once

#include <qecore/core/error.h>

namespace yk {

struct ErrorChain;

/// Fail for a call of the system on `subject`, a path or a name: "photo.png: the disk is full".
HRESULT FailSystem(HRESULT code, char const* operation, wchar_t const* subject, unsigned long error) noexcept;

/// Fail for an argument that may not be null. \return E_INVALIDARG
HRESULT FailNull(char const* operation, wchar_t const* argument) noexcept;

/// Fail for memory that there was none of. \return E_OUTOFMEMORY
HRESULT FailMemory(char const* operation, size_t bytes) noexcept;

/// Records that there was no memory for an object when it is null. \return the object
template <class T>
T* Made(T* object, char const* operation) noexcept {
  if (!object) FailMemory(operation, sizeof(T));
  return object;
}

/// While it exists, the calling thread records nothing: for attempts that may fail without harm.
class Attempt {
 public:
  Attempt() noexcept;
  ~Attempt();
  Attempt(Attempt const&) = delete;
  Attempt& operator=(Attempt const&) = delete;

 private:
  ErrorChain* chain;  // null: this thread has none, and records nothing anyway
};

}  // namespace yk
