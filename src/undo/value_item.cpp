#include "value_item_p.h"

#include <qecore/core/ref.h>

#include <new>

#include "core/error_p.h"
#include "values/variant_p.h"

namespace yk {

namespace {

constexpr char RECORD[] = "UndoManager::RecordValue";
constexpr char OPERATION[] = "ykValueUndoItem";

bool SaysAbsent(HRESULT result) noexcept {
  return result == E_FAIL || result == YK_E_NOTFOUND || result == YK_E_EMPTY || result == E_INVALIDARG;
}

bool HasMemory() noexcept {
  Variant probe;
  probe.Init(L"probe");
  return probe.type != Variant::EMPTY;
}

/// A map returns S_OK and an empty value both for an empty text and for a text that it had no memory to copy.
/// A second attempt distinguishes the two.
HRESULT ReadEmpty(Unknown& object, unsigned key, Variant& borrowed) noexcept {
  HRESULT const result = object.GetValue(key, borrowed);
  if (Failed(result) || borrowed.type != Variant::EMPTY) return result;
  return HasMemory() ? S_OK : E_OUTOFMEMORY;
}

/// Reads a property into a copy that owns its payload: objects may return borrowed buffers, which are valid
/// only until the next SetValue. An absent property is an empty value. E_FAIL: the property exists, or may
/// exist, and cannot be read back. E_OUTOFMEMORY: it cannot be read now.
HRESULT ReadProperty(Unknown& object, unsigned key, Variant& out) noexcept {
  Variant borrowed;
  HRESULT result = object.GetValue(key, borrowed);
  if (Succeeded(result) && borrowed.type == Variant::EMPTY) result = ReadEmpty(object, key, borrowed);
  if (result == E_OUTOFMEMORY) return result;
  // Reading a type that GetValue does not copy fails, too, but leaves its tag in the result.
  if (Failed(result)) return SaysAbsent(result) && borrowed.type == Variant::EMPTY ? S_OK : E_FAIL;
  if (borrowed.type == Variant::EMPTY) {
    out.Init(L"", Variant::KEEP_EMPTY);
    return S_OK;
  }
  out.Init(borrowed);
  return out.type == borrowed.type ? S_OK : E_OUTOFMEMORY;
}

HRESULT FailToRead(FailureMark before, HRESULT result, char const* operation, unsigned key) noexcept {
  return FailSince(before, result, operation, L"the value %u cannot be read", key);
}

}  // namespace

ValueItem* ValueItem::Create(Unknown* object, unsigned key) noexcept {
  Ref<ValueItem> item = Ref<ValueItem>::Adopt(Made(new (std::nothrow) ValueItem(object, key), RECORD));
  if (!item) return nullptr;
  FailureMark const before;
  HRESULT const result = ReadProperty(*object, key, item->kept);
  item->readable = Succeeded(result);
  if (result != E_OUTOFMEMORY) return item.Detach();
  return FailToRead(before, result, RECORD, key), nullptr;
}

/// Undo and redo must alternate; one that failed, and so changed nothing, must not be followed by its
/// opposite. The object's code, which is called meanwhile, may release the item, or call it again.
HRESULT ValueItem::Turn(Direction direction) noexcept {
  if (turning || direction != due) return Fail(E_FAIL, OPERATION, L"undo and redo must alternate");
  Ref<ValueItem> const stay = Ref<ValueItem>::Share(this);
  turning = true;
  HRESULT const result = ExchangeProperty();
  turning = false;
  if (Succeeded(result)) due = direction == Direction::UNDO ? Direction::REDO : Direction::UNDO;
  return result;
}

HRESULT ValueItem::ExchangeProperty() noexcept {
  if (!readable)
    return Fail(E_FAIL, OPERATION, L"the value %u cannot be read, so it cannot be restored", key);
  Variant present;
  FailureMark const start;
  HRESULT result = ReadProperty(*object, key, present);
  if (Failed(result)) return FailToRead(start, result, OPERATION, key);
  if (kept.type == Variant::EMPTY && present.type == Variant::EMPTY) return S_OK;  // absent before and after
  unsigned const before = ErrorCount();
  result = object->SetValue(key, kept);
  if (Failed(result)) return FailSince(before, result, OPERATION, L"the value %u cannot be restored", key);
  kept.Swap(present);
  return result;
}

}  // namespace yk
