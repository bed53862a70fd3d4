// The version: of these headers, and of the library that is loaded.
//
//   #if QECORE_VERSION >= 0x010200                  // the headers have what 1.2.0 added
//
//   if (LibraryVersion() >= 0x010200) ...           // so has the library, too
//   printf("qeCore %s\n", QECORE_VERSION_TEXT);
//
//   0x010203:  major 1, minor 2, patch 3
//
// A program runs with the library of its own headers and with every later one of the same major number. A
// later minor version adds functions, slots and classes; a patch adds nothing. The major number changes only
// with a slot, a layout or a format of files.
//
// A program with newer headers would call slots that an older library does not have. System::Create compares
// the versions, and refuses such a program: it returns null, and LastError() says
//
//   this program was compiled for qeCore 1.2, and the library is 1.0.3
//
// A program that imports a function which the library does not export is not even started by the system.
// Threads: everything here is constant.
#pragma once

#include <qecore/core/base.h>

/// Changes when a slot, a layout or a format does.
#define QECORE_VERSION_MAJOR 1
/// Changes when something is added.
#define QECORE_VERSION_MINOR 0
/// Changes with every release.
#define QECORE_VERSION_PATCH 0

/// The version of the headers as one number, 0xMMmmpp, to compare.
#define QECORE_VERSION ((QECORE_VERSION_MAJOR << 16) | (QECORE_VERSION_MINOR << 8) | QECORE_VERSION_PATCH)

/// A part of QECORE_VERSION_TEXT.
#define QECORE_TEXT_OF(number) #number
/// A part of QECORE_VERSION_TEXT.
#define QECORE_DOTTED(a, b, c) QECORE_TEXT_OF(a) "." QECORE_TEXT_OF(b) "." QECORE_TEXT_OF(c)
/// The version of the headers as a text, "1.2.3".
#define QECORE_VERSION_TEXT QECORE_DOTTED(QECORE_VERSION_MAJOR, QECORE_VERSION_MINOR, QECORE_VERSION_PATCH)

namespace yk {

/// The version of the loaded library, a number like QECORE_VERSION.
YK_API unsigned LibraryVersion() noexcept;

}  // namespace yk
