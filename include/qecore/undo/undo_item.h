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
// Only Destroy is pure. The least that an item must say:
//
//   class LeastItem : public ykUndoItem {
//     void Destroy() noexcept override { delete this; }
//   };
//
// Ownership: an item belongs to its maker until it is given to a manager, which releases it once, whatever
// becomes of it. It belongs to one transaction of one manager; the manager writes `next` and `prev`.
//
// All virtual functions are inline or pure: an item that a plug-in derives needs nothing from the library.
#pragma once

#include <qecore/core/implements.h>

namespace yk {

#pragma pack(push, 1)  // GetSize says 29 bytes, and 29 they are

class ykUndoItem : public Answers<ykUndoItem, Unknown> {
 public:
  static Guid const& Id() noexcept { return ids::UNDO_ITEM; }

  /// The slot of the destructor: destroys the item and, with bit 0 of `flags`, frees its memory.
  /// \return the address, which then points at nothing. UndoItemOf writes it for derived items. Here, where
  /// the derived destructor is not known, bit 0 goes through Destroy, and without it nothing happens.
  virtual void* DeleteThis(unsigned flags) noexcept {
    void* const address = this;
    if (flags & 1) Destroy();
    return address;
  }

  /// Takes the change back, or makes it again. The manager ignores what they return. Neither may undo, redo
  /// or begin a transaction: the manager, busy with this item, refuses with YK_E_EMPTY.
  virtual HRESULT Undo() noexcept { return E_NOTIMPL; }
  virtual HRESULT Redo() noexcept { return E_NOTIMPL; }

  /// Called once, before the first undo of the item's transaction: the last chance to keep what Redo needs.
  virtual HRESULT PrepareUndo() noexcept { return S_OK; }

  /// What the change is, in a word. The item owns the text.
  virtual wchar_t const* GetName() noexcept { return L"{?*|*?}"; }

  /// The bytes that the item takes; a derived item says its own.
  virtual int GetSize() noexcept { return static_cast<int>(sizeof(ykUndoItem)); }

  ykUndoItem* next = nullptr;  ///< the following item of the transaction; the manager's
  ykUndoItem* prev = nullptr;  ///< the preceding one; the manager's
  uint8_t order = 0;           ///< the level in a replay: lower ones are replayed first

 protected:
  ykUndoItem() noexcept = default;
  ~ykUndoItem() = default;
};

#pragma pack(pop)

static_assert(sizeof(ykUndoItem) == 29);

/// What an item derives from: writes the two slots of the destructor and the size for `Self`, which is
/// `final`.
template <class Self, class Base = ykUndoItem>
class UndoItemOf : public Destroys<Self, Base> {
 public:
  void* DeleteThis(unsigned flags) noexcept override { return this->DeleteSelf(flags); }
  int GetSize() noexcept override { return static_cast<int>(sizeof(Self)); }

 protected:
  using Destroys<Self, Base>::Destroys;
  ~UndoItemOf() = default;
};

/// The item that records a property of an object. It is what UndoManager::RecordValue makes, and what it
/// looks for when it merges: a host may supply items of its own kind that answer this identifier.
///
///   offset  0            29    32       40    44
///           +------------+-----+--------+-----+
///           | ykUndoItem |     | object | key |
///           +------------+-----+--------+-----+
class ykValueUndoItem : public Answers<ykValueUndoItem, ykUndoItem> {
 public:
  static Guid const& Id() noexcept { return ids::VALUE_UNDO_ITEM; }

  Unknown* object;  ///< whose property it is; the item holds one reference
  unsigned key;     ///< the number of the property

 protected:
  /// Takes a reference to `object`, which must not be null.
  ykValueUndoItem(Unknown* object, unsigned key) noexcept : object(object), key(key) { object->AddRef(); }
  ~ykValueUndoItem() { object->Release(); }
};

static_assert(sizeof(ykValueUndoItem) == 48);

}  // namespace yk
