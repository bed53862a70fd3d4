#include "xml_index_p.h"

#include <memory>
#include <new>

namespace yk::xml {
namespace {

constexpr size_t MOST_PROBES = 256;  // far more than the names of any document need

uint32_t Hash(wchar_t const* name) noexcept {
  uint64_t hash = 0;
  for (; *name; ++name) hash = (hash ^ *name) * 0x9E3779B97F4A7C15u;
  return static_cast<uint32_t>(hash ^ hash >> 32);
}

}  // namespace

AttributeIndex* AttributeIndex::Make(XmlAttribute* first, size_t count) noexcept {
  std::unique_ptr<AttributeIndex> index(new (std::nothrow) AttributeIndex);
  if (index && !index->table.Reserve(count)) return nullptr;
  for (XmlAttribute* one = first; one && index; one = one->Next()) {
    if (!index->Add(*one)) index.reset();
  }
  return index.release();
}

XmlAttribute* AttributeIndex::Find(wchar_t const* name) const noexcept {
  return table.Find(Hash(name), [=](XmlAttribute* one) { return one->Name() == name; });
}

bool AttributeIndex::Add(XmlAttribute& attribute) noexcept {
  String const& name = attribute.Name();
  auto const isSame = [&](XmlAttribute* one) { return one->Name() == name; };
  return table.AddNew(Hash(name.c_str()), &attribute, MOST_PROBES, isSame);
}

void AttributeIndex::Remove(XmlAttribute& attribute) noexcept {
  table.Remove(Hash(attribute.Name().c_str()), &attribute);
}

}  // namespace yk::xml
