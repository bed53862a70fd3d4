// The loops of painting for processors with AVX2.
#include "fill_vectors_p.h"

namespace yk::raster {

KernelSet const AVX2_KERNELS = KERNELS<Avx2>;

}  // namespace yk::raster
