// Called by compiled code on undefined behaviour: reports what and where, and ends the process.
//
// MinGW has no run-time library for -fsanitize=undefined. The argument of each handler begins
// with the location in the source; what follows differs between handlers and is not needed to find the fault.
// Built with -DQECORE_UBSAN=ON into every program and library.
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

struct Place {
  char const* file;
  std::uint32_t line;
  std::uint32_t column;
};

[[noreturn]] void Report(char const* what, Place const* place) {
  std::fprintf(stderr, "%s:%u:%u: undefined behaviour: %s\n", place->file, static_cast<unsigned>(place->line),
               static_cast<unsigned>(place->column), what);
  std::fflush(stderr);
  std::abort();
}

}  // namespace

// Each handler has two forms, both of which end the process here. Further arguments are ignored.
#define HANDLER(name, what)                                                          \
  extern "C" void __ubsan_handle_##name(Place const* place);                         \
  extern "C" void __ubsan_handle_##name##_abort(Place const* place);                 \
  extern "C" void __ubsan_handle_##name(Place const* place) { Report(what, place); } \
  extern "C" void __ubsan_handle_##name##_abort(Place const* place) { Report(what, place); }

HANDLER(type_mismatch_v1, "a null or misaligned pointer, or one to too small an object")
HANDLER(add_overflow, "signed overflow in an addition")
HANDLER(sub_overflow, "signed overflow in a subtraction")
HANDLER(mul_overflow, "signed overflow in a multiplication")
HANDLER(negate_overflow, "signed overflow in a negation")
HANDLER(divrem_overflow, "division by zero, or overflow in a division")
HANDLER(shift_out_of_bounds, "a shift by too many bits or of a negative value")
HANDLER(out_of_bounds, "an index out of bounds")
HANDLER(pointer_overflow, "pointer arithmetic that wraps, or on a null pointer")
HANDLER(builtin_unreachable, "the unreachable was reached")
HANDLER(missing_return, "the end of a function that returns a value")
HANDLER(vla_bound_not_positive, "an array of no or negative length")
HANDLER(load_invalid_value, "a bool or an enumeration with a value that it does not have")
HANDLER(invalid_builtin, "a builtin with an argument outside its domain")
HANDLER(nonnull_arg, "null passed where the function wants none")
HANDLER(float_cast_overflow, "a floating value that the integer cannot hold")

// Here the location is the second argument; the first one is the location of the attribute.
extern "C" void __ubsan_handle_nonnull_return_v1(void*, Place const* place);
extern "C" void __ubsan_handle_nonnull_return_v1_abort(void*, Place const* place);
extern "C" void __ubsan_handle_nonnull_return_v1(void*, Place const* place) {
  Report("null returned", place);
}
extern "C" void __ubsan_handle_nonnull_return_v1_abort(void*, Place const* place) {
  Report("null returned", place);
}
