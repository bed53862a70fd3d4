// The subcommands, one file each. Each adds itself to the command line and runs as a callback of CLI11, which
// throws Failure when it cannot continue.
#pragma once

#include <CLI/CLI.hpp>

#include "host.h"

namespace qetool {

void AddInfo(CLI::App& app, Host& host);
void AddConvert(CLI::App& app, Host& host);
void AddPlugins(CLI::App& app, Host& host);
void AddDump(CLI::App& app, Host& host);
void AddSheet(CLI::App& app, Host& host);
void AddXml(CLI::App& app, Host& host);
void AddHelp(CLI::App& app);

}  // namespace qetool
