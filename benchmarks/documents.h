// Documents for the rows: object files and XML, in memory and in temporary files.
#pragma once

#include <qecore/core/ref.h>
#include <qecore/io/buffered_stream.h>
#include <qecore/io/deserializer.h>
#include <qecore/io/file_stream.h>
#include <qecore/io/mem_stream.h>
#include <qecore/io/save_file.h>
#include <qecore/io/serializer.h>
#include <qecore/io/xml.h>
#include <qecore/values/map.h>
#include <qecore/values/string.h>
#include <qecore/values/variant.h>

#include <memory>

#include "bench.h"

namespace bench {

using StreamRef = yk::Ref<yk::Stream>;

StreamRef NewMemory();
StreamRef OpenFile(yk::String const& path, unsigned mode);
/// A path in the temporary folder.
yk::String TemporaryPath(wchar_t const* name);
/// The content of a stream in memory.
size_t SizeOf(StreamRef const& stream);

/// An object with a few properties, and objects in it, as the document of a host has: 320 bytes each.
struct Node {
  yk::Ref<yk::Map> properties;
  std::vector<Node> children;
};
Node MakeTree(size_t objects);
void SaveTree(Node const& tree, yk::Stream* stream);
/// \return the number of objects
size_t LoadTree(yk::Stream* stream);

/// A catalogue of short records.
yk::XmlNode* MakeCatalogue(yk::XmlHelper& xml, size_t records);

}  // namespace bench
