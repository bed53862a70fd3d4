// Parts of the registry for lower floors, beyond registry.h: looking up class records, and registering the
// library's own classes.
#pragma once

#include <qecore/core/ref.h>
#include <qecore/core/registry.h>

namespace yk {

class Array;

/// The maximum number of patterns of a filter, so that one with an endless list cannot hang the registration.
inline constexpr unsigned MAX_PATTERNS = 4096;

/// The records of all filters, borrowed, in order of registration. E_FAIL: there is no System;
/// E_OUTOFMEMORY.
HRESULT CopyFilters(char const* operation, Ref<Array>& copy) noexcept;

/// The record of a class, borrowed; null for an unknown class or without a System.
ClassInfo const* FindClass(Guid const& classId) noexcept;

/// The factory of a class with a static Create(). Fails for another class's record.
template <class Class>
HRESULT CreateOwn(ClassInfo const* info, void** out) noexcept {
  *out = nullptr;
  if (!(info->classId == Class::Id())) return E_NOINTERFACE;
  *out = Class::Create();
  return *out ? S_OK : E_OUTOFMEMORY;
}

/// Registers a class of the library. `name` may be null; otherwise it must live as long as the library.
template <class Class>
HRESULT RegisterOwn(Guid const& interfaceId, char const* name) noexcept {
  ClassInfo info;
  info.classId = Class::Id();
  info.interfaceId = interfaceId;
  info.name = name;
  info.create = CreateOwn<Class>;
  if (name) info.flags = ClassInfo::STATIC_NAME;
  return RegisterInterface(&info);
}

}  // namespace yk
