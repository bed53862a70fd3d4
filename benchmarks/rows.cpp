#include "rows.h"

#include <qecore/core/parallel.h>
#include <string.h>

#include <algorithm>
#include <cmath>
#include <memory>

namespace bench {

namespace {

constexpr double TOO_LONG = 15e9;  // nanoseconds

/// A block whose pages exist.
std::shared_ptr<std::vector<char>> NewBlock(size_t size) {
  return std::make_shared<std::vector<char>>(size, 'b');
}

Work CopyOf(double bytes) {
  size_t const size = static_cast<size_t>(bytes / 2);
  auto const from = NewBlock(size), to = NewBlock(size);
  return [=] {
    memcpy(to->data(), from->data(), size);
    Keep(*to->data());
  };
}

/// About a microsecond of arithmetic, with which growth rows are compared on another day.
void Count() {
  unsigned sum = 1;
  for (unsigned i = 0; i < 1000; ++i) {
    sum = sum * 1664525 + i;
    Keep(sum);
  }
}

/// How long the next size will take: from those before, of which the last may have grown with the square.
double Predict(std::vector<double> const& costs, std::vector<size_t> const& sizes) {
  size_t const n = costs.size();
  if (n < 2) return 0;
  auto const ratio = [&](size_t i) {
    return static_cast<double>(sizes[i]) / static_cast<double>(sizes[i - 1]);
  };
  double const power = std::clamp(std::log(costs[n - 1] / costs[n - 2]) / std::log(ratio(n - 1)), 1.0, 2.0);
  return costs[n - 1] * std::pow(ratio(n), power);
}

}  // namespace

std::vector<Entry>& Entries() {
  static std::vector<Entry> entries;
  return entries;
}

void AddRow(char const* table, std::string name, double items, char const* reference,
            std::function<Pair()> prepare) {
  Entries().push_back(
      {table, name, [=](Effort const& effort) -> Results {
         Pair const pair = prepare();
         std::vector<double> const times = Measure({pair.work, pair.reference}, effort, Clock::PROCESSOR);
         return {{table, name, reference, 0, times[0] / items, times[0] / times[1], 0}};
       }});
}

void AddCopyRow(char const* table, std::string name, double items, double bytes,
                std::function<Work()> prepare) {
  AddRow(table, std::move(name), items, "memcpy", [=] { return Pair{prepare(), CopyOf(bytes)}; });
}

void AddGrowth(std::string name, double allowed, std::vector<size_t> sizes,
               std::function<Work(size_t, double&)> prepare) {
  Entries().push_back({GROWTH, name, [=](Effort const& effort) {
                         Results results;
                         std::vector<double> costs;
                         for (size_t i = 0;
                              i < sizes.size() - effort.leftOut && Predict(costs, sizes) < TOO_LONG; ++i) {
                           double const from = Now(Clock::WALL);
                           double items = static_cast<double>(sizes[i]);
                           Work const work = prepare(sizes[i], items);
                           double const prepared = Now(Clock::WALL) - from;
                           std::vector<double> const times = Measure({work, Count}, effort, Clock::PROCESSOR);
                           costs.push_back(prepared + times[0]);
                           results.push_back({GROWTH, name, "arithmetic", static_cast<double>(sizes[i]),
                                              times[0] / items, times[0] / items / times[1], allowed});
                         }
                         return results;
                       }});
}

void AddThreads(std::string name, std::function<Work()> prepare) {
  Entries().push_back({THREADS, name, [=](Effort const& effort) {
                         constexpr unsigned COUNTS[] = {1, 2, 4};
                         Work const work = prepare();
                         std::vector<Work> works;
                         for (unsigned count : COUNTS) {
                           works.push_back([=] {
                             yk::SetThreadCount(count);
                             work();
                           });
                         }
                         std::vector<double> const times = Measure(works, effort, Clock::WALL);
                         yk::SetThreadCount(1);
                         Results results;
                         for (size_t i = 0; i < times.size(); ++i) {
                           results.push_back({THREADS, name, "one thread", static_cast<double>(COUNTS[i]),
                                              times[i], times[0] / times[i], 0});
                         }
                         return results;
                       }});
}

}  // namespace bench
