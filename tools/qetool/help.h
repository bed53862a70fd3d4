// How the help texts look.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace qetool {

/// What the value of an option, or an argument, is called: "FILE".
std::string TypeOf(CLI::Option const* option);

/// Shows what an option or a file is called, and nothing of how it is parsed.
class HelpFormatter final : public CLI::Formatter {
 public:
  HelpFormatter();
  std::string make_option(CLI::Option const* option, bool isPositional) const override;
  std::string make_option_name(CLI::Option const* option, bool isPositional) const override;
  std::string make_option_opts(CLI::Option const* option) const override;
  std::string make_option_usage(CLI::Option const* option) const override;
};

}  // namespace qetool
