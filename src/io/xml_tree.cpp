#include "xml_tree_p.h"

#include <bit>
#include <new>
#include <utility>

#include "core/error_p.h"
#include "xml_index_p.h"

namespace yk {
namespace {

template <class Links, class Owner>
Links& LinksOf(Owner& owner) noexcept {
  return reinterpret_cast<Links*>(&owner)[-1];
}

XmlTree::NodeLinks& Links(XmlNode& node) noexcept { return LinksOf<XmlTree::NodeLinks>(node); }

XmlTree::AttributeLinks& Links(XmlAttribute& attribute) noexcept {
  return LinksOf<XmlTree::AttributeLinks>(attribute);
}

/// Room for an object after its links, and then for so many bytes of texts. Null when there is no memory.
template <class Owner, class Links>
void* Room(xml::Pool& pool, size_t texts, char const* operation) noexcept {
  constexpr size_t SIZE = sizeof(Links) + sizeof(Owner);
  if (!pool.Provide(SIZE + texts)) return FailMemory(operation, SIZE + texts), nullptr;
  void* const place = pool.Take(SIZE);
  static_cast<Links*>(new (place) Links{})->chunk = pool.Current();
  return static_cast<Links*>(place) + 1;
}

void DropIndex(XmlNode& node) noexcept {
  delete Links(node).index;
  Links(node).index = nullptr;
}

}  // namespace

// ---- memory

/// Counts what is freed, to release many users of a chunk at once.
class XmlTree::Freed {
 public:
  Freed() noexcept = default;
  ~Freed() { Release(); }
  Freed(Freed const&) = delete;
  Freed& operator=(Freed const&) = delete;

  void Add(xml::Chunk* one) noexcept {
    if (one != chunk) Release();
    chunk = one;
    ++count;
  }

 private:
  void Release() noexcept {
    if (count > 0) xml::Chunk::Release(chunk, count);
    count = 0;
  }

  xml::Chunk* chunk = nullptr;
  uint64_t count = 0;
};

XmlNode* XmlTree::NewNode(xml::Pool& pool, uint32_t kind, std::wstring_view name) noexcept {
  size_t const texts = xml::Pool::Room(name.size());
  void* const room = Room<XmlNode, NodeLinks>(pool, texts, "XmlHelper::CreateNode");
  if (!room) return nullptr;
  XmlNode* const node = new (room) XmlNode(kind);
  if (pool.StoreName(name, Links(*node).chunk, node->name)) return node;
  return Free(node), nullptr;
}

XmlAttribute* XmlTree::NewAttribute(xml::Pool& pool, std::wstring_view name,
                                    std::wstring_view value) noexcept {
  size_t const texts = xml::Pool::Room(name.size()) + xml::Pool::Room(value.size());
  void* const room = Room<XmlAttribute, AttributeLinks>(pool, texts, "XmlHelper::SetAttribute");
  if (!room) return nullptr;
  XmlAttribute* const attribute = new (room) XmlAttribute;
  xml::Chunk* const chunk = Links(*attribute).chunk;
  if (pool.StoreName(name, chunk, attribute->name) && pool.Store(value, chunk, attribute->value))
    return attribute;
  Freed freed;
  return FreeOne(*attribute, freed), nullptr;
}

bool XmlTree::StoreText(XmlNode& node, xml::Pool& pool, std::wstring_view text) noexcept {
  return pool.Store(text, Links(node).chunk, node.text);
}

void XmlTree::Replace(String& text, String& with) noexcept {
  InnerText::Detach(text);
  (void)std::exchange(text, std::move(with));
}

void XmlTree::Free(XmlNode* root) noexcept {
  Freed freed;
  for (XmlNode* node = root; node;) {
    while (node->children) node = node->children;
    XmlNode* const parent = node->parent;
    XmlNode* const next = node->next;
    bool const last = node == root;
    FreeOne(*node, freed);
    if (last) return;
    if (!next) parent->children = nullptr;  // all freed: continue with the parent
    node = next ? next : parent;
  }
}

void XmlTree::FreeOne(XmlNode& node, Freed& freed) noexcept {
  if (Links(node).index) DropIndex(node);
  while (XmlAttribute* const attribute = node.attributes) {
    node.attributes = attribute->next;
    FreeOne(*attribute, freed);
  }
  xml::Chunk* const chunk = Links(node).chunk;
  InnerText::Drop(node.name);
  InnerText::Drop(node.text);
  freed.Add(chunk);
}

void XmlTree::FreeOne(XmlAttribute& attribute, Freed& freed) noexcept {
  xml::Chunk* const chunk = Links(attribute).chunk;
  InnerText::Drop(attribute.name);
  InnerText::Drop(attribute.value);
  freed.Add(chunk);
}

// ---- lists

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
  if (count >= MANY && std::has_single_bit(count)) IndexAll(node, count);
}

bool XmlTree::IndexAll(XmlNode& node, size_t count) noexcept {
  DropIndex(node);
  Links(node).index = xml::AttributeIndex::Make(node.attributes, count);
  return Links(node).index != nullptr;
}

void XmlTree::Remove(XmlNode& node, XmlAttribute& attribute) noexcept {
  if (Links(node).index) Links(node).index->Remove(attribute);
  XmlAttribute* const previous = Links(attribute).previous;
  (previous ? previous->next : node.attributes) = attribute.next;
  (attribute.next ? Links(*attribute.next).previous : node.lastAttribute) = previous;
  Freed freed;
  FreeOne(attribute, freed);
}

}  // namespace yk
