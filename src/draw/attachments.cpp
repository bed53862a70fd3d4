#include "attachments_p.h"

#include <new>
#include <utility>

#include "core/hash_table_p.h"
#include "core/srw_lock_p.h"
#include "image/attached_p.h"

namespace yk {
namespace {

// Contexts and images of several threads are in the list.
constinit SRWLOCK lock = SRWLOCK_INIT;

}  // namespace

/// One attachment, in the chain of its context's address and in that of its image's, so that a host may keep
/// thousands of them.
struct Attachments::Link {
  /// The place in a chain, which can be left without a search.
  struct Hook {
    Link* next = nullptr;
    Link** before = nullptr;  // what points here
  };

  IDC* dc;
  Image2d const* image;
  Hook ofContext = {}, ofImage = {};
};

constinit Attachments::Link* Attachments::byContext[CHAINS] = {};
constinit Attachments::Link* Attachments::byImage[CHAINS] = {};

Attachments::Link*& Attachments::ChainOf(Chains& chains, void const* address) noexcept {
  return chains[MixHash(reinterpret_cast<uintptr_t>(address), 0) % CHAINS];
}

template <class Hook>
void Attachments::Hang(Link& link, Hook hook, Link*& chain) noexcept {
  link.*hook = {chain, &chain};
  if (chain) (chain->*hook).before = &(link.*hook).next;
  chain = &link;
}

template <class Hook>
void Attachments::Unhang(Link& link, Hook hook) noexcept {
  auto const [next, before] = link.*hook;
  *before = next;
  if (next) (next->*hook).before = before;
}

void Attachments::Remove(Link* link) noexcept {
  Unhang(*link, &Link::ofContext);
  Unhang(*link, &Link::ofImage);
  delete link;
}

void Attachments::Add(IDC& dc, Image2d& image) noexcept {
  Forget(dc);
  Link* const link = new (std::nothrow) Link{&dc, &image};
  if (!link) return;
  SrwLocker const locked(lock);
  Hang(*link, &Link::ofContext, ChainOf(byContext, &dc));
  Hang(*link, &Link::ofImage, ChainOf(byImage, &image));
  dc.attachment = ATTACHED;
  img::Attached::onPixelsFreed = DetachAll;
  img::Attached::Mark(image);
}

void Attachments::Forget(IDC& dc) noexcept {
  if (std::exchange(dc.attachment, NONE) != ATTACHED) return;
  SrwLocker const locked(lock);
  Link* link = ChainOf(byContext, &dc);
  while (link && link->dc != &dc) link = link->ofContext.next;
  if (link) Remove(link);
}

void Attachments::DetachAll(Image2d const& image) noexcept {
  SrwLocker const locked(lock);
  for (Link *link = ChainOf(byImage, &image), *next; link; link = next) {
    next = link->ofImage.next;
    if (link->image != &image) continue;
    MarkLost(*link->dc);
    Remove(link);
  }
}

void Attachments::MarkLost(IDC& dc) noexcept {
  dc.attachment = LOST;
  dc.bits = nullptr;
  dc.width = dc.height = dc.stride = 0;
  dc.clip = {};
}

}  // namespace yk
