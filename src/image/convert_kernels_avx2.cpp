// The pixel converters for processors with AVX2.
#include "convert_kernels_p.h"

namespace yk::img {

Kernel const* const KERNELS_AVX2 = KERNELS<Isa::AVX2>;

}  // namespace yk::img
