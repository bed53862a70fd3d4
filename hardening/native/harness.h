// What a test, a fuzz target or a fault loop sees of the native build: what lives, what is to fail, and the
// files.
//
// The native build compiles the library with Clang's sanitizers as a Linux program over Wine's libraries. Its
// calls for memory, message boxes, files and plug-ins lead here instead of to the system: each is counted,
// and any of them can be made to fail.
//
//   harness::Live const before = harness::CountLive();
//   harness::Arm({harness::MEMORY, 3});                     // the third request for memory is refused
//   Use();
//   harness::Disarm();
//   bool const whole = harness::CountLive() == before;      // nothing was left behind
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

namespace harness {

// ---- what lives
// -----------------------------------------------------------------------------------------------------

/// What the library has taken and not given back.
struct Live {
  long blocks = 0;   ///< heap blocks, those of global memory and of bitmaps included
  long globals = 0;  ///< handles of global memory
  long bitmaps = 0;  ///< bitmaps that hold an image's pixels
  long handles = 0;  ///< open files and searches, and loaded plug-ins
  bool operator==(Live const&) const = default;
};
Live CountLive() noexcept;

// ---- what fails
// -----------------------------------------------------------------------------------------------------

/// The kinds of calls that can fail. A plan takes any set of them.
enum Kind : unsigned {
  MEMORY = 1u << 0,       ///< malloc, realloc, new, GlobalAlloc, GlobalReAlloc, CreateDIBSection
  LOCK = 1u << 1,         ///< GlobalLock
  OPEN = 1u << 2,         ///< CreateFile, GetTempFileName, CreateDirectory
  READ = 1u << 3,         ///< ReadFile fails
  SHORT_READ = 1u << 4,   ///< ReadFile says success and gives half of the bytes
  WRITE = 1u << 5,        ///< WriteFile and SetEndOfFile fail: the disk is full
  SHORT_WRITE = 1u << 6,  ///< WriteFile says success and takes half of the bytes
  SEEK = 1u << 7,         ///< SetFilePointer; asking for the position never fails
  FIND = 1u << 8,         ///< FindFirstFile, FindNextFile
  LOAD = 1u << 9,         ///< LoadLibrary
  REPLACE = 1u << 10,     ///< MoveFileEx, ReplaceFile
  REMOVE = 1u << 11,      ///< DeleteFile
  FLUSH = 1u << 12,       ///< FlushFileBuffers
  ALL_FILE_KINDS = (1u << 13) - (1u << 2)
};

/// Which call is to fail: the `at`-th of these kinds, counted from 1; 0: none, they are only counted.
struct Plan {
  unsigned kinds = 0;
  long at = 0;
  bool onwards = false;  ///< all later ones as well
};

void Arm(Plan plan) noexcept;  ///< and begins to count anew
void Disarm() noexcept;
/// Calls of the plan's kinds since Arm. When it is less than `at`, nothing has failed.
long CountCalls() noexcept;
/// Refuses larger requests for memory at any time; 2 GB at first.
void LimitRequests(size_t bytes) noexcept;

/// A scope in which nothing fails and nothing is counted against the plan: for what a test itself needs.
class Calm {
 public:
  Calm() noexcept;
  ~Calm();
  Calm(Calm const&) = delete;
  Calm& operator=(Calm const&) = delete;

 private:
  bool wasCalm;
};

// ---- message boxes and formatters
// -----------------------------------------------------------------------------------

/// The texts of the message boxes since the last call, in order; those after the hundredth are dropped.
std::vector<std::u16string> TakeBoxes();

/// Gives each argument of a format this value, whatever was passed, so that any format may be tried; 0 ends
/// it.
void ForceFormatArguments(uint64_t value) noexcept;

// ---- files
// ----------------------------------------------------------------------------------------------------------
// Programs linked with the files in memory (all but the project's own tests) see these and no others. Upper
// and lower case are one, `/` is `\`; a folder is there when it was made or a file lies in it.

struct File {
  std::u16string name;  ///< the whole path as it was first written
  std::string bytes;
  uint64_t time = 0;  ///< of the last write, in a FILETIME's units
  bool readOnly = false;
};

void ClearFiles();  ///< files, folders and plug-ins; no file may be open
File& PutFile(std::u16string const& path, std::string bytes);
/// Null when there is none. Valid until the file is removed or replaced.
File* FindFile(std::u16string const& path);
/// What a file holds; empty when there is none.
std::string ReadFile(std::u16string const& path);
/// The whole paths, sorted.
std::vector<std::u16string> ListFiles();

/// A file that loads as a plug-in: `entry` is what its one exported function is.
using PluginEntry = intptr_t (*)(unsigned message, uintptr_t index, void* record);
void PutPlugin(std::u16string const& path, PluginEntry entry);
/// How often a plug-in is loaded now, and how often it ever was.
struct Loads {
  long now = 0, ever = 0;
};
Loads CountLoads(std::u16string const& path);
/// Unloads those that are still loaded: one that the System has forgotten stays, as intended.
void UnloadPlugins();

}  // namespace harness
