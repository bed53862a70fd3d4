// Pictures in files.
#pragma once

#include <qecore/core/ref.h>
#include <qecore/image/image.h>
#include <qecore/io/stream.h>
#include <qecore/values/map.h>

#include <string>

#include "host.h"
#include "watch.h"

namespace qetool {

struct Picture {
  yk::Ref<yk::Image2d> image;
  yk::Guid type;      // one of ids::FILE_PNG ...
  unsigned fileSize;  // bytes
};

/// Reads the picture at the position of a stream; messages call it `path`. Throws Failure or Stopped.
Picture LoadPicture(yk::Stream& stream, std::string const& path, Listener& listener);

/// Reads the picture in a file, or on standard input for "-". Throws Failure or Stopped.
Picture LoadPicture(std::string const& path, Listener& listener);

/// Whether a filter writes files with this extension, which has no dot.
bool IsWritten(Host const& host, std::string const& extension);

/// The extensions that filters write: "tif, gif, ...".
std::string WrittenTypes(Host const& host);

/// Whether files of this type are written with a quality of 1 to 100.
bool HasQuality(yk::Guid const& type);

/// The class of the filter that writes files with this path's extension. Throws Failure if no filter does.
yk::Guid FilterFor(Host const& host, std::string const& path);

/// Writes a file, or standard output for "-", through the filter of this class with options, or null: all of
/// it or nothing. An old file at `path` stays until the new one is complete. Throws Failure or Stopped.
void SavePicture(yk::Guid const& filter, yk::Image2d& image, std::string const& path, yk::Map* options,
                 Listener& listener);

/// "PNG", "JPEG", ...
char const* TypeName(yk::Guid const& type);

}  // namespace qetool
