// A plug-in that is slow to attach, and then creates the class of another copy of itself: that of b.qem if
// its file is a.qem, otherwise that of a.qem. d.qem does so as soon as the system maps it.
#include "../plugin.h"

static wchar_t letter;

// The name comes from the system's loader, so this waits for a thread inside it.
static void LearnLetter(HINSTANCE library) {
  wchar_t path[MAX_PATH] = {};
  GetModuleFileNameW(library, path, MAX_PATH);
  letter = wcsrchr(path, L'\\')[1];
}

static void CreateOther() { Create(SlowId(letter == L'a' ? L'b' : L'a')); }

extern "C" BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, void*) {
  LearnLetter(library);
  if (reason == DLL_PROCESS_ATTACH && letter == L'd') CreateOther();
  return TRUE;
}

intptr_t qe_entrypoint(unsigned message, uintptr_t first, void* second) {
  if (message == yk::MODULE_VERSION_QUERY) return yk::KTZ_VERSION;
  if (message == yk::MODULE_CLASS && first == 0) return Fill(second, SlowId(letter), SlowId(letter), "Slow");
  if (message != yk::MODULE_ATTACH) return 0;
  Log(message, first);
  Sleep(20);
  LearnLetter(static_cast<HINSTANCE>(second));
  CreateOther();
  return 0;
}
