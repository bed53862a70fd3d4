#include "xml_tree_p.h"

#include <stdlib.h>

#include <bit>
#include <new>

#include "core/error_p.h"
#include "xml_index_p.h"

namespace yk {
namespace {

template <class Links, class Owner>
Links& LinksOf(Owner& owner) noexcept {
  return reinterpret_cast<Links*>(&owner)[-1];
}

/// Room for an object, after its links. Null when there is no memory.
template <class Links, class Owner>
void* Room(char const* operation) noexcept {
  void* const block = malloc(sizeof(Links) + sizeof(Owner));
  if (!block) return FailMemory(operation, sizeof(Links) + sizeof(Owner)), nullptr;
  return new (block) Links + 1;
}

XmlTree::NodeLinks& Links(XmlNode& node) noexcept { return LinksOf<XmlTree::NodeLinks>(node); }

XmlTree::AttributeLinks& Links(XmlAttribute& attribute) noexcept {
  return LinksOf<XmlTree::AttributeLinks>(attribute);
}

void DropIndex(XmlNode& node) noexcept {
  delete Links(node).index;
  Links(node).index = nullptr;
}

}  // namespace

XmlNode* XmlTree::NewNode(uint32_t kind) noexcept {
  void* const room = Room<NodeLinks, XmlNode>("XmlHelper::CreateNode");
  return room ? new (room) XmlNode(kind) : nullptr;
}

XmlAttribute* XmlTree::NewAttribute() noexcept {
  void* const room = Room<AttributeLinks, XmlAttribute>("XmlHelper::SetAttribute");
  return room ? new (room) XmlAttribute : nullptr;
}

void XmlTree::Link(XmlNode& parent, XmlNode& node, XmlNode* before) noexcept {
  XmlNode* const previous = before ? Links(*before).previous : parent.lastChild;
  (previous ? previous->next : parent.children) = &node;
  (before ? Links(*before).previous : parent.lastChild) = &node;
  Links(node).previous = previous;
  node.next = before;
  node.parent = &parent;
}

void XmlTree::Unlink(XmlNode& node) noexcept {
  XmlNode& parent = *node.parent;
  XmlNode* const previous = Links(node).previous;
  (previous ? previous->next : parent.children) = node.next;
  (node.next ? Links(*node.next).previous : parent.lastChild) = previous;
  node.next = node.parent = Links(node).previous = nullptr;
}

void XmlTree::Free(XmlNode* root) noexcept {
  for (XmlNode* node = root; node;) {
    while (node->children) node = node->children;
    XmlNode* const parent = node->parent;
    XmlNode* const next = node->next;
    bool const last = node == root;
    FreeOne(*node);
    if (last) return;
    if (!next) parent->children = nullptr;  // all freed: continue with the parent
    node = next ? next : parent;
  }
}

void XmlTree::FreeOne(XmlNode& node) noexcept {
  DropIndex(node);
  while (XmlAttribute* const attribute = node.attributes) {
    node.attributes = attribute->next;
    FreeOne(*attribute);
  }
  node.~XmlNode();
  free(&Links(node));
}

void XmlTree::FreeOne(XmlAttribute& attribute) noexcept {
  attribute.~XmlAttribute();
  free(&Links(attribute));
}

XmlAttribute* XmlTree::Find(XmlNode& node, wchar_t const* name) noexcept {
  if (Links(node).index) return Links(node).index->Find(name);
  XmlAttribute* attribute = node.attributes;
  while (attribute && attribute->Name() != name) attribute = attribute->next;
  return attribute;
}

void XmlTree::Append(XmlNode& node, XmlAttribute& attribute) noexcept {
  (node.lastAttribute ? node.lastAttribute->next : node.attributes) = &attribute;
  Links(attribute).previous = node.lastAttribute;
  node.lastAttribute = &attribute;
}

void XmlTree::Index(XmlNode& node, XmlAttribute& added) noexcept {
  if (Links(node).index) {
    if (!Links(node).index->Add(added)) DropIndex(node);
    return;
  }
  size_t count = 0;
  for (XmlAttribute const* one = node.attributes; one; one = one->next) ++count;
  // Only sometimes: where an index fails once, it is likely to fail again.
  if (count >= MANY && std::has_single_bit(count)) IndexAll(node);
}

void XmlTree::IndexAll(XmlNode& node) noexcept {
  DropIndex(node);
  Links(node).index = xml::AttributeIndex::Make(node.attributes);
}

void XmlTree::Remove(XmlNode& node, XmlAttribute& attribute) noexcept {
  if (Links(node).index) Links(node).index->Remove(attribute);
  XmlAttribute* const previous = Links(attribute).previous;
  (previous ? previous->next : node.attributes) = attribute.next;
  (attribute.next ? Links(*attribute.next).previous : node.lastAttribute) = previous;
  FreeOne(attribute);
}

}  // namespace yk
