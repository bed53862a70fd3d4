// yk::UndoManager: a host's changes, recorded as transactions that can be undone and redone.
//
//   Ref<UndoManager> undo;
//   CreateInterface(ids::UNDO_MANAGER, undo.ReceiveVoid());
//
//   undo->BeginTransaction();
//   undo->RecordValue(image, KEY_TITLE, false);        // before the property changes
//   image->SetValue(KEY_TITLE, title);
//   undo->AddItem(PixelItem::Create(image, rect));     // from here on owned by the manager
//   undo->EndTransaction(L"Rename");
//   undo->Undo();
//
//   history   [ 0 ][ 1 ][ 2 ][ 3 ][ 4 ]     committed transactions, oldest first
//                        ^ position         the one Undo reverts; 3 and 4 can be redone
//
// Beginning inside an open transaction adds a nesting level; only the outermost end commits. A commit
// discards the transactions that could be redone. The history is never trimmed: the three limits are data for
// the host.
//
// Ownership: the manager takes over the caller's reference to every item, even one that it refuses, and
// releases it exactly once. It owns the transactions; pointers to them and to items are borrowed and valid
// until the history changes.
//
// Re-entrancy: while an undo or redo runs, including its change callback, Undo, Redo and BeginTransaction
// return YK_E_EMPTY. All other calls are allowed, even one that removes the transaction being replayed, which
// stays alive until its replay has ended. The manager stays alive until the call in progress returns, even if
// its last reference is released meanwhile by an item, an object whose value is read, or the change callback.
//
// Failures: result codes and null, and LastError() says why (error.h). Names and lists that do not exist, and
// the E_FAIL with which an inner level ends, record nothing.
//
// Threads: one, the host's user-interface thread.
#pragma once

#include <qecore/core/ref.h>
#include <qecore/undo/undo_item.h>
#include <qecore/values/array.h>
#include <qecore/values/string.h>

namespace yk {

/// A committed or open transaction. Owned by the manager, read-only for others.
///
///   offset  0       4     8      16      24     32         36        40
///           +-------+-----+------+-------+------+----------+---------+
///           | state |     | name | first | last | reserved | created |
///           +-------+-----+------+-------+------+----------+---------+
struct Transaction {
  /// Bits of `state`.
  enum State : uint32_t {
    UNDONE = 0x10000,  ///< has been undone at least once: its items are prepared
  };

  uint32_t state = 0;           ///< see State
  String name;                  ///< the name given at the commit
  ykUndoItem* first = nullptr;  ///< the items, in the order they were added
  ykUndoItem* last = nullptr;   ///< the item added last
  uint32_t reserved = 0;        ///< not used
  uint32_t created = 0;         ///< GetTickCount when the record was made
};

static_assert(sizeof(Transaction) == 40 && offsetof(Transaction, name) == 8);
static_assert(offsetof(Transaction, first) == 16 && offsetof(Transaction, created) == 36);

/// The manager.
///
///   slot  8 Undo         13 HasHistory          18 Clear         23 HasOpenItems
///         9 Redo         14 IsRecording         19 GetUndoList   24 GetLastTransaction
///        10 AddItem      15 BeginTransaction    20 (reserved)    25 RecordValue
///        11 CanUndo      16 EndTransaction      21 GetUndoName   26 OnCommit
///        12 CanRedo      17 CancelTransaction   22 GetRedoName
///
///   offset 16 history   32 sizeLimit    40 thirdLimit   48 depth      56 busy
///          24 open      36 levelLimit   44 count        52 position   64 changed
///
/// Hosts may derive from it, for OnCommit: all virtual functions are inline and call exported functions.
class UndoManager : public Destroys<UndoManager, Unknown> {
 public:
  static Guid const& Id() noexcept { return ids::UNDO_MANAGER; }
  /// Called after each change of the history, with the manager that changed.
  using ChangeCallback = void (*)(UndoManager* manager);

  /// A new manager, or null.
  YK_API static UndoManager* Create() noexcept;

  /// Supports its own identifier and Unknown's.
  HRESULT QueryInterface(Guid const& id, void** out) noexcept override {
    if (!(id == Id())) return Unknown::QueryInterface(id, out);
    *out = this;
    AddRef();
    return S_OK;
  }

  /// Undoes the transaction at the position, or redoes the one after it. YK_E_EMPTY while one of the two
  /// runs. E_FAIL: no such transaction. The results of the items are ignored.
  virtual HRESULT Undo() noexcept { return DoUndo(); }
  virtual HRESULT Redo() noexcept { return DoRedo(); }

  /// Adds to the open transaction. Takes over the caller's reference, even on failure. E_FAIL outside a
  /// transaction; E_INVALIDARG for null and for an item that is in a transaction already.
  virtual HRESULT AddItem(ykUndoItem* item) noexcept { return DoAddItem(item); }

  /// Whether there is a transaction to undo, or to redo.
  virtual bool CanUndo() noexcept { return Entries() > 0 && position >= 0; }
  virtual bool CanRedo() noexcept { return Entries() > 0 && position < Entries() - 1; }
  /// True once anything has been committed, even after Clear (contract).
  virtual bool HasHistory() noexcept { return count > 0; }
  /// True inside a transaction.
  virtual bool IsRecording() noexcept { return depth != 0; }

  /// Opens a transaction, or another nesting level of it. YK_E_EMPTY while an undo or redo runs.
  virtual HRESULT BeginTransaction() noexcept { return DoBegin(); }
  /// Ends a level, and commits at the outermost one. S_OK: committed. 1: no item was added, nothing is
  /// recorded. E_FAIL: no transaction is open, or an inner level ended. E_OUTOFMEMORY: the items are
  /// released.
  virtual HRESULT EndTransaction(wchar_t const* name) noexcept { return DoEnd(name); }
  /// Ends a level, and at the outermost one releases the items. E_FAIL as above.
  virtual HRESULT CancelTransaction() noexcept { return DoCancel(); }

  /// Clears the history. An open transaction stays open.
  virtual HRESULT Clear() noexcept { return DoClear(); }

  /// The transactions from the current one backwards, in a new array that is caller-owned but does not own
  /// them. With `max` of at least 1 it holds up to `max` + 1 of them (contract); otherwise all.
  /// E_FAIL: there is nothing to undo. `*out` is null on failure.
  virtual HRESULT GetUndoList(Array** out, int max) noexcept { return DoGetUndoList(out, max); }

  /// Reserved: E_NOTIMPL.
  virtual HRESULT Reserved20() noexcept { return E_NOTIMPL; }

  /// The name of the transaction that Undo or Redo would replay. E_FAIL: no such transaction, and `out` is
  /// unchanged. E_OUTOFMEMORY: no memory for the name.
  virtual HRESULT GetUndoName(String& out) noexcept {
    Ref<UndoManager> const stay = Ref<UndoManager>::Share(this);
    return CanUndo() ? DoGetName(position, out) : E_FAIL;
  }
  virtual HRESULT GetRedoName(String& out) noexcept {
    Ref<UndoManager> const stay = Ref<UndoManager>::Share(this);
    return CanRedo() ? DoGetName(position + 1, out) : E_FAIL;
  }

  /// True inside a transaction that has at least one item.
  virtual bool HasOpenItems() noexcept { return depth != 0 && open && open->first; }

  /// The transaction at the position; null when the history is empty or a redo is possible.
  virtual Transaction* GetLastTransaction() noexcept { return CanRedo() ? nullptr : Entry(position); }

  /// Records that the property `key` of `object` is about to change: call it before SetValue. The item stores
  /// the property's present value and exchanges it with the current one at each undo and redo, through the
  /// object's GetValue and SetValue. A property that was absent is absent again after the undo.
  /// A value that GetValue cannot read back (a map's objects and matrices) is left unchanged rather than
  /// lost: the item then changes nothing, and its Undo and Redo return E_FAIL.
  ///
  /// `merge`: when the last committed transaction records this property already, its item is used, and
  /// nothing new is recorded. \return the item, borrowed; null outside a transaction, for a null object, when
  /// there is no memory for the item or for the value, and when the item no longer exists because a function
  /// called here (the object's GetValue, an item's QueryInterface) released the manager or the transaction.
  virtual ykUndoItem* RecordValue(Unknown* object, unsigned key, bool merge) noexcept {
    return DoRecordValue(object, key, merge);
  }

  /// A hook for derived managers, called after each commit and before the change callback.
  virtual HRESULT OnCommit() noexcept { return E_NOTIMPL; }

  /// Sets the callback invoked after every change of the history, and in the destructor; null for none.
  void SetChangeCallback(ChangeCallback callback) noexcept { changed = callback; }

 protected:
  YK_API_INLINE UndoManager() noexcept : history(Ref<Array>::Adopt(NewHistory())) {}
  YK_API ~UndoManager();

 private:
  friend Destroys;

  YK_API static Array* NewHistory() noexcept;
  YK_API HRESULT DoUndo() noexcept;
  YK_API HRESULT DoRedo() noexcept;
  YK_API HRESULT DoAddItem(ykUndoItem* item) noexcept;
  YK_API HRESULT DoBegin() noexcept;
  YK_API HRESULT DoEnd(wchar_t const* name) noexcept;
  YK_API HRESULT DoCancel() noexcept;
  YK_API HRESULT DoClear() noexcept;
  YK_API HRESULT DoGetUndoList(Array** out, int max) noexcept;
  YK_API HRESULT DoGetName(int index, String& out) noexcept;
  YK_API ykUndoItem* DoRecordValue(Unknown* object, unsigned key, bool merge) noexcept;

  int Entries() noexcept { return history ? history->Count() : 0; }
  Transaction* Entry(int index) noexcept {  // null out of range, without a report
    bool const inside = index >= 0 && index < Entries();
    return inside ? static_cast<Transaction*>(history->At(index)) : nullptr;
  }
  template <class Way>
  HRESULT Travel() noexcept;
  void DropLast() noexcept;
  void CloseOpen() noexcept;
  void Changed() noexcept;
  HRESULT Commit(Transaction* transaction) noexcept;
  bool IsTaken(ykUndoItem const& item) noexcept;
  ykUndoItem* FindRecorded(Unknown* object, unsigned key, Transaction*& holder) noexcept;
  ykUndoItem* AddRecord(Unknown* object, unsigned key, Transaction*& holder) noexcept;

  Ref<Array> history;  // of the library's own kind of Transaction, with its deleter
  Transaction* open = nullptr;

 public:
  uint32_t sizeLimit = 0x1000000;  ///< a setting of the host, which the manager does not read
  uint32_t levelLimit = 256;       ///< likewise
  uint32_t thirdLimit = 10;        ///< likewise

 private:
  int32_t count = 0;
  uint32_t depth = 0;
  int32_t position = 0;
  uint32_t busy = 0;
  ChangeCallback changed = nullptr;
};

static_assert(sizeof(UndoManager) == 72);

}  // namespace yk
