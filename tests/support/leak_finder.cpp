#include "leak_finder.h"

#include <gtest/gtest.h>

#include <utility>

#include "leaks/leaks.h"

namespace {

constexpr int MOST_RUNS =
    4;  // of a test that leaves something: message boxes fill the platform's caches bit by bit

class LeakFinder : public testing::EmptyTestEventListener {
 public:
  std::string suspects;  // of this run, as a filter
  bool lastRun = false;

 private:
  void OnTestStart(testing::TestInfo const&) override { before = WhatIsHeld(); }

  void OnTestEnd(testing::TestInfo const& test) override {
    std::string const left = WhatIsLeft(before);
    if (left.empty()) return;
    suspects += std::string(":") + test.test_suite_name() + "." + test.name();
    if (lastRun) ADD_FAILURE() << "leaves behind, each time it runs:\n" << left;
  }

  Held before = {};
};

}  // namespace

int RunTestsAndFindLeaks() {
  WatchTheLibrary();
  LeakFinder* const finder = new LeakFinder;
  testing::UnitTest::GetInstance()->listeners().Append(finder);
  int result = RUN_ALL_TESTS();
  testing::GTEST_FLAG(output) = "";
  NoteCallers();
  for (int run = 2; run <= MOST_RUNS && !finder->suspects.empty(); ++run) {
    testing::GTEST_FLAG(filter) = std::exchange(finder->suspects, {}).substr(1);
    finder->lastRun = run == MOST_RUNS;
    result |= RUN_ALL_TESTS();
  }
  return result;
}
