// Looks at objects as another compiler's code does: slots by number, fields by offset, counts by counting.
#pragma once

#include <string.h>

/// The function in a slot, as a function pointer of type `Function`, which takes the object first.
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

/// How many references a counted object has.
template <class T>
unsigned References(T* object) {
  object->AddRef();
  return object->Release();
}
