// yk::Ref: holds one reference to a counted object.
//
//   Ref<Stream> stream;
//   if (Failed(FileStream::Create(path, FileStream::READ, stream.Receive()))) ...  // output: receive
//   Ref<Map> map = Ref<Map>::Adopt(Map::Create());                   // returned and owned: adopt
//   Ref<Stream> kept = Ref<Stream>::Share(borrowed);                 // borrowed: share, adding a reference
//   return map.Detach();                                             // passed on: detach
//   if (Ref<FileStream> file = stream.Query<FileStream>()) ...       // another interface, or null
//   if (Image2d* picture = Cast<Image2d>(loaded)) ...                // a derived class, or null
//
// A Ref to a class converts to a Ref to a base of it.
//
// Receive is for operations that write null, or nothing, when they fail. Some leave a dangling pointer behind
// (Image2d::Rescale, Image2d::Crop): with those, use a plain pointer and adopt it on success.
#pragma once

#include <qecore/core/guid.h>

namespace yk {

template <class T>
class Ref {
 public:
  Ref() noexcept = default;
  /// Adds a reference; from a temporary takes its own.
  Ref(Ref const& other) noexcept : object(Counted(other.object)) {}
  Ref(Ref&& other) noexcept : object(other.Detach()) {}
  template <class Derived>
  requires requires(Derived* derived, T*& base) { base = derived; }
  Ref(Ref<Derived> other) noexcept : object(other.Detach()) {}
  ~Ref() { Reset(); }

  /// Releases the reference held and takes over the other.
  Ref& operator=(Ref other) noexcept {
    T* const old = object;
    object = other.object;
    other.object = old;
    return *this;
  }

  /// Takes over a reference that the caller owns. Null is allowed.
  [[nodiscard]] static Ref Adopt(T* owned) noexcept {
    Ref ref;
    ref.object = owned;
    return ref;
  }

  /// Adds a reference to an object that the caller has borrowed. Null is allowed.
  [[nodiscard]] static Ref Share(T* borrowed) noexcept { return Adopt(Counted(borrowed)); }

  /// The object, borrowed, or null. The operators are for a Ref that has one.
  T* get() const noexcept { return object; }
  T* operator->() const noexcept { return object; }
  T& operator*() const noexcept { return *object; }
  /// Whether there is an object.
  explicit operator bool() const noexcept { return object != nullptr; }

  /// Asks the object for another interface, by `Other::Id()`. Null when there is no object or it lacks it.
  template <class Other>
  [[nodiscard]] Ref<Other> Query() const noexcept {
    void* other = nullptr;
    bool const found = object && object->QueryInterface(Other::Id(), &other) >= 0;
    return Ref<Other>::Adopt(found ? static_cast<Other*>(other) : nullptr);
  }

  /// Whether both refer to the same object.
  bool operator==(Ref const& other) const noexcept { return object == other.object; }
  bool operator==(T const* other) const noexcept { return object == other; }

  /// Releases the reference held and returns the address for a factory to write to.
  [[nodiscard]] T** Receive() noexcept {
    Reset();
    return &object;
  }

  /// The same for an operation with a `void**` parameter, such as CreateInterface or QueryInterface.
  [[nodiscard]] void** ReceiveVoid() noexcept { return reinterpret_cast<void**>(Receive()); }

  /// Passes the reference to the caller.
  [[nodiscard]] T* Detach() noexcept {
    T* const old = object;
    object = nullptr;
    return old;
  }

  /// Releases the reference held; it is empty afterwards.
  void Reset() noexcept {
    if (T* const old = Detach()) old->Release();
  }

 private:
  static T* Counted(T* borrowed) noexcept {
    if (borrowed) borrowed->AddRef();
    return borrowed;
  }

  T* object = nullptr;
};

/// The object as a class derived from its own, borrowed; null without one, or if IsTypeOf denies it. For
/// classes whose IsTypeOf confirms an identifier of their own: not for Map, Serializer and Deserializer.
template <class To, class From>
[[nodiscard]] To* Cast(From* object) noexcept {
  return object && object->IsTypeOf(To::Id()) ? static_cast<To*>(object) : nullptr;
}

/// The same with its reference, which is released if it is another class:
/// `Cast<Image2d>(Ref<AbstractImage>::Adopt(AbstractImage::Load(path)))`.
template <class To, class From>
[[nodiscard]] Ref<To> Cast(Ref<From> object) noexcept {
  To* const found = Cast<To>(object.get());
  return Ref<To>::Adopt(found ? static_cast<To*>(object.Detach()) : nullptr);
}

}  // namespace yk
