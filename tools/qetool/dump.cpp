// qetool dump: the chunk tree of an object file.
#include <qecore/core/ref.h>
#include <qecore/io/file_stream.h>
#include <stdio.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "chunk_tree.h"
#include "commands.h"
#include "text.h"
#include "xml.h"

namespace qetool {

using namespace yk;

namespace {

std::vector<unsigned char> ReadAll(std::string const& path) {
  Ref<Stream> stream;
  HRESULT result = FileStream::Create(ToWide(path), FileStream::READ, stream.Receive());
  if (Failed(result)) throw Failure{"cannot open " + Reason(result)};
  std::vector<unsigned char> bytes(stream->GetSize());
  unsigned done = 0;
  result = stream->Read(bytes.data(), static_cast<unsigned>(bytes.size()), &done);
  if (Failed(result) || done != bytes.size()) throw Failure{"cannot read " + path + ": " + Reason(E_FAIL)};
  return bytes;
}

void Print(ChunkNode const& node, ChunkNode const* parent) {
  constexpr int DEEPEST_INDENT =
      40;  // deeper lines are not indented further: there may be any number of levels
  int const depth = std::min(node.depth, DEEPEST_INDENT);
  char const* const name = ChunkName(node, parent);
  std::string const plain = DescribePlain(node);
  printf("%8zu  %*s%u%s%s%s, %s bytes%s%s\n", node.offset, 2 * depth, "", node.tag, name ? " (" : "",
         name ? name : "", name ? ")" : "", Grouped(node.payload.size()).c_str(), plain.empty() ? "" : ": ",
         plain.c_str());
}

void Run(std::string const& path, bool asXml) {
  std::vector<unsigned char> const bytes = ReadAll(path);
  ChunkTree const tree = ParseChunks(bytes);
  if (asXml) {
    PrintChunksAsXml(tree, path);
  } else {
    for (ChunkNode const& node : tree.nodes) Print(node, tree.ParentOf(node));
  }
  if (!tree.damage.empty()) throw Failure{path + " is damaged or not an object file: " + tree.damage};
}

}  // namespace

void AddDump(CLI::App& app, Host&) {
  CLI::App& command =
      *app.add_subcommand("dump", "Show the chunk tree of an object file, such as a plug-in cache");
  auto const path = std::make_shared<std::string>();
  command.add_option("file", *path, "Object file")->type_name("FILE")->required();
  command.footer(
      "Each line shows the offset of a chunk, its tag, size and content. Of a damaged file, everything that\n"
      "can be read is shown.");
  auto const asXml = std::make_shared<bool>(false);
  command.add_flag("--xml", *asXml, "Write the tree as an XML document");
  command.callback([path, asXml] { Run(*path, *asXml); });
}

}  // namespace qetool
