#include "existing.h"

#include <stdio.h>
#include <windows.h>

#include "text.h"
#include "watch.h"

namespace qetool {

namespace {

bool IsTerminal(DWORD stream) {
  DWORD mode;
  return GetConsoleMode(GetStdHandle(stream), &mode);
}

// The first letter of the next line; 0 at the end of the input, also after Ctrl-C.
char ReadAnswer() {
  char line[64];
  if (!fgets(line, sizeof line, stdin)) return 0;
  return line[0] >= 'A' && line[0] <= 'Z' ? static_cast<char>(line[0] + 32) : line[0];
}

}  // namespace

bool Exists(std::string const& path) {
  return GetFileAttributesW(ToWide(path).c_str()) != INVALID_FILE_ATTRIBUTES;
}

void AddExistingOptions(CLI::App& command, ExistingOptions& options) {
  CLI::Option* const replace = command.add_flag(
      "--overwrite", options.isReplaced,
      "Replace files that exist; by default this is asked on a terminal, and done elsewhere");
  command.add_flag("--skip", options.isKept, "Keep files that exist")->excludes(replace);
}

Existing::Existing(ExistingOptions const& options) : rule(Rule::REPLACE) {
  bool const canAsk = IsTerminal(STD_INPUT_HANDLE) && IsTerminal(STD_ERROR_HANDLE);
  if (options.isKept) rule = Rule::KEEP;
  if (!options.isKept && !options.isReplaced && canAsk) rule = Rule::ASK;
}

bool Existing::MayWrite(std::string const& path) {
  if (rule == Rule::REPLACE || !Exists(path)) return true;
  return rule == Rule::ASK && Ask(path);
}

bool Existing::Ask(std::string const& path) {
  for (;;) {
    fprintf(stderr, "%s exists. Replace it? y: yes, n: no, a: all, s: skip all, q: quit ", path.c_str());
    switch (ReadAnswer()) {
      case 'y':
        return true;
      case 'n':
        return false;
      case 'a':
        rule = Rule::REPLACE;
        return true;
      case 's':
        rule = Rule::KEEP;
        return false;
      case 'q':
      case 0:
        throw Stopped{};
      default:
        break;  // asks again
    }
  }
}

}  // namespace qetool
