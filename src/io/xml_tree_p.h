// The hand inside the nodes: makes, links and frees them. It checks nothing; who calls it has checked.
#pragma once

#include <qecore/io/xml.h>

namespace yk {

struct XmlTree {
  /// Null when there is no memory.
  static XmlNode* NewNode(uint32_t kind) noexcept;
  static XmlAttribute* NewAttribute() noexcept;

  static String& Name(XmlNode& node) noexcept { return node.name; }
  static String& Text(XmlNode& node) noexcept { return node.text; }
  static String& Name(XmlAttribute& attribute) noexcept { return attribute.name; }
  static String& Value(XmlAttribute& attribute) noexcept { return attribute.value; }

  /// In front of `before`, or last when that is null; the latter takes the same time in every list.
  static void Link(XmlNode& parent, XmlNode& node, XmlNode* before) noexcept;
  static void Unlink(XmlNode& node) noexcept;
  /// Frees an unlinked node with all that is in it, however deep, without recursion.
  static void Free(XmlNode* root) noexcept;

  static void Append(XmlNode& node, XmlAttribute& attribute) noexcept;
  /// `previous` is the attribute in front, or null for the first.
  static void Remove(XmlNode& node, XmlAttribute* previous, XmlAttribute& attribute) noexcept;

 private:
  static void FreeOne(XmlNode* node) noexcept;
};

namespace xml {

/// Writes as XmlHelper::Save says. False: there was no memory for the writer. `failure` is S_OK or the
/// stream's first.
bool Write(XmlNode const& document, Stream& stream, unsigned flags, HRESULT& failure) noexcept;

/// The length of the escaped text; writes it and a terminator when there is a buffer.
size_t Escape(wchar_t const* text, size_t length, wchar_t* buffer) noexcept;

/// Reads as XmlHelper::Load says. Null, and `error` is filled, on failure.
XmlNode* Read(Stream& stream, XmlError& error) noexcept;

}  // namespace xml

}  // namespace yk
