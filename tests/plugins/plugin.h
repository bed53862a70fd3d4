// What the test plug-ins share: their classes' identifiers, a class, and a log of the messages that they were sent.
// The log is an environment variable, which the library, the plug-ins and the test have in common.
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

/// The class of slow.qem in a file whose name begins with `letter`.
constexpr yk::Guid SlowId(wchar_t letter) { return {0x51040001, letter, 1, {1, 1, 1, 1, 1, 1, 1, 1}}; }

inline constexpr wchar_t LOG[] = L"QECORE_TEST_LOG";

/// Notes "message,first ", with a "!" when a pointer that came with it is wrong.
inline void Log(unsigned message, uintptr_t first, void* second) {
  wchar_t log[4096] = {};
  GetEnvironmentVariableW(LOG, log, 4000);
  bool const attached = message == yk::MODULE_ATTACH;
  bool const right = attached ? first == reinterpret_cast<uintptr_t>(yk::System::ptr()) && second
                              : (message == yk::MODULE_CLASS) == (second != nullptr);
  swprintf(log + wcslen(log), 64, L"%u,%u%ls ", message, attached ? 0 : static_cast<unsigned>(first),
           right ? L"" : L"!");
  SetEnvironmentVariableW(LOG, log);
}

/// Makes an object of a class that has a default constructor.
template <class Class>
HRESULT Make(yk::ClassInfo const*, void** out) {
  *out = new (std::nothrow) Class;
  return *out ? S_OK : E_OUTOFMEMORY;
}

/// A class that does nothing, under any identifier.
class Thing final : public yk::Destroys<Thing, yk::Unknown> {};

inline intptr_t Fill(void* record, yk::Guid const& id, char const* name, uint32_t flags = 0) {
  yk::ClassInfo* const info = static_cast<yk::ClassInfo*>(record);
  info->classId = info->interfaceId = id;
  info->name = name;
  info->flags = flags;
  info->create = Make<Thing>;
  return 1;
}

extern "C" __declspec(dllexport) intptr_t qe_entrypoint(unsigned message, uintptr_t first, void* second);
