#include "xml_index_p.h"

#include <bit>
#include <memory>
#include <new>

namespace yk::xml {
namespace {

constexpr size_t MOST_PROBES = 256;  // far more than the names of any document need

uint64_t Hash(wchar_t const* name) noexcept {
  uint64_t hash = 0;
  for (; *name; ++name) hash = (hash ^ *name) * 0x9E3779B97F4A7C15u;
  return hash ^ hash >> 32;
}

}  // namespace

AttributeIndex* AttributeIndex::Make(XmlAttribute* first, size_t count) noexcept {
  std::unique_ptr<AttributeIndex> index(new (std::nothrow) AttributeIndex);
  if (index && !index->Resize(std::bit_ceil(2 * count))) return nullptr;
  for (XmlAttribute* one = first; one && index; one = one->Next()) {
    if (!index->Add(*one)) index.reset();
  }
  return index.release();
}

XmlAttribute* AttributeIndex::Find(wchar_t const* name) const noexcept {
  size_t slot = Home(name);
  XmlAttribute* const* const all = slots.begin();
  while (all[slot] && all[slot]->Name() != name) slot = Next(slot);
  return all[slot];
}

bool AttributeIndex::Add(XmlAttribute& attribute) noexcept {
  if (2 * (count + 1) > slots.Count() && !Resize(4 * slots.Count())) return false;
  ++count;
  return Put(attribute);
}

void AttributeIndex::Remove(XmlAttribute const& attribute) noexcept {
  size_t hole = Home(attribute.Name().c_str());
  while (slots[hole] != &attribute) hole = Next(hole);
  // An attribute further on moves into the hole unless its search begins after the hole.
  for (size_t slot = Next(hole); slots[slot]; slot = Next(slot)) {
    size_t const fromHome = slot - Home(slots[slot]->Name().c_str());
    if ((fromHome & (slots.Count() - 1)) < ((slot - hole) & (slots.Count() - 1))) continue;
    slots[hole] = slots[slot];
    hole = slot;
  }
  slots[hole] = nullptr;
  --count;
}

bool AttributeIndex::Resize(size_t slotCount) noexcept {
  Buffer<XmlAttribute*> old;
  old.Swap(slots);
  if (!slots.Fill(slotCount, nullptr)) return false;
  for (XmlAttribute* const one : old) {
    if (one && !Put(*one)) return false;
  }
  return true;
}

bool AttributeIndex::Put(XmlAttribute& attribute) noexcept {
  size_t slot = Home(attribute.Name().c_str());
  for (size_t probes = 0; slots[slot]; slot = Next(slot)) {
    if (++probes > MOST_PROBES || slots[slot]->Name() == attribute.Name()) return false;
  }
  slots[slot] = &attribute;
  return true;
}

size_t AttributeIndex::Home(wchar_t const* name) const noexcept {
  return static_cast<size_t>(Hash(name)) & (slots.Count() - 1);
}

}  // namespace yk::xml
