#include <qecore/core/conversions.h>

#include "conversions_p.h"

namespace yk {

int round(double value) noexcept { return TruncateToInt(value >= 0.0 ? value + 0.5 : value - 0.5); }

}  // namespace yk
