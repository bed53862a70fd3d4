// yk::ykUndoItem: one change that knows how to undo and redo itself.
//
//   class PixelItem final : public UndoItemOf<PixelItem> {
//    public:
//     HRESULT Undo() noexcept override;
//     HRESULT Redo() noexcept override;
//     wchar_t const* GetName() noexcept override { return L"pixels"; }
//   };
//
//   offset  0         12        20        28      29
//           +---------+---------+---------+-------+
//           | Unknown | next    | prev    | order |    29 bytes, packed, under both C++ ABIs
//           +---------+---------+---------+-------+
//
//   slot    8 DeleteThis   10 Redo          12 GetName
//           9 Undo         11 PrepareUndo   13 GetSize
//
// Only Destroy is pure. The smallest possible item:
//
//   class LeastItem : public ykUndoItem {
//     void Destroy() noexcept override { delete this; }
//   };
//
// Ownership: an item belongs to its creator until it is passed to a manager, which releases it exactly once,
// in every case. An item belongs to one transaction of one manager; the manager writes `next` and `prev`.
//
// All virtual functions are inline or pure: an item derived in a plug-in needs no symbol of the library.
#pragma once

#include <qecore/core/implements.h>
#include <qecore/core/ref.h>

namespace yk {

#pragma pack(push, 1)  // Contract: GetSize returns 29

class ykUndoItem : public Answers<ykUndoItem, Unknown> {
 public:
  static Guid const& Id() noexcept { return ids::UNDO_ITEM; }

  /// The destructor's slot: destroys the item and, if bit 0 of `flags` is set, frees its memory.
  /// \return the address, which is then dangling. UndoItemOf implements this for derived items. Here, where
  /// the derived destructor is unknown, bit 0 calls Destroy; without it, this is a no-op.
  virtual void* DeleteThis(unsigned flags) noexcept {
    void* const address = this;
    if (flags & 1) Destroy();
    return address;
  }

  /// Reverts the change, or applies it again. The manager ignores the results. Neither may undo, redo or
  /// begin a transaction: the manager, busy with this item, returns YK_E_EMPTY.
  virtual HRESULT Undo() noexcept { return E_NOTIMPL; }
  virtual HRESULT Redo() noexcept { return E_NOTIMPL; }

  /// Called once, before the first undo of the item's transaction: the last chance to store what Redo needs.
  virtual HRESULT PrepareUndo() noexcept { return S_OK; }

  /// A short name of the change. The item owns the text.
  virtual wchar_t const* GetName() noexcept { return L"{?*|*?}"; }

  /// The item's size in bytes; a derived item returns its own.
  virtual int GetSize() noexcept { return static_cast<int>(sizeof(ykUndoItem)); }

  ykUndoItem* next = nullptr;  ///< the following item of the transaction; written by the manager
  ykUndoItem* prev = nullptr;  ///< the preceding one; written by the manager
  uint8_t order = 0;           ///< the level in a replay: lower levels are replayed first

 protected:
  ykUndoItem() noexcept = default;
  ~ykUndoItem() = default;
};

#pragma pack(pop)

static_assert(sizeof(ykUndoItem) == 29);

/// Base class of items: implements the two destructor slots and the size for `Self`, which is `final`.
template <class Self, class Base = ykUndoItem>
class UndoItemOf : public Destroys<Self, Base> {
 public:
  void* DeleteThis(unsigned flags) noexcept override { return this->DeleteSelf(flags); }
  int GetSize() noexcept override { return static_cast<int>(sizeof(Self)); }

 protected:
  using Destroys<Self, Base>::Destroys;
  ~UndoItemOf() = default;
};

/// The item that records a property of an object. UndoManager::RecordValue creates it, and looks for it when
/// it merges: a host may supply item classes of its own that support this identifier.
///
///   offset  0            29    32       40    44
///           +------------+-----+--------+-----+
///           | ykUndoItem |     | object | key |
///           +------------+-----+--------+-----+
class ykValueUndoItem : public Answers<ykValueUndoItem, ykUndoItem> {
 public:
  static Guid const& Id() noexcept { return ids::VALUE_UNDO_ITEM; }

  Unknown* object;  ///< the object whose property is recorded; the item holds one reference
  unsigned key;     ///< the key of the property

 protected:
  /// Takes a reference to the object, which must not be null.
  ykValueUndoItem(Unknown* recorded, unsigned property) noexcept
      : object(Ref<Unknown>::Share(recorded).Detach()), key(property) {}
  ~ykValueUndoItem() { Ref<Unknown>::Adopt(object).Reset(); }
};

static_assert(sizeof(ykValueUndoItem) == 48);

}  // namespace yk
