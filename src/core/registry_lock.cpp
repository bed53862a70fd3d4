#include "registry_lock_p.h"

#include <windows.h>

namespace yk {

namespace {

SRWLOCK registryLock = SRWLOCK_INIT;
CONDITION_VARIABLE turnEnded = CONDITION_VARIABLE_INIT;

}  // namespace

RegistryLock::RegistryLock() noexcept { AcquireSRWLockExclusive(&registryLock); }

RegistryLock::~RegistryLock() { ReleaseSRWLockExclusive(&registryLock); }

LoadTurn* LoadTurn::first;

LoadTurn::LoadTurn(Module const& toLoad) noexcept : module(&toLoad), thread(GetCurrentThreadId()) {
  RegistryLock const guard;
  next = first;
  first = this;
  while (LoadTurn const* const other = LoaderOf(module)) {
    if (WouldWaitForever(other)) {
      state = BESIDE;
      return;
    }
    SleepConditionVariableSRW(&turnEnded, &registryLock, INFINITE, 0);
  }
  state = LOADS;
}

LoadTurn::~LoadTurn() {
  RegistryLock const guard;
  LoadTurn** link = &first;
  while (*link != this) link = &(*link)->next;
  *link = next;
  WakeAllConditionVariable(&turnEnded);
}

LoadTurn const* LoadTurn::LoaderOf(Module const* module) noexcept {
  LoadTurn const* turn = first;
  while (turn && !(turn->module == module && turn->state == LOADS)) turn = turn->next;
  return turn;
}

LoadTurn const* LoadTurn::WaitOf(unsigned long thread) noexcept {
  LoadTurn const* turn = first;
  while (turn && !(turn->thread == thread && turn->state == WAITS)) turn = turn->next;
  return turn;
}

// Each plug-in has one loader, and each thread waits for one plug-in, so the waiting threads form a chain.
bool LoadTurn::WouldWaitForever(LoadTurn const* other) const noexcept {
  for (LoadTurn const* turn = first; turn; turn = turn->next) {
    if (turn->thread == thread && turn->inLoader) return true;
  }
  while (other && other->thread != thread) {
    LoadTurn const* const wait = WaitOf(other->thread);
    other = wait ? LoaderOf(wait->module) : nullptr;
  }
  return other != nullptr;
}

}  // namespace yk
