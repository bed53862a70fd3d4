// Area averaging for any x86-64 processor.
#include "resample_kernels_p.h"

namespace yk::img {

ResampleKernels const RESAMPLE_BASE = {
    {AddRows<Isa::BASE, float, 1>, AddRows<Isa::BASE, float, 3>, AddRows<Isa::BASE, float, 4>}, {}, nullptr};

}  // namespace yk::img
