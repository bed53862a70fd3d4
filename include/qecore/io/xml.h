// XML: trees of nodes in memory, a writer that puts them onto a stream and a reader that brings them back.
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
// Ownership: a node that CreateDocument, CreateNode or Load hands out, or that RemoveNode has unlinked, is
// the caller's, who gives it to a tree with InsertChild or frees it with FreeNode. A tree owns what is in it:
// a document that is freed frees all. Trees of any depth are freed and written without recursion.
//
// What XML cannot express is refused when it is put into the tree, so that a document that was saved loads to
// an equal tree: names are XML names; a comment has no "--" in it and no "-" at its end; an instruction
// begins with a name other than "xml" and has no "?>" in it; both hold line ends as LF. Left are two habits
// of the writer: an empty comment or instruction is written as "empty", and characters below 32 other than
// TAB, LF and CR are dropped from texts and values. And a file has exactly one element at its top.
//
// Text is counted in 16-bit units, as everywhere in the library; a pair of surrogates passes through whole.
// Threads: a tree is used by one thread at a time; and so is a helper that saves, which keeps the failure.
#pragma once

#include <qecore/core/implements.h>
#include <qecore/values/string.h>

namespace yk {

class Stream;
struct XmlTree;

/// What a node is. The writer skips any other number.
enum XmlKind : uint32_t {
  XML_DOCUMENT = 0,     ///< the list of the top-level nodes, as its children
  XML_COMMENT = 1,      ///< text
  XML_INSTRUCTION = 3,  ///< text: "target data"
  XML_ELEMENT = 4,      ///< name, attributes, text, children
};

/// How a document is written.
enum XmlFlag : unsigned {
  XML_COMPACT = 0,  ///< UTF-8, all in one line
  XML_LAYOUT = 1,   ///< a tab per level of nesting, and line ends
  XML_UTF16 = 2,    ///< UTF-16LE behind a byte-order mark, in place of UTF-8 without one
};

/// An attribute of an element.
///
///   offset  0      8       16     24
///           +------+-------+------+
///           | name | value | next |
///           +------+-------+------+
class XmlAttribute {
 public:
  String const& Name() const noexcept { return name; }
  String const& Value() const noexcept { return value; }
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
/// Children and attributes are lists in document order. An element has one run of text; it is written in
/// front of the children, and the pieces between the children of a document that is read are gathered in it.
class XmlNode {
 public:
  uint32_t Kind() const noexcept { return kind; }
  String const& Name() const noexcept { return name; }
  String const& Text() const noexcept { return text; }
  XmlAttribute* FirstAttribute() const noexcept { return attributes; }
  XmlNode* FirstChild() const noexcept { return children; }
  XmlNode* Next() const noexcept { return next; }
  XmlNode* Parent() const noexcept { return parent; }

  XmlNode(XmlNode const&) = delete;
  XmlNode& operator=(XmlNode const&) = delete;

 private:
  friend struct XmlTree;
  explicit XmlNode(uint32_t kind) noexcept : kind(kind) {}
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
  HRESULT code;
  uint32_t line;        ///< from 1; 0 when the place does not matter
  uint32_t column;      ///< from 1, in 16-bit units
  wchar_t const* text;  ///< short, English, the library's
};

static_assert(sizeof(XmlError) == 24);

/// Elements inside one another that Load takes.
inline constexpr unsigned XML_DEPTH_LIMIT = 1000;

/// The facility.
///
///   slot  8 CreateDocument   12 RemoveNode   16 FindAttribute     20 Save
///         9 CreateNode       13 FindChild    17 SetAttribute      21 Load
///        10 FreeNode         14 SetName      18 RemoveAttribute
///        11 InsertChild      15 SetText      19 Escape            22 GetFailure
class YK_API XmlHelper : public Implements<XmlHelper, Unknown> {
 public:
  static Guid const& Id() noexcept { return ids::XML_HELPER; }

  /// A new helper, or null.
  static XmlHelper* Create() noexcept;

  /// An empty document, or null.
  virtual XmlNode* CreateDocument() noexcept;

  /// A node of its own: `content` is an element's name, a comment's or instruction's text. Null for another
  /// kind, for content that XML cannot express, and when there is no memory.
  virtual XmlNode* CreateNode(uint32_t kind, wchar_t const* content) noexcept;

  /// Unlinks the node and frees it with all that is in it. Null does nothing.
  virtual void FreeNode(XmlNode* node) noexcept;

  /// Puts a node, which the tree then owns, in front of `before`, a child of `parent`, or last when that is
  /// null. E_INVALIDARG, and the node stays the caller's: `parent` is no element or document, `node` is a
  /// document, is in a tree already or holds `parent`, `before` is not a child of `parent`.
  virtual HRESULT InsertChild(XmlNode* parent, XmlNode* node, XmlNode* before) noexcept;
  HRESULT AppendChild(XmlNode* parent, XmlNode* node) noexcept { return InsertChild(parent, node, nullptr); }

  /// Takes a node out of its tree; it is the caller's then. YK_E_NOTFOUND: it is in none.
  virtual HRESULT RemoveNode(XmlNode* node) noexcept;

  /// The next child element called `name` (null: of any name) behind the child `after` (null: from the
  /// first). Null when there is none.
  virtual XmlNode* FindChild(XmlNode* parent, wchar_t const* name, XmlNode* after) noexcept;

  /// Renames an element. E_INVALIDARG: not an element, or not a name.
  virtual HRESULT SetName(XmlNode* node, wchar_t const* name) noexcept;

  /// Sets an element's, a comment's or an instruction's text; null and empty remove it. E_INVALIDARG: a
  /// document, or a text that XML cannot express there.
  virtual HRESULT SetText(XmlNode* node, wchar_t const* text) noexcept;

  /// The attribute called `name`, or null.
  virtual XmlAttribute* FindAttribute(XmlNode* node, wchar_t const* name) noexcept;
  /// Changes an attribute's value, or adds the attribute behind the others. E_INVALIDARG: not an element, or
  /// not a name.
  virtual HRESULT SetAttribute(XmlNode* node, wchar_t const* name, wchar_t const* value) noexcept;
  /// YK_E_NOTFOUND: there is no such attribute.
  virtual HRESULT RemoveAttribute(XmlNode* node, wchar_t const* name) noexcept;

  /// Writes the escaped text and a terminator to `buffer`, unless that is null. \return the length of the
  /// escaped text, without the terminator: call it once to count and once to write.
  virtual size_t Escape(wchar_t const* text, wchar_t* buffer) noexcept;

  /// Writes a document, or one node with what is in it, at the stream's position. E_INVALIDARG for a null
  /// node or stream; E_OUTOFMEMORY. Else S_OK, also for a stream that fails: nothing more is written to it,
  /// and GetFailure tells.
  ///
  /// A line end is CR LF in UTF-8 and CR alone in UTF-16; that difference is intended. A pair of surrogates
  /// is written in UTF-8 as two sequences of three bytes, as all UTF-8 of the library is; other programs may
  /// want UTF-16 for such texts. No XML declaration is written: neither encoding needs one.
  virtual HRESULT Save(XmlNode const* document, Stream* stream, unsigned flags) noexcept;

  /// Reads from the stream's position to its end: UTF-8 with or without a mark, UTF-16LE. S_OK: `*document`
  /// is the caller's. Else it is null, and `*error`, unless null, says where and why: YK_E_BADFILE for what
  /// is not well formed or in another encoding, E_FAIL for a stream that fails.
  ///
  /// Line ends become LF. Line ends and tabs that lay a document out are no text: of the pieces between
  /// children those that are blank are dropped. A document type is skipped, not read; entities other than the
  /// five named ones are unknown; nothing is ever fetched. A declaration's encoding is checked and not kept.
  virtual HRESULT Load(Stream* stream, XmlNode** document, XmlError* error) noexcept;

  /// S_OK, or what the stream of the last Save came to: its failure, E_FAIL when it took less than it was
  /// given.
  virtual HRESULT GetFailure() noexcept;

 private:
  friend Destroys;

  XmlHelper() noexcept = default;
  ~XmlHelper() = default;

  HRESULT failure = S_OK;
};

}  // namespace yk
