// Which contexts draw on the pixels of which images.
//
// A context knows the address of the pixels, and the image does not know the context. Images that were ever
// attached are marked; before the pixels of such an image are freed, its contexts lose their surface.
#pragma once

#include <qecore/draw/device_context.h>
#include <qecore/image/image.h>

namespace yk {

class Attachments {
 public:
  /// Replaces an earlier image. Without memory for it, the context will not notice that the pixels are gone.
  static void Add(IDC& dc, Image2d& image) noexcept;
  /// The context has no image any more, nor has it lost one.
  static void Forget(IDC& dc) noexcept;

  /// Whether the pixels were freed while the context was attached to them.
  static bool IsLost(IDC const& dc) noexcept { return dc.attachment == LOST && !dc.bits; }

 private:
  enum State : unsigned char { NONE, ATTACHED, LOST };
  struct Link;

  static constexpr size_t CHAINS = 256;
  using Chains = Link* [CHAINS];

  static Link*& ChainOf(Chains& chains, void const* address) noexcept;
  template <class Hook>
  static void Hang(Link& link, Hook hook, Link*& chain) noexcept;
  template <class Hook>
  static void Unhang(Link& link, Hook hook) noexcept;
  static void Remove(Link* link) noexcept;
  static void DetachAll(Image2d const& image) noexcept;
  static void MarkLost(IDC& dc) noexcept;

  static Chains byContext, byImage;
};

}  // namespace yk
