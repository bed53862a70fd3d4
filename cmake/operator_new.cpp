// GCC's run-time makes `new (std::nothrow)` out of a `new` that throws. Each refusal then takes memory for
// the exception, and the first one on a thread ends the process when there is none at all. These go to the
// C heap and return null.
#include <stdlib.h>

#include <new>

void* operator new(size_t size, std::nothrow_t const&) noexcept { return malloc(size > 0 ? size : 1); }
void* operator new[](size_t size, std::nothrow_t const&) noexcept { return malloc(size > 0 ? size : 1); }
void operator delete(void* block) noexcept { free(block); }
void operator delete[](void* block) noexcept { free(block); }
void operator delete(void* block, size_t) noexcept { free(block); }
void operator delete[](void* block, size_t) noexcept { free(block); }
void operator delete(void* block, std::nothrow_t const&) noexcept { free(block); }
void operator delete[](void* block, std::nothrow_t const&) noexcept { free(block); }
