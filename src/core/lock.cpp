#include <qecore/core/lock.h>

#include <windows.h>

#include <atomic>

namespace yk {

namespace {

CRITICAL_SECTION* Native(unsigned char* section) noexcept {
  static_assert(sizeof(CRITICAL_SECTION) == 40 && alignof(CRITICAL_SECTION) <= 8);
  return reinterpret_cast<CRITICAL_SECTION*>(section);
}

/// Adds atomically. \return the previous value
int Add(int& counter, int step) noexcept { return std::atomic_ref(counter).fetch_add(step); }

// The handle is null when the system could not create the object: the wait then fails at once, which is all
// that can be done.
void Wait(void* handle) noexcept { WaitForSingleObject(handle, INFINITE); }

void* NewQueue() noexcept { return CreateSemaphoreW(nullptr, 0, LONG_MAX, nullptr); }

void CloseAndClear(void*& handle) noexcept {
  if (handle) CloseHandle(handle);
  handle = nullptr;
}

}  // namespace

void CriticalSection::Begin() noexcept {
  marker = 0x12345678;
  InitializeCriticalSection(Native(section));
}

CriticalSection::~CriticalSection() { DeleteCriticalSection(Native(section)); }

void CriticalSection::Enter() noexcept { EnterCriticalSection(Native(section)); }

void CriticalSection::Leave() noexcept { LeaveCriticalSection(Native(section)); }

void RWLock::Begin() noexcept {
  writerQueue = NewQueue();
  readersGone = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  readerQueue = NewQueue();
  if (readersGone && readerQueue) return;
  CloseAndClear(readersGone);
  CloseAndClear(readerQueue);
}

RWLock::~RWLock() {
  // In this order, stopping at the first that fails.
  for (void* const handle : {writerQueue, readerQueue, readersGone}) {
    if (!handle || !CloseHandle(handle)) return;
  }
}

void RWLock::EnterRead() noexcept {
  if (Add(readers, -1) - 1 < 0) Wait(readerQueue);
}

void RWLock::LeaveRead() noexcept {
  bool const writerWaits = Add(readers, 1) + 1 < 1;
  if (writerWaits && Add(departing, -1) == 1) SetEvent(readersGone);
}

void RWLock::EnterWrite() noexcept {
  if (Add(writers, -1) - 1 < 0) Wait(writerQueue);
  int const inside = PLACES - Add(readers, -PLACES);
  // Readers may have left between the two additions: they have already been counted off.
  if (inside != 0 && Add(departing, inside) + inside != 0) Wait(readersGone);
}

void RWLock::LeaveWrite() noexcept {
  int const places = Add(readers, PLACES);
  if (places < 0) ReleaseSemaphore(readerQueue, -places, nullptr);
  if (Add(writers, 1) + 1 < 1) ReleaseSemaphore(writerQueue, 1, nullptr);
}

}  // namespace yk
