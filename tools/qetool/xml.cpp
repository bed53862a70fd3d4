// qetool xml: reads a document and writes it back; also the XML output of qetool dump.
#include "xml.h"

#include <qecore/core/ref.h>
#include <qecore/io/mem_stream.h>

#include <algorithm>
#include <memory>
#include <new>
#include <vector>

#include "commands.h"
#include "input.h"
#include "output.h"
#include "text.h"

namespace qetool {

using namespace yk;

namespace {

struct Options {
  std::string input, output;
  bool layout = false;
  bool utf16 = false;
};

/// The library writes a pair of surrogates in UTF-8 as two sequences of three bytes.
bool HasPairs(unsigned char const* utf8, unsigned size) {
  auto const isHalf = [](unsigned char a, unsigned char b) { return a == 0xED && b >= 0xA0; };
  return std::adjacent_find(utf8, utf8 + size, isHalf) != utf8 + size;
}

XmlNode* AddChunk(XmlDocument& document, XmlNode* parent, ChunkNode const& chunk, ChunkNode const* outer) {
  XmlNode* const node = document.Add(parent, L"chunk");
  document.Set(node, L"tag", std::to_string(chunk.tag));
  if (char const* const name = ChunkName(chunk, outer)) document.Set(node, L"name", name);
  document.Set(node, L"offset", std::to_string(chunk.offset));
  document.Set(node, L"bytes", std::to_string(chunk.payload.size()));
  std::string const value = DescribePlain(chunk);
  if (!value.empty()) document.Set(node, L"value", value);
  return node;
}

void Run(Options const& options) {
  if (!options.output.empty()) CheckPlace(options.output);
  XmlDocument document;
  document.Load(options.input);
  document.Save(options.output, (options.layout ? XML_LAYOUT : 0u) | (options.utf16 ? XML_UTF16 : 0u));
}

}  // namespace

XmlDocument::XmlDocument() : helper(Ref<XmlHelper>::Adopt(XmlHelper::Create())), root(nullptr) {
  if (helper) root = helper->CreateDocument();
  if (!root) throw std::bad_alloc();
}

void XmlDocument::Load(std::string const& path) {
  Ref<Stream> const stream = OpenInput(path);
  XmlNode* loaded = nullptr;
  XmlError error = {};
  if (Failed(helper->Load(stream.get(), &loaded, &error))) {
    std::string const place = error.line > 0 ? Format(":%u:%u", error.line, error.column) : "";
    throw Failure{"cannot read " + ShownName(path) + place + ": " + ToUtf8(error.text)};
  }
  helper->FreeNode(root);
  root = loaded;
}

void XmlDocument::Save(std::string const& path, unsigned flags) {
  Ref<Stream> stream;
  HRESULT result = MemStream::Create(stream.Receive());
  if (Succeeded(result)) result = helper->Save(root, stream.get(), flags);
  if (Succeeded(result)) result = helper->GetFailure();  // Save itself does not report failed writes
  if (Failed(result))
    throw Failure{"cannot write " + (path.empty() ? "the document" : path) + ": " + Reason(result)};
  unsigned const size = stream->GetSize();
  void* bytes = nullptr;
  static_cast<MemStream*>(stream.get())->GetBuffer(&bytes);
  if (path.empty()) {
    WriteToOutput(bytes, size);
  } else {
    WriteWhole(path, [&](Stream& file) { return file.Write(bytes, size); });
  }
  if (!(flags & XML_UTF16) && HasPairs(static_cast<unsigned char*>(bytes), size)) {
    Report(
        "the document has characters above U+FFFF, which most programs can read only from UTF-16: use "
        "--utf16");
  }
}

XmlNode* XmlDocument::Add(XmlNode* parent, wchar_t const* name) {
  XmlNode* const node = helper->CreateNode(XML_ELEMENT, name);
  if (!node) throw std::bad_alloc();
  helper->AppendChild(parent, node);
  return node;
}

void XmlDocument::Set(XmlNode* node, wchar_t const* name, std::string const& value) {
  if (helper->SetAttribute(node, name, ToWide(value).c_str()) == E_OUTOFMEMORY) throw std::bad_alloc();
}

void PrintChunksAsXml(ChunkTree const& tree, std::string const& path) {
  XmlDocument document;
  XmlNode* const file = document.Add(document.Root(), L"objectfile");
  document.Set(file, L"path", path);
  if (!tree.damage.empty()) document.Set(file, L"damage", tree.damage);
  std::vector<XmlNode*> nodes;
  for (ChunkNode const& chunk : tree.nodes) {
    if (chunk.depth + 1 >= static_cast<int>(XML_DEPTH_LIMIT)) {  // the library itself could not read it
      throw Failure{path + ": its chunks are nested too deep for XML"};
    }
    XmlNode* const parent = chunk.parent == ChunkTree::NONE ? file : nodes[chunk.parent];
    nodes.push_back(AddChunk(document, parent, chunk, tree.ParentOf(chunk)));
  }
  document.Save({}, XML_LAYOUT);
}

void AddXml(CLI::App& app, Host&) {
  CLI::App& command = *app.add_subcommand("xml", "Read an XML document and write it back");
  auto const options = std::make_shared<Options>();
  command.add_option("file", options->input, "Document, in UTF-8 or UTF-16, or - for standard input")
      ->type_name("FILE")
      ->required();
  command.add_flag("--layout", options->layout, "Indent with tabs and line breaks");
  command.add_flag("--utf16", options->utf16,
                   "Write UTF-16 with a byte-order mark, instead of UTF-8 without one");
  command.add_option("-o,--output", options->output, "File to write; by default standard output")
      ->type_name("FILE");
  command.footer(
      "Declarations and document types are not kept. If a document is not well-formed, the line and column\n"
      "of the error are reported, and nothing is written.");
  command.callback([options] { Run(*options); });
}

}  // namespace qetool
