// The main() of every test program, and the reporter of its crashes.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdio>

namespace {

// Prints an address as module+offset: `x86_64-w64-mingw32-addr2line -e MODULE` turns it into a line of the source, once the
// offset is added to the module's preferred base (`objdump -p MODULE | grep ImageBase`).
void PrintAddress(DWORD64 address) {
  HMODULE module = nullptr;
  char path[MAX_PATH] = "?";
  GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                     reinterpret_cast<char const*>(address), &module);
  if (module) GetModuleFileNameA(module, path, MAX_PATH);
  char const* const slash = strrchr(path, '\\');
  std::fprintf(stderr, "  %s+0x%llx\n", slash ? slash + 1 : path,
               address - reinterpret_cast<DWORD64>(module));
}

void PrintStack(CONTEXT context) {
  for (int frame = 0; frame < 30 && context.Rip; ++frame) {
    PrintAddress(context.Rip);
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
  return RUN_ALL_TESTS();
}
