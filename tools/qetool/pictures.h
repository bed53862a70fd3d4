// Pictures in files.
#pragma once

#include <qecore/core/ref.h>
#include <qecore/image/image.h>
#include <qecore/io/stream.h>
#include <qecore/values/map.h>

#include <optional>
#include <string>
#include <vector>

#include "formats.h"
#include "watch.h"

namespace qetool {

struct Picture {
  yk::Ref<yk::Image2d> image;
  yk::Guid type;      // one of ids::FILE_PNG ...
  unsigned fileSize;  // bytes
};

/// How pictures are read.
struct ReadOptions {
  std::vector<std::string> settings;  // NAME=VALUE, options of the filter
  std::optional<unsigned> frame;      // of a file with several pictures, from 0
  bool decodesEvery = false;          // picture before it, too
};

/// Adds --frame to a command, the same as its option of reading.
void AddFrameOption(CLI::App& command, ReadOptions& options);

/// Reads a picture of the file that begins at the position of a stream, which is undefined afterwards;
/// messages call it `path`. Throws Failure or Stopped.
Picture LoadPicture(yk::Stream& stream, std::string const& path, Listener& listener,
                    ReadOptions const& options = {});

/// Reads a picture in a file, or on standard input for "-". Throws Failure or Stopped.
Picture LoadPicture(std::string const& path, Listener& listener, ReadOptions const& options = {});

/// What the file at a stream's position says of its pictures, under the keys of file_info.h, without decoding
/// them; empty if its filter describes no files. `type` is unchanged then.
yk::Ref<yk::Map> QueryPicture(yk::Stream& stream, yk::Guid& type);

/// The pictures in the file that QueryPicture described.
unsigned CountFrames(yk::Map& info);

/// Whether a filter writes files with this extension, which has no dot.
bool IsWritten(Host const& host, std::string const& extension);

/// The extensions that filters write: "tif, gif, ...".
std::string WrittenTypes(Host const& host);

/// The class of the filter that writes files with this path's extension. Throws Failure if no filter does.
yk::Guid FilterFor(Host const& host, std::string const& path);

/// What the files of a type keep of a picture apart from its colours.
struct Kept {
  bool alpha = true, orientation = true;
};

/// Determined by writing and reading one pixel of the picture's format, since no filter says it. All, if that
/// fails.
Kept WhatFilesKeep(yk::Guid const& filter, yk::Image2d const& picture);

/// Writes a file, or standard output for "-", through the filter of this class: all of it or nothing. An old
/// file at `path` stays until the new one is complete. Throws Failure or Stopped. Returns the bytes that went
/// to standard output; null after writing a file.
yk::Ref<yk::Stream> SavePicture(yk::Guid const& filter, yk::Image2d& image, std::string const& path,
                                WriteOptions const& options, Listener& listener);

/// "PNG", "JPEG", ...: the library's name for the format of a filter class, or else the filter's own.
std::string TypeName(yk::Guid const& type);

}  // namespace qetool
