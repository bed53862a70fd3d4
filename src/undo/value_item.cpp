#include "undo/value_item_p.h"

#include <qecore/core/ref.h>

#include <new>

#include "values/variant_p.h"

namespace yk {

namespace {

bool SaysAbsent(HRESULT result) noexcept {
  return result == E_FAIL || result == YK_E_NOTFOUND || result == YK_E_EMPTY || result == E_INVALIDARG;
}

bool HasMemory() noexcept {
  Variant probe;
  probe.Init(L"probe");
  return probe.type != Variant::EMPTY;
}

/// S_OK and an empty value is what a map answers for an empty text that it holds, and for a text that it
/// could not copy. Asking twice tells one from the other.
HRESULT ReadEmpty(Unknown& object, unsigned key, Variant& lent) noexcept {
  HRESULT const result = object.GetValue(key, lent);
  if (Failed(result) || lent.type != Variant::EMPTY) return result;
  return HasMemory() ? S_OK : E_OUTOFMEMORY;
}

/// Reads a property into a copy that owns what it holds: objects may lend their own buffers, which die with
/// the next SetValue. An absent property is an empty value. E_FAIL: the property is there, or may be, and
/// cannot be read back. E_OUTOFMEMORY: not now.
HRESULT ReadProperty(Unknown& object, unsigned key, Variant& out) noexcept {
  Variant lent;
  HRESULT result = object.GetValue(key, lent);
  if (Succeeded(result) && lent.type == Variant::EMPTY) result = ReadEmpty(object, key, lent);
  if (result == E_OUTOFMEMORY) return result;
  // A value of a kind that GetValue does not copy fails, too, but it leaves its tag behind.
  if (Failed(result)) return SaysAbsent(result) && lent.type == Variant::EMPTY ? S_OK : E_FAIL;
  if (lent.type == Variant::EMPTY) {
    out.Init(L"", Variant::KEEP_EMPTY);
    return S_OK;
  }
  out.Init(lent);
  return out.type == lent.type ? S_OK : E_OUTOFMEMORY;
}

}  // namespace

ValueItem* ValueItem::Create(Unknown* object, unsigned key) noexcept {
  Ref<ValueItem> item = Ref<ValueItem>::Adopt(new (std::nothrow) ValueItem(object, key));
  if (!item) return nullptr;
  HRESULT const result = ReadProperty(*object, key, item->kept);
  item->readable = Succeeded(result);
  return result == E_OUTOFMEMORY ? nullptr : item.Detach();
}

/// Undo and redo come in turns; one that failed, and so changed nothing, must not be followed by its
/// opposite. The object's own code, which runs meanwhile, may let go of the item, or call it once more.
HRESULT ValueItem::Turn(bool redo) noexcept {
  if (turning || undone != redo) return E_FAIL;
  Ref<ValueItem> const stay = Ref<ValueItem>::Share(this);
  turning = true;
  HRESULT const result = ExchangeProperty();
  turning = false;
  if (Succeeded(result)) undone = !redo;
  return result;
}

HRESULT ValueItem::ExchangeProperty() noexcept {
  if (!readable) return E_FAIL;
  Variant present;
  HRESULT result = ReadProperty(*object, key, present);
  if (Failed(result)) return result;
  if (kept.type == Variant::EMPTY && present.type == Variant::EMPTY) return S_OK;  // absent before and after
  result = object->SetValue(key, kept);
  if (Succeeded(result)) kept.Swap(present);
  return result;
}

}  // namespace yk
