// The main() of every test program, the reporter of its crashes, and the finder of tests that leave something
// behind.
#include <gtest/gtest.h>
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

// A crash must end the run and say where it was, not wait behind a box for somebody to close it.
LONG WINAPI ReportCrash(EXCEPTION_POINTERS* crash) {
  std::fflush(stdout);
  std::fprintf(stderr, "crash: exception 0x%08lx at\n", crash->ExceptionRecord->ExceptionCode);
  PrintStack(*crash->ContextRecord);
  std::fflush(stderr);
  TerminateProcess(GetCurrentProcess(), 5);
  return EXCEPTION_EXECUTE_HANDLER;
}

// of a test that leaves something: message boxes fill the platform's caches bit by bit
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
    if (lastRun) ADD_FAILURE() << "leaves behind, each time it runs:\n" << left;
  }

  Held before = {};
};

// Runs all tests and fails those that leave blocks of the library, GDI objects or handles behind. Since the
// platform keeps things at first use, tests that left something run again at the end, a few times: what
// grows each time is a leak, and the failure says where its blocks were made. So a test must bear to run
// twice in a process.
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
  return RunTestsAndFindLeaks();
}
