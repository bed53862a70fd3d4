// The host's part of the library's life: the System, the plug-ins beside the program, and the class list.
#pragma once

#include <qecore/core/ref.h>
#include <qecore/core/system.h>

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "watch.h"

namespace qetool {

/// One file format that a plug-in reads and writes.
struct FilterInfo {
  yk::Guid classId;
  std::string name;
  std::vector<std::string> extensions;  // without a dot
  unsigned flags;
};

/// Lives as long as main. Commands that need plug-ins call Start.
class Host {
 public:
  /// Adds --plugins and --cache to a command.
  void AddOptions(CLI::App& command);
  void AddCacheOption(CLI::App& command);

  /// Builds the System and scans the plug-in folder; `folder` empty means --plugins, or the program's own.
  void Start(Watch& watch, std::string const& folder = {});

  std::string const& PluginFolder() const { return pluginFolder; }

  /// The image filters, in order of registration.
  std::vector<FilterInfo> Filters() const;

 private:
  yk::Ref<yk::System> system;
  std::string pluginFolder, cacheFile;
};

/// What a filter says of itself in its class record.
FilterInfo Describe(yk::ClassInfo const& info);

/// The arguments, with wildcards expanded in their last part: not every shell does it. A pattern that nothing
/// matches is a Failure.
std::vector<std::string> ExpandWildcards(std::vector<std::string> const& arguments);

}  // namespace qetool
