// The library's entry point. It does almost nothing: the host creates the System.
#include <windows.h>

#include "error_p.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*) {
  if (reason == DLL_THREAD_DETACH) yk::ForgetErrorsOfThread();
  return TRUE;
}
