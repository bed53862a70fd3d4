// The subcommands, one file each. Each adds itself to the command line and runs as a callback of CLI11, which
// throws Failure when it cannot continue.
#pragma once

#include <CLI/CLI.hpp>

#include "host.h"

namespace qetool {

/// diff tells different pictures from trouble by its exit code.
inline constexpr char DIFF[] = "diff";
constexpr int EXIT_DIFFERENT = 1, EXIT_TROUBLE_OF_DIFF = 2;

void AddInfo(CLI::App& app, Host& host);
void AddConvert(CLI::App& app, Host& host);
void AddPlugins(CLI::App& app, Host& host);
void AddFormats(CLI::App& app, Host& host);
void AddDump(CLI::App& app, Host& host);
void AddSheet(CLI::App& app, Host& host);
void AddXml(CLI::App& app, Host& host);
void AddDiff(CLI::App& app, Host& host);
void AddVerify(CLI::App& app, Host& host);
void AddHelp(CLI::App& app, Host& host);

}  // namespace qetool
