// The library's entry point. Attaching notes which module this is and does nothing else: the System is the
// host's to build.
#include <qecore/core/base.h>
#include <windows.h>

#include "library_p.h"

namespace yk {

namespace {

HINSTANCE libraryInstance;

}  // namespace

HINSTANCE LibraryInstance() noexcept { return libraryInstance; }

}  // namespace yk

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, void*) {
  if (reason == DLL_PROCESS_ATTACH) {
    yk::libraryInstance = instance;
    DisableThreadLibraryCalls(instance);
  }
  return TRUE;
}
