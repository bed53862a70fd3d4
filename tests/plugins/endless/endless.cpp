// A plug-in that never says that it has named its last class, and calls the library back whenever it is called: it
// scans, creates, registers and asks to be forgotten.
#include "../plugin.h"

intptr_t qe_entrypoint(unsigned message, uintptr_t first, void* second) {
  yk::System* const system = yk::System::ptr();
  if (message == yk::MODULE_VERSION_QUERY) return yk::KTZ_VERSION;
  if (message == yk::MODULE_ATTACH) system->ScanModules(L".", L"");
  if (message != yk::MODULE_CLASS) return 0;
  void* object = nullptr;
  if (first == 1 && yk::Succeeded(yk::CreateInterface(ENDLESS_ID, &object))) yk::Unknown::Free(&object);
  if (first == 2) {
    object = system->FindModule(L"endless.qem");
    system->UnloadModule(static_cast<yk::Module*>(object));
    yk::Unknown::Free(&object);
    yk::ClassInfo own;
    Fill(&own, ENDLESS_ID, "registered by itself");
    yk::RegisterInterface(&own);
  }
  yk::Guid id = ENDLESS_ID;
  id.second = static_cast<uint16_t>(id.second + first);
  return Fill(second, id, "Endless");
}
