#include <qecore/core/ref.h>
#include <qecore/undo/undo_manager.h>
#include <windows.h>

#include <new>

#include "undo/value_item_p.h"

namespace yk {

namespace {

// Bits of a transaction's state while it is replayed. Who destroys it then only leaves a note, and the replay
// does it at its end.
constexpr uint32_t REPLAYING = 0x1;
constexpr uint32_t DOOMED = 0x2;

constexpr int NO_LEVEL = 65535;

/// The deleter of the history. Releases the items from the first to the last.
void DestroyTransaction(void* element) noexcept {
  Transaction* const transaction = static_cast<Transaction*>(element);
  if (!transaction) return;
  if (transaction->state & REPLAYING) {
    transaction->state |= DOOMED;
    return;
  }
  while (ykUndoItem* const item = transaction->first) {
    transaction->first = item->next;
    item->next = item->prev = nullptr;
    item->Release();
  }
  delete transaction;
}

bool Holds(Transaction const& transaction, ykUndoItem const* item) noexcept {
  if (item == transaction.first || item == transaction.last) return true;
  if (!item->next && !item->prev) return false;  // as every new item: no need to look for it
  ykUndoItem const* listed = transaction.first;
  while (listed && listed != item) listed = listed->next;
  return listed != nullptr;
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

// ---- replay

struct Backward {
  static constexpr bool PREPARES = true;
  static ykUndoItem* Start(Transaction const& transaction) noexcept { return transaction.last; }
  static ykUndoItem* Next(ykUndoItem const& item) noexcept { return item.prev; }
  static void Replay(ykUndoItem& item) noexcept { item.Undo(); }
};

struct Forward {
  static constexpr bool PREPARES = false;
  static ykUndoItem* Start(Transaction const& transaction) noexcept { return transaction.first; }
  static ykUndoItem* Next(ykUndoItem const& item) noexcept { return item.next; }
  static void Replay(ykUndoItem& item) noexcept { item.Redo(); }
};

void PrepareLevel(Transaction const& transaction, int level) noexcept {
  for (ykUndoItem* item = transaction.last; item; item = item->prev) {
    if (item->order == level) item->PrepareUndo();
  }
}

/// \return the next level, or NO_LEVEL
template <class Way>
int ReplayLevel(Transaction const& transaction, int level) noexcept {
  int following = NO_LEVEL;
  for (ykUndoItem* item = Way::Start(transaction); item; item = Way::Next(*item)) {
    int const order = item->order;
    if (order == level) Way::Replay(*item);
    if (order > level && order < following) following = order;
  }
  return following;
}

template <class Way>
void ReplayLevels(Transaction const& transaction, bool prepare) noexcept {
  for (int level = 0; level != NO_LEVEL; level = ReplayLevel<Way>(transaction, level)) {
    if (prepare) PrepareLevel(transaction, level);
  }
}

template <class Way>
HRESULT Replay(Transaction* transaction) noexcept {
  if (!transaction || !transaction->first) return E_FAIL;
  bool const prepare = Way::PREPARES && !(transaction->state & Transaction::UNDONE);
  transaction->state |= REPLAYING;
  ReplayLevels<Way>(*transaction, prepare);
  transaction->state &= ~REPLAYING;
  if (prepare) transaction->state |= Transaction::UNDONE;
  if (transaction->state & DOOMED) DestroyTransaction(transaction);
  return S_OK;
}

}  // namespace

// ---- lifetime

UndoManager* UndoManager::Create() noexcept {
  Ref<UndoManager> manager = Ref<UndoManager>::Adopt(new (std::nothrow) UndoManager);
  if (manager && !manager->history) manager.Reset();
  return manager.Detach();
}

UndoManager::UndoManager() noexcept : history(Array::CreateEx(DestroyTransaction)) {}

UndoManager::~UndoManager() {
  // Items and the callback may still take and drop references, and must not destroy the manager once more;
  // and what they would begin or replay now has no future.
  AddRef();
  ++busy;
  depth = 0;
  CloseOpen();
  if (Array* const old = history) {
    history = nullptr;
    old->Release();
  }
  Changed();
}

// ---- undo and redo

HRESULT UndoManager::DoUndo() noexcept {
  if (busy) return YK_E_EMPTY;
  Ref<UndoManager> const stay = Ref<UndoManager>::Share(this);
  HRESULT result = E_FAIL;
  ++busy;
  if (CanUndo()) {
    Transaction* const transaction = Entry(position--);
    result = Replay<Backward>(transaction);
    Changed();
  }
  --busy;
  return result;
}

HRESULT UndoManager::DoRedo() noexcept {
  if (busy) return YK_E_EMPTY;
  Ref<UndoManager> const stay = Ref<UndoManager>::Share(this);
  HRESULT result = E_FAIL;
  ++busy;
  if (CanRedo()) {
    Transaction* const transaction = Entry(++position);
    result = Replay<Forward>(transaction);
    Changed();
  }
  --busy;
  return result;
}

// ---- recording

HRESULT UndoManager::DoAddItem(ykUndoItem* item) noexcept {
  if (!item) return E_INVALIDARG;
  Ref<ykUndoItem> owned = Ref<ykUndoItem>::Adopt(item);
  if (depth == 0) return E_FAIL;
  if (!open) {
    open = new (std::nothrow) Transaction;
    if (!open) return E_FAIL;
    open->created = GetTickCount();
  }
  if (Holds(*open, item)) return E_INVALIDARG;
  Append(*open, owned.Detach());
  return S_OK;
}

HRESULT UndoManager::DoBegin() noexcept {
  if (busy) return YK_E_EMPTY;
  if (depth == 0) open = nullptr;
  ++depth;
  return S_OK;
}

HRESULT UndoManager::DoEnd(wchar_t const* name) noexcept {
  if (depth == 0 || --depth > 0) return E_FAIL;
  if (!open || !open->first) {
    CloseOpen();
    return S_FALSE;
  }
  Ref<UndoManager> const stay = Ref<UndoManager>::Share(this);
  Transaction* const transaction = open;
  open = nullptr;
  transaction->name = name;
  return Commit(transaction);
}

HRESULT UndoManager::DoCancel() noexcept {
  if (depth == 0 || --depth > 0) return E_FAIL;
  Ref<UndoManager> const stay = Ref<UndoManager>::Share(this);
  CloseOpen();
  return S_OK;
}

HRESULT UndoManager::Commit(Transaction* transaction) noexcept {
  while (position < Entries() - 1) {
    --count;
    DropLast();
  }
  if (!history || !history->AtInsert(Entries(), transaction)) {
    DestroyTransaction(transaction);
    Changed();  // the redo part is gone all the same
    return E_OUTOFMEMORY;
  }
  ++count;
  position = Entries() - 1;
  OnCommit();
  Changed();
  return S_OK;
}

ykUndoItem* UndoManager::DoRecordValue(Unknown* object, unsigned key, bool merge) noexcept {
  if (depth == 0 || !object) return nullptr;
  if (merge) {
    if (ykUndoItem* const recorded = FindRecorded(object, key)) return recorded;
  }
  ValueItem* const item = new (std::nothrow) ValueItem(object, key);
  return Succeeded(AddItem(item)) ? item : nullptr;
}

/// The item of the last transaction that records the property; null also when a redo is possible.
ykUndoItem* UndoManager::FindRecorded(Unknown* object, unsigned key) noexcept {
  Transaction const* const last = GetLastTransaction();
  for (ykUndoItem* item = last ? last->first : nullptr; item; item = item->next) {
    Ref<ykValueUndoItem> value;
    if (Failed(item->QueryInterface(ids::VALUE_UNDO_ITEM, value.ReceiveVoid())) || !value) continue;
    if (value->object == object && value->key == key) return item;
  }
  return nullptr;
}

// ---- history

HRESULT UndoManager::DoClear() noexcept {
  Ref<UndoManager> const stay = Ref<UndoManager>::Share(this);
  // One by one, so that an item whose destructor looks at the manager sees a history that holds together.
  // `count` stays as it was: that is intended.
  position = 0;
  for (int left = Entries(); left > 0 && Entries() > 0; --left) DropLast();
  position = 0;
  Changed();
  return S_OK;
}

HRESULT UndoManager::DoGetUndoList(Array** out, int max) noexcept {
  if (!out) return E_INVALIDARG;
  *out = nullptr;
  if (!CanUndo()) return E_FAIL;
  Array* const list = Array::Create(0);
  if (!list) return E_OUTOFMEMORY;
  for (int i = position; i >= 0; --i) {
    if (max >= 1 && list->Count() > max) break;  // one more than `max`: intended
    if (list->AtInsert(list->Count(), Entry(i))) continue;
    list->Release();
    return E_OUTOFMEMORY;
  }
  *out = list;
  return S_OK;
}

HRESULT UndoManager::DoGetName(int index, String& out) noexcept {
  Transaction const* const transaction = Entry(index);
  if (!transaction) return E_FAIL;
  out = transaction->name;
  return S_OK;
}

// ---- helpers

/// Takes the last transaction off the history before it is destroyed.
void UndoManager::DropLast() noexcept {
  int const last = Entries() - 1;
  Transaction* const transaction = Entry(last);
  history->AtDelete(last);
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
