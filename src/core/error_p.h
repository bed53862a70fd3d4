// Helpers for recording failures, for the library's own sources.
#pragma once

#include <qecore/core/error.h>

#include <atomic>

namespace yk {

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

/// The number of failures of all threads; that of a failure is its stamp.
extern constinit std::atomic<unsigned> lastStamp;

/// A mark for FailSince in functions that are called very often: unlike ErrorCount, it costs one load.
class FailureMark {
 public:
  FailureMark() noexcept : stamp(lastStamp.load(std::memory_order_relaxed)) {}

  /// Whether a failure with this stamp was recorded later.
  bool IsBefore(unsigned later) const noexcept { return static_cast<int>(later - stamp) > 0; }

 private:
  unsigned stamp;
};

HRESULT FailSince(FailureMark before, HRESULT code, char const* operation, wchar_t const* format,
                  ...) noexcept;

/// A thread's last failure with its causes, the first cause first. Only its thread accesses it.
struct ErrorChain {
  static constexpr unsigned LONGEST = 4;

  unsigned count;   // failures so far
  unsigned stamp;   // of the last one
  unsigned length;  // records of the last failure; 0: there was none
  Error records[LONGEST];
};

/// For attempts that may fail without harm: what the calling thread records meanwhile is forgotten at the
/// end. Until then it can be read, since plug-ins that are called look at their own failures.
class Attempt {
 public:
  Attempt() noexcept;
  ~Attempt();
  Attempt(Attempt const&) = delete;
  Attempt& operator=(Attempt const&) = delete;

  /// There was harm after all: forgets nothing.
  void KeepRecords() noexcept { isKept = true; }

 private:
  ErrorChain before = {};
  bool isKept = false;
};

}  // namespace yk
