// Locks: a critical section with its scope guard, and a reader/writer lock.
//
//   CriticalSection section;
//   { Locker guard(section);  ... }       // left at the end of the scope
//
//   RWLock lock;
//   lock.EnterRead();   ...   lock.LeaveRead();
#pragma once

#include <qecore/core/base.h>

namespace yk {

/// The platform's CRITICAL_SECTION: recursive for the thread that owns it.
class CriticalSection {
 public:
  YK_API_INLINE CriticalSection() noexcept { Begin(); }
  YK_API ~CriticalSection();
  CriticalSection(CriticalSection const&) = delete;
  CriticalSection& operator=(CriticalSection const&) = delete;

  /// Waits until no other thread is inside; each Enter needs a Leave of the same thread.
  YK_API void Enter() noexcept;
  YK_API void Leave() noexcept;

 private:
  YK_API void Begin() noexcept;

  alignas(8) unsigned char section[40];  // CRITICAL_SECTION
  uint32_t marker;                       // 0x12345678, to be recognised in a debugger; never read
};

static_assert(sizeof(CriticalSection) == 48);

/// Holds a critical section until the end of a scope.
class Locker {
 public:
  /// Enters; the destructor leaves.
  explicit Locker(CriticalSection& toHold) noexcept : section(&toHold) { section->Enter(); }
  ~Locker() { section->Leave(); }
  Locker(Locker const&) = delete;
  Locker& operator=(Locker const&) = delete;

 private:
  CriticalSection* section;
};

/// Many readers or one writer. Once a writer is waiting, new readers queue after it; readers that queued
/// during a write all enter before the next writer. Not re-entrant, and a reader cannot become a writer.
/// Waits have no timeout. If the system cannot create the lock's semaphores, the lock does not wait and
/// protects nothing.
class RWLock {
 public:
  YK_API_INLINE RWLock() noexcept { Begin(); }
  YK_API ~RWLock();
  RWLock(RWLock const&) = delete;
  RWLock& operator=(RWLock const&) = delete;

  /// Waits for its turn; each Enter needs the matching Leave.
  YK_API void EnterRead() noexcept;
  YK_API void LeaveRead() noexcept;
  YK_API void EnterWrite() noexcept;
  YK_API void LeaveWrite() noexcept;

 private:
  static constexpr int PLACES = 0x7FFFFFFF;

  YK_API void Begin() noexcept;

  int readers = PLACES;  // free places for readers; a writer takes them all
  int departing = 0;     // readers that the waiting writer is still waiting for
  int writers = 1;       // 1 when no writer holds the lock or waits; each takes one
  void* writerQueue;     // semaphore: writers waiting for another writer
  void* readersGone;     // auto-reset event: set by the last departing reader
  void* readerQueue;     // semaphore: readers waiting for a writer
};

static_assert(sizeof(RWLock) == 40);

}  // namespace yk
