// XML: trees of nodes in memory, with a writer and a reader for streams.
//
//   Ref<XmlHelper> xml;
//   CreateInterface(ids::XML_HELPER, xml.ReceiveVoid());
//
//   XmlNode* document = xml->CreateDocument();
//   XmlNode* list = xml->CreateNode(XML_ELEMENT, L"list");
//   xml->AppendChild(document, list);
//   xml->SetAttribute(list, L"count", L"2");
//   xml->Save(document, stream, XML_LAYOUT);
//   xml->FreeNode(document);
//
//   XmlError error;
//   if (Failed(xml->Load(stream, &document, &error))) return Report(error.line, error.column, error.text);
//   for (XmlNode* node = document->FirstChild(); node; node = node->Next()) ...
//
// Ownership: a node returned by CreateDocument, CreateNode or Load, or unlinked by RemoveNode, belongs to the
// caller, who passes it to a tree with InsertChild or frees it with FreeNode. A tree owns its nodes: freeing
// a document frees them all. Trees of any depth are freed and written without recursion.
//
// The tree refuses content that XML cannot express, so that a saved document loads into an equal tree: names
// are XML names; a comment contains no "--" and does not end in "-"; an instruction begins with a name other
// than "xml" and contains no "?>"; both use LF as line end. Two exceptions remain: an empty comment or
// instruction is written as "empty", and characters below 32 other than TAB, LF and CR are dropped from texts
// and values. Also, a file has exactly one top-level element.
//
// Failures: result codes and null, and LastError() says why; for a document that cannot be read, with line
// and column (error.h). A search that finds nothing is not a failure.
//
// Text is counted in 16-bit units, as everywhere in the library; surrogate pairs are preserved.
// Threads: a tree is used by one thread at a time, and so is a helper that saves, since it stores the
// failure.
#pragma once

#include <qecore/core/implements.h>
#include <qecore/values/string.h>

namespace yk {

class Stream;
struct XmlTree;

/// The kind of a node. The writer skips nodes of any other kind.
enum XmlKind : uint32_t {
  XML_DOCUMENT = 0,     ///< the root, whose children are the top-level nodes
  XML_COMMENT = 1,      ///< text
  XML_INSTRUCTION = 3,  ///< text: "target data"
  XML_ELEMENT = 4,      ///< name, attributes, text, children
};

/// How a document is written.
enum XmlFlag : unsigned {
  XML_COMPACT = 0,  ///< UTF-8, without line breaks
  XML_LAYOUT = 1,   ///< indented, with a tab per level, and line ends
  XML_UTF16 = 2,    ///< UTF-16LE with a byte order mark, instead of UTF-8 without one
};

/// An attribute of an element.
///
///   offset  0      8       16     24
///           +------+-------+------+
///           | name | value | next |
///           +------+-------+------+
class XmlAttribute {
 public:
  /// What it holds; the texts stay valid until they are changed.
  String const& Name() const noexcept { return name; }
  String const& Value() const noexcept { return value; }
  /// The next of the same element; null after the last.
  XmlAttribute* Next() const noexcept { return next; }

  XmlAttribute(XmlAttribute const&) = delete;
  XmlAttribute& operator=(XmlAttribute const&) = delete;

 private:
  friend struct XmlTree;
  XmlAttribute() noexcept = default;
  ~XmlAttribute() = default;

  String name;
  String value;
  XmlAttribute* next = nullptr;
};

/// A node of a tree.
///
///   offset  0      4     8      16     24           32         40     48       56          64 72
///           +------+-----+------+------+------------+----------+------+--------+-----------+---------------+
///           | kind |     | text | name | attributes | children | next | parent | lastChild | lastAttribute |
///           +------+-----+------+------+------------+----------+------+--------+-----------+---------------+
///
/// Children and attributes are lists in document order. An element has a single text, which is written before
/// the children; when a document is read, all pieces of text between the children are joined in it.
class XmlNode {
 public:
  /// An XmlKind.
  uint32_t Kind() const noexcept { return kind; }
  /// Empty where the kind has none; valid until they are changed.
  String const& Name() const noexcept { return name; }
  String const& Text() const noexcept { return text; }
  /// The neighbours in the tree, or null.
  XmlAttribute* FirstAttribute() const noexcept { return attributes; }
  XmlNode* FirstChild() const noexcept { return children; }
  XmlNode* Next() const noexcept { return next; }
  XmlNode* Parent() const noexcept { return parent; }

  XmlNode(XmlNode const&) = delete;
  XmlNode& operator=(XmlNode const&) = delete;

 private:
  friend struct XmlTree;
  explicit XmlNode(uint32_t newKind) noexcept : kind(newKind) {}
  ~XmlNode() = default;

  uint32_t kind;
  String text;
  String name;
  XmlAttribute* attributes = nullptr;
  XmlNode* children = nullptr;
  XmlNode* next = nullptr;
  XmlNode* parent = nullptr;
  XmlNode* lastChild = nullptr;
  XmlAttribute* lastAttribute = nullptr;
};

static_assert(sizeof(XmlAttribute) == 24 && sizeof(XmlNode) == 72);

/// Where and why a document could not be read.
struct XmlError {
  HRESULT code;         ///< what Load returned
  uint32_t line;        ///< from 1; 0 when there is no position
  uint32_t column;      ///< from 1, in 16-bit units
  wchar_t const* text;  ///< a short English message, owned by the library
};

static_assert(sizeof(XmlError) == 24);

/// The depth of nested elements that Load accepts.
inline constexpr unsigned XML_DEPTH_LIMIT = 1000;

/// Creates, edits, saves and loads trees.
///
///   slot  8 CreateDocument   12 RemoveNode   16 FindAttribute     20 Save
///         9 CreateNode       13 FindChild    17 SetAttribute      21 Load
///        10 FreeNode         14 SetName      18 RemoveAttribute
///        11 InsertChild      15 SetText      19 Escape            22 GetFailure
class XmlHelper : public Implements<XmlHelper, Unknown> {
 public:
  static Guid const& Id() noexcept { return ids::XML_HELPER; }

  /// A new helper, or null.
  YK_API static XmlHelper* Create() noexcept;

  /// An empty document, or null.
  YK_API virtual XmlNode* CreateDocument() noexcept;

  /// A new node: `content` is an element's name, or the text of a comment or instruction. Null for any other
  /// kind, for content that XML cannot express, and when there is no memory.
  YK_API virtual XmlNode* CreateNode(uint32_t kind, wchar_t const* content) noexcept;

  /// Unlinks the node and frees it with all its descendants. Null is a no-op.
  YK_API virtual void FreeNode(XmlNode* node) noexcept;

  /// Inserts a node, which the tree then owns, before `before`, a child of `parent`, or last when that is
  /// null. E_INVALIDARG, with the node still the caller's: `parent` is not an element or document; `node` is
  /// a document, is in a tree already or contains `parent`; `before` is not a child of `parent`.
  YK_API virtual HRESULT InsertChild(XmlNode* parent, XmlNode* node, XmlNode* before) noexcept;
  /// InsertChild after the last child.
  HRESULT AppendChild(XmlNode* parent, XmlNode* node) noexcept { return InsertChild(parent, node, nullptr); }

  /// Removes a node from its tree; it then belongs to the caller. YK_E_NOTFOUND: it is in no tree.
  YK_API virtual HRESULT RemoveNode(XmlNode* node) noexcept;

  /// The next child element with the name `name` (null: any name) after the child `after` (null: from the
  /// first). Null if not found.
  YK_API virtual XmlNode* FindChild(XmlNode* parent, wchar_t const* name, XmlNode* after) noexcept;

  /// Renames an element. E_INVALIDARG: not an element, or not a name.
  YK_API virtual HRESULT SetName(XmlNode* node, wchar_t const* name) noexcept;

  /// Sets the text of an element, a comment or an instruction; null and empty remove it. E_INVALIDARG: a
  /// document, or a text that XML cannot express there.
  YK_API virtual HRESULT SetText(XmlNode* node, wchar_t const* text) noexcept;

  /// The attribute with this name, or null.
  YK_API virtual XmlAttribute* FindAttribute(XmlNode* node, wchar_t const* name) noexcept;
  /// Changes an attribute's value, or appends a new attribute. E_INVALIDARG: not an element, or not a name.
  YK_API virtual HRESULT SetAttribute(XmlNode* node, wchar_t const* name, wchar_t const* value) noexcept;
  /// YK_E_NOTFOUND: no such attribute.
  YK_API virtual HRESULT RemoveAttribute(XmlNode* node, wchar_t const* name) noexcept;

  /// Writes the escaped text and a terminator to `buffer`, unless that is null. \return the length of the
  /// escaped text, without the terminator: call it once to measure and once to write.
  YK_API virtual size_t Escape(wchar_t const* text, wchar_t* buffer) noexcept;

  /// Writes a document, or a node with its descendants, at the stream's position. E_INVALIDARG for a null
  /// node or stream; E_OUTOFMEMORY. Otherwise S_OK, even when the stream fails: writing then stops, and
  /// GetFailure returns the failure.
  ///
  /// A line end is CR LF in UTF-8 and CR alone in UTF-16 (contract). In UTF-8, a surrogate pair is written as
  /// two sequences of three bytes, as everywhere in the library; use UTF-16 for such texts if other programs
  /// are to read them. No XML declaration is written: neither encoding needs one.
  YK_API virtual HRESULT Save(XmlNode const* document, Stream* stream, unsigned flags) noexcept;

  /// Reads from the stream's position to its end: UTF-8 with or without a byte order mark, or UTF-16LE. S_OK:
  /// `*document` belongs to the caller. Otherwise it is null, and `*error`, unless null, describes the
  /// failure: YK_E_BADFILE for a document that is not well-formed or in another encoding, E_FAIL for a
  /// failing stream.
  ///
  /// The nodes share blocks of memory: one that outlives its document may hold up to 64 KiB.
  ///
  /// Line ends become LF. White space used for layout is not text: pieces between children that are blank are
  /// dropped. A document type is skipped, not read; only the five predefined entities are known; nothing is
  /// ever fetched. The declared encoding is checked but not kept.
  YK_API virtual HRESULT Load(Stream* stream, XmlNode** document, XmlError* error) noexcept;

  /// S_OK, or the failure of the stream during the last Save; E_FAIL when it accepted less than was written.
  YK_API virtual HRESULT GetFailure() noexcept;

 private:
  friend Destroys;

  XmlHelper() noexcept = default;
  ~XmlHelper() = default;

  HRESULT failure = S_OK;
};

}  // namespace yk
