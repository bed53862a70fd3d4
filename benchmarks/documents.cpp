#include "documents.h"

#include <qecore/draw/geometry.h>
#include <qecore/io/file.h>
#include <stdlib.h>

namespace bench {

using namespace yk;

namespace {

constexpr unsigned short OBJECT = 200, PROPERTIES = 201;
constexpr size_t IN_GROUP = 100;

template <class... Value>
void Set(Map& map, unsigned key, Value... value) {
  Variant variant;
  variant.Init(value...);
  map.SetValue(key, variant);
}

Node MakeNode(size_t number) {
  Node node = {Ref<Map>::Adopt(Map::Create()), {}};
  unsigned char block[64] = {};
  Set(*node.properties, 1, static_cast<int>(number));
  Set(*node.properties, 2, static_cast<double>(number) / 2);
  Set(*node.properties, 3, L"layer with a usual name");
  Set(*node.properties, 4, point2d{1, 2});
  Set(*node.properties, 5, true);
  Set(*node.properties, 6, block, 64u, false);
  return node;
}

void SaveNode(Node const& node, Serializer& writer) {
  writer.BeginChunk(OBJECT);
  writer.BeginChunk(PROPERTIES);
  node.properties->Save(&writer, nullptr);
  writer.EndChunk();
  for (Node const& child : node.children) SaveNode(child, writer);
  writer.EndChunk();
}

size_t LoadNodes(Deserializer& reader) {
  size_t count = 0;
  while (reader.IsInChunk()) {
    if (reader.BeginChunk() == PROPERTIES) {
      Ref<Map> const map = Ref<Map>::Adopt(Map::Create());
      map->Load(&reader, nullptr);
      ++count;
    } else {
      count += LoadNodes(reader);
    }
    reader.EndChunk();
  }
  return count;
}

XmlNode* AppendElement(XmlHelper& xml, XmlNode* parent, wchar_t const* name, wchar_t const* text) {
  XmlNode* const node = xml.CreateNode(XML_ELEMENT, name);
  xml.AppendChild(parent, node);
  if (text) xml.SetText(node, text);
  return node;
}

}  // namespace

StreamRef NewMemory() {
  StreamRef stream;
  if (Failed(MemStream::Create(stream.Receive()))) abort();
  return stream;
}

StreamRef OpenFile(String const& path, unsigned mode) {
  StreamRef stream;
  if (Failed(FileStream::Create(path, mode, stream.Receive()))) abort();
  return stream;
}

String TemporaryPath(wchar_t const* name) {
  wchar_t folder[1000];
  if (!file::GetTempFolder(1000, folder)) abort();
  String path(folder);
  path += L"qecore-bench-";
  path += name;
  return path;
}

size_t SizeOf(StreamRef const& stream) { return stream->GetSize(); }

Node MakeTree(size_t objects) {
  Node root = MakeNode(0);
  for (size_t made = 1; made < objects;) {
    Node group = MakeNode(made++);
    while (made < objects && group.children.size() < IN_GROUP) group.children.push_back(MakeNode(made++));
    root.children.push_back(std::move(group));
  }
  return root;
}

void SaveTree(Node const& tree, Stream* stream) {
  Ref<Serializer> const writer = Ref<Serializer>::Adopt(Serializer::Create());
  writer->Open(stream, 0);
  SaveNode(tree, *writer);
  if (Failed(writer->Close())) abort();
}

size_t LoadTree(Stream* stream) {
  stream->Seek(0, Stream::FROM_START);
  Ref<Deserializer> const reader = Ref<Deserializer>::Adopt(Deserializer::Create());
  reader->Open(stream, 0);
  return LoadNodes(*reader);
}

XmlNode* MakeCatalogue(XmlHelper& xml, size_t records) {
  XmlNode* const document = xml.CreateDocument();
  XmlNode* const catalogue = AppendElement(xml, document, L"catalogue", nullptr);
  for (size_t i = 0; i < records; ++i) {
    XmlNode* const picture = AppendElement(xml, catalogue, L"picture", nullptr);
    String number;
    number.printf(L"%u", static_cast<unsigned>(i));
    xml.SetAttribute(picture, L"id", number.c_str());
    xml.SetAttribute(picture, L"name", L"photograph.jpg");
    xml.SetAttribute(picture, L"width", L"4321");
    xml.SetAttribute(picture, L"height", L"1234");
    AppendElement(xml, picture, L"title", L"Light & shadow, another picture");
    AppendElement(xml, picture, L"tag", L"sunset");
    AppendElement(xml, picture, L"tag", L"sea <blue>");
  }
  return document;
}

}  // namespace bench
