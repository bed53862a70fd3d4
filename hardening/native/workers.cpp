// Threads of the library, which the system may refuse to start.
#include <windows.h>

#include "plan.h"

extern "C" HANDLE WINAPI harness_CreateThread(SECURITY_ATTRIBUTES* security, SIZE_T stack,
                                              LPTHREAD_START_ROUTINE run, void* argument, DWORD flags,
                                              DWORD* identifier) {
  if (!harness::Fails(harness::THREAD))
    return CreateThread(security, stack, run, argument, flags, identifier);
  SetLastError(ERROR_NOT_ENOUGH_MEMORY);
  return nullptr;
}
