// What lets several threads look up and create classes while one of them loads a plug-in.
//
// One lock guards the registry: the lists of the System, the chains and libraries of the modules, and of a
// record its factory and name. It is held for a few instructions and never while anything runs that is not
// this library's own: no entry point, factory or filter, no Release of a foreign object, nothing that waits
// for the system's loader.
//
// A plug-in is loaded by one thread, without the lock; that it is being loaded is noted in a turn, for which
// others wait.
#pragma once

namespace yk {

class Module;

/// Holds the lock for the length of a scope. It does not nest.
class RegistryLock {
 public:
  RegistryLock() noexcept;
  ~RegistryLock();
  RegistryLock(RegistryLock const&) = delete;
  RegistryLock& operator=(RegistryLock const&) = delete;
};

/// This thread's turn at loading a plug-in, from the end of any other thread's turn at the same one.
///
/// It begins at once, beside the other, where waiting would never end: when that is this thread's own (a
/// plug-in that creates a class of its own while it is attached); when the other waits, over however many
/// others, for what this thread loads (two plug-ins that create each other's classes); and when this thread
/// holds the system's loader lock, which the other may need. Of that lock only what Module::Load itself does
/// is known: a thread that is in the system's loader for a library that somebody else loads or frees must
/// create no class. What is found then is a plug-in that may be half loaded.
class LoadTurn {
 public:
  explicit LoadTurn(Module const& toLoad) noexcept;
  ~LoadTurn();
  LoadTurn(LoadTurn const&) = delete;
  LoadTurn& operator=(LoadTurn const&) = delete;

  /// Tells that the thread enters or leaves the system's loader.
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

  static LoadTurn* first;  // of all threads; each turn lies on its thread's stack
};

}  // namespace yk
