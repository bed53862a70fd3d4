// The main() of every test program, and the reporter of its crashes.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdio>

#include "leak_finder.h"
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

}  // namespace

int main(int argc, char** argv) {
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
  SetUnhandledExceptionFilter(ReportCrash);
  testing::InitGoogleTest(&argc, argv);
  return RunTestsAndFindLeaks();
}
