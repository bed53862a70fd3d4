// The library's entry point. Attaching does nothing: the System is the host's to build.
#include <windows.h>

#include "error_p.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*) {
  if (reason == DLL_THREAD_DETACH) yk::ForgetErrorsOfThread();
  return TRUE;
}
