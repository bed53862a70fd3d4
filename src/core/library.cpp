// The library's entry point. Contract: it does nothing else. The host creates the System. Code that needs the
// library's own handle asks the system for it by an address of its own.
#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, void*) {
  if (reason == DLL_PROCESS_ATTACH) DisableThreadLibraryCalls(instance);
  return TRUE;
}
