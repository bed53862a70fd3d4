// The program: chooses rows, measures them, and shows or compares the results.
#include <qecore/core/parallel.h>
#include <qecore/core/system.h>
#include <qecore/draw/device_context.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "rows.h"

namespace bench {

namespace {

constexpr char USAGE[] =
    "usage: bench [--only=TEXT,...] [--quick] [--list] [--json=FILE] [--compare=FILE] [--tolerance=FACTOR]\n"
    "             [--from=FILE] [--document=FOLDER]\n"
    "  --only       only rows whose table or name contains one of the texts\n"
    "  --quick      fewer samples, and two of three sizes\n"
    "  --compare    shows what is slower, relative to its reference, than in an earlier file, by more than\n"
    "               the tolerance (1.25); the exit code is 1 if anything is\n"
    "  --from       measures nothing, and takes the results of this file\n"
    "  --document   puts the results into performance.md and images/performance.png of the folder\n";

struct Options {
  bool quick = false, list = false;
  std::string only, json, compare, tolerance = "1.25", from, document;
};

std::vector<std::string> Split(std::string const& text) {
  std::vector<std::string> parts;
  std::stringstream stream(text);
  for (std::string part; std::getline(stream, part, ',');) parts.push_back(part);
  return parts;
}

bool IsWanted(Entry const& entry, std::vector<std::string> const& only) {
  std::string const whole = entry.table + ": " + entry.name;
  return only.empty() || std::any_of(only.begin(), only.end(), [&](std::string const& part) {
           return whole.find(part) != std::string::npos;
         });
}

/// How much slower the slowest of the results is than before.
double SlowDown(Results const& results, Results const& earlier) {
  double most = 0;
  for (Result const& result : results) {
    Result const* const old = FindSame(earlier, result);
    if (old && old->ratio > 0 && result.table != THREADS) most = std::max(most, result.ratio / old->ratio);
  }
  return most;
}

/// What seems slower is measured again, and longer: others may have disturbed it.
Results MeasureEntry(Entry const& entry, Effort const& effort, Results const& earlier, double tolerance) {
  Results best = entry.measure(effort);
  for (int again = 0; again < 3 && SlowDown(best, earlier) > tolerance; ++again) {
    Effort longer;
    longer.leftOut = effort.leftOut;
    Results const now = entry.measure(longer);
    for (size_t i = 0; i < std::min(best.size(), now.size()); ++i) {
      if (now[i].ratio < best[i].ratio) best[i] = now[i];
    }
  }
  return best;
}

Results MeasureAll(Options const& options, Results const& earlier) {
  Effort const effort = options.quick ? Effort{2, 5, 0.05, 1} : Effort{};
  std::vector<std::string> const only = Split(options.only);
  Results all;
  for (Entry const& entry : Entries()) {
    if (!IsWanted(entry, only)) continue;
    fprintf(stderr, "%s: %s\n", entry.table.c_str(), entry.name.c_str());
    Results const results = MeasureEntry(entry, effort, earlier, atof(options.tolerance.c_str()));
    all.insert(all.end(), results.begin(), results.end());
  }
  std::stable_sort(all.begin(), all.end(), [](Result const& a, Result const& b) {
    auto const order = [](Result const& r) { return r.table == GROWTH ? 1 : r.table == THREADS ? 2 : 0; };
    return order(a) < order(b);
  });
  return all;
}

/// \return the number of results that are slower
int Compare(Results const& results, Results const& earlier, double tolerance) {
  int slower = 0;
  for (Result const& result : results) {
    double const factor = SlowDown({result}, earlier);
    if (factor <= tolerance) continue;
    std::string const size = result.size > 0 ? ", " + ShortNumber(static_cast<size_t>(result.size)) : "";
    printf("slower by %.2f: %s: %s%s\n", factor, result.table.c_str(), result.name.c_str(), size.c_str());
    ++slower;
  }
  if (slower == 0) printf("nothing is slower\n");
  return slower;
}

/// Replaces the text between the two marks of the document.
bool WriteDocument(Results const& results, std::string const& folder) {
  constexpr char PLOT[] = "![time of an item over the number of items](images/performance.png)\n\n";
  constexpr char FIRST[] = "<!-- results -->\n", LAST[] = "<!-- end of results -->";
  std::string const path = folder + "/performance.md";
  std::stringstream content;
  content << std::ifstream(path, std::ios::binary).rdbuf();
  std::string text = content.str();
  size_t const first = text.find(FIRST), last = text.find(LAST);
  if (first == std::string::npos || last == std::string::npos) return false;
  size_t const from = first + strlen(FIRST);
  text.replace(from, last - from,
               "Measured on: " + DescribeMachine() + ".\n\n" + PLOT + Tabulate(results, Style::MARKDOWN));
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  return file.good() && DrawGrowth(results, folder + "/images/performance.png");
}

/// Takes "--name=value", or "--name value" of two arguments. \return false for anything else
bool ParseValue(std::string name, char const* next, int& used, Options& options) {
  struct {
    char const* name;
    std::string* value;
  } const values[] = {{"--only", &options.only},       {"--json", &options.json},
                      {"--compare", &options.compare}, {"--tolerance", &options.tolerance},
                      {"--from", &options.from},       {"--document", &options.document}};
  std::string value = next ? next : "";
  size_t const equals = name.find('=');
  if (equals != std::string::npos) {
    value = name.substr(equals + 1);
    name.resize(equals);
  } else {
    ++used;
  }
  for (auto const& row : values) {
    if (name == row.name) return *row.value = value, !value.empty();
  }
  return false;
}

bool Parse(int count, char** arguments, Options& options) {
  for (int i = 1; i < count; ++i) {
    std::string const argument = arguments[i];
    if (argument == "--quick") {
      options.quick = true;
    } else if (argument == "--list") {
      options.list = true;
    } else if (!ParseValue(argument, i + 1 < count ? arguments[i + 1] : nullptr, i, options)) {
      return false;
    }
  }
  return true;
}

int Complain(char const* what, std::string const& path) {
  fprintf(stderr, "bench: cannot %s %s\n", what, path.c_str());
  return 2;
}

/// \return the exit code
int Run(Options const& options) {
  Results earlier, results;
  if (!options.compare.empty() && !Read(options.compare, earlier)) return Complain("read", options.compare);
  if (options.from.empty()) {
    results = MeasureAll(options, earlier);
  } else if (!Read(options.from, results)) {
    return Complain("read", options.from);
  }
  printf("%s\n\n%s", DescribeMachine().c_str(), Tabulate(results, Style::TEXT).c_str());
  if (!options.json.empty() && !Write(results, options.json)) return Complain("write", options.json);
  if (!options.document.empty() && !WriteDocument(results, options.document))
    return Complain("write to", options.document);
  return !options.compare.empty() && Compare(results, earlier, atof(options.tolerance.c_str())) ? 1 : 0;
}

void AddAll() {
  AddConversions();
  AddResampling();
  AddPainting();
  AddTexts();
  AddFiles();
  AddContainerGrowth();
  AddFileGrowth();
}

}  // namespace

}  // namespace bench

int main(int count, char** arguments) {
  using namespace bench;
  Options options;
  if (!Parse(count, arguments, options)) return printf("%s", USAGE), 2;
  yk::System::Create();  // rows may replace it
  yk::IDC::Register();
  yk::SetThreadCount(1);  // processor time is to be that of one
  AddAll();
  int result = 0;
  if (options.list) {
    for (Entry const& entry : Entries()) printf("%s: %s\n", entry.table.c_str(), entry.name.c_str());
  } else {
    result = Run(options);
  }
  Entries().clear();
  yk::System::ptr()->Release();
  return result;
}
