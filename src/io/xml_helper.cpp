#include <qecore/io/xml.h>

#include <qecore/core/ref.h>
#include <qecore/values/str.h>

#include <new>

#include "core/error_p.h"
#include "xml_chars_p.h"
#include "xml_tree_p.h"

namespace yk {
namespace {

bool IsElement(XmlNode const* node) noexcept { return node && node->Kind() == XML_ELEMENT; }

bool IsName(wchar_t const* text) noexcept { return text && xml::IsName(text, str::Length(text)); }

/// Copies a text, converting its line ends to LF. False when there is no memory.
bool CopyLines(wchar_t const* text, String& out) noexcept {
  size_t const length = str::Length(text);
  if (!out.Realloc(length)) return false;
  wchar_t* const buffer = out.GetBuffer();
  size_t written = 0;
  for (size_t i = 0; i < length; ++i) {
    if (text[i] == L'\n' && i > 0 && text[i - 1] == L'\r') continue;
    buffer[written++] = text[i] == L'\r' ? L'\n' : text[i];
  }
  return out.Realloc(written);
}

bool HasControls(String const& text) noexcept {
  for (size_t i = 0; i < text.Length(); ++i) {
    if (text.At(i) < 32 && !xml::IsAllowedControl(text.At(i))) return true;
  }
  return false;
}

bool IsComment(String const& text) noexcept {
  bool const dashAtEnd = !text.IsEmpty() && text.At(text.Length() - 1) == L'-';
  return !dashAtEnd && text.Find(L"--") == String::npos;
}

bool IsInstruction(String const& text) noexcept {
  if (text.IsEmpty()) return true;
  size_t const target = xml::NameLength(text.c_str());
  if (target == 0 || xml::IsReservedTarget(text.c_str(), target)) return false;
  return (target == text.Length() || xml::IsBlank(text.At(target))) && text.Find(L"?>") == String::npos;
}

/// Whether a node of this kind may have this text.
bool IsValidText(uint32_t kind, String const& text) noexcept {
  if (!xml::IsText(text.c_str(), text.Length())) return false;
  if (kind == XML_ELEMENT) return true;
  if (HasControls(text)) return false;
  return kind == XML_COMMENT ? IsComment(text) : IsInstruction(text);
}

XmlNode* NewNode(uint32_t kind, std::wstring_view name = {}) noexcept {
  xml::Pool pool;
  return XmlTree::NewNode(pool, kind, name);
}

bool IsAncestor(XmlNode const* node, XmlNode const* descendant) noexcept {
  while (descendant && descendant != node) descendant = descendant->Parent();
  return descendant != nullptr;
}

// ---- failures

HRESULT Refuse(char const* operation, wchar_t const* why) noexcept {
  return Fail(E_INVALIDARG, operation, why);
}

HRESULT RefuseName(char const* operation, wchar_t const* name) noexcept {
  return Fail(E_INVALIDARG, operation, L"not an XML name: \"%s\"", name ? name : L"");
}

constexpr wchar_t NOT_AN_ELEMENT[] = L"the node is not an element";

/// Records an error for LastError.
void Report(unsigned before, XmlError const& error) noexcept {
  constexpr char OPERATION[] = "XmlHelper::Load";
  if (error.line == 0) {
    FailSince(before, error.code, OPERATION, L"%s", error.text);
  } else {
    FailSince(before, error.code, OPERATION, L"line %u, column %u: %s", error.line, error.column, error.text);
  }
}

/// Why a node cannot be inserted there; null if it can.
wchar_t const* WhyNotInserted(XmlNode const* parent, XmlNode const* node, XmlNode const* before) noexcept {
  if (!parent || (parent->Kind() != XML_DOCUMENT && parent->Kind() != XML_ELEMENT))
    return L"the parent is not an element or a document";
  if (!node || node->Kind() == XML_DOCUMENT) return L"the node is null, or a document";
  if (node->Parent()) return L"the node is already in a tree";
  if (before && before->Parent() != parent) return L"the node to insert before is not a child of the parent";
  // A node without children cannot contain the parent; checking only the others keeps building deep trees
  // fast.
  bool const isInside = node == parent || (node->FirstChild() && IsAncestor(node, parent));
  return isInside ? L"the node contains the parent" : nullptr;
}

}  // namespace

XmlHelper* XmlHelper::Create() noexcept { return Made(new (std::nothrow) XmlHelper, "XmlHelper::Create"); }

XmlNode* XmlHelper::CreateDocument() noexcept { return NewNode(XML_DOCUMENT); }

XmlNode* XmlHelper::CreateNode(uint32_t kind, wchar_t const* content) noexcept {
  constexpr char OPERATION[] = "XmlHelper::CreateNode";
  if (kind != XML_ELEMENT && kind != XML_COMMENT && kind != XML_INSTRUCTION)
    return Fail(E_INVALIDARG, OPERATION, L"cannot create a node of kind %u", kind), nullptr;
  if (kind == XML_ELEMENT) {
    if (!IsName(content)) return RefuseName(OPERATION, content), nullptr;
    return NewNode(kind, content);
  }
  XmlNode* const node = NewNode(kind);
  if (!node || Succeeded(SetText(node, content))) return node;
  XmlTree::Free(node);
  return nullptr;
}

void XmlHelper::FreeNode(XmlNode* node) noexcept {
  if (!node) return;
  if (node->Parent()) XmlTree::Unlink(*node);
  XmlTree::Free(node);
}

HRESULT XmlHelper::InsertChild(XmlNode* parent, XmlNode* node, XmlNode* before) noexcept {
  if (wchar_t const* const why = WhyNotInserted(parent, node, before))
    return Refuse("XmlHelper::InsertChild", why);
  XmlTree::Link(*parent, *node, before);
  return S_OK;
}

HRESULT XmlHelper::RemoveNode(XmlNode* node) noexcept {
  if (!node || !node->Parent())
    return Fail(YK_E_NOTFOUND, "XmlHelper::RemoveNode", L"the node is not in a tree");
  XmlTree::Unlink(*node);
  return S_OK;
}

XmlNode* XmlHelper::FindChild(XmlNode* parent, wchar_t const* name, XmlNode* after) noexcept {
  if (!parent || (after && after->Parent() != parent)) return nullptr;
  XmlNode* child = after ? after->Next() : parent->FirstChild();
  while (child && !(IsElement(child) && (!name || child->Name() == name))) child = child->Next();
  return child;
}

HRESULT XmlHelper::SetName(XmlNode* node, wchar_t const* name) noexcept {
  constexpr char OPERATION[] = "XmlHelper::SetName";
  if (!IsElement(node)) return Refuse(OPERATION, NOT_AN_ELEMENT);
  if (!IsName(name)) return RefuseName(OPERATION, name);
  String copy(name);
  if (copy.IsEmpty()) return E_OUTOFMEMORY;
  XmlTree::SetName(*node, copy);
  return S_OK;
}

HRESULT XmlHelper::SetText(XmlNode* node, wchar_t const* text) noexcept {
  constexpr char OPERATION[] = "XmlHelper::SetText";
  if (!node || node->Kind() == XML_DOCUMENT) return Refuse(OPERATION, L"the node is null, or a document");
  String copy;
  if (IsElement(node)) {
    copy = text;
    if (copy.Length() != str::Length(text)) return E_OUTOFMEMORY;
  } else if (!CopyLines(text, copy)) {
    return E_OUTOFMEMORY;
  }
  if (!IsValidText(node->Kind(), copy)) return Refuse(OPERATION, L"XML cannot express this text there");
  XmlTree::SetText(*node, copy);
  return S_OK;
}

XmlAttribute* XmlHelper::FindAttribute(XmlNode* node, wchar_t const* name) noexcept {
  return node && name ? XmlTree::Find(*node, name) : nullptr;
}

HRESULT XmlHelper::SetAttribute(XmlNode* node, wchar_t const* name, wchar_t const* value) noexcept {
  size_t const length = str::Length(value);
  constexpr char OPERATION[] = "XmlHelper::SetAttribute";
  if (!IsElement(node)) return Refuse(OPERATION, NOT_AN_ELEMENT);
  if (!IsName(name)) return RefuseName(OPERATION, name);
  if (value && !xml::IsText(value, length)) return Refuse(OPERATION, L"XML cannot express this value");
  if (XmlAttribute* const attribute = FindAttribute(node, name)) {
    String copy(value);
    if (copy.Length() != length) return E_OUTOFMEMORY;
    return XmlTree::SetValue(*attribute, copy), S_OK;
  }
  xml::Pool pool;
  XmlAttribute* const attribute = XmlTree::NewAttribute(pool, name, {value, length});
  if (!attribute) return E_OUTOFMEMORY;
  XmlTree::Append(*node, *attribute);
  XmlTree::Index(*node, *attribute);
  return S_OK;
}

HRESULT XmlHelper::RemoveAttribute(XmlNode* node, wchar_t const* name) noexcept {
  XmlAttribute* const attribute = node && name ? XmlTree::Find(*node, name) : nullptr;
  if (!attribute) {
    return Fail(YK_E_NOTFOUND, "XmlHelper::RemoveAttribute", L"there is no attribute \"%s\"",
                name ? name : L"");
  }
  XmlTree::Remove(*node, *attribute);
  return S_OK;
}

size_t XmlHelper::Escape(wchar_t const* text, wchar_t* buffer) noexcept {
  return xml::Escape(text, str::Length(text), buffer);
}

HRESULT XmlHelper::Save(XmlNode const* document, Stream* stream, unsigned flags) noexcept {
  if (!document || !stream) return FailNull("XmlHelper::Save", document ? L"stream" : L"document");
  Ref<XmlHelper> const self = Ref<XmlHelper>::Share(this);  // the stream, foreign code, may release it
  return xml::Write(*document, *stream, flags, failure) ? S_OK : E_OUTOFMEMORY;
}

HRESULT XmlHelper::GetFailure() noexcept { return failure; }

HRESULT XmlHelper::Load(Stream* stream, XmlNode** document, XmlError* error) noexcept {
  XmlError found = {E_INVALIDARG, 0, 0, L"null stream or document pointer"};
  unsigned const before = ErrorCount();
  if (document) *document = nullptr;
  if (document && stream) *document = xml::Read(*stream, found);
  if (document && *document) found = {S_OK, 0, 0, L""};
  if (Failed(found.code)) Report(before, found);
  if (error) *error = found;
  return found.code;
}

}  // namespace yk
