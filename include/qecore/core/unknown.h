// yk::Unknown: the base class of every object passed between the library, hosts and plug-ins.
//
//   offset  0                 8                12
//           +-----------------+----------------+
//           | virtual table   | referenceCount |    12 bytes under both C++ ABIs
//           +-----------------+----------------+
//
//   slot    0 QueryInterface   2 Release   4 IsTypeOf    6 GetValue
//           1 AddRef           3 Destroy   5 GetTypeId   7 SetValue
//
// Every class of the system has these eight slots first, followed by its own.
//
// Ownership: a new object has the count 1, which its creator owns and releases once. When the count falls
// below 1, Release destroys the object on the calling thread, through slot 3. yk::Ref (ref.h) does the
// counting. Threads: AddRef and Release are atomic; nothing else here is synchronised.
//
// All virtual functions are inline or pure, so that a class derived in a plug-in has its own virtual table
// and needs no table or type information from the library.
#pragma once

#include <qecore/core/ids.h>

#if defined(_MSC_VER)
extern "C" long _InterlockedExchangeAdd(long volatile* value, long step);  // NOLINT: the platform's name
#pragma intrinsic(_InterlockedExchangeAdd)
#endif

namespace qe {

/// Returns 0, like slot 5 of a class without an identifier.
YK_API int purecall() noexcept;

}  // namespace qe

namespace yk {

class Variant;

// 12 bytes without tail padding, so that derived classes have the same layout in both ABIs.
#pragma pack(push, 4)

class Unknown {
 public:
  Unknown(Unknown const&) = delete;
  Unknown& operator=(Unknown const&) = delete;

  /// Asks for an interface. S_OK: `*out` is the interface with an added reference, for the caller to release.
  /// E_NOINTERFACE: not supported, and `*out` is unchanged.
  virtual HRESULT QueryInterface(Guid const& id, void** out) noexcept {
    if (!(id == ids::UNKNOWN)) return E_NOINTERFACE;
    *out = this;
    AddRef();
    return S_OK;
  }

  /// Adds one reference. \return the new count.
  virtual unsigned AddRef() noexcept { return static_cast<unsigned>(Count(+1)); }

  /// Releases one reference and destroys the object when none is left. A count that is 0 already becomes -1
  /// and the object is destroyed again: there is no guard. \return the new count, even after the destruction.
  virtual unsigned Release() noexcept {
    int const left = Count(-1);
    if (left < 1) Destroy();
    return static_cast<unsigned>(left);
  }

  /// Runs the destructors and frees the memory. Called by Release, never by users.
  virtual void Destroy() noexcept = 0;

  /// True when this is the identifier of the object's class or of one of its bases. Adds no reference.
  virtual bool IsTypeOf(Guid const& id) noexcept { return id == ids::UNKNOWN; }

  /// The class identifier, or null for a class that does not publish one.
  virtual Guid const* GetTypeId() noexcept { return nullptr; }

  /// Reads or writes the property with this number; each class has its own numbering.
  /// The base has no properties: E_NOTIMPL, and nothing is changed.
  virtual HRESULT GetValue(unsigned key, Variant& out) noexcept {
    (void)key, (void)out;
    return E_NOTIMPL;
  }
  virtual HRESULT SetValue(unsigned key, Variant const& value) noexcept {
    (void)key, (void)value;
    return E_NOTIMPL;
  }

  /// Releases the object that `*slot` points to and sets `*slot` to null. A no-op for a null `slot` or
  /// `*slot`.
  YK_API static void Free(void** slot) noexcept;

 protected:
  Unknown() noexcept = default;
  ~Unknown() = default;

 private:
  int Count(int step) noexcept {
#if defined(_MSC_VER)
    return _InterlockedExchangeAdd(reinterpret_cast<long volatile*>(&referenceCount), step) + step;
#else
    return __atomic_add_fetch(&referenceCount, step, __ATOMIC_SEQ_CST);
#endif
  }

  int referenceCount = 1;
};

#pragma pack(pop)

static_assert(sizeof(Unknown) == 12, "both ABIs count on a base without tail padding");

}  // namespace yk
