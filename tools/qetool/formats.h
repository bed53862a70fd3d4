// File formats and the filters of plug-ins for them.
#pragma once

#include <qecore/core/filter.h>
#include <qecore/core/ref.h>
#include <qecore/values/map.h>

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "host.h"

namespace qetool {

/// The filters for files with this name, or all of them, in the order in which the library tries them.
std::vector<yk::ClassInfo const*> FiltersFor(std::string const& path = {});

/// Prints a format, named by an extension, and the options of its filters. False: no filter has it.
bool PrintFormat(std::string const& extension);

/// Whether filters of the class have the option with this key of FilterOption.
bool HasOption(yk::Guid const& filter, yk::FilterUse use, unsigned key);

/// How a picture is written.
struct WriteOptions {
  yk::Ref<yk::Map> values;  // null: none
  /// For a filter without options that takes a quality as the `options` of ykFlt2d::Write. 0: none.
  unsigned quality = 0;
};

/// Adds --read-option or --option to a command: NAME=VALUE texts.
void AddSettings(CLI::App& command, yk::FilterUse use, std::vector<std::string>& settings);

/// No options yet. Throws Failure.
yk::Ref<yk::Map> NewOptions();

/// Sets NAME=VALUE texts as options of a filter class. Throws Failure.
void SetOptions(yk::Guid const& filter, yk::FilterUse use, std::vector<std::string> const& settings,
                yk::Map& options);

/// The options of writing by a filter class. A `quality` other than 0 is set if the class has one. Throws
/// Failure.
WriteOptions ParseOptions(yk::Guid const& filter, std::vector<std::string> const& settings, unsigned quality);

/// Throws Failure, which says why, when a quality is given but none of these filter classes has one.
void CheckQuality(unsigned quality, std::vector<yk::Guid> const& filters);

}  // namespace qetool
