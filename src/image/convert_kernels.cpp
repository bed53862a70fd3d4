// The pixel converters for any x86-64 processor.
#include "convert_kernels_p.h"

namespace yk::img {

Kernel const* const KERNELS_BASE = KERNELS<Isa::BASE>;

}  // namespace yk::img
