#include <gtest/gtest.h>
#include <qecore/core/memory.h>
#include <qecore/core/ref.h>

#include <cstring>
#include <vector>

#include "support/binary.h"

namespace {

using namespace yk;

Ref<Malloc> Arena(int blockSize) { return Ref<Malloc>::Adopt(Malloc::Create(blockSize)); }

TEST(Malloc, RefusesWhatNoBlockHoldsAndStaysAsItWas) {
  Ref<Malloc> const arena = Arena(256);
  ASSERT_TRUE(arena->AllocAligned(1, 8));
  ASSERT_TRUE(arena->AllocAligned(91, 8));
  size_t const rows[][2] = {{225, 1},              // one byte more than a block's payload
                            {200, 0x100000},       // padding that no new block has room for
                            {~size_t{0} - 1, 64},  // a size that wraps with its padding
                            {1, 0}};               // no alignment
  for (auto const& [size, alignment] : rows) {
    EXPECT_EQ(arena->AllocAligned(size, alignment), nullptr) << size;
    EXPECT_EQ(Field<uint64_t>(arena.get(), 24), 99u) << size;
    EXPECT_EQ(Field<uint64_t>(arena.get(), 32), 125u) << size;
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
  char const* const block = static_cast<char*>(before[0]) - 32;
  EXPECT_EQ(Field<uint64_t>(block, 8), 80u) << "bytes used in a block that was left";
  EXPECT_EQ(Field<char*>(block, 24) + 32, before[2]);
  arena->Reset();
  EXPECT_EQ(Field<uint64_t>(arena.get(), 24) + Field<uint64_t>(block, 8), 0u);
  EXPECT_EQ(fill(), before);
  EXPECT_STREQ(arena->StrDup(L"wide"), L"wide");
  EXPECT_EQ(arena->StrDup(""), nullptr);
}

TEST(Malloc, LeavesNothingWhenItIsDestroyedInPlace) {
  Malloc* const arena = Malloc::Create(128);
  EXPECT_TRUE(arena->Alloc(8));
  arena->DeleteThis(0);
  for (size_t offset = 16; offset < 56; offset += 8) EXPECT_EQ(Field<uint64_t>(arena, offset), 0u) << offset;
  FreeInLibrary(arena);
}

}  // namespace
