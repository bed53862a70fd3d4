// What the XML tests share: saving to bytes, loading from bytes, and a tree as one line of text.
#pragma once

#include <qecore/io/xml.h>

#include <memory>

#include "io/streams.h"

namespace xmltest {

using namespace yk;

inline XmlHelper& Xml() {
  static Ref<XmlHelper> const helper = Ref<XmlHelper>::Adopt(XmlHelper::Create());
  return *helper;
}

struct Free {
  void operator()(XmlNode* node) const { Xml().FreeNode(node); }
};
using Tree = std::unique_ptr<XmlNode, Free>;

inline std::string Saved(XmlNode const* node, unsigned flags) {
  Ref<Stream> const stream = Memory();
  EXPECT_EQ(Xml().Save(node, stream.get(), flags), S_OK);
  return Content(*stream);
}

/// Null, and `error` is filled, for a document that is refused.
inline Tree Loaded(std::string const& bytes, XmlError* error = nullptr) {
  XmlNode* document = nullptr;
  HRESULT const result = Xml().Load(Memory(bytes).get(), &document, error);
  EXPECT_EQ(Succeeded(result), document != nullptr);
  return Tree(document);
}

/// "name@attribute=value'text'(child child)" for an element, "!'text'" for a comment, "?'text'" for an
/// instruction.
inline std::wstring Line(XmlNode const* node) {
  std::wstring line = node->Name().c_str();
  if (node->Kind() == XML_COMMENT) line += L"!";
  if (node->Kind() == XML_INSTRUCTION) line += L"?";
  for (XmlAttribute* a = node->FirstAttribute(); a; a = a->Next()) {
    line += std::wstring(L"@") + a->Name().c_str() + L"=" + a->Value().c_str();
  }
  if (!node->Text().IsEmpty()) line += std::wstring(L"'") + node->Text().c_str() + L"'";
  for (XmlNode* child = node->FirstChild(); child; child = child->Next()) {
    line += (child == node->FirstChild() ? L"(" : L" ") + Line(child);
  }
  return node->FirstChild() ? line + L")" : line;
}

inline std::wstring Line(Tree const& tree) { return tree ? Line(tree.get()) : L"refused"; }

/// The same characters in UTF-16LE, behind a mark. For texts of ASCII.
inline std::string Utf16(std::string const& ascii) {
  std::string bytes = "\xFF\xFE";
  for (char const c : ascii) (bytes += c) += '\0';
  return bytes;
}

}  // namespace xmltest
