// Per-owner data on an object: an intrusive list of counted records, each found by its owner's key.
//
// Drawing back ends attach to an image's list the data that they keep for the image. The list owns one
// reference to each record. It is not synchronised: one thread at a time.
//
// Failures: result codes, and LastError() says why (error.h).
#pragma once

#include <qecore/core/unknown.h>

namespace yk {

/// A record. Derive from it, set `owner`, add it.
class drvData : public Unknown {
 public:
  drvData* next = nullptr;  ///< written by the list
  void* owner = nullptr;    ///< the key

 protected:
  drvData() noexcept = default;
  ~drvData() = default;
};

static_assert(sizeof(drvData) == 32);

/// The list.
class drvDataPtr {
 public:
  drvDataPtr() noexcept = default;
  YK_API ~drvDataPtr();
  drvDataPtr(drvDataPtr const&) = delete;
  drvDataPtr& operator=(drvDataPtr const&) = delete;

  /// The first record of `owner`, borrowed, or null.
  YK_API drvData* Get(void* owner) noexcept;

  /// Inserts the record at the front and takes over the caller's reference. E_INVALIDARG, with the reference
  /// still the caller's, for a null record or one that is in the list already.
  YK_API HRESULT Add(drvData* record) noexcept;

  /// Unlinks the record and releases it; its own `next` is not cleared. YK_E_NOTFOUND: it is not in the list.
  YK_API HRESULT Remove(drvData* record) noexcept;

 private:
  drvData* head = nullptr;
};

}  // namespace yk
