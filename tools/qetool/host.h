// The tool as a host of the library: the System, the plug-ins next to the program, and the list of classes.
#pragma once

#include <qecore/core/ref.h>
#include <qecore/core/system.h>

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "watch.h"

namespace yk {
class Map;
}

namespace qetool {

/// One file format that a plug-in reads and writes.
struct FilterInfo {
  yk::Guid classId;
  std::string name;
  std::vector<std::string> extensions;  // without a dot
  unsigned flags;
};

/// Exists as long as main runs. Commands that need plug-ins call Start.
class Host {
 public:
  /// Adds --plugins and --cache to a command.
  void AddOptions(CLI::App& command);
  void AddCacheOption(CLI::App& command);

  /// Creates the System and scans `folder`; if empty, that of --plugins, or else the program's.
  void Start(Watch& watch, std::string const& folder = {});

  std::string const& PluginFolder() const { return pluginFolder; }

  /// The image filters, in the order in which they are tried.
  std::vector<FilterInfo> Filters() const;

 private:
  yk::Ref<yk::System> system;
  std::string pluginFolder, cacheFile;
};

/// The description of a filter in its class record.
FilterInfo Describe(yk::ClassInfo const& info);

/// The number with this key; 0 without one.
unsigned NumberOf(yk::Map* map, unsigned key);

/// Expands wildcards in the last part of each argument, as not every shell does. Throws Failure for a pattern
/// that matches no file.
std::vector<std::string> ExpandWildcards(std::vector<std::string> const& arguments);

}  // namespace qetool
