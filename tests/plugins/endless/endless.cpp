// A plug-in whose list of classes never ends, and which calls back into the library whenever it is called: it
// scans, creates, asks to be unloaded and registers.
#include "../plugin.h"

using namespace yk;

intptr_t qe_entrypoint(unsigned message, uintptr_t first, void* second) {
  System* const system = System::ptr();
  if (message == MODULE_VERSION_QUERY) return KTZ_VERSION;
  if (message == MODULE_ATTACH) system->ScanModules(L".", L"");
  if (message != MODULE_CLASS) return 0;
  if (first == 1) Create(ENDLESS_ID);
  if (first == 2) {
    system->UnloadModule(Ref<Module>::Adopt(system->FindModule(L"endless.qem")).get());
    ClassInfo own;
    Fill(&own, ENDLESS_ID, ENDLESS_ID, "registered by itself");
    RegisterInterface(&own);
  }
  Guid const id = TestId(ENDLESS_ID.first, static_cast<wchar_t>(1 + first));
  return Fill(second, id, id, "Endless");
}
