// The system's slim lock for a scope.
#pragma once

#include <windows.h>

namespace yk {

/// Holds the lock alone until the end of a scope. Not recursive.
class SrwLocker {
 public:
  explicit SrwLocker(SRWLOCK& lock) noexcept : lock(lock) { AcquireSRWLockExclusive(&lock); }
  ~SrwLocker() { ReleaseSRWLockExclusive(&lock); }
  SrwLocker(SrwLocker const&) = delete;
  SrwLocker& operator=(SrwLocker const&) = delete;

 private:
  SRWLOCK& lock;
};

}  // namespace yk
