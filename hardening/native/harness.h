// The interface of the native build for tests, fuzz targets and fault loops: live objects, planned failures,
// and the files.
//
// The native build compiles the library with Clang's sanitizers as a Linux program over Wine's libraries. Its
// calls for memory, message boxes, files and plug-ins come here instead of to the system: each is counted,
// and any of them can be made to fail.
//
//   harness::Live const before = harness::CountLive();
//   harness::Arm({harness::MEMORY, 3});                     // the third allocation fails
//   Use();
//   harness::Disarm();
//   bool const whole = harness::CountLive() == before;      // nothing was leaked
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

namespace harness {

// ---- live objects -----------------------------------------------------------------------------------------

/// Resources that the library has acquired and not released.
struct Live {
  long blocks = 0;   ///< heap blocks, including those of global memory and of bitmaps
  long globals = 0;  ///< handles of global memory
  long bitmaps = 0;  ///< bitmaps that hold an image's pixels
  long handles = 0;  ///< open files and searches, and loaded plug-ins
  bool operator==(Live const&) const = default;
};
Live CountLive() noexcept;

// ---- failures ---------------------------------------------------------------------------------------------

/// The kinds of calls that can fail. A plan contains any set of them.
enum Kind : unsigned {
  MEMORY = 1u << 0,       ///< malloc, realloc, new, GlobalAlloc, GlobalReAlloc, CreateDIBSection
  LOCK = 1u << 1,         ///< GlobalLock
  OPEN = 1u << 2,         ///< CreateFile, GetTempFileName, CreateDirectory
  READ = 1u << 3,         ///< ReadFile fails
  SHORT_READ = 1u << 4,   ///< ReadFile succeeds and reads half of the bytes
  WRITE = 1u << 5,        ///< WriteFile and SetEndOfFile fail: the disk is full
  SHORT_WRITE = 1u << 6,  ///< WriteFile succeeds and writes half of the bytes
  SEEK = 1u << 7,         ///< SetFilePointer; querying the position never fails
  FIND = 1u << 8,         ///< FindFirstFile, FindNextFile
  LOAD = 1u << 9,         ///< LoadLibrary
  REPLACE = 1u << 10,     ///< MoveFileEx, ReplaceFile
  REMOVE = 1u << 11,      ///< DeleteFile
  FLUSH = 1u << 12,       ///< FlushFileBuffers
  ALL_FILE_KINDS = (1u << 13) - (1u << 2),
  THREAD = 1u << 13,  ///< CreateThread
};

/// Which call fails: the `at`-th of these kinds, counted from 1; 0: none, they are only counted.
struct Plan {
  unsigned kinds = 0;
  long at = 0;
  bool onwards = false;  ///< all later ones as well
};

void Arm(Plan plan) noexcept;  ///< and restarts the count
void Disarm() noexcept;
/// Calls of the plan's kinds since Arm. If it is less than `at`, nothing has failed.
long CountCalls() noexcept;
/// The largest allocation that is ever granted; initially 2 GB.
void LimitRequests(size_t bytes) noexcept;

/// A scope in which nothing fails and no call counts: for the test's own needs.
class Calm {
 public:
  Calm() noexcept;
  ~Calm();
  Calm(Calm const&) = delete;
  Calm& operator=(Calm const&) = delete;

 private:
  bool wasCalm;
};

// ---- message boxes and formatters -------------------------------------------------------------------------

/// The texts of the message boxes since the last call, in order; those after the hundredth are dropped.
std::vector<std::u16string> TakeBoxes();

/// Replaces each argument of a format by this value, so that arbitrary formats can be tried; 0 restores
/// normal operation.
void ForceFormatArguments(uint64_t value) noexcept;

// ---- files ------------------------------------------------------------------------------------------------
// Programs linked with the files in memory (all except the project's own tests) access these and no others.
// Names are case-insensitive, `/` equals `\`; a folder exists if it was created or contains a file.

struct File {
  std::u16string name;  ///< the full path as first written
  std::string bytes;
  uint64_t time = 0;  ///< of the last write, in a FILETIME's units
  bool readOnly = false;
};

void ClearFiles();  ///< files, folders and plug-ins; no file may be open
File& PutFile(std::u16string const& path, std::string bytes);
/// Null if not found. Valid until the file is removed or replaced.
File* FindFile(std::u16string const& path);
/// The content of a file; empty when it does not exist.
std::string ReadFile(std::u16string const& path);
/// The full paths, sorted.
std::vector<std::u16string> ListFiles();

/// A file that loads as a plug-in with the single exported function `entry`.
using PluginEntry = intptr_t (*)(unsigned message, uintptr_t index, void* record);
void PutPlugin(std::u16string const& path, PluginEntry entry);
/// The number of times that a plug-in is loaded now, and that it was ever loaded.
struct Loads {
  long now = 0, ever = 0;
};
Loads CountLoads(std::u16string const& path);
/// Unloads those that are still loaded, such as those removed from the System (which does not unload them).
void UnloadPlugins();

}  // namespace harness
