// File formats and the filters of plug-ins for them.
#pragma once

#include <qecore/core/ref.h>
#include <qecore/values/map.h>

#include <string>
#include <vector>

#include "host.h"

namespace qetool {

/// The filters for files with this name, or all of them, in the order in which the library tries them.
std::vector<yk::ClassInfo const*> FiltersFor(std::string const& path = {});

/// Prints a format, named by an extension, and the options of its filters. False: no filter has it.
bool PrintFormat(std::string const& extension);

/// NAME=VALUE texts as options of a filter class for writing; null if there are none. A `quality` other than
/// 0 applies to formats that have one. Throws Failure.
yk::Ref<yk::Map> ParseOptions(yk::Guid const& filter, std::vector<std::string> settings, unsigned quality);

}  // namespace qetool
