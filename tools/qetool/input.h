// What the commands read: files, the pictures of folders, lists of files, and standard input.
#pragma once

#include <qecore/core/ref.h>
#include <qecore/io/stream.h>

#include <string>
#include <vector>

#include "host.h"

namespace qetool {

/// The name of standard input and of standard output.
inline constexpr char STANDARD_STREAM[] = "-";

/// A path as messages show it.
std::string ShownName(std::string const& path);

/// Opens a file, or standard input, which is read to its end first. Throws Failure.
yk::Ref<yk::Stream> OpenInput(std::string const& path);

/// All bytes from the position of a stream that was opened for `path`. Throws Failure.
std::vector<unsigned char> ReadAll(yk::Stream& stream, std::string const& path);

/// The files that a command is given.
struct InputOptions {
  std::string command;  // that is given them
  std::vector<std::string> paths;
  std::string list;  // a file with more paths
  bool isRecursive = false;
};

/// Adds --recursive and --list to a command.
void AddInputOptions(CLI::App& command, InputOptions& options);

/// One file to read.
struct Input {
  std::string path;
  std::string name;  // without the folder that the command was given: "2024/a.png"
};

/// All files: those that are named, match a wildcard or are listed, and the pictures in folders and their
/// subfolders, but not `except`, a file or folder, nor what subfolders are links to, sorted by name in each
/// folder. Throws Failure when there is none, and for a pattern without a match. Without --recursive a folder
/// counts as a file, which cannot be read.
std::vector<Input> CollectInputs(InputOptions const& options, Host const& host,
                                 std::string const& except = {});

bool IsFolder(std::string const& path);

/// "a/b" of "a/b/c.png"; empty for a file in the current folder.
std::string FolderOf(std::string const& path);

/// Throws Failure when no file can be at `path`: it is a folder, or in one that does not exist.
void CheckPlace(std::string const& path);

/// Throws Failure when the system takes the path for a device, as many do with CON.png. `what` is what was
/// to be done: "cannot write ".
void CheckNoDevice(char const* what, std::string const& path);

/// Throws Failure for a path at which no picture can be written.
void CheckOutput(std::string const& path);

/// The last part of a path.
std::string NameOf(std::string const& path);
/// "png" of "a.png"; empty without a dot.
std::string ExtensionOf(std::string const& path);

/// Where a file or folder is from the root, in lower case: two paths of one file are equal. Links count as
/// what they are called.
std::string PlaceOf(std::string const& path);

}  // namespace qetool
