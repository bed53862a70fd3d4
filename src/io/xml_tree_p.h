// Creates, links and frees nodes. Nothing is checked here: callers check their arguments.
#pragma once

#include <qecore/io/xml.h>

#include <string_view>

#include "xml_pool_p.h"

namespace yk {

namespace xml {
class AttributeIndex;
}

/// A node or attribute has private links, which lie just before it:
///
///   +----------+-------+-------+------+       +----------+-------+-----------+
///   | previous | index | chunk | node |       | previous | chunk | attribute |
///   +----------+-------+-------+------+       +----------+-------+-----------+
struct XmlTree {
  struct NodeLinks {
    XmlNode* previous;
    xml::AttributeIndex* index;  // of many attributes; null: a search reads the list
    xml::Chunk* chunk;
  };
  struct AttributeLinks {
    XmlAttribute* previous;
    xml::Chunk* chunk;
  };

  /// Attributes from which on an element gets an index.
  static constexpr size_t MANY = 16;

  /// Null when there is no memory.
  static XmlNode* NewNode(xml::Pool& pool, uint32_t kind, std::wstring_view name) noexcept;
  static XmlAttribute* NewAttribute(xml::Pool& pool, std::wstring_view name,
                                    std::wstring_view value) noexcept;

  /// Changes a text of a node or attribute; `with` is then empty.
  static void SetName(XmlNode& node, String& with) noexcept { Replace(node.name, with); }
  static void SetText(XmlNode& node, String& with) noexcept { Replace(node.text, with); }
  static void SetValue(XmlAttribute& attribute, String& with) noexcept { Replace(attribute.value, with); }
  /// The text of a node that has none, in its chunk if that is the pool's. False when there is no memory.
  static bool StoreText(XmlNode& node, xml::Pool& pool, std::wstring_view text) noexcept;

  /// Inserts before `before`, or appends when that is null, in constant time. So is Unlink.
  static void Link(XmlNode& parent, XmlNode& node, XmlNode* before) noexcept;
  static void Unlink(XmlNode& node) noexcept;
  /// Frees an unlinked node with all its descendants, at any depth, without recursion.
  static void Free(XmlNode* root) noexcept;

  /// The attribute with this name, or null.
  static XmlAttribute* Find(XmlNode& node, wchar_t const* name) noexcept;
  static void Append(XmlNode& node, XmlAttribute& attribute) noexcept;
  /// Keeps searches fast after Append. Without memory they are slow.
  static void Index(XmlNode& node, XmlAttribute& added) noexcept;
  /// The same for all `count` attributes at once. False also if two have one name.
  static bool IndexAll(XmlNode& node, size_t count) noexcept;
  static void Remove(XmlNode& node, XmlAttribute& attribute) noexcept;

 private:
  class Freed;

  static void Replace(String& text, String& with) noexcept;
  static void FreeOne(XmlNode& node, Freed& freed) noexcept;
  static void FreeOne(XmlAttribute& attribute, Freed& freed) noexcept;
};

namespace xml {

/// Writes as XmlHelper::Save documents. False: there was no memory for the writer. `failure` is S_OK or the
/// stream's first failure.
bool Write(XmlNode const& document, Stream& stream, unsigned flags, HRESULT& failure) noexcept;

/// The length of the escaped text; also writes it and a terminator if there is a buffer.
size_t Escape(wchar_t const* text, size_t length, wchar_t* buffer) noexcept;

/// Reads as XmlHelper::Load documents. Null, with `error` filled, on failure.
XmlNode* Read(Stream& stream, XmlError& error) noexcept;

}  // namespace xml

}  // namespace yk
