// Shared by the test plug-ins: their classes' identifiers, a class, and a log of the messages that they
// receive. The log is an environment variable, which the library, the plug-ins and the test share.
#pragma once

#include <qecore/core/module.h>
#include <qecore/core/ref.h>
#include <qecore/core/system.h>
#include <windows.h>

#include <cwchar>

constexpr yk::Guid TestId(unsigned first, wchar_t letter = 1) {
  return {first, letter, 1, {1, 1, 1, 1, 1, 1, 1, 1}};
}
inline constexpr yk::Guid ECHO_ID = TestId(0xEC400001), FILTER_ID = TestId(0xF1170001),
                          VERSION3_ID = TestId(0x30000001), ENDLESS_ID = TestId(0xE9D00001);

/// The class of slow.qem in a file whose name begins with `letter`.
constexpr yk::Guid SlowId(wchar_t letter) { return TestId(0x51040001, letter); }

inline constexpr wchar_t LOG[] = L"QECORE_TEST_LOG";

/// Logs "message,first ", with a 0 for the System itself.
inline void Log(unsigned message, uintptr_t first) {
  wchar_t log[4096] = {};
  GetEnvironmentVariableW(LOG, log, 4000);
  if (first == reinterpret_cast<uintptr_t>(yk::System::ptr())) first = 0;
  swprintf(log + wcslen(log), 64, L"%u,%u ", message, static_cast<unsigned>(first));
  SetEnvironmentVariableW(LOG, log);
}

/// Creates an object of a class with a default constructor.
template <class Class>
HRESULT Make(yk::ClassInfo const*, void** out) {
  *out = new Class;
  return S_OK;
}

/// Creates an object and releases it.
inline HRESULT Create(yk::Guid const& id) {
  yk::Ref<yk::Unknown> object;
  return yk::CreateInterface(id, object.ReceiveVoid());
}

/// The record of a class, or null.
inline yk::ClassInfo* Find(yk::Guid const& id) {
  yk::ClassInfo* info = nullptr;
  return yk::System::ptr()->FindClass(id, &info) == S_OK ? info : nullptr;
}

/// A class without functions of its own, under any identifier.
class Thing final : public yk::Destroys<Thing, yk::Unknown> {};

template <class Class = Thing>
intptr_t Fill(void* record, yk::Guid const& id, yk::Guid const& interfaceId, char const* name,
              unsigned flags = 0) {
  yk::ClassInfo* const info = static_cast<yk::ClassInfo*>(record);
  info->classId = id, info->interfaceId = interfaceId, info->create = Make<Class>;
  info->name = name, info->flags = flags;
  return 1;
}

extern "C" __declspec(dllexport) intptr_t qe_entrypoint(unsigned message, uintptr_t first, void* second);
