// faults.exe [NAME]: runs the scenarios, or those whose name contains NAME, and prints a table. Exit code 1:
// a scenario failed.
#include <windows.h>

#include <qecore/core/error.h>
#include <stdio.h>
#include <unistd.h>

#include "faults.h"

extern "C" void __sanitizer_print_stack_trace();

namespace faults {

namespace {

struct KindName {
  unsigned kind;
  char const* name;
};

constexpr KindName KINDS[] = {
    {harness::MEMORY, "memory"},
    {harness::LOCK, "lock"},
    {harness::OPEN, "open"},
    {harness::READ, "read"},
    {harness::SHORT_READ, "short read"},
    {harness::WRITE, "write"},
    {harness::SHORT_WRITE, "short write"},
    {harness::SEEK, "seek"},
    {harness::FIND, "find"},
    {harness::LOAD, "load"},
    {harness::REPLACE, "replace"},
    {harness::REMOVE, "remove"},
    {harness::FLUSH, "flush"},
    {harness::THREAD, "thread"},
};

constexpr long MOST_CALLS = 5000;  // per run; beyond this the scenario is too large

/// One series: a kind of calls, failing once or permanently.
struct Series {
  Scenario const& scenario;
  KindName const& kind;
  bool onwards;
  long at = 0;
};

Series const* running;

/// The state before a run.
struct Start {
  harness::Live live;
  unsigned failures;  // recorded so far
};

struct Sums {
  long runs = 0, reported = 0, silent = 0, leaks = 0, broken = 0;

  bool IsClean() const { return silent == 0 && leaks == 0 && broken == 0; }
  void operator+=(Sums const& other) {
    runs += other.runs;
    reported += other.reported;
    silent += other.silent;
    leaks += other.leaks;
    broken += other.broken;
  }
};

void Complain(Series const& series, char const* what) {
  printf("    %s: %s %ld%s: %s\n", series.scenario.name, series.kind.name, series.at,
         series.onwards ? " and all later" : "", what);
}

// Reports the first fault of each kind, and counts the others.
void Report(Series const& series, long& count, char const* what) {
  if (++count == 1) Complain(series, what);
}

void Judge(Series const& series, Outcome const& outcome, Start const& before, Sums& sums) {
  unsigned const kind = series.kind.kind;
  ++sums.runs;
  if (Failed(outcome.reported)) ++sums.reported;
  if (!outcome.whole && Succeeded(outcome.reported))
    Report(series, sums.silent, "data was lost without a reported failure");
  // (That a stream ends early is not a failure of the library's.)
  if (Failed(outcome.reported) && ErrorCount() == before.failures && kind != harness::SHORT_READ)
    Report(series, sums.silent, "a failure was reported without a text");
  if (outcome.broken) Report(series, sums.broken, outcome.broken);
  harness::Live const now = harness::CountLive();
  if (now == before.live) return;
  char text[120];
  snprintf(text, sizeof text, "leaked: blocks %ld, global memory %ld, bitmaps %ld, handles %ld",
           now.blocks - before.live.blocks, now.globals - before.live.globals,
           now.bitmaps - before.live.bitmaps, now.handles - before.live.handles);
  Report(series, sums.leaks, text);
}

/// \return false when the call that should fail was never made: the series has ended
bool RunOnce(Series const& series, Sums& sums) {
  {
    harness::Calm const calm;
    if (series.scenario.prepare) series.scenario.prepare();
  }
  Start const before = {harness::CountLive(), ErrorCount()};
  harness::Arm({series.kind.kind, series.at, series.onwards});
  Outcome const outcome = series.scenario.run();
  long const calls = harness::CountCalls();
  harness::Disarm();
  harness::TakeBoxes();
  if (calls >= series.at) return Judge(series, outcome, before, sums), true;
  bool const sound = outcome.whole && Succeeded(outcome.reported) && !outcome.broken;
  if (!sound) Report(series, sums.broken, "it fails without a fault");
  return false;
}

Sums RunSeries(Series series) {
  Sums sums;
  running = &series;
  for (series.at = 1; series.at < MOST_CALLS && RunOnce(series, sums);) ++series.at;
  if (series.at == MOST_CALLS) Report(series, sums.broken, "the calls do not end");
  running = nullptr;
  return sums;
}

Sums RunScenario(Scenario const& scenario) {
  Sums sums;
  for (KindName const& kind : KINDS) {
    if (!(scenario.kinds & kind.kind)) continue;
    for (bool const onwards : {false, true}) sums += RunSeries({scenario, kind, onwards});
  }
  return sums;
}

void PrintRow(char const* name, Sums const& sums) {
  printf("%-34s %7ld %8ld %7ld %7ld %7ld  %s\n", name, sums.runs, sums.reported, sums.silent, sums.leaks,
         sums.broken, sums.IsClean() ? "clean" : "FAILED");
  fflush(stdout);
}

[[noreturn]] void SayWhere() noexcept {
  if (running) Complain(*running, "the program crashes");
  __sanitizer_print_stack_trace();
  fflush(nullptr);
  _exit(77);
}

LONG WINAPI OnException(EXCEPTION_POINTERS* info) {
  if (info->ExceptionRecord->ExceptionCode != EXCEPTION_ACCESS_VIOLATION) return EXCEPTION_CONTINUE_SEARCH;
  SayWhere();
}

}  // namespace

void PutOnly(std::u16string const& path, std::string const& content) {
  harness::ClearFiles();
  harness::PutFile(path, content);
}

char const* CheckReplaced(std::u16string const& path, std::string const& before, std::string const& after) {
  std::string const now = harness::ReadFile(path);
  return now == before || now == after ? nullptr : "half a file: neither the old one nor the new one";
}

int Run(std::string const& part) {
  AddVectoredExceptionHandler(TRUE, OnException);
  printf("%-34s %7s %8s %7s %7s %7s\n", "scenario", "faults", "reported", "silent", "leaks", "broken");
  Sums all;
  for (auto const& scenarios : {ObjectFileScenarios(), XmlScenarios(), ContainerScenarios(),
                                StreamScenarios(), ImageScenarios(), PictureScenarios(), ModuleScenarios()}) {
    for (Scenario const& scenario : scenarios) {
      if (std::string(scenario.name).find(part) == std::string::npos) continue;
      Sums const sums = RunScenario(scenario);
      PrintRow(scenario.name, sums);
      all += sums;
    }
  }
  PrintRow("all", all);
  return all.runs > 0 && all.IsClean() ? 0 : 1;
}

}  // namespace faults

// Otherwise this would end in Wine's exception handling.
extern "C" void abort() { faults::SayWhere(); }

int main(int count, char** arguments) { return faults::Run(count > 1 ? arguments[1] : ""); }
