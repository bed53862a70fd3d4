#include "parallel_p.h"

#include <windows.h>
#include <xmmintrin.h>

#include <atomic>

#include "srw_lock_p.h"

namespace yk {

namespace {

constexpr uint64_t WORTH_A_THREAD = 2 << 20;  // bytes: about 200 us, against about 20 us to wake a thread
constexpr DWORD LONGEST_WAIT = 1000;          // milliseconds

/// The work that a caller shares, on its stack.
struct Job {
  SharedWork const* work;
  std::atomic<unsigned> next{0};         // the first part that nobody has begun
  std::atomic<unsigned> done{0};         // parts
  unsigned joined = 1;                   // threads so far
  unsigned floatControl = _mm_getcsr();  // the caller's rounding and traps, which all threads take over
  unsigned inside = 0;                   // helpers that may still access the job

  bool Take(unsigned& part) noexcept {
    if (next.load(std::memory_order_relaxed) >= work->count) return false;
    part = next.fetch_add(1, std::memory_order_relaxed);
    return part < work->count;
  }

  void DoPart(unsigned part, unsigned thread) noexcept {
    work->doPart(work->context, part, thread);
    done.fetch_add(1, std::memory_order_relaxed);
  }

  void Stop() noexcept { next.store(work->count, std::memory_order_relaxed); }
};

// The lock is held for a few instructions, and never while a part runs or the system is called for a thread.
// It guards everything from `job` to `handles`.
constinit SRWLOCK lock = SRWLOCK_INIT;
constinit CONDITION_VARIABLE jobPosted = CONDITION_VARIABLE_INIT;
constinit CONDITION_VARIABLE helperLeft = CONDITION_VARIABLE_INIT;
constinit Job* job = nullptr;
constinit bool isOpen = false;      // there is a System
constinit unsigned generation = 0;  // of threads: those of an earlier one end
constinit unsigned started = 0;     // threads of this generation
constinit HANDLE handles[MOST_THREADS] = {};

constinit std::atomic<unsigned> wantedThreads = 0;  // 0: one for each processor
constinit std::atomic<bool> isBusy = false;         // an operation has the threads
constinit std::atomic<HMODULE> library = nullptr;   // this one, to which each thread holds a reference

/// The job, once there is one that lacks helpers; null when the thread must end. Call under the lock.
Job* AwaitJob(unsigned own) noexcept {
  while (generation == own && !(job && job->joined < job->work->threads)) {
    SleepConditionVariableSRW(&jobPosted, &lock, INFINITE, 0);
  }
  return generation == own ? job : nullptr;
}

void Help(unsigned own) noexcept {
  SrwLocker const guard(lock);
  while (Job* const current = AwaitJob(own)) {
    unsigned const thread = current->joined++;
    ++current->inside;
    ReleaseSRWLockExclusive(&lock);
    _mm_setcsr(current->floatControl);
    for (unsigned part; current->Take(part);) current->DoPart(part, thread);
    AcquireSRWLockExclusive(&lock);
    if (job == current) job = nullptr;  // there is nothing left to begin
    if (--current->inside == 0) WakeConditionVariable(&helperLeft);
  }
}

/// The code stays until the thread has left it, even if the host frees the library meanwhile.
DWORD WINAPI RunThread(void* argument) noexcept {
  Help(static_cast<unsigned>(reinterpret_cast<uintptr_t>(argument)));
  HMODULE const held = library.load(std::memory_order_relaxed);
  if (held) FreeLibraryAndExitThread(held, 0);
  return 0;
}

/// A thread of a generation, with a reference to the library, or null.
HANDLE StartThread(unsigned own) noexcept {
  constexpr SIZE_T STACK = 1 << 18;
  HMODULE held = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<wchar_t const*>(&lock), &held);
  library.store(held, std::memory_order_relaxed);
  HANDLE const thread = CreateThread(nullptr, STACK, RunThread, reinterpret_cast<void*>(uintptr_t{own}),
                                     STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
  if (!thread && held) FreeLibrary(held);
  return thread;
}

/// Makes threads until there are `wanted`, as far as the system can. Only for the operation that has them.
void StartThreads(unsigned wanted) noexcept {
  for (bool more = true; more;) {
    unsigned own;
    {
      SrwLocker const guard(lock);
      if (!isOpen || started >= wanted) return;
      own = generation;
    }
    HANDLE const thread = StartThread(own);
    if (!thread) return;
    SrwLocker const guard(lock);
    more = generation == own;
    if (more) {
      handles[started++] = thread;
    } else {
      CloseHandle(thread);  // the System has gone, and so will the thread
    }
  }
}

/// Offers a job to the threads. \return false when another operation has them
bool Post(Job& offered) noexcept {
  if (isBusy.exchange(true, std::memory_order_acquire)) return false;
  StartThreads(offered.work->threads - 1);
  {
    SrwLocker const guard(lock);
    job = &offered;
  }
  for (unsigned i = 1; i < offered.work->threads; ++i) WakeConditionVariable(&jobPosted);
  return true;
}

/// Waits for the helpers, each of which is in its last part.
void Withdraw(Job& offered) noexcept {
  {
    SrwLocker const guard(lock);
    job = nullptr;
    while (offered.inside > 0) SleepConditionVariableSRW(&helperLeft, &lock, INFINITE, 0);
  }
  isBusy.store(false, std::memory_order_release);
}

/// The calling thread's own share.
bool DoParts(Job& offered) noexcept {
  SharedWork const& work = *offered.work;
  for (unsigned part; offered.Take(part);) {
    offered.DoPart(part, 0);
    if (work.proceed(work.context, offered.done.load(std::memory_order_relaxed))) continue;
    offered.Stop();
    return false;
  }
  return true;
}

}  // namespace

unsigned ThreadsFor(uint64_t bytes) noexcept {
  uint64_t const worth = std::clamp<uint64_t>(bytes / WORTH_A_THREAD, 1, MOST_THREADS);
  return worth < 2 ? 1 : std::min(static_cast<unsigned>(worth), GetThreadCount());
}

bool Share(SharedWork const& work) noexcept {
  Job offered = {&work};
  bool const isShared = work.threads > 1 && work.count > 1 && Post(offered);
  bool const whole = DoParts(offered);
  if (isShared) Withdraw(offered);
  return whole;
}

void AllowThreads() noexcept {
  SrwLocker const guard(lock);
  isOpen = true;
}

// A thread needs the loader's lock to end, which the caller may hold: so the wait has a limit. A thread that
// is late ends by itself, without touching anything but the lock.
void EndThreads() noexcept {
  HANDLE ending[MOST_THREADS];
  unsigned count;
  {
    SrwLocker const guard(lock);
    isOpen = false;
    ++generation;
    count = started;
    std::copy_n(handles, count, ending);
    started = 0;
  }
  WakeAllConditionVariable(&jobPosted);
  DWORD wait = LONGEST_WAIT;
  for (unsigned i = 0; i < count; ++i) {
    if (WaitForSingleObject(ending[i], wait) != WAIT_OBJECT_0) wait = 0;
    CloseHandle(ending[i]);
  }
}

void SetThreadCount(unsigned count) noexcept {
  wantedThreads.store(std::min(count, MOST_THREADS), std::memory_order_relaxed);
}

unsigned GetThreadCount() noexcept {
  unsigned const wanted = wantedThreads.load(std::memory_order_relaxed);
  if (wanted > 0) return wanted;
  SYSTEM_INFO system;
  GetSystemInfo(&system);
  return std::clamp<unsigned>(system.dwNumberOfProcessors, 1, MOST_THREADS);
}

}  // namespace yk
