#include "undo/value_item_p.h"

namespace yk {

namespace {

bool SaysAbsent(HRESULT result) noexcept {
  return result == E_FAIL || result == YK_E_NOTFOUND || result == YK_E_EMPTY || result == E_INVALIDARG;
}

/// Reads a property into a copy that owns what it holds: objects may lend their own buffers, which die with
/// the next SetValue. An absent property is an empty value. False: the property is there, or may be, and
/// cannot be read back.
bool ReadProperty(Unknown& object, unsigned key, Variant& out) noexcept {
  Variant lent;
  HRESULT const result = object.GetValue(key, lent);
  // A value of a kind that GetValue does not copy fails, too, but it leaves its tag behind.
  if (Failed(result)) return SaysAbsent(result) && lent.type == Variant::EMPTY;
  if (lent.type == Variant::EMPTY) {
    out.Init(L"", Variant::KEEP_EMPTY);  // what a map answers for an empty text that it holds
    return true;
  }
  out.Init(lent);
  return out.type == lent.type;  // else there was no memory
}

void Exchange(Variant& a, Variant& b) noexcept {
  Variant::Value const value = a.value;
  uint32_t const size = a.size;
  uint8_t const flags = a.flags, type = a.type;
  a.value = b.value, a.size = b.size, a.flags = b.flags, a.type = b.type;
  b.value = value, b.size = size, b.flags = flags, b.type = type;
}

}  // namespace

ValueItem::ValueItem(Unknown* object, unsigned key) noexcept
    : UndoItemOf(object, key), readable(ReadProperty(*object, key, kept)) {}

/// Undo and redo come in turns; one that failed, and so changed nothing, must not be answered by its opposite.
HRESULT ValueItem::Turn(bool redo) noexcept {
  if (undone != redo) return E_FAIL;
  HRESULT const result = ExchangeProperty();
  if (Succeeded(result)) undone = !redo;
  return result;
}

HRESULT ValueItem::ExchangeProperty() noexcept {
  Variant present;
  if (!readable || !ReadProperty(*object, key, present)) return E_FAIL;
  if (kept.type == Variant::EMPTY && present.type == Variant::EMPTY) return S_OK;  // absent before and after
  HRESULT const result = object->SetValue(key, kept);
  if (Failed(result)) return result;
  Exchange(kept, present);
  return S_OK;
}

}  // namespace yk
