// Calls wmain, as the C runtime does.
extern "C" {
__declspec(dllimport) int __wgetmainargs(int* count, wchar_t*** arguments, wchar_t*** environment, int expand,
                                         int* mode);
[[noreturn]] __declspec(dllimport) void ExitProcess(unsigned code);
int wmain(int count, wchar_t** arguments);
}

extern "C" void Start() {
  wchar_t **arguments = nullptr, **environment = nullptr;
  int count = 0, mode = 0;
  __wgetmainargs(&count, &arguments, &environment, 0, &mode);
  ExitProcess(static_cast<unsigned>(wmain(count, arguments)));
}
