// Lets several threads look up and create classes while one of them loads a plug-in.
//
// One lock guards the registry: the lists of the System, the chains and libraries of the modules, and the
// factory and name of each record. It is held for a few instructions and never while foreign code runs: no
// entry point, factory or filter, no Release of a foreign object, nothing that waits for the system's loader.
//
// A plug-in is loaded by one thread, without the lock; a turn records that it is being loaded, and other
// threads wait for the end of the turn.
#pragma once

namespace yk {

class Module;

/// Holds the lock until the end of a scope. Not recursive.
class RegistryLock {
 public:
  RegistryLock() noexcept;
  ~RegistryLock();
  RegistryLock(RegistryLock const&) = delete;
  RegistryLock& operator=(RegistryLock const&) = delete;
};

/// This thread's turn at loading a plug-in, which begins after any other thread's turn at the same one.
///
/// It begins at once, in parallel, where waiting would deadlock: when the other turn is this thread's own (a
/// plug-in that creates one of its own classes while it is attached); when the other thread waits, directly
/// or indirectly, for a plug-in that this thread loads (two plug-ins that create each other's classes); and
/// when this thread holds the system's loader lock, which the other may need. Only Module::Load records that
/// it holds the loader lock: a thread that is in the system's loader for a library loaded or freed elsewhere
/// must not create classes. A turn in parallel may find the plug-in half loaded.
class LoadTurn {
 public:
  explicit LoadTurn(Module const& toLoad) noexcept;
  ~LoadTurn();
  LoadTurn(LoadTurn const&) = delete;
  LoadTurn& operator=(LoadTurn const&) = delete;

  /// Records that the thread enters or leaves the system's loader.
  void SetInLoader(bool inside) noexcept { inLoader = inside; }

 private:
  enum State { WAITS, LOADS, BESIDE };

  static LoadTurn const* LoaderOf(Module const* module) noexcept;
  static LoadTurn const* WaitOf(unsigned long thread) noexcept;
  bool WouldWaitForever(LoadTurn const* other) const noexcept;

  Module const* module;
  unsigned long thread;
  State state = WAITS;
  bool inLoader = false;
  LoadTurn* next;

  static LoadTurn* first;  // of all threads; each turn is on its thread's stack
};

}  // namespace yk
