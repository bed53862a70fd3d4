// A library that is linked with GCC's C++ run-time statically has a pool of its own for exceptions that are
// thrown when memory is short. The run-time never frees it: 73 KB stay behind each time that such a library
// is unloaded. This frees it, after all that the library does itself when it goes.

namespace __gnu_cxx {  // NOLINT: the run-time's name

void __freeres();  // NOLINT: made for leak checkers; frees the pool and nothing else

}  // namespace __gnu_cxx

namespace {

// Early: what is made first goes last.
struct Pool {
  ~Pool() { __gnu_cxx::__freeres(); }
};
[[gnu::init_priority(101)]] Pool pool;

}  // namespace
