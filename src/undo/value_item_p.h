// The undo item of a property: holds one value and exchanges it with the object's current value.
#pragma once

#include <qecore/undo/undo_item.h>
#include <qecore/values/variant.h>

namespace yk {

class ValueItem final : public UndoItemOf<ValueItem, ykValueUndoItem> {
 public:
  /// Stores the property's current value. \return null when there is no memory for the item or for the value
  static ValueItem* Create(Unknown* object, unsigned key) noexcept;

  HRESULT Undo() noexcept override { return Turn(Direction::UNDO); }
  HRESULT Redo() noexcept override { return Turn(Direction::REDO); }

 private:
  friend Destroys;

  enum class Direction { UNDO, REDO };

  using UndoItemOf::UndoItemOf;
  ~ValueItem() = default;

  HRESULT Turn(Direction direction) noexcept;
  HRESULT ExchangeProperty() noexcept;

  Variant kept;           // the value that the object does not have at the moment; empty: property absent
  bool readable = false;  // false: the property could not be read, and is left unchanged
  Direction due = Direction::UNDO;
  bool turning = false;
};

}  // namespace yk
