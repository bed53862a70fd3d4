// The registry as lower floors see it beyond registry.h: a look at a class record, and how the library's own
// classes come into it.
#pragma once

#include <qecore/core/registry.h>

namespace yk {

/// The record of a class, lent; null when there is none, or no System.
ClassInfo const* FindClass(Guid const& classId) noexcept;

/// The factory of a class that has a static Create(). It makes nothing for another class's record.
template <class Class>
HRESULT CreateOwn(ClassInfo const* info, void** out) noexcept {
  *out = nullptr;
  if (!(info->classId == Class::Id())) return E_NOINTERFACE;
  *out = Class::Create();
  return *out ? S_OK : E_OUTOFMEMORY;
}

/// Registers a class of the library. A null `name` is none; another must live as long as the library.
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
