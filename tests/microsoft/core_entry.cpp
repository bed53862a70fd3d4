// What the library needs when it is linked for the Microsoft C++ ABI without that compiler's runtime: an
// entry point that runs the initialisers of its variables, and symbols that GCC's runtime would have.
extern "C" {

using Initialiser = void (*)();

int DllMain(void* instance, unsigned long reason, void* reserved);

// The linker sorts the pointers to initialisers, in sections named after .CRT$XC, between these two.
#pragma section(".CRT$XCA", long, read)
#pragma section(".CRT$XCZ", long, read)
__declspec(allocate(".CRT$XCA")) Initialiser const FIRST = nullptr;
__declspec(allocate(".CRT$XCZ")) Initialiser const LAST = nullptr;

int Entry(void* instance, unsigned long reason, void* reserved) {
  constexpr unsigned long ATTACH = 1;
  for (Initialiser const* at = &FIRST; reason == ATTACH && at != &LAST; ++at) {
    if (*at) (*at)();
  }
  return DllMain(instance, reason, reserved);
}

extern int const _fltused;
int const _fltused = 0;
void __mingw_raise_matherr(int, char const*, double, double, double) {}

}  // extern "C"

namespace std {
struct nothrow_t {};
extern nothrow_t const nothrow;
nothrow_t const nothrow;  // NOLINT
}  // namespace std
