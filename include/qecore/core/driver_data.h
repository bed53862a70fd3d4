// Per-owner data on an object: an intrusive list of counted records, each found by its owner's key.
//
// Drawing back-ends hang what they keep for an image on the image's list. The list owns one reference to each
// record. It has no lock: its users take turns.
#pragma once

#include <qecore/core/unknown.h>

namespace yk {

/// A record. Derive from it, set `owner`, add it.
class drvData : public Unknown {
 public:
  drvData* next = nullptr;  ///< the list's
  void* owner = nullptr;    ///< the key

 protected:
  drvData() noexcept = default;
  ~drvData() = default;
};

static_assert(sizeof(drvData) == 32);

/// The list.
class YK_API drvDataPtr {
 public:
  drvDataPtr() noexcept = default;
  ~drvDataPtr();
  drvDataPtr(drvDataPtr const&) = delete;
  drvDataPtr& operator=(drvDataPtr const&) = delete;

  /// The first record of `owner`, lent; null when there is none.
  drvData* Get(void* owner) noexcept;

  /// Puts the record at the front and takes over the caller's reference. E_INVALIDARG, and the reference
  /// stays the caller's, for a null record or one that is on the list already.
  HRESULT Add(drvData* record) noexcept;

  /// Unlinks the record and releases it; its own `next` is not cleared. YK_E_NOTFOUND: it is not on the list.
  HRESULT Remove(drvData* record) noexcept;

 private:
  drvData* head = nullptr;
};

}  // namespace yk
