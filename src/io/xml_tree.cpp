#include "xml_tree_p.h"

#include <new>

#include "core/error_p.h"

namespace yk {

XmlNode* XmlTree::NewNode(uint32_t kind) noexcept {
  return Made(new (std::nothrow) XmlNode(kind), "XmlHelper::CreateNode");
}

XmlAttribute* XmlTree::NewAttribute() noexcept {
  return Made(new (std::nothrow) XmlAttribute, "XmlHelper::SetAttribute");
}

void XmlTree::Link(XmlNode& parent, XmlNode& node, XmlNode* before) noexcept {
  XmlNode* previous = parent.lastChild;
  if (before) {
    previous = nullptr;
    for (XmlNode* child = parent.children; child != before; child = child->next) previous = child;
  }
  (previous ? previous->next : parent.children) = &node;
  node.next = before;
  node.parent = &parent;
  if (!before) parent.lastChild = &node;
}

void XmlTree::Unlink(XmlNode& node) noexcept {
  XmlNode& parent = *node.parent;
  XmlNode* previous = nullptr;
  for (XmlNode* child = parent.children; child != &node; child = child->next) previous = child;
  (previous ? previous->next : parent.children) = node.next;
  if (parent.lastChild == &node) parent.lastChild = previous;
  node.next = node.parent = nullptr;
}

void XmlTree::Free(XmlNode* root) noexcept {
  for (XmlNode* node = root; node;) {
    while (node->children) node = node->children;
    XmlNode* const parent = node->parent;
    XmlNode* const next = node->next;
    bool const last = node == root;
    FreeOne(node);
    if (last) return;
    if (!next) parent->children = nullptr;  // all freed: continue with the parent
    node = next ? next : parent;
  }
}

void XmlTree::FreeOne(XmlNode* node) noexcept {
  while (XmlAttribute* const attribute = node->attributes) {
    node->attributes = attribute->next;
    delete attribute;
  }
  delete node;
}

void XmlTree::Append(XmlNode& node, XmlAttribute& attribute) noexcept {
  (node.lastAttribute ? node.lastAttribute->next : node.attributes) = &attribute;
  node.lastAttribute = &attribute;
}

void XmlTree::Remove(XmlNode& node, XmlAttribute* previous, XmlAttribute& attribute) noexcept {
  (previous ? previous->next : node.attributes) = attribute.next;
  if (node.lastAttribute == &attribute) node.lastAttribute = previous;
  delete &attribute;
}

}  // namespace yk
