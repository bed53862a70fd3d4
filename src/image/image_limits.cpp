#include <qecore/image/image_limits.h>

#include <algorithm>
#include <atomic>

namespace yk {

namespace {

constinit std::atomic<uint64_t> readLimit = img::LARGEST_IMAGE;

}  // namespace

uint64_t img::GetReadLimit() noexcept { return readLimit.load(std::memory_order_relaxed); }

void img::SetReadLimit(uint64_t bytes) noexcept {
  readLimit.store(std::min(bytes, LARGEST_IMAGE), std::memory_order_relaxed);
}

}  // namespace yk
