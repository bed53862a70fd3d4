#include <qecore/undo/undo_manager.h>

#include <string.h>
#include <windows.h>

#include <memory>
#include <new>
#include <utility>

#include "core/buffer_p.h"
#include "core/dying_p.h"
#include "core/error_p.h"
#include "core/hash_table_p.h"
#include "value_item_p.h"
#include "values/indexed_array_p.h"

namespace yk {

namespace {

constexpr int NO_LEVEL = 65535;

/// The properties that the first items of a transaction record. Items are asked for theirs once, in their
/// order, when a merge first gets to them.
class RecordedValues {
 public:
  struct Value {
    Unknown* object;
    unsigned key;
    ykUndoItem* item;
  };

  /// The item among those noted that records a property, or null.
  ykUndoItem* Find(Unknown const* object, unsigned key) noexcept {
    auto const is = [&](size_t number) {
      Value const& value = values[number - 1];
      return value.object == object && value.key == key;
    };
    size_t const number = table.Find(HashOf(object, key), is);
    return number ? values[number - 1].item : nullptr;
  }

  /// The item after those noted.
  ykUndoItem* Next(Transaction const& transaction) const noexcept {
    return last ? last->next : transaction.first;
  }

  /// Notes the next item; without an object, that it records no property. Without memory for it, it and those
  /// after it are asked again.
  void Note(Value const& value) noexcept {
    if (value.object) {
      if (!table.Reserve() || !values.Append(value)) return;
      table.Add(HashOf(value.object, value.key), values.Count());
    }
    last = value.item;
  }

 private:
  static uint32_t HashOf(Unknown const* object, unsigned key) noexcept {
    return MixHash(reinterpret_cast<uintptr_t>(object), key);
  }

  Buffer<Value> values;
  HashTable<size_t> table;  // numbers from 1 up, since values move
  ykUndoItem* last = nullptr;
};

/// A transaction as the manager creates it; all those in the history, and the open one, are Records.
/// Destroying a pinned one only marks it; its last pin destroys it.
struct Record : Transaction {
  unsigned pins = 0;
  bool doomed = false;
  std::unique_ptr<RecordedValues> recorded;  // null until a merge asks for it
};

/// The deleter of the history. Releases the items from the first to the last.
void DestroyTransaction(void* element) noexcept {
  Record* const record = static_cast<Record*>(static_cast<Transaction*>(element));
  if (!record) return;
  if (record->pins > 0) {
    record->doomed = true;
    return;
  }
  std::unique_ptr<Record> const owned(record);
  while (ykUndoItem* const item = record->first) {
    record->first = item->next;
    Ref<ykUndoItem> const removed = Ref<ykUndoItem>::Adopt(item);
    if (record->first) record->first->prev = nullptr;
    item->next = item->prev = nullptr;
  }
}

/// Keeps a transaction and its items alive while foreign code runs. Null pins nothing.
class Pin {
 public:
  explicit Pin(Transaction* transaction) noexcept : record(static_cast<Record*>(transaction)) {
    if (record) ++record->pins;
  }
  ~Pin() {
    if (record && --record->pins == 0 && record->doomed) DestroyTransaction(record);
  }
  Pin(Pin const&) = delete;
  Pin& operator=(Pin const&) = delete;

  /// Whether the transaction has been destroyed and only this pin keeps it alive.
  bool IsDoomed() const noexcept { return record && record->doomed; }

 private:
  Record* record;
};

/// Whether others besides the caller hold references. Reads the count at its offset in the binary contract:
/// calling AddRef and Release would be noticed by an item that counts for itself.
bool IsShared(ykUndoItem const& item) noexcept {
  constexpr size_t COUNT_OFFSET = 8;
  int count;
  memcpy(&count, reinterpret_cast<char const*>(&item) + COUNT_OFFSET, sizeof count);
  return count != 1;
}

uint32_t HashOf(ykUndoItem const* item) noexcept { return MixHash(reinterpret_cast<uintptr_t>(item), 0); }

uint32_t HashOfFirst(void const* transaction, void const*) noexcept {
  return HashOf(static_cast<Transaction const*>(transaction)->first);
}

/// What the items of a transaction record; null without memory.
RecordedValues* RecordedBy(Transaction& transaction) noexcept {
  auto& recorded = static_cast<Record&>(transaction).recorded;
  if (!recorded) recorded.reset(new (std::nothrow) RecordedValues);
  return recorded.get();
}

void Append(Transaction& transaction, ykUndoItem* item) noexcept {
  item->next = nullptr;
  item->prev = transaction.last;
  if (transaction.last) {
    transaction.last->next = item;
  } else {
    transaction.first = item;
  }
  transaction.last = item;
}

HRESULT FailBusy(char const* operation) noexcept {
  return Fail(YK_E_EMPTY, operation, L"an undo or redo is in progress");
}

HRESULT FailClosed(char const* operation) noexcept {
  return Fail(E_FAIL, operation, L"no transaction is open");
}

// ---- replay

struct Backward {
  static constexpr char OPERATION[] = "UndoManager::Undo";
  static constexpr wchar_t NOTHING[] = L"there is nothing to undo";
  static constexpr bool PREPARES = true;
  static constexpr int NEXT = 0, STEP = -1;  // relative to the position: what to replay, and how to move it
  static bool IsPossible(UndoManager& manager) noexcept { return manager.CanUndo(); }
  static ykUndoItem* Start(Transaction const& transaction) noexcept { return transaction.last; }
  static ykUndoItem* Next(ykUndoItem const& item) noexcept { return item.prev; }
  static void Replay(ykUndoItem& item) noexcept { item.Undo(); }
};

struct Forward {
  static constexpr char OPERATION[] = "UndoManager::Redo";
  static constexpr wchar_t NOTHING[] = L"there is nothing to redo";
  static constexpr bool PREPARES = false;
  static constexpr int NEXT = 1, STEP = 1;
  static bool IsPossible(UndoManager& manager) noexcept { return manager.CanRedo(); }
  static ykUndoItem* Start(Transaction const& transaction) noexcept { return transaction.first; }
  static ykUndoItem* Next(ykUndoItem const& item) noexcept { return item.next; }
  static void Replay(ykUndoItem& item) noexcept { item.Redo(); }
};

/// Marks its manager as busy during its lifetime.
class BusyScope {
 public:
  explicit BusyScope(uint32_t& counter) noexcept : busy(counter) { ++busy; }
  ~BusyScope() { --busy; }
  BusyScope(BusyScope const&) = delete;
  BusyScope& operator=(BusyScope const&) = delete;

 private:
  uint32_t& busy;
};

void PrepareLevel(Transaction const& transaction, int level) noexcept {
  for (ykUndoItem *item = transaction.last, *preceding; item; item = preceding) {
    preceding = item->prev;
    if (item->order == level) item->PrepareUndo();
  }
}

/// \return the next level, or NO_LEVEL
template <class Way>
int ReplayLevel(Transaction const& transaction, int level) noexcept {
  int following = NO_LEVEL;
  for (ykUndoItem *item = Way::Start(transaction), *after; item; item = after) {
    int const order = item->order;
    after = Way::Next(*item);
    if (order == level) Way::Replay(*item);
    if (order > level && order < following) following = order;
  }
  return following;
}

template <class Way>
HRESULT Replay(Transaction* transaction) noexcept {
  if (!transaction || !transaction->first) return Fail(E_FAIL, Way::OPERATION, Way::NOTHING);
  Pin const pin(transaction);
  bool const prepare = Way::PREPARES && !(transaction->state & Transaction::UNDONE);
  for (int level = 0; level != NO_LEVEL; level = ReplayLevel<Way>(*transaction, level)) {
    if (prepare) PrepareLevel(*transaction, level);
  }
  if (prepare) transaction->state |= Transaction::UNDONE;
  return S_OK;
}

}  // namespace

// ---- lifetime

UndoManager* UndoManager::Create() noexcept {
  Ref<UndoManager> manager =
      Ref<UndoManager>::Adopt(Made(new (std::nothrow) UndoManager, "UndoManager::Create"));
  if (manager && !manager->history) manager.Reset();
  return manager.Detach();
}

// Transactions are found by their first items.
Array* UndoManager::NewHistory() noexcept {
  IndexedArray* const entries = IndexedArray::Create(HashOfFirst);
  if (entries) entries->SetDeleter(DestroyTransaction);
  return entries;
}

UndoManager::~UndoManager() {
  // Items and the callback may still add and release references, which must not destroy the manager again;
  // and there is nothing left for them to begin or replay.
  HoldWhileDying(*this);
  ++busy;
  depth = 0;
  CloseOpen();
  std::exchange(history, {}).Reset();  // empty before its transactions are destroyed
  Changed();
}

// ---- undo and redo

// Host and items are called meanwhile: they may read the manager and release their references to it, but not
// replay or begin anything.
template <class Way>
HRESULT UndoManager::Travel() noexcept {
  if (busy) return FailBusy(Way::OPERATION);
  Ref<UndoManager> const stay = Ref<UndoManager>::Share(this);
  BusyScope const scope(busy);
  if (!Way::IsPossible(*this)) return Fail(E_FAIL, Way::OPERATION, Way::NOTHING);
  Transaction* const transaction = Entry(position + Way::NEXT);
  if (transaction) position += Way::STEP;
  HRESULT const result = Replay<Way>(transaction);
  Changed();
  return result;
}

HRESULT UndoManager::DoUndo() noexcept { return Travel<Backward>(); }

HRESULT UndoManager::DoRedo() noexcept { return Travel<Forward>(); }

// ---- recording

HRESULT UndoManager::DoAddItem(ykUndoItem* item) noexcept {
  constexpr char OPERATION[] = "UndoManager::AddItem";
  if (!item) return FailNull(OPERATION, L"item");
  Ref<UndoManager> const stay = Ref<UndoManager>::Share(this);
  Ref<ykUndoItem> owned = Ref<ykUndoItem>::Adopt(item);
  if (depth == 0) return FailClosed(OPERATION);
  if (IsTaken(*item)) return Fail(E_INVALIDARG, OPERATION, L"the item is already in a transaction");
  if (!open) {
    open = new (std::nothrow) Record;
    if (!open) return Fail(E_FAIL, OPERATION, L"not enough memory for a transaction");
    open->created = GetTickCount();
  }
  Append(*open, owned.Detach());
  return S_OK;
}

/// Adding an item a second time, through a shared reference, would link two transactions together.
bool UndoManager::IsTaken(ykUndoItem const& item) noexcept {
  if (open && (&item == open->first || &item == open->last)) return true;
  if (!IsShared(item)) return false;  // true of every new item, even if its links are not initialised
  if (item.next || item.prev) return true;
  auto const isFirst = [&](void* element) { return static_cast<Transaction*>(element)->first == &item; };
  return history && IndexedArray::Of(history).Seek(HashOf(&item), isFirst);
}

HRESULT UndoManager::DoBegin() noexcept {
  if (busy) return FailBusy("UndoManager::BeginTransaction");
  if (depth == 0) open = nullptr;
  ++depth;
  return S_OK;
}

HRESULT UndoManager::DoEnd(wchar_t const* name) noexcept {
  if (depth == 0) return FailClosed("UndoManager::EndTransaction");
  if (--depth > 0)
    return E_FAIL;            // Contract: not recorded, since it only means that an inner level has ended
  if (!open) return S_FALSE;  // an open one is never empty: AddItem creates it for its first item
  Ref<UndoManager> const stay = Ref<UndoManager>::Share(this);
  Transaction* const transaction = open;
  open = nullptr;
  transaction->name = name;
  return Commit(transaction);
}

HRESULT UndoManager::DoCancel() noexcept {
  if (depth == 0) return FailClosed("UndoManager::CancelTransaction");
  if (--depth > 0) return E_FAIL;  // as above
  Ref<UndoManager> const stay = Ref<UndoManager>::Share(this);
  constexpr int MOST = 100;  // transactions that destructors of items begin: they are cancelled as well
  for (int i = 0; open && i < MOST; ++i) CloseOpen();
  open = nullptr;
  depth = 0;
  return S_OK;
}

HRESULT UndoManager::Commit(Transaction* transaction) noexcept {
  while (position < Entries() - 1) {
    --count;
    DropLast();
  }
  if (!history || !IndexedArray::Of(history).Append(transaction)) {
    DestroyTransaction(transaction);
    Changed();  // the transactions that could be redone are gone even so
    return E_OUTOFMEMORY;
  }
  ++count;
  position = Entries() - 1;
  OnCommit();
  Changed();
  return S_OK;
}

ykUndoItem* UndoManager::DoRecordValue(Unknown* object, unsigned key, bool merge) noexcept {
  constexpr char OPERATION[] = "UndoManager::RecordValue";
  if (!object) return FailNull(OPERATION, L"object"), nullptr;
  if (depth == 0) return FailClosed(OPERATION), nullptr;
  Ref<Unknown> const kept = Ref<Unknown>::Share(object);
  Ref<UndoManager> stay = Ref<UndoManager>::Share(this);
  Transaction* holder = nullptr;
  ykUndoItem* item = merge ? FindRecorded(object, key, holder) : nullptr;
  if (!item) item = AddRecord(object, key, holder);
  // The item is borrowed: do not return one that is destroyed with the manager's last reference.
  Pin const pin(holder);
  stay.Reset();
  return pin.IsDoomed() ? nullptr : item;
}

/// The item of the last transaction that records the property; null also when a redo is possible.
ykUndoItem* UndoManager::FindRecorded(Unknown* object, unsigned key, Transaction*& holder) noexcept {
  if (CanRedo()) return nullptr;
  Transaction* const last = GetLastTransaction();  // may be foreign if a derived manager overrides it
  Transaction* const ours = last == Entry(position) ? last : nullptr;
  Pin const pin(ours);
  RecordedValues* const recorded = ours ? RecordedBy(*ours) : nullptr;
  ykUndoItem* found = recorded ? recorded->Find(object, key) : nullptr;
  ykUndoItem* item = recorded ? recorded->Next(*ours) : last ? last->first : nullptr;
  for (ykUndoItem* following; item && !found; item = following) {
    following = item->next;
    Ref<ykValueUndoItem> value = Ref<ykUndoItem>::Share(item).Query<ykValueUndoItem>();
    RecordedValues::Value const about = {value ? value->object : nullptr, value ? value->key : 0, item};
    bool const isValueItem = value.get() != nullptr;
    value.Reset();
    if (isValueItem && pin.IsDoomed()) return nullptr;  // the query cleared the history
    if (recorded && recorded->Next(*ours) == item) recorded->Note(about);
    if (about.object == object && about.key == key) found = item;
  }
  if (found) holder = ours;
  return found;
}

/// A new item for the property, in the open transaction; null when it could not be created.
ykUndoItem* UndoManager::AddRecord(Unknown* object, unsigned key, Transaction*& holder) noexcept {
  ValueItem* const item = ValueItem::Create(object, key);
  if (!item) {
    Attempt const attempt;  // the failure that counts is that there is no memory
    AddItem(nullptr);       // Contract: is asked, and refuses
    return nullptr;
  }
  if (Failed(AddItem(item))) return nullptr;
  if (open && open->last == item) holder = open;
  return item;
}

// ---- history

HRESULT UndoManager::DoClear() noexcept {
  Ref<UndoManager> const stay = Ref<UndoManager>::Share(this);
  // One by one, so that an item whose destructor reads the manager sees a consistent history. A transaction
  // that is committed meanwhile is cleared as well, but does not prolong the loop.
  // Contract: `count` is not reset.
  position = 0;
  for (int left = 2 * Entries(); left > 0 && Entries() > 0; --left) DropLast();
  position = 0;
  Changed();
  return S_OK;
}

HRESULT UndoManager::DoGetUndoList(Array** out, int max) noexcept {
  if (!out) return FailNull("UndoManager::GetUndoList", L"out");
  *out = nullptr;
  Ref<UndoManager> const stay = Ref<UndoManager>::Share(this);
  if (!CanUndo()) return E_FAIL;
  Ref<Array> list = Ref<Array>::Adopt(Array::Create(0));
  if (!list) return E_OUTOFMEMORY;
  for (int i = position; i >= 0; --i) {
    if (max >= 1 && list->Count() > max) break;  // Contract: one more than `max`
    if (!list->AtInsert(list->Count(), Entry(i))) return E_OUTOFMEMORY;
  }
  *out = list.Detach();
  return S_OK;
}

HRESULT UndoManager::DoGetName(int index, String& out) noexcept {
  Transaction const* const transaction = Entry(index);
  if (!transaction) return E_FAIL;
  out = transaction->name;
  return out.Length() == transaction->name.Length() ? S_OK : E_OUTOFMEMORY;
}

// ---- helpers

/// Removes the last transaction from the history before it is destroyed, so that its items' destructors see
/// the manager without it.
void UndoManager::DropLast() noexcept {
  int const last = Entries() - 1;
  Transaction* const transaction = Entry(last);
  IndexedArray::Of(history).TakeAt(last);
  if (position >= last) position = last - 1;
  DestroyTransaction(transaction);
}

void UndoManager::CloseOpen() noexcept {
  Transaction* const transaction = open;
  open = nullptr;
  DestroyTransaction(transaction);
}

void UndoManager::Changed() noexcept {
  if (changed) changed(this);
}

}  // namespace yk
