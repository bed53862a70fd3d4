// Helpers for recording failures, for the library's own sources.
#pragma once

#include <qecore/core/error.h>

namespace yk {

struct ErrorChain;

/// Fail for a call of the system on `subject`, a path or a name: "photo.png: the disk is full".
HRESULT FailSystem(HRESULT code, char const* operation, wchar_t const* subject, unsigned long error) noexcept;

/// Fail for an argument that may not be null. \return E_INVALIDARG
HRESULT FailNull(char const* operation, wchar_t const* argument) noexcept;

/// Fail for an allocation of `bytes` that failed. \return E_OUTOFMEMORY
HRESULT FailMemory(char const* operation, size_t bytes) noexcept;

/// Records a lack of memory if the object is null. \return the object
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
  ErrorChain* chain;  // null: all are in use, so this thread records nothing anyway
};

}  // namespace yk
