// qeCore: the definitions that every header of the library uses.
//
// Export marks, the two-overload macro, Windows handle types without <windows.h>, result codes. Every public
// header compiles alone, and before and after <windows.h>, with the GNU and the Microsoft C++ ABI.
#pragma once

#include <stddef.h>
#include <stdint.h>

/// A result code: 0 or positive is success, negative is failure.
typedef long HRESULT;  // NOLINT: the platform's own declaration, so that both may occur in one file
#include <winerror.h>

// Marks on functions and variables, never on classes: Microsoft's compiler would import a marked class's
// inline members and template bases as well.

/// Exported by the library, imported by its users. The two C++ ABIs must agree on the call: neither a
/// constructor nor a function that takes or returns a class by value.
#if defined(QECORE_BUILD)
#define YK_API __declspec(dllexport)
#else
#define YK_API __declspec(dllimport)
#endif
/// Compiled in the caller. The library exports it for programs that were linked before it was inline
/// (core/kept_names.cpp).
#if defined(QECORE_KEPT_NAMES)
#define YK_API_INLINE YK_API __attribute__((used))
#else
#define YK_API_INLINE
#endif

/// Declares two virtual overloads of one name in two neighbouring slots, the first in the lower one.
/// The GNU C++ ABI orders overloads as they are declared; Microsoft's orders those of one name in reverse.
/// QECORE_MICROSOFT_ABI selects the latter in a compiler that does not define _MSC_VER.
#if defined(_MSC_VER) || defined(QECORE_MICROSOFT_ABI)
#define YK_SLOT_PAIR(first, second) \
  second;                           \
  first
#else
#define YK_SLOT_PAIR(first, second) \
  first;                            \
  second
#endif

struct HBITMAP__;
struct HDC__;
struct HINSTANCE__;
struct HWND__;
struct _POINTL;   // NOLINT
struct _RECTL;    // NOLINT
struct tagPOINT;  // NOLINT

/// A Windows type, forward-declared: its definition is in <windows.h>.
typedef HBITMAP__* HBITMAP;      // NOLINT
typedef HDC__* HDC;              // NOLINT
typedef HINSTANCE__* HINSTANCE;  // NOLINT
typedef HWND__* HWND;            // NOLINT
typedef void* HGLOBAL;           // NOLINT
typedef void* HGDIOBJ;           // NOLINT
typedef _POINTL POINTL;          // NOLINT
typedef _RECTL RECTL;            // NOLINT
typedef tagPOINT POINT;          // NOLINT

namespace yk {

// Result codes: 0 or positive is success, negative is failure. The common ones (S_OK, S_FALSE, E_FAIL,
// E_NOTIMPL, E_NOINTERFACE, E_INVALIDARG, E_OUTOFMEMORY, E_ABORT) are the platform's; these are the library's
// own.

/// An item, class, module, key, file or file type was not found.
inline constexpr HRESULT YK_E_NOTFOUND = static_cast<HRESULT>(0x80060002u);
/// The operation does not support the pixel format.
inline constexpr HRESULT YK_E_FORMAT = static_cast<HRESULT>(0x80060003u);
/// Nothing to act on: an empty container or stack, no image data or target; or storage that exists already.
inline constexpr HRESULT YK_E_EMPTY = static_cast<HRESULT>(0x80060006u);
/// Too little data to detect a file's type.
inline constexpr HRESULT YK_E_TOOSHORT = static_cast<HRESULT>(0x80060009u);
/// A file could not be opened for the requested access.
inline constexpr HRESULT YK_E_ACCESS = static_cast<HRESULT>(0x8006000Au);
/// Not an object file, or a damaged one, or an unsupported version.
inline constexpr HRESULT YK_E_BADFILE = static_cast<HRESULT>(0x8006000Eu);

/// True for S_OK, S_FALSE and every other non-negative code.
constexpr bool Succeeded(HRESULT result) noexcept { return result >= 0; }
/// True for every negative code.
constexpr bool Failed(HRESULT result) noexcept { return result < 0; }

}  // namespace yk
