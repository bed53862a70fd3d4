// Processes that Wine starts for itself, such as the one that holds the desktop, do not start reliably with
// the sanitizer preloaded, so they must not inherit it.
#include <stdlib.h>

__attribute__((constructor)) static void KeepTheSanitizerToOurselves() { unsetenv("LD_PRELOAD"); }
