// The attributes of an element by name.
#pragma once

#include <qecore/io/xml.h>

#include "core/buffer_p.h"

namespace yk::xml {

/// A hash table with linear probing, at most half full. It refers to the attributes and owns none.
class AttributeIndex {
 public:
  /// An index of this list, or null: there is no memory, or too many names collide.
  static AttributeIndex* Make(XmlAttribute* first) noexcept;

  XmlAttribute* Find(wchar_t const* name) const noexcept;
  /// Adds an attribute with a new name. False, and the index is no longer complete: there is no memory, or
  /// too many names collide, as names that are chosen for it do.
  bool Add(XmlAttribute& attribute) noexcept;
  /// Removes an attribute that is in it.
  void Remove(XmlAttribute const& attribute) noexcept;

 private:
  bool Grow() noexcept;
  bool Put(XmlAttribute& attribute) noexcept;
  size_t Home(wchar_t const* name) const noexcept;
  size_t Next(size_t slot) const noexcept { return (slot + 1) & (slots.Count() - 1); }

  Buffer<XmlAttribute*> slots;  // null: free
  size_t count = 0;
};

}  // namespace yk::xml
