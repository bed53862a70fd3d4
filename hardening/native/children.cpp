// Processes that Wine starts for itself, such as the one that holds the desktop, do not start well with the
// sanitizer loaded into them. Nobody else is to inherit it.
#include <stdlib.h>

__attribute__((constructor)) static void KeepTheSanitizerToOurselves() { unsetenv("LD_PRELOAD"); }
