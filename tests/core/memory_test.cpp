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

uint64_t Total(Malloc* arena) { return Field<uint64_t>(arena, 24); }
uint64_t Remaining(Malloc* arena) { return Field<uint64_t>(arena, 32); }

TEST(Malloc, CountsWhatItHandsOut) {
  Ref<Malloc> const arena = Ref<Malloc>::Adopt(Malloc::Create(1024));
  EXPECT_EQ(Remaining(arena.get()), 0u) << "no block before the first request";
  ASSERT_TRUE(arena->AllocAligned(1, 8));
  ASSERT_TRUE(arena->AllocAligned(1, 8));
  EXPECT_EQ(Total(arena.get()), 9u);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(arena->AllocAligned(1, 64)) % 64, 0u);
  EXPECT_EQ(Remaining(arena.get()) + Total(arena.get()), 1024u - 32u);
}

TEST(Malloc, RefusesWhatNoBlockHoldsAndStaysAsItWas) {
  Ref<Malloc> const arena = Ref<Malloc>::Adopt(Malloc::Create(256));
  ASSERT_TRUE(arena->Alloc(100));
  struct {
    char const* name;
    size_t size, alignment;
  } const rows[] = {{"one byte more than a block's payload", 225, 1},
                    {"padding that no new block has room for", 200, 0x100000},
                    {"a size that wraps with its padding", ~size_t{0} - 1, 64},
                    {"the largest size", ~size_t{0}, 1},
                    {"no alignment", 1, 0}};
  for (auto const& row : rows) {
    EXPECT_EQ(arena->AllocAligned(row.size, row.alignment), nullptr) << row.name;
    EXPECT_EQ(Total(arena.get()), 100u) << row.name;
    EXPECT_EQ(Remaining(arena.get()), 124u) << row.name;
  }
  EXPECT_TRUE(arena->Alloc(224)) << "a whole payload";
  for (int const size : {32, 0, -1}) {
    Ref<Malloc> const none = Ref<Malloc>::Adopt(Malloc::Create(size));
    EXPECT_EQ(none->Alloc(1), nullptr) << size;
  }
}

TEST(Malloc, ResetHandsOutTheSameAddresses) {
  Ref<Malloc> const arena = Ref<Malloc>::Adopt(Malloc::Create(128));
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
  EXPECT_EQ(Total(arena.get()), 0u);
  EXPECT_EQ(Field<uint64_t>(block, 8), 0u);
  EXPECT_EQ(fill(), before);
  unsigned char const* const zeroed = static_cast<unsigned char*>(arena->AllocZero(40));
  EXPECT_TRUE(std::all_of(zeroed, zeroed + 40, [](unsigned char byte) { return byte == 0; }));
}

TEST(Malloc, CopiesTexts) {
  Ref<Malloc> const arena = Ref<Malloc>::Adopt(Malloc::Create(64));
  using WideDup = wchar_t* (*)(void*, wchar_t const*);
  EXPECT_STREQ(Slot<WideDup>(arena.get(), 8)(arena.get(), L"wide"), L"wide");
  EXPECT_STREQ(arena->StrDup("narrow"), "narrow");
  EXPECT_EQ(Total(arena.get()), 17u);
  EXPECT_EQ(arena->StrDup(""), nullptr);
  EXPECT_EQ(arena->StrDup(L""), nullptr);
  EXPECT_EQ(arena->StrDup(L"seventeen letters"), nullptr) << "36 bytes do not fit";
}

TEST(Malloc, ThreadSafeBlocksDoNotOverlap) {
  Ref<Malloc> const arena = Ref<Malloc>::Adopt(Malloc::Create(4096));
  arena->SetThreadSafe(true);
  std::vector<std::vector<unsigned char*>> taken(4);
  std::vector<std::thread> threads;
  for (auto& mine : taken) {
    threads.emplace_back([&mine, &arena] {
      for (int i = 0; i < 5000; ++i) mine.push_back(static_cast<unsigned char*>(arena->Alloc(16)));
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::vector<unsigned char*> all;
  for (auto const& mine : taken) all.insert(all.end(), mine.begin(), mine.end());
  std::sort(all.begin(), all.end());
  for (size_t i = 1; i < all.size(); ++i) ASSERT_GE(all[i] - all[i - 1], 16);
  EXPECT_EQ(Total(arena.get()), 4u * 5000 * 16);
}

}  // namespace
