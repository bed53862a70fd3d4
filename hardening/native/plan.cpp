// The plan of failures, and the counts.
#include "plan.h"

#include <stdio.h>

namespace harness {

Counter liveBlocks, liveGlobals, liveBitmaps, liveHandles;

namespace {

constexpr size_t MOST_BYTES = size_t{1} << 31;

Plan plan;
std::atomic<long> calls;
std::atomic<size_t> largestRequest{MOST_BYTES};
bool calm = false;

}  // namespace

Live CountLive() noexcept { return {liveBlocks, liveGlobals, liveBitmaps, liveHandles}; }

void Arm(Plan toFollow) noexcept {
  plan = toFollow;
  calls = 0;
}

void Disarm() noexcept { plan.at = 0; }

long CountCalls() noexcept { return calls; }

void LimitRequests(size_t bytes) noexcept { largestRequest = bytes; }

Calm::Calm() noexcept : wasCalm(calm) { calm = true; }
Calm::~Calm() { calm = wasCalm; }

bool Fails(Kind kind) noexcept {
  if (calm || !(plan.kinds & kind)) return false;
  long const number = ++calls;
  return plan.at > 0 && (number == plan.at || (plan.onwards && number > plan.at));
}

bool Refuses(size_t bytes) noexcept { return Fails(MEMORY) || bytes > largestRequest; }

void Die(char const* what, void const* handle) noexcept {
  fprintf(stderr, "harness: %s: %p\n", what, handle);
  abort();
}

}  // namespace harness
