// A plug-in for a later version of the interface, with a class that the library has, and another one.
#include "../plugin.h"

intptr_t qe_entrypoint(unsigned message, uintptr_t first, void* second) {
  if (message == yk::MODULE_VERSION_QUERY) return 3;
  if (message != yk::MODULE_CLASS || first > 1) return 0;
  return Fill(second, first == 0 ? yk::ids::MAP : VERSION3_ID, {}, nullptr);
}
