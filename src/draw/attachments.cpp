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

struct Attachments::Link {
  Link* next;
  IDC* dc;
  Image2d const* image;
};

constinit Attachments::Link* Attachments::chains[CHAINS] = {};

Attachments::Link*& Attachments::ChainOf(IDC const& dc) noexcept {
  return chains[MixHash(reinterpret_cast<uintptr_t>(&dc), 0) % CHAINS];
}

/// The pointer to the link of a context; to null when it has none.
Attachments::Link** Attachments::Find(IDC const& dc) noexcept {
  Link** at = &ChainOf(dc);
  while (*at && (*at)->dc != &dc) at = &(*at)->next;
  return at;
}

void Attachments::Add(IDC& dc, Image2d& image) noexcept {
  Forget(dc);
  Link* const link = new (std::nothrow) Link{nullptr, &dc, &image};
  if (!link) return;
  SrwLocker const locked(lock);
  link->next = std::exchange(ChainOf(dc), link);
  dc.attachment = ATTACHED;
  img::Attached::pixelsGo = LoseAll;
  img::Attached::Mark(image);
}

void Attachments::Forget(IDC& dc) noexcept {
  if (std::exchange(dc.attachment, NONE) != ATTACHED) return;
  SrwLocker const locked(lock);
  Link*& at = *Find(dc);
  if (at) delete std::exchange(at, at->next);
}

void Attachments::LoseAll(Image2d const& image) noexcept {
  SrwLocker const locked(lock);
  for (Link*& chain : chains) LoseIn(chain, image);
}

void Attachments::LoseIn(Link*& chain, Image2d const& image) noexcept {
  for (Link** at = &chain; *at;) {
    if ((*at)->image != &image) {
      at = &(*at)->next;
      continue;
    }
    Lose(*(*at)->dc);
    delete std::exchange(*at, (*at)->next);
  }
}

void Attachments::Lose(IDC& dc) noexcept {
  dc.attachment = LOST;
  dc.bits = nullptr;
  dc.width = dc.height = dc.stride = 0;
  dc.clip = {};
}

}  // namespace yk
