// qetool: the library's companion on the command line. One subcommand per file; see commands.h.
#include <qecore/core/diagnostics.h>
#include <qecore/core/version.h>
#include <stdio.h>
#include <windows.h>
// shellapi.h needs windows.h before it
#include <shellapi.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <new>

#include "commands.h"
#include "help.h"
#include "output.h"
#include "text.h"

namespace {

using namespace qetool;

// The arguments as UTF-8, regardless of the code page.
std::vector<std::string> Arguments() {
  int count = 0;
  wchar_t** const wide = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) arguments.push_back(ToUtf8(wide[i]));
  LocalFree(wide);
  return arguments;
}

bool Is(CLI::Error const& error, CLI::ExitCodes code) {
  return error.get_exit_code() == static_cast<int>(code);
}

// What was not understood. CLI11's own text has it in reverse order.
std::string DescribeExtras(std::vector<std::string> const& extras) {
  auto const option = std::ranges::find_if(extras, [](std::string const& one) { return one[0] == '-'; });
  if (option != extras.end()) return "unknown option " + *option;
  return "unexpected argument " + extras.front();
}

// CLI11's own text, where the user understands it.
std::string TextOf(CLI::App const& command, CLI::Error const& error) {
  std::string const text = error.what();
  size_t const colon = text.find(": ");
  if (Is(error, CLI::ExitCodes::ArgumentMismatch)) return text.substr(0, colon) + " needs a value";
  std::vector<std::string> const extras = command.remaining();
  if (Is(error, CLI::ExitCodes::ExtrasError) && !extras.empty()) return DescribeExtras(extras);
  auto const missing = command.get_options([](CLI::Option const* option) {
    return option->get_required() && option->get_positional() && option->count() == 0;
  });
  bool const isMissing = Is(error, CLI::ExitCodes::RequiredError) && !missing.empty();
  return isMissing ? TypeOf(missing[0]) + " is required" : text;  // by the name that the help shows
}

// One line: why, and where to find help.
std::string Explain(CLI::App const* app, CLI::Error const& error) {
  std::string command = app->get_display_name(), line = TextOf(*app, error);
  for (CLI::App const* chosen : app->get_subcommands()) {
    command += " " + chosen->get_name();
    line = TextOf(*chosen, error);
  }
  for (char& c : line) c = c == '\n' ? ' ' : c;
  return "qetool: " + line + " (see " + command + " --help)\n";
}

bool HasCommand(CLI::App const& app, std::string const& name) {
  auto const commands =
      app.get_subcommands([&](CLI::App const* command) { return command->get_name() == name; });
  return !commands.empty();
}

// Returns the exit code, `trouble` for arguments that cannot be understood.
int Parse(std::vector<std::string> arguments, int trouble) {
  CLI::App app("Shows and converts pictures, plug-ins and object files through qeCore.", "qetool");
  app.formatter(std::make_shared<HelpFormatter>());
  app.require_subcommand(1);
  app.allow_windows_style_options(false);  // "/home" is a path
  app.failure_message(Explain);
  app.set_version_flag("--version", "qetool " QECORE_VERSION_TEXT);
  Host host;
  AddInfo(app, host);
  AddConvert(app, host);
  AddPlugins(app, host);
  AddFormats(app, host);
  AddDump(app, host);
  AddSheet(app, host);
  AddXml(app, host);
  AddDiff(app, host);
  AddVerify(app, host);
  AddHelp(app, host);
  for (CLI::App* command : app.get_subcommands({})) command->group("Commands");
  app.footer("qetool help COMMAND shows the options of a command.");  // last: commands would take it over
  if (arguments.empty()) throw Failure{"a command is required (see qetool --help)"};
  if (!HasCommand(app, arguments[0]) && !app.get_option_no_throw(arguments[0])) {
    char const* const kind = arguments[0][0] == '-' ? "option " : "command ";
    throw Failure{"unknown " + (kind + arguments[0]) + " (see qetool --help)"};
  }
  std::reverse(arguments.begin(), arguments.end());  // CLI11 reads them from the end
  try {
    app.parse(std::move(arguments));
  } catch (CLI::RuntimeError const& error) {  // of a command, which has said why
    return error.get_exit_code();
  } catch (CLI::Error const& error) {  // --help is one, too
    return app.exit(error) == 0 ? 0 : trouble;
  }
  return 0;
}

// Nobody could close the library's message box, and it may not throw.
void PrintError(wchar_t const* text) {
  char line[4096] = {};
  WideCharToMultiByte(CP_UTF8, 0, text, -1, line, sizeof line - 1, nullptr, nullptr);
  fprintf(stderr, "qetool: %s\n", line);
}

int Run() {
  std::vector<std::string> const arguments = Arguments();
  int const trouble = !arguments.empty() && arguments[0] == DIFF ? EXIT_TROUBLE_OF_DIFF : 1;
  try {
    int const result = Parse(arguments, trouble);
    FlushOutput();
    return result;
  } catch (Failure const& failure) {
    Report(failure.text);
  } catch (Stopped const&) {
    Report("stopped");
    return EXIT_STOPPED;
  } catch (std::bad_alloc const&) {
    fprintf(stderr, "qetool: not enough memory\n");
  } catch (std::exception const& error) {
    fprintf(stderr, "qetool: %s\n", error.what());
  }
  return trouble;
}

}  // namespace

int main() {
  UINT const codePage = GetConsoleOutputCP();
  SetConsoleOutputCP(CP_UTF8);
  yk::SetErrorHandler(PrintError);
  int const result = Run();
  SetConsoleOutputCP(codePage);
  return result;
}
