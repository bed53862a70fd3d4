// qetool dump: the chunk tree of an object file.
#include <stdio.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "chunk_tree.h"
#include "commands.h"
#include "input.h"
#include "json.h"
#include "text.h"
#include "xml.h"

namespace qetool {

using namespace yk;

namespace {

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

// Texts are whole. Bytes, which may be many, have another key, so that nobody takes them for a text.
void AddPlain(Json& json, PlainValue const& value) {
  switch (value.kind) {
    case PlainValue::Kind::NONE:
      return;
    case PlainValue::Kind::NUMBER:
      return json.AddNumber("value", value.number);
    case PlainValue::Kind::BYTES:
      return json.AddText("hex", ToHex(value.bytes));
    default:
      return json.AddText("value", ToUtf8(value.text.c_str()));
  }
}

// A flat list, since the chunks may be nested deeper than what JSON readers accept.
void PrintAsJson(ChunkTree const& tree, std::string const& path) {
  Json json;
  json.BeginObject();
  json.AddText("file", path);
  if (!tree.damage.empty()) json.AddText("damage", tree.damage);
  json.BeginList("chunks");
  for (ChunkNode const& node : tree.nodes) {
    char const* const name = ChunkName(node, tree.ParentOf(node));
    json.BeginObject();
    json.AddNumber("tag", node.tag);
    if (name) json.AddText("name", name);
    json.AddNumber("depth", static_cast<unsigned>(node.depth));
    json.AddNumber("offset", node.offset);
    json.AddNumber("bytes", node.payload.size());
    AddPlain(json, ReadPlain(node));
    json.End();
  }
  json.End();
  json.End();
  json.Print();
}

enum class Form { LINES, XML, JSON };

void Run(std::string const& path, Form form) {
  std::vector<unsigned char> const bytes = ReadAll(*OpenInput(path), path);
  ChunkTree const tree = ParseChunks(bytes);
  if (form == Form::XML) {
    PrintChunksAsXml(tree, path);
  } else if (form == Form::JSON) {
    PrintAsJson(tree, path);
  } else {
    for (ChunkNode const& node : tree.nodes) Print(node, tree.ParentOf(node));
  }
  if (!tree.damage.empty())
    throw Failure{ShownName(path) + " is damaged or not an object file: " + tree.damage};
}

}  // namespace

void AddDump(CLI::App& app, Host&) {
  CLI::App& command =
      *app.add_subcommand("dump", "Show the chunk tree of an object file, such as a plug-in cache");
  auto const path = std::make_shared<std::string>();
  command.add_option("file", *path, "Object file, or - for standard input")->type_name("FILE")->required();
  command.footer(
      "Each line shows the offset of a chunk, its tag, size and content. Of a damaged file, everything that\n"
      "can be read is shown. In JSON, \"value\" is a number or a whole text, \"hex\" up to 16 other bytes.");
  auto const form = std::make_shared<Form>(Form::LINES);
  CLI::Option* const asXml = command.add_flag_callback(
      "--xml", [form] { *form = Form::XML; }, "Write the tree as an XML document");
  command
      .add_flag_callback(
          "--json", [form] { *form = Form::JSON; }, "Write the chunks as a JSON document")
      ->excludes(asXml);
  command.callback([path, form] { Run(*path, *form); });
}

}  // namespace qetool
