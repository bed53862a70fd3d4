// GCC's run-time implements `new (std::nothrow)` through a throwing `new`. Each failure then allocates the
// exception, and the first one on a thread ends the process if there is no memory at all. These functions use
// the C heap directly and return null.
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
