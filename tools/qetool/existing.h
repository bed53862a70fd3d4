// What happens to files that exist already when a command is about to write them.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace qetool {

/// --overwrite and --skip. Without either, the user is asked on a terminal, and elsewhere files are replaced.
struct ExistingOptions {
  bool isReplaced = false, isKept = false;
};

void AddExistingOptions(CLI::App& command, ExistingOptions& options);

/// Decides for one file after the other; an answer may be for all that follow.
class Existing {
 public:
  explicit Existing(ExistingOptions const& options);

  /// Whether `path` may be written: it does not exist, or it may be replaced. Throws Stopped when the user
  /// wants to stop.
  bool MayWrite(std::string const& path);

 private:
  enum class Rule { REPLACE, KEEP, ASK };

  bool Ask(std::string const& path);

  Rule rule;
};

/// True for a file or folder.
bool Exists(std::string const& path);

}  // namespace qetool
