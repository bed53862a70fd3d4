#include "measure.h"

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cmath>

namespace bench {

namespace {

constexpr double SAMPLE = 1e6, LONG = 2e9;  // nanoseconds

bool IsOnWine() {
  static bool const isOnWine = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
  return isOnWine;
}

/// Wine counts processor time in steps of 10 ms; the system below it does not, and is asked directly.
double TimeBelowWine() {
  int64_t time[2] = {};
#if defined(__GNUC__) && defined(__x86_64__)
  constexpr int64_t CLOCK_GETTIME = 228, OF_PROCESS = 2;
  int64_t result;
  asm volatile("syscall"
               : "=a"(result)
               : "a"(CLOCK_GETTIME), "D"(OF_PROCESS), "S"(time)
               : "rcx", "r11", "memory");
#endif
  return static_cast<double>(time[0]) * 1e9 + static_cast<double>(time[1]);
}

double WallTime() {
  return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

double Cycles() {
  ULONG64 cycles = 0;
  QueryProcessCycleTime(GetCurrentProcess(), &cycles);
  return static_cast<double>(cycles);
}

/// Nanoseconds of a cycle. Processors count them at a constant rate.
double CycleTime() {
  double const from = WallTime();
  double const cycles = Cycles();
  while (WallTime() < from + 50e6) continue;
  return (WallTime() - from) / std::max(Cycles() - cycles, 1.0);
}

double ProcessorTime() {
  if (IsOnWine()) return TimeBelowWine();
  static double const cycleTime = CycleTime();
  return Cycles() * cycleTime;
}

/// One work and its samples.
struct Turn {
  Work const* work;
  int calls = 1;  // in a sample
  int wanted = 0;
  int taken = 0;
  double least = INFINITY;

  double Sample(Clock clock) {
    double const from = Now(clock);
    for (int i = 0; i < calls; ++i) (*work)();
    ++taken;
    double const each = (Now(clock) - from) / calls;
    least = std::min(least, each);
    return each;
  }

  /// Finds how many calls make a sample, which also warms up what the work uses.
  void Plan(Effort const& effort, Clock clock) {
    double each = Sample(clock);
    while (each * calls < SAMPLE / 10) {
      calls *= 8;
      each = Sample(clock);
    }
    calls = std::max(1, static_cast<int>(std::ceil(SAMPLE / std::max(each, 1.0))));
    double const wantedNow = effort.seconds * 1e9 / (each * calls);
    wanted = static_cast<int>(std::clamp<double>(wantedNow, effort.fewest, effort.most));
    taken = 0;
    if (each > LONG) {
      wanted = 0;  // the sample taken is enough
    } else {
      least = INFINITY;  // the first calls are slow
    }
  }
};

}  // namespace

double Now(Clock clock) { return clock == Clock::WALL ? WallTime() : ProcessorTime(); }

std::vector<double> Measure(std::vector<Work> const& works, Effort const& effort, Clock clock) {
  std::vector<Turn> turns;
  for (Work const& work : works) turns.push_back({&work});
  int rounds = 0;
  for (Turn& turn : turns) {
    turn.Plan(effort, clock);
    rounds = std::max(rounds, turn.wanted);
  }
  for (int round = 1; round <= rounds; ++round) {
    for (Turn& turn : turns) {
      // Works of fewer samples are spread over all rounds.
      if (turn.taken < static_cast<int64_t>(turn.wanted) * round / rounds) turn.Sample(clock);
    }
  }
  std::vector<double> times;
  for (Turn const& turn : turns) times.push_back(turn.least);
  return times;
}

}  // namespace bench
