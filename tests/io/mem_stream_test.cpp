#include <qecore/io/mem_stream.h>
#include <windows.h>

#include "leaks/leaks.h"
#include "streams.h"
#include "support/binary.h"

namespace {

using namespace yk;

MemStream* AsMem(Ref<Stream> const& stream) { return static_cast<MemStream*>(stream.get()); }
uint64_t Capacity(Ref<Stream> const& stream) { return Field<uint64_t>(stream.get(), 40); }

TEST(MemStream, GrowsBySteps) {
  std::tuple<unsigned, unsigned, uint64_t> const rows[] = {
      {1, 0, 0x10000}, {0x10000, 0, 0x20000}, {1, 0xFFFE, 0x10000}, {1, 0xFFFF, 0x20000}};
  for (auto const& [first, second, capacity] : rows) {
    Ref<Stream> const stream = Memory(std::string(first, 'a'));
    stream->Seek(0, Stream::FROM_END);
    EXPECT_EQ(stream->Write(std::string(second, 'b').data(), second), S_OK);
    EXPECT_EQ(Capacity(stream), capacity);
  }
}

TEST(MemStream, ShrunkBlockIsNeverOverrun) {
  Ref<Stream> const stream = Memory(std::string(1000, 'a'));
  EXPECT_EQ(stream->SetSize(10), S_OK);
  EXPECT_EQ(Capacity(stream), 0x10000u) << "on purpose";
  EXPECT_EQ(stream->Seek(11, Stream::FROM_START), E_INVALIDARG);
  EXPECT_EQ(stream->Seek(-11, Stream::FROM_END), E_INVALIDARG);
  stream->Seek(0, Stream::FROM_END);
  EXPECT_EQ(stream->Write(std::string(5000, 'b').data(), 5000), S_OK);
  EXPECT_GE(GlobalSize(AsMem(stream)->GetHandle(true)), 5010u);
  EXPECT_EQ(Content(*stream), std::string(10, 'a') + std::string(5000, 'b'));
  char c;
  EXPECT_EQ(stream->Read(&c, 1), E_FAIL) << "the very end is a failure here";
}

// What fits the capacity need not fit the block, and the system may have no more.
TEST(MemStream, RefusedGrowthFailsTheWrite) {
  // what is there, cut to, written; whether it fits
  std::tuple<unsigned, unsigned, unsigned, bool> const rows[] = {{1, 1000, 500, false},
                                                                 {1, 1000, 0x10000 - 1000, false},
                                                                 {1, 1000, 0x10000, false},
                                                                 {0xFFFF, 0xFFFF, 1, true}};
  for (auto const& [first, cut, size, fits] : rows) {
    Ref<Stream> const stream = Memory(std::string(first, 'a'));
    if (cut != first) stream->SetSize(cut);
    stream->Seek(0, Stream::FROM_END);
    Scarcity const scarcity(0);
    unsigned done = 1;
    EXPECT_EQ(stream->Write(std::string(size, 'b').data(), size, &done), fits ? S_OK : E_FAIL) << size;
    EXPECT_EQ(done, fits ? size : 0) << size;
    EXPECT_EQ(stream->GetSize(), cut + done) << size;
    EXPECT_EQ(stream->GetState(), S_OK);
    EXPECT_EQ(Slot<HRESULT (*)(void*)>(stream.get(), 21)(stream.get()), fits ? S_OK : E_FAIL);
    EXPECT_TRUE(HeapValidate(GetProcessHeap(), 0, nullptr));
  }
}

TEST(MemStream, StorageOfOthers) {
  char buffer[] = "caller's";
  Ref<Stream> stream = Memory();
  EXPECT_EQ(AsMem(stream)->AttachBuffer(buffer, 8), S_OK);
  stream->Write("CALLER'S!", 9);
  EXPECT_EQ(Content(*stream), "CALLER'S!") << "in a new block";
  EXPECT_STREQ(buffer, "caller's");
  HGLOBAL const block = GlobalAlloc(GMEM_MOVEABLE, 100);
  stream = Memory();
  EXPECT_EQ(AsMem(stream)->Attach(block), S_OK);
  EXPECT_EQ(stream->GetSize(), GlobalSize(block));
  stream = Memory();
  EXPECT_EQ(GlobalFlags(block) & GMEM_LOCKCOUNT, 0u) << "still there, and unlocked";
  GlobalFree(block);
}

}  // namespace
