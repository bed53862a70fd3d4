// The attributes of an element by name.
#pragma once

#include <qecore/io/xml.h>

#include "core/hash_table_p.h"

namespace yk::xml {

/// It refers to the attributes and owns none.
class AttributeIndex {
 public:
  /// An index of a list of `count`, or null: there is no memory, too many names collide, or two are equal.
  static AttributeIndex* Make(XmlAttribute* first, size_t count) noexcept;

  XmlAttribute* Find(wchar_t const* name) const noexcept;
  /// Adds an attribute. False, and the index is no longer complete: there is no memory, too many names
  /// collide, as names that are chosen for it do, or the name is in it.
  bool Add(XmlAttribute& attribute) noexcept;
  /// Removes an attribute that is in it.
  void Remove(XmlAttribute& attribute) noexcept;

 private:
  HashTable<XmlAttribute*> table;
};

}  // namespace yk::xml
