#include <gtest/gtest.h>
#include <qecore/core/memory.h>
#include <qecore/core/ref.h>

#include <algorithm>
#include <cstring>
#include <thread>
#include <vector>

#include "support/binary.h"

namespace {

using namespace yk;

Ref<Malloc> Arena(int blockSize) { return Ref<Malloc>::Adopt(Malloc::Create(blockSize)); }
uint64_t Total(Ref<Malloc> const& arena) { return Field<uint64_t>(arena.get(), 24); }

TEST(Malloc, RefusesWhatNoBlockHoldsAndStaysAsItWas) {
  Ref<Malloc> const arena = Arena(256);
  ASSERT_TRUE(arena->AllocAligned(1, 8));
  ASSERT_TRUE(arena->AllocAligned(91, 8));
  struct {
    char const* name;
    size_t size, alignment;
  } const rows[] = {{"one byte more than a block's payload", 225, 1},
                    {"padding that no new block has room for", 200, 0x100000},
                    {"a size that wraps with its padding", ~size_t{0} - 1, 64},
                    {"no alignment", 1, 0}};
  for (auto const& row : rows) {
    EXPECT_EQ(arena->AllocAligned(row.size, row.alignment), nullptr) << row.name;
    EXPECT_EQ(Total(arena), 99u) << row.name;
    EXPECT_EQ(Field<uint64_t>(arena.get(), 32), 125u) << row.name;
  }
  EXPECT_TRUE(arena->Alloc(224)) << "a whole payload";
  for (int const size : {32, 0, -1}) EXPECT_EQ(Arena(size)->Alloc(1), nullptr) << size;
}

TEST(Malloc, ResetHandsOutTheSameAddresses) {
  Ref<Malloc> const arena = Arena(128);
  auto const fill = [&] {
    std::vector<void*> blocks;
    for (int i = 0; i < 20; ++i) blocks.push_back(memset(arena->Alloc(40), 0xCC, 40));
    return blocks;
  };
  std::vector<void*> const before = fill();
  unsigned char const* const block = static_cast<unsigned char*>(before[0]) - 32;
  EXPECT_EQ(Field<uint64_t>(block, 8), 80u) << "bytes used in a block that was left";
  EXPECT_EQ(Field<unsigned char*>(block, 24) + 32, before[2]);
  arena->Reset();
  EXPECT_EQ(Total(arena) + Field<uint64_t>(block, 8), 0u);
  EXPECT_EQ(fill(), before);
}

TEST(Malloc, CopiesTexts) {
  Ref<Malloc> const arena = Arena(64);
  using WideDup = wchar_t* (*)(void*, wchar_t const*);
  EXPECT_STREQ(Slot<WideDup>(arena.get(), 8)(arena.get(), L"wide"), L"wide");
  EXPECT_STREQ(arena->StrDup("narrow"), "narrow");
  EXPECT_EQ(arena->StrDup(""), nullptr);
  EXPECT_EQ(arena->StrDup(L"seventeen letters"), nullptr) << "36 bytes do not fit";
  EXPECT_EQ(Total(arena), 17u);
}

TEST(Malloc, ThreadSafeBlocksDoNotOverlap) {
  Ref<Malloc> const arena = Arena(4096);
  arena->SetThreadSafe(true);
  std::vector<unsigned char*> taken(20000);
  std::vector<std::thread> threads;
  for (size_t first = 0; first < taken.size(); first += 5000) {
    threads.emplace_back([&taken, &arena, first] {
      for (size_t i = 0; i < 5000; ++i) taken[first + i] = static_cast<unsigned char*>(arena->Alloc(16));
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::sort(taken.begin(), taken.end());
  for (size_t i = 1; i < taken.size(); ++i) ASSERT_GE(taken[i] - taken[i - 1], 16);
}

}  // namespace
