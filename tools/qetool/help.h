// How the help texts look, and what the values of options must be.
#pragma once

#include <CLI/CLI.hpp>

#include <functional>
#include <string>

namespace qetool {

/// A check of an option's value: empty, or what it must be.
using ValueCheck = std::function<std::string(std::string const& value)>;

/// For a whole number in a range.
ValueCheck WholeNumber(unsigned least, unsigned most);

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
