// A plug-in that offers a class which the library has, and another one.
#include "../plugin.h"

intptr_t qe_entrypoint(unsigned message, uintptr_t first, void* second) {
  if (message == yk::MODULE_VERSION_QUERY) return yk::KTZ_VERSION;
  if (message != yk::MODULE_CLASS || first > 1) return 0;
  return Fill(second, first == 0 ? yk::ids::MAP : CLASH_ID, "Clash");
}
