// What the test plug-ins share: their classes' identifiers, and a log of the messages that they were sent. The log is
// an environment variable, which the library, the plug-ins and the test have in common.
#pragma once

#include <qecore/core/module.h>
#include <qecore/core/system.h>
#include <windows.h>

#include <cwchar>
#include <new>

inline constexpr yk::Guid ECHO_ID = {0xEC400001, 1, 1, {1, 1, 1, 1, 1, 1, 1, 1}};
inline constexpr yk::Guid FILTER_ID = {0xF1170001, 1, 1, {1, 1, 1, 1, 1, 1, 1, 1}};
inline constexpr yk::Guid VERSION3_ID = {0x30000001, 1, 1, {1, 1, 1, 1, 1, 1, 1, 1}};
inline constexpr yk::Guid CLASH_ID = {0xC1A50001, 1, 1, {1, 1, 1, 1, 1, 1, 1, 1}};
inline constexpr yk::Guid ENDLESS_ID = {0xE9D00001, 1, 1, {1, 1, 1, 1, 1, 1, 1, 1}};

inline constexpr wchar_t LOG[] = L"QECORE_TEST_LOG";

inline void Log(wchar_t const* plugin, unsigned message, uintptr_t first, void* second) {
  wchar_t log[4096] = {};
  GetEnvironmentVariableW(LOG, log, 4000);
  HMODULE self = nullptr;
  GetModuleHandleExW(6, reinterpret_cast<wchar_t const*>(plugin), &self);  // whose text this is
  bool const right =
      message == yk::MODULE_ATTACH
          ? reinterpret_cast<yk::System*>(first) == yk::System::ptr() && second == static_cast<void*>(self)
          : (message == yk::MODULE_CLASS) == (second != nullptr);
  swprintf(log + wcslen(log), 64, L"%ls:%u,%u%ls ", plugin, message,
           message == yk::MODULE_ATTACH ? 0 : static_cast<unsigned>(first), right ? L"" : L"!");
  SetEnvironmentVariableW(LOG, log);
}

/// A class that does nothing, under any identifier.
class Thing final : public yk::Destroys<Thing, yk::Unknown> {
 public:
  static HRESULT Make(yk::ClassInfo const*, void** out) {
    *out = new (std::nothrow) Thing;
    return *out ? S_OK : E_OUTOFMEMORY;
  }

 private:
  template <class, class>
  friend class yk::Destroys;
  ~Thing() = default;
};

inline intptr_t Fill(void* record, yk::Guid const& id, char const* name, uint32_t flags = 0) {
  yk::ClassInfo* const info = static_cast<yk::ClassInfo*>(record);
  info->classId = info->interfaceId = id;
  info->name = name;
  info->flags = flags;
  info->create = Thing::Make;
  return 1;
}

extern "C" __declspec(dllexport) intptr_t qe_entrypoint(unsigned message, uintptr_t first, void* second);
