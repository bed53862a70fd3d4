// A library that is statically linked with GCC's C++ run-time has its own pool for exceptions thrown when
// memory is short. The run-time never frees it: 73 KB are leaked each time such a library is unloaded. This
// frees it, after the library's own destructors.

namespace __gnu_cxx {  // NOLINT: the run-time's name

void __freeres();  // NOLINT: provided for leak checkers; frees only the pool

}  // namespace __gnu_cxx

namespace {

// Constructed early, so that it is destroyed last.
struct Pool {
  ~Pool() { __gnu_cxx::__freeres(); }
};
[[gnu::init_priority(101)]] Pool pool;

}  // namespace
