// The undo item of a property: keeps one value, and exchanges it with the one that the object has.
#pragma once

#include <qecore/undo/undo_item.h>
#include <qecore/values/variant.h>

namespace yk {

class ValueItem final : public UndoItemOf<ValueItem, ykValueUndoItem> {
 public:
  /// Keeps the property as it is now. \return null when there is no memory for the item or for the value
  static ValueItem* Create(Unknown* object, unsigned key) noexcept;

  HRESULT Undo() noexcept override { return Turn(false); }
  HRESULT Redo() noexcept override { return Turn(true); }

 private:
  friend Destroys;

  using UndoItemOf::UndoItemOf;
  ~ValueItem() = default;

  HRESULT Turn(bool redo) noexcept;
  HRESULT ExchangeProperty() noexcept;

  Variant kept;           // what the object does not have at the moment; empty: the property is absent there
  bool readable = false;  // else the property could not be read, and is left alone
  bool undone = false;
  bool turning = false;
};

}  // namespace yk
