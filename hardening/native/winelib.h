// Included before each source of the native build, so that Clang on Linux compiles Windows sources against
// Wine's headers.
#pragma once

// ---- definitions that winegcc would make ----

#define WIN32 1
#define _WIN32 1
#define WIN64 1
#define _WIN64 1
#define __WINE__ 1
#define WINE_UNICODE_NATIVE 1

#define __int8 char
#define __int16 short
#define __int32 int
#define __int64 long

#define __stdcall __attribute__((ms_abi))
#define __cdecl __stdcall
#define __fastcall __stdcall

#define __declspec(x) __declspec_##x
#define __declspec_align(x) __attribute__((aligned(x)))
#define __declspec_allocate(x) __attribute__((section(x)))
#define __declspec_deprecated __attribute__((deprecated))
#define __declspec_dllexport
#define __declspec_dllimport
#define __declspec_naked __attribute__((naked))
#define __declspec_noinline __attribute__((noinline))
#define __declspec_noreturn __attribute__((noreturn))
#define __declspec_nothrow __attribute__((nothrow))
#define __declspec_novtable
#define __declspec_selectany __attribute__((weak))
#define __declspec_thread __thread

// System functions need not be in the program itself: the plain one defines some and has no others.
#define DECLSPEC_HIDDEN

// ---- parts of the Microsoft C runtime that Linux's lacks ----

#include <assert.h>
#include <limits.h>
#include <malloc.h>
#include <stdarg.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>
#include <wctype.h>

extern "C" {
int _wcsicmp(wchar_t const* a, wchar_t const* b);
int _wtol(wchar_t const* text);
int _wtoi(wchar_t const* text);
double _wtof(wchar_t const* text);
int _vsnwprintf(wchar_t* buffer, size_t count, wchar_t const* format, va_list arguments);
int _vsnprintf(char* buffer, size_t count, char const* format, va_list arguments);
int _vswprintf_c_l(wchar_t* buffer, size_t count, wchar_t const* format, void* locale, va_list arguments);
int _snscanf(char const* text, size_t count, char const* format, ...);
size_t _msize(void* block);
// Clang's vector headers declare functions with these types, which are never called.
void* _aligned_malloc(size_t size, size_t alignment);
void _aligned_free(void* block);
}

// Linux macros with names used by the library.
#undef BIG_ENDIAN
#undef LITTLE_ENDIAN

// Missing from Wine's <windows.h>.
#define GR_GDIOBJECTS 0
