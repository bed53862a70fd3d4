// Means of cells for any x86-64 processor.
#include "cell_kernels_p.h"

namespace yk::img {
namespace {

size_t Means(Cells const& cells, CellRow const& row) noexcept { return MeansFrom(cells, row, 0, 0); }

void SumListed(Cells const& cells, CellRow const& row, size_t listed, float weight, float* sums) noexcept {
  SumListedFrom(cells, row, 0, listed, weight, sums);
}

}  // namespace

CellKernels const CELLS_BASE = {Means, SumListed};

}  // namespace yk::img
