// Windows' locks, implemented with pthreads, for the plain program: the thread sanitizer understands these.
#include <errno.h>
#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>
#include <windows.h>

#include <atomic>
#include <new>

namespace {

timespec After(DWORD milliseconds) {
  timespec end;
  clock_gettime(CLOCK_REALTIME, &end);
  end.tv_sec += milliseconds / 1000;
  end.tv_nsec += milliseconds % 1000 * 1000000L;
  if (end.tv_nsec >= 1000000000L) {
    end.tv_nsec -= 1000000000L;
    ++end.tv_sec;
  }
  return end;
}

class PthreadLocker {
 public:
  explicit PthreadLocker(pthread_mutex_t& toHold) : mutex(toHold) { pthread_mutex_lock(&mutex); }
  ~PthreadLocker() { pthread_mutex_unlock(&mutex); }

 private:
  pthread_mutex_t& mutex;
};

// A mutex with a condition to wait for, with a timeout.
struct Condition {
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  pthread_cond_t condition = PTHREAD_COND_INITIALIZER;

  // With the mutex held. False after the timeout.
  bool Wait(DWORD milliseconds, timespec const& end) {
    if (milliseconds == INFINITE) return pthread_cond_wait(&condition, &mutex) == 0;
    return pthread_cond_timedwait(&condition, &mutex, &end) != ETIMEDOUT;
  }
};

// The object for a word that the caller has cleared: created at first use and never freed, as nothing marks
// the end of its use.
template <class Object>
Object& Behind(void** word) {
  std::atomic_ref<void*> place(*word);
  void* known = place.load(std::memory_order_acquire);
  if (!known) {
    void* const made = new Object;
    if (place.compare_exchange_strong(known, made)) return *static_cast<Object*>(made);
    delete static_cast<Object*>(made);
  }
  return *static_cast<Object*>(known);
}

}  // namespace

extern "C" {

// ---- critical sections: a recursive mutex in their own 40 bytes ----

static_assert(sizeof(pthread_mutex_t) <= sizeof(CRITICAL_SECTION));

static pthread_mutex_t* Mutex(CRITICAL_SECTION* section) {
  return reinterpret_cast<pthread_mutex_t*>(section);
}

void WINAPI InitializeCriticalSection(CRITICAL_SECTION* section) {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(Mutex(section), &attributes);
}

BOOL WINAPI InitializeCriticalSectionAndSpinCount(CRITICAL_SECTION* section, DWORD) {
  InitializeCriticalSection(section);
  return TRUE;
}

void WINAPI DeleteCriticalSection(CRITICAL_SECTION* section) { pthread_mutex_destroy(Mutex(section)); }
void WINAPI EnterCriticalSection(CRITICAL_SECTION* section) { pthread_mutex_lock(Mutex(section)); }
BOOL WINAPI TryEnterCriticalSection(CRITICAL_SECTION* section) {
  return pthread_mutex_trylock(Mutex(section)) == 0;
}
void WINAPI LeaveCriticalSection(CRITICAL_SECTION* section) { pthread_mutex_unlock(Mutex(section)); }

// ---- slim locks ----

struct SlimLock {
  pthread_rwlock_t lock = PTHREAD_RWLOCK_INITIALIZER;
};

static pthread_rwlock_t* Slim(SRWLOCK* lock) { return &Behind<SlimLock>(&lock->Ptr).lock; }

void WINAPI InitializeSRWLock(SRWLOCK* lock) { lock->Ptr = nullptr; }
void WINAPI AcquireSRWLockExclusive(SRWLOCK* lock) { pthread_rwlock_wrlock(Slim(lock)); }
void WINAPI ReleaseSRWLockExclusive(SRWLOCK* lock) { pthread_rwlock_unlock(Slim(lock)); }
void WINAPI AcquireSRWLockShared(SRWLOCK* lock) { pthread_rwlock_rdlock(Slim(lock)); }
void WINAPI ReleaseSRWLockShared(SRWLOCK* lock) { pthread_rwlock_unlock(Slim(lock)); }
BOOLEAN WINAPI TryAcquireSRWLockExclusive(SRWLOCK* lock) { return pthread_rwlock_trywrlock(Slim(lock)) == 0; }
BOOLEAN WINAPI TryAcquireSRWLockShared(SRWLOCK* lock) { return pthread_rwlock_tryrdlock(Slim(lock)) == 0; }

// ---- condition variables ----

void WINAPI InitializeConditionVariable(CONDITION_VARIABLE* variable) { variable->Ptr = nullptr; }

void WINAPI WakeAllConditionVariable(CONDITION_VARIABLE* variable) {
  auto& inner = Behind<Condition>(&variable->Ptr);
  PthreadLocker const locker(inner.mutex);
  pthread_cond_broadcast(&inner.condition);
}

void WINAPI WakeConditionVariable(CONDITION_VARIABLE* variable) {
  auto& inner = Behind<Condition>(&variable->Ptr);
  PthreadLocker const locker(inner.mutex);
  pthread_cond_signal(&inner.condition);
}

}  // extern "C"

namespace {

// The outer lock is released only once the inner one is held, so that no wake-up is missed.
template <class Leave, class Enter>
BOOL SleepOn(CONDITION_VARIABLE* variable, DWORD milliseconds, Leave leave, Enter enter) {
  auto& inner = Behind<Condition>(&variable->Ptr);
  bool woken;
  {
    PthreadLocker const locker(inner.mutex);
    leave();
    woken = inner.Wait(milliseconds, After(milliseconds));
  }
  enter();
  if (!woken) SetLastError(ERROR_TIMEOUT);
  return woken;
}

}  // namespace

extern "C" {

BOOL WINAPI SleepConditionVariableSRW(CONDITION_VARIABLE* variable, SRWLOCK* lock, DWORD milliseconds,
                                      ULONG flags) {
  bool const shared = (flags & CONDITION_VARIABLE_LOCKMODE_SHARED) != 0;
  auto const enter = [=] { shared ? AcquireSRWLockShared(lock) : AcquireSRWLockExclusive(lock); };
  return SleepOn(
      variable, milliseconds, [=] { ReleaseSRWLockExclusive(lock); }, enter);
}

BOOL WINAPI SleepConditionVariableCS(CONDITION_VARIABLE* variable, CRITICAL_SECTION* section,
                                     DWORD milliseconds) {
  auto const leave = [=] { LeaveCriticalSection(section); };
  return SleepOn(variable, milliseconds, leave, [=] { EnterCriticalSection(section); });
}

// ---- semaphores and events: a count that a wait decrements ----

struct Waitable : Condition {
  LONG count = 0;
  LONG most = 1;
  bool staysSet = false;  // an event that a wait does not reset
  std::atomic<int> holders{1};
  LPTHREAD_START_ROUTINE run = nullptr;  // of a thread
  void* argument = nullptr;
};

static void Release(Waitable* waitable) {
  if (--waitable->holders == 0) delete waitable;
}

static HANDLE NewWaitable(LONG count, LONG most, bool staysSet) {
  auto* const made = new Waitable;
  made->count = count;
  made->most = most;
  made->staysSet = staysSet;
  return made;
}

HANDLE WINAPI CreateSemaphoreW(SECURITY_ATTRIBUTES*, LONG count, LONG most, wchar_t const*) {
  return NewWaitable(count, most, false);
}

HANDLE WINAPI CreateEventW(SECURITY_ATTRIBUTES*, BOOL manual, BOOL set, wchar_t const*) {
  return NewWaitable(set ? 1 : 0, 1, manual != FALSE);
}

BOOL WINAPI ReleaseSemaphore(HANDLE handle, LONG step, LONG* before) {
  auto& semaphore = *static_cast<Waitable*>(handle);
  PthreadLocker const locker(semaphore.mutex);
  if (before) *before = semaphore.count;
  if (step > semaphore.most - semaphore.count) return FALSE;
  semaphore.count += step;
  pthread_cond_broadcast(&semaphore.condition);
  return TRUE;
}

BOOL WINAPI SetEvent(HANDLE handle) {
  auto& event = *static_cast<Waitable*>(handle);
  PthreadLocker const locker(event.mutex);
  event.count = 1;
  pthread_cond_broadcast(&event.condition);
  return TRUE;
}

BOOL WINAPI ResetEvent(HANDLE handle) {
  auto& event = *static_cast<Waitable*>(handle);
  PthreadLocker const locker(event.mutex);
  event.count = 0;
  return TRUE;
}

DWORD WINAPI WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
  auto& waitable = *static_cast<Waitable*>(handle);
  timespec const end = After(milliseconds);
  PthreadLocker const locker(waitable.mutex);
  while (waitable.count <= 0) {
    if (!waitable.Wait(milliseconds, end)) return WAIT_TIMEOUT;
  }
  if (!waitable.staysSet) --waitable.count;
  return WAIT_OBJECT_0;
}

BOOL WINAPI CloseHandle(HANDLE handle) {
  Release(static_cast<Waitable*>(handle));
  return TRUE;
}

// ---- threads ----

static void* RunThread(void* argument) {
  auto* const thread = static_cast<Waitable*>(argument);
  thread->run(thread->argument);
  SetEvent(thread);
  Release(thread);
  return nullptr;
}

// A thread is an event that is set at its end. It needs the event as long as its handle does.
HANDLE WINAPI CreateThread(SECURITY_ATTRIBUTES*, SIZE_T, LPTHREAD_START_ROUTINE run, void* argument, DWORD,
                           DWORD*) {
  auto* const thread = new Waitable;
  thread->staysSet = true;
  thread->holders = 2;
  thread->run = run;
  thread->argument = argument;
  pthread_t made;
  pthread_create(&made, nullptr, RunThread, thread);
  pthread_detach(made);
  return thread;
}

DWORD WINAPI GetCurrentThreadId() { return static_cast<DWORD>(syscall(SYS_gettid)); }
DWORD WINAPI GetCurrentProcessId() { return static_cast<DWORD>(getpid()); }
void WINAPI Sleep(DWORD milliseconds) { usleep(milliseconds * 1000); }
BOOL WINAPI SwitchToThread() { return sched_yield() == 0; }

static DWORD& LastError() {
  static thread_local DWORD error;
  return error;
}

DWORD WINAPI GetLastError() { return LastError(); }
void WINAPI SetLastError(DWORD error) { LastError() = error; }

}  // extern "C"
