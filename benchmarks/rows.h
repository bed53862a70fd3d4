// The rows that were added.
#pragma once

#include "measure.h"
#include "results.h"

namespace bench {

/// One row, which is prepared and measured by the call.
struct Entry {
  std::string table, name;
  std::function<Results(Effort const&)> measure;
};

/// All rows, in the order in which they were added.
std::vector<Entry>& Entries();

}  // namespace bench
