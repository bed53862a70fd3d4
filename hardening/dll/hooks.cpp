// The fault loops over the shipped library: its imports are redirected to the harness, as objcopy redirects
// the calls of the native build. Without a sanitizer, but with the product's compiler, C runtime and
// boundary.
#include <windows.h>

#include "hardening/faults/faults.h"
#include "hardening/leaks/imports.h"

// HARNESS(name) for each function of the system and of C that redirect.txt redirects to the harness.
#define HARNESS(name) extern "C" void harness_##name();
#include "harness_names.inc"
#undef HARNESS

namespace {

#define HARNESS(name) {#name, reinterpret_cast<void*>(harness_##name)},
Imports const HOOKS = {
#include "harness_names.inc"
};
#undef HARNESS

// Runs before main, which is unaware of it.
[[maybe_unused]] bool const hooked = (LeadImports(GetModuleHandleW(L"qeCore.dll"), HOOKS), true);

}  // namespace

// Wine prints the stack of a crash by itself.
extern "C" void __sanitizer_print_stack_trace() {}

// The plug-in's scenarios run in the native build, which includes it.
std::span<faults::Scenario const> faults::PictureScenarios() { return {}; }
