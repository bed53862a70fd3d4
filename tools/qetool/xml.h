// XML documents.
#pragma once

#include <qecore/core/ref.h>
#include <qecore/io/xml.h>

#include <memory>
#include <string>

#include "chunk_tree.h"

namespace qetool {

/// The library's XML, and a document that is freed with its owner.
class XmlDocument {
 public:
  XmlDocument();
  ~XmlDocument() { helper->FreeNode(root); }
  XmlDocument(XmlDocument const&) = delete;
  XmlDocument& operator=(XmlDocument const&) = delete;

  /// Replaces the document by the one in a file.
  void Load(std::string const& path);
  /// Writes to standard output if `path` is empty. A file is replaced only once the document is complete.
  void Save(std::string const& path, unsigned flags);

  yk::XmlNode* Add(yk::XmlNode* parent, wchar_t const* name);
  /// A value that XML cannot represent is omitted.
  void Set(yk::XmlNode* node, wchar_t const* name, std::string const& value);

  yk::XmlNode* Root() { return root; }

 private:
  yk::Ref<yk::XmlHelper> helper;
  yk::XmlNode* root;
};

/// The chunks of an object file: an element "chunk" for each, with its properties as attributes.
void PrintChunksAsXml(ChunkTree const& tree, std::string const& path);

}  // namespace qetool
