// Pictures in files: opened step by step, so that a failure can say which step it was.
#pragma once

#include <qecore/core/ref.h>
#include <qecore/image/image.h>

#include <string>

#include "host.h"

namespace qetool {

struct Picture {
  yk::Ref<yk::Image2d> image;
  yk::Guid type;      // one of ids::FILE_PNG ...
  unsigned fileSize;  // bytes
};

/// Reads the picture in a file. Throws Failure.
Picture LoadPicture(std::string const& path);

/// Checks that some filter writes files with this path's extension, and answers its class. Throws Failure.
yk::Guid FilterFor(Host const& host, std::string const& path);

/// Writes a file through the filter of this class, whole or not at all: what stood at `path` stays until the
/// new file is complete. Throws Failure.
void SavePicture(yk::Guid const& filter, yk::Image2d& image, std::string const& path, unsigned options);

/// "PNG", "JPEG", ...
char const* TypeName(yk::Guid const& type);

}  // namespace qetool
