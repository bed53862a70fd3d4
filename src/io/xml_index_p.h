// The attributes of an element by name.
#pragma once

#include <qecore/io/xml.h>

#include "core/buffer_p.h"

namespace yk::xml {

/// A hash table with linear probing, at most half full. It refers to the attributes and owns none.
class AttributeIndex {
 public:
  /// An index of a list of `count`, or null: there is no memory, too many names collide, or two are equal.
  static AttributeIndex* Make(XmlAttribute* first, size_t count) noexcept;

  XmlAttribute* Find(wchar_t const* name) const noexcept;
  /// Adds an attribute. False, and the index is no longer complete: there is no memory, too many names
  /// collide, as names that are chosen for it do, or the name is in it.
  bool Add(XmlAttribute& attribute) noexcept;
  /// Removes an attribute that is in it.
  void Remove(XmlAttribute const& attribute) noexcept;

 private:
  bool Resize(size_t slotCount) noexcept;
  bool Put(XmlAttribute& attribute) noexcept;
  size_t Home(wchar_t const* name) const noexcept;
  size_t Next(size_t slot) const noexcept { return (slot + 1) & (slots.Count() - 1); }

  Buffer<XmlAttribute*> slots;  // null: free
  size_t count = 0;
};

}  // namespace yk::xml
