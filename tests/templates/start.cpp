// Calls main, as the C runtime does.
extern "C" {
__declspec(dllimport) int __getmainargs(int* count, char*** arguments, char*** environment, int expand,
                                        int* mode);
[[noreturn]] __declspec(dllimport) void ExitProcess(unsigned code);
}

int main(int count, char** arguments);

extern "C" void Start() {
  char **arguments = nullptr, **environment = nullptr;
  int count = 0, mode = 0;
  __getmainargs(&count, &arguments, &environment, 0, &mode);
  ExitProcess(static_cast<unsigned>(main(count, arguments)));
}
