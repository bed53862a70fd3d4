// How a class gets its answers in one glance.
//
//   class Stream : public Answers<Stream, yk::Unknown> { ... };       an interface: answers its identifier
//
//   class Counter final : public Implements<Counter, yk::Unknown> {   a class that is made
//    public:
//     static Guid const& Id() noexcept { return COUNTER_ID; }
//     static Counter* Create() noexcept { return new (std::nothrow) Counter; }
//   };
//
// Neither adds a field or a slot. Objects come from the global `operator new` and go with their last Release.
// A class that lets nobody else destroy them has a private destructor and a line `friend Destroys;`.
#pragma once

#include <qecore/core/unknown.h>

namespace yk {

/// QueryInterface and IsTypeOf answer Self::Id() first and leave the rest to Base.
template <class Self, class Base>
class Answers : public Base {
 public:
  HRESULT QueryInterface(Guid const& id, void** out) noexcept override {
    if (!(id == Self::Id())) return Base::QueryInterface(id, out);
    *out = static_cast<Self*>(this);
    this->AddRef();
    return S_OK;
  }

  bool IsTypeOf(Guid const& id) noexcept override { return id == Self::Id() || Base::IsTypeOf(id); }

 protected:
  using Base::Base;
  ~Answers() = default;
};

/// Destroy runs ~Self and frees the memory; Self is the class that is made, not one that is derived from. (No
/// class of a public header is marked `final` all the same: the mark lets the compiler turn a slot's call
/// into a call by name, past the table of a host that replaced or hooked a slot.)
template <class Self, class Base>
class Destroys : public Base {
 public:
  void Destroy() noexcept override { DeleteSelf(1); }

 protected:
  using Base::Base;
  ~Destroys() = default;

  /// The body of a slot that is reserved for a deleting destructor: destroys the object and, when bit 0 of
  /// `flags` is set, frees its memory. \return the address, which then points at nothing.
  void* DeleteSelf(unsigned flags) noexcept {
    Self* const self = static_cast<Self*>(this);
    self->Self::~Self();
    if (flags & 1) ::operator delete(static_cast<void*>(self));
    return self;  // NOLINT(clang-analyzer-cplusplus.NewDelete): the address, which nobody follows
  }
};

/// Both: what a concrete class with an identifier of its own derives from.
template <class Self, class Base>
class Implements : public Destroys<Self, Answers<Self, Base>> {
 protected:
  using Destroys<Self, Answers<Self, Base>>::Destroys;
  ~Implements() = default;
};

}  // namespace yk
