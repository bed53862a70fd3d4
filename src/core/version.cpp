#include <qecore/core/version.h>

namespace yk {

unsigned LibraryVersion() noexcept { return QECORE_VERSION; }

}  // namespace yk
