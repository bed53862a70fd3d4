// yk::Unknown: the base of every object that the library, a host or a plug-in hands to another.
//
//   offset  0                 8                12
//           +-----------------+----------------+
//           | virtual table   | referenceCount |    12 bytes under both C++ ABIs
//           +-----------------+----------------+
//
//   slot    0 QueryInterface   2 Release   4 IsTypeOf    6 GetValue
//           1 AddRef           3 Destroy   5 GetTypeId   7 SetValue
//
// Every class of the system keeps these eight slots first and adds its own behind them.
//
// Ownership: a new object has the count 1 and belongs to its maker, who releases it once. Release destroys
// the object, on the calling thread, through slot 3 when the count falls below 1. yk::Ref (ref.h) does the
// counting. Threads: AddRef and Release are atomic; nothing else here is synchronised.
//
// All virtual functions are inline or pure, so that a plug-in that derives from this class has its own table
// and needs neither a table nor type information from the library.
#pragma once

#include <qecore/core/ids.h>

#if defined(_MSC_VER)
extern "C" long _InterlockedExchangeAdd(long volatile* value, long step);  // NOLINT: an intrinsic
#endif

namespace qe {

/// Returns 0, as slot 5 of a class that does not say its identifier does.
YK_API int purecall() noexcept;

}  // namespace qe

namespace yk {

class Variant;

#pragma pack(push, 4)  // 12 bytes without a tail, so that both ABIs place a derived class's fields alike

class Unknown {
 public:
  Unknown(Unknown const&) = delete;
  Unknown& operator=(Unknown const&) = delete;

  /// Asks for an interface. S_OK: `*out` is the interface with one reference more, for the caller to release.
  /// E_NOINTERFACE: not answered, and `*out` is untouched.
  virtual HRESULT QueryInterface(Guid const& id, void** out) noexcept {
    if (!(id == ids::UNKNOWN)) return E_NOINTERFACE;
    *out = this;
    AddRef();
    return S_OK;
  }

  /// Takes one reference. \return the new count.
  virtual unsigned AddRef() noexcept { return static_cast<unsigned>(Count(+1)); }

  /// Drops one reference and destroys the object when none is left. A count that was 0 already goes to -1 and
  /// destroys again: there is no guard. \return the new count, also after the destruction.
  virtual unsigned Release() noexcept {
    int const left = Count(-1);
    if (left < 1) Destroy();
    return static_cast<unsigned>(left);
  }

  /// Runs the destructors and frees the memory. Called by Release, never by users.
  virtual void Destroy() noexcept = 0;

  /// True when the object's class, or one that it derives from, has this identifier. Takes no reference.
  virtual bool IsTypeOf(Guid const& id) noexcept { return id == ids::UNKNOWN; }

  /// The class identifier, or null for a class that does not say it.
  virtual Guid const* GetTypeId() noexcept { return nullptr; }

  /// Reads or writes the property with this number; the numbering belongs to each class.
  /// The base has no properties: E_NOTIMPL, nothing touched.
  virtual HRESULT GetValue(unsigned key, Variant& out) noexcept {
    (void)key, (void)out;
    return E_NOTIMPL;
  }
  virtual HRESULT SetValue(unsigned key, Variant const& value) noexcept {
    (void)key, (void)value;
    return E_NOTIMPL;
  }

  /// Releases the object that `*slot` points to and makes `*slot` null. A null `slot` or `*slot` does
  /// nothing.
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
