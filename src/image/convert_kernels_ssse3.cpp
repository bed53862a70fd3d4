// The pixel converters for processors with SSSE3.
#include "convert_kernels_p.h"

namespace yk::img {

Kernel const* const KERNELS_SSSE3 = KERNELS<Isa::SSSE3>;

}  // namespace yk::img
