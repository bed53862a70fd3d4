// A plug-in of a later version of the contract.
#include "../plugin.h"

intptr_t qe_entrypoint(unsigned message, uintptr_t first, void* second) {
  if (message == yk::MODULE_VERSION_QUERY) return 3;
  return message == yk::MODULE_CLASS && first == 0 ? Fill(second, VERSION3_ID, nullptr) : 0;
}
