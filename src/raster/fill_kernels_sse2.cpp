// The loops of painting for every x86-64 processor.
#include "fill_vectors_p.h"

namespace yk::raster {

KernelSet const BASE_KERNELS = KERNELS<Sse2>;

}  // namespace yk::raster
