// The undo item of a property: holds one value and exchanges it with the object's current value.
#pragma once

#include <qecore/undo/undo_item.h>
#include <qecore/values/variant.h>

namespace yk {

class ValueItem final : public UndoItemOf<ValueItem, ykValueUndoItem> {
 public:
  /// Stores the property's current value. \return null when there is no memory for the item or for the value
  static ValueItem* Create(Unknown* object, unsigned key) noexcept;

  HRESULT Undo() noexcept override { return Turn(false); }
  HRESULT Redo() noexcept override { return Turn(true); }

 private:
  friend Destroys;

  using UndoItemOf::UndoItemOf;
  ~ValueItem() = default;

  HRESULT Turn(bool redo) noexcept;
  HRESULT ExchangeProperty() noexcept;

  Variant kept;           // the value that the object does not have at the moment; empty: property absent
  bool readable = false;  // false: the property could not be read, and is left unchanged
  bool undone = false;
  bool turning = false;
};

}  // namespace yk
