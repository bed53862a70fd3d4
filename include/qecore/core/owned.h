// yk::Owned: the only pointer to an object that is not counted, which it deletes.
#pragma once

namespace yk {

/// The type may be incomplete where an Owned is declared, but not where it is reset or destroyed.
template <class T>
class Owned {
 public:
  Owned() noexcept = default;
  ~Owned() { Reset(); }
  Owned(Owned const&) = delete;
  Owned& operator=(Owned const&) = delete;

  /// The object, borrowed, or null.
  T* get() const noexcept { return object; }
  T* operator->() const noexcept { return object; }
  explicit operator bool() const noexcept { return object != nullptr; }

  /// Deletes the object and takes over another one, or none.
  void Reset(T* with = nullptr) noexcept {
    static_assert(sizeof(T) > 0);
    T* const old = object;
    object = with;
    delete old;
  }

 private:
  T* object = nullptr;
};

}  // namespace yk
