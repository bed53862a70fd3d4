// qetool help: the help text of the tool or of a command.
#include "help.h"

#include <stdio.h>

#include <algorithm>
#include <charconv>
#include <memory>
#include <sstream>

#include "commands.h"
#include "formats.h"
#include "text.h"

namespace qetool {

namespace {

constexpr size_t COLUMN = 24, WIDTH = 100;  // of the descriptions, of a line

void Print(CLI::App const& app, Host& host, std::string const& name) {
  if (name.empty()) {  // App::help would show that of this command
    printf("%s", app.get_formatter()->make_help(&app, "qetool", CLI::AppFormatMode::Normal).c_str());
    return;
  }
  for (CLI::App const* command : app.get_subcommands([](CLI::App const*) { return true; })) {
    if (command->get_name() != name) continue;
    printf("%s", command->help("qetool").c_str());
    return;
  }
  Watch watch;
  host.Start(watch);
  if (!PrintFormat(name)) throw Failure{"unknown command or format " + name + " (see qetool help)"};
}

// Continues `text` in an indented column.
std::string Wrap(std::string const& text, size_t indent, size_t width) {
  std::string wrapped;
  size_t column = 0;
  std::istringstream words(text);
  for (std::string word; words >> word; column += word.size() + 1) {
    if (column > 0 && column + word.size() > width) {
      wrapped += "\n" + std::string(indent, ' ');
      column = 0;
    }
    wrapped += (column > 0 ? " " : "") + word;
  }
  return wrapped;
}

}  // namespace

ValueCheck WholeNumber(unsigned least, unsigned most) {
  return [=](std::string const& value) {
    unsigned number = 0;
    char const* const end = value.data() + value.size();
    auto const [next, error] = std::from_chars(value.data(), end, number);
    bool const isValid = error == std::errc() && next == end && number >= least && number <= most;
    return isValid ? std::string()
                   : Format("%s must be a whole number from %u to %u", value.c_str(), least, most);
  };
}

// CLI11 adds the checks of a value to its type: "N:INT in [1 - 100]".
std::string TypeOf(CLI::Option const* option) {
  std::string const type = option->get_type_name();
  return type.substr(0, type.find(':'));
}

HelpFormatter::HelpFormatter() {
  label("Positionals", "Arguments");
  label("SUBCOMMAND", "COMMAND");
  column_width(COLUMN);
}

std::string HelpFormatter::make_option(CLI::Option const* option, bool isPositional) const {
  std::string line = "  " + make_option_name(option, isPositional) + make_option_opts(option);
  if (line.size() + 2 > COLUMN) line += "\n" + std::string(COLUMN, ' ');
  if (line.size() < COLUMN) line.resize(COLUMN, ' ');
  return line + Wrap(option->get_description(), COLUMN, WIDTH - COLUMN) + "\n";
}

std::string HelpFormatter::make_option_name(CLI::Option const* option, bool isPositional) const {
  return isPositional ? TypeOf(option) : option->get_name(false, true);
}

std::string HelpFormatter::make_option_opts(CLI::Option const* option) const {
  bool const hasValue = !option->get_positional() && option->get_type_size() != 0;
  return hasValue && !TypeOf(option).empty() ? " " + TypeOf(option) : std::string();
}

std::string HelpFormatter::make_option_usage(CLI::Option const* option) const {
  return option->get_required() ? TypeOf(option) : "[" + TypeOf(option) + "]";
}

void AddHelp(CLI::App& app, Host& host) {
  CLI::App& command = *app.add_subcommand("help", "Show the options of a command or of a file format");
  auto const name = std::make_shared<std::string>();
  command
      .add_option("command", *name,
                  "Command, or extension of a file format; without it, the commands are listed")
      ->type_name("NAME");
  host.AddOptions(command);
  command.callback([&app, &host, name] { Print(app, host, *name); });
}

}  // namespace qetool
