// The main() of every test program, with a crash reporter and a detector of tests that leak.
#include <gtest/gtest.h>
#include <qecore/core/parallel.h>
#include <windows.h>

#include <cstdio>
#include <utility>

#include "leaks/leaks.h"

namespace {

void PrintStack(CONTEXT context) {
  for (int frame = 0; frame < 30 && context.Rip; ++frame) {
    std::fprintf(stderr, "  %s\n", PlaceOf(reinterpret_cast<void*>(context.Rip)).c_str());
    DWORD64 base = 0;
    PRUNTIME_FUNCTION const function = RtlLookupFunctionEntry(context.Rip, &base, nullptr);
    if (!function) break;
    void* data = nullptr;
    DWORD64 establisher = 0;
    RtlVirtualUnwind(UNW_FLAG_NHANDLER, base, context.Rip, function, &context, &data, &establisher, nullptr);
  }
}

// A crash must end the run and report its location, instead of waiting in a message box.
LONG WINAPI ReportCrash(EXCEPTION_POINTERS* crash) {
  std::fflush(stdout);
  std::fprintf(stderr, "crash: exception 0x%08lx at\n", crash->ExceptionRecord->ExceptionCode);
  PrintStack(*crash->ContextRecord);
  std::fflush(stderr);
  TerminateProcess(GetCurrentProcess(), 5);
  return EXCEPTION_EXECUTE_HANDLER;
}

// for leaking tests: message boxes fill the platform's caches gradually
constexpr int MOST_RUNS = 4;

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
    if (lastRun) ADD_FAILURE() << "leaks in every run:\n" << left;
  }

  Held before = {};
};

// Runs all tests and fails those that leak the library's blocks, GDI objects or handles. Since the platform
// caches some objects at first use, suspects run again at the end, a few times: growth in every run is a
// leak, and the failure shows where its blocks were allocated. So a test must be repeatable within a process.
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

}  // namespace

int main(int argc, char** argv) {
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
  SetUnhandledExceptionFilter(ReportCrash);
  testing::InitGoogleTest(&argc, argv);
  yk::SetThreadCount(1);  // a test that starts the library's threads ends them, too
  return RunTestsAndFindLeaks();
}
