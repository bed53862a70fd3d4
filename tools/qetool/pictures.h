// Pictures in files.
#pragma once

#include <qecore/core/ref.h>
#include <qecore/image/image.h>

#include <string>

#include "host.h"
#include "watch.h"

namespace qetool {

struct Picture {
  yk::Ref<yk::Image2d> image;
  yk::Guid type;      // one of ids::FILE_PNG ...
  unsigned fileSize;  // bytes
};

/// Reads the picture in a file. Throws Failure or Stopped.
Picture LoadPicture(std::string const& path, Listener& listener);

/// The class of the filter that writes files with this path's extension. Throws Failure if there is none.
yk::Guid FilterFor(Host const& host, std::string const& path);

/// Writes a file through the filter of this class, completely or not at all: an old file at `path` stays
/// until the new one is complete. Throws Failure or Stopped.
void SavePicture(yk::Guid const& filter, yk::Image2d& image, std::string const& path, unsigned options,
                 Listener& listener);

/// "PNG", "JPEG", ...
char const* TypeName(yk::Guid const& type);

}  // namespace qetool
