// Implementations of Unknown's slots, to derive from.
//
//   class Stream : public Answers<Stream, yk::Unknown> { ... };       an interface: supports its identifier
//
//   class Counter final : public Implements<Counter, yk::Unknown> {   a concrete class
//    public:
//     static Guid const& Id() noexcept { return COUNTER_ID; }
//     static Counter* Create() noexcept { return new (std::nothrow) Counter; }
//   };
//
// Neither adds a field or a slot. Objects come from the global `operator new` and are destroyed by their last
// Release. A class that must not be destroyed otherwise has a private destructor and a line `friend
// Destroys;`.
#pragma once

#include <qecore/core/unknown.h>

namespace yk {

/// QueryInterface and IsTypeOf check Self::Id() first and leave everything else to Base.
template <class Self, class Base>
class Answers : public Base {
 public:
  /// S_OK with an added reference for Self::Id(); for any other, as Base.
  HRESULT QueryInterface(Guid const& id, void** out) noexcept override {
    if (!(id == Self::Id())) return Base::QueryInterface(id, out);
    *out = static_cast<Self*>(this);
    this->AddRef();
    return S_OK;
  }

  /// True for Self::Id(); for any other, as Base.
  bool IsTypeOf(Guid const& id) noexcept override { return id == Self::Id() || Base::IsTypeOf(id); }

 protected:
  using Base::Base;
  ~Answers() = default;
};

/// Destroy runs ~Self and frees the memory; Self is the class that is created, not one to derive from. (Even
/// so, no class of a public header is marked `final`: the compiler could then call a slot directly, bypassing
/// the table of a host that replaced or hooked it.)
template <class Self, class Base>
class Destroys : public Base {
 public:
  /// Called by the last Release.
  void Destroy() noexcept override { DeleteSelf(1); }

 protected:
  using Base::Base;
  ~Destroys() = default;

  /// The body of a slot reserved for a deleting destructor: destroys the object and, if bit 0 of `flags` is
  /// set, frees its memory. \return the address, which is then dangling.
  void* DeleteSelf(unsigned flags) noexcept {
    Self* const self = static_cast<Self*>(this);
    self->Self::~Self();
    if (flags & 1) ::operator delete(static_cast<void*>(self));
    return self;  // NOLINT(clang-analyzer-cplusplus.NewDelete): the address only, which nobody dereferences
  }
};

/// Both: the base of a concrete class with an identifier of its own.
template <class Self, class Base>
class Implements : public Destroys<Self, Answers<Self, Base>> {
 protected:
  using Destroys<Self, Answers<Self, Base>>::Destroys;
  ~Implements() = default;
};

}  // namespace yk
