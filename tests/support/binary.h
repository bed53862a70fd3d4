// Accesses objects like code of another compiler: slots by number, fields by offset, counts by counting.
#pragma once

#include <qecore/values/variant.h>
#include <stdint.h>
#include <string.h>

/// The function in a slot, as a function pointer of type `Function`, whose first parameter is the object.
template <class Function>
Function Slot(void* object, int index) {
  return reinterpret_cast<Function>((*static_cast<void***>(object))[index]);
}

/// The field at an offset.
template <class T>
T Field(void const* object, size_t offset) {
  T value;
  memcpy(&value, static_cast<char const*>(object) + offset, sizeof value);
  return value;
}

/// Frees a block from the library's `operator new` inside the library, where blocks are counted.
inline void FreeInLibrary(void* block) {
  yk::Variant owner;
  owner.value.pointer = block;
  owner.size = 1;
  owner.type = yk::Variant::BLOB;
}

/// The number of references to a counted object.
template <class T>
unsigned References(T* object) {
  object->AddRef();
  return object->Release();
}

/// During its lifetime, a slot of an object counts its calls, returns 0 and does nothing else, like the hook
/// of a host.
class SlotHook {
 public:
  SlotHook(void* toHook, int slots, int slot) : object(static_cast<void***>(toHook)), table(*object) {
    memcpy(copy, table, static_cast<size_t>(slots) * sizeof *copy);
    copy[slot] = reinterpret_cast<void*>(Count);
    *object = copy;
    calls = 0;
  }
  ~SlotHook() { *object = table; }
  SlotHook(SlotHook const&) = delete;
  SlotHook& operator=(SlotHook const&) = delete;

  /// How many times `call` calls the slot.
  template <class Call>
  static int Calls(void* toHook, int slots, int slot, Call call) {
    SlotHook const hook(toHook, slots, slot);
    call();
    return calls;
  }

  static inline int calls;

 private:
  static intptr_t Count() { return calls++, 0; }

  void*** object;
  void** table;
  void* copy[64];
};
