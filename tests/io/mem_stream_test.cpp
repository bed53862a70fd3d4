#include <gtest/gtest.h>
#include <qecore/io/mem_stream.h>
#include <windows.h>

#include "streams.h"
#include "support/binary.h"

namespace {

using namespace yk;

MemStream* AsMem(Ref<Stream> const& stream) { return static_cast<MemStream*>(stream.get()); }
uint64_t Capacity(Ref<Stream> const& stream) { return Field<uint64_t>(stream.get(), 40); }

std::string ReadSome(Stream& stream, unsigned size, HRESULT expected) {
  std::string buffer(size, '?');
  unsigned done = 99;
  EXPECT_EQ(stream.Read(buffer.data(), size, &done), expected);
  EXPECT_EQ(buffer.substr(done), std::string(size - done, '\0')) << "the part that was not read is zero";
  return buffer.substr(0, done);
}

TEST(MemStream, GrowsBySteps) {
  struct {
    char const* name;
    std::vector<unsigned> writes;
    uint64_t capacity;
  } const rows[] = {{"nothing makes no block", {0}, 0},
                    {"one byte", {1}, 0x10000},
                    {"an end that is a multiple gains a whole step", {0x10000}, 0x20000},
                    {"exactly full does not grow", {1, 0xFFFF}, 0x10000},
                    {"one more than full", {1, 0xFFFF, 1}, 0x20000},
                    {"many steps at once", {0x45678}, 0x50000}};
  for (auto const& row : rows) {
    Ref<Stream> const stream = Memory();
    std::string expected;
    for (unsigned const size : row.writes) {
      std::string const piece(size, static_cast<char>('a' + expected.size() % 26));
      EXPECT_EQ(stream->Write(piece.data(), size), S_OK) << row.name;
      expected += piece;
    }
    EXPECT_EQ(Capacity(stream), row.capacity) << row.name;
    EXPECT_EQ(stream->GetPosition(), expected.size()) << row.name;
    EXPECT_EQ(Content(*stream), expected) << row.name;
  }
}

TEST(MemStream, ReadsSeeksAndFails) {
  Ref<Stream> const stream = Memory("abcdef");
  EXPECT_EQ(ReadSome(*stream, 4, S_OK), "abcd");
  EXPECT_EQ(ReadSome(*stream, 4, S_OK), "ef");
  EXPECT_EQ(ReadSome(*stream, 4, E_FAIL), "") << "the very end is a failure here";
  struct {
    long offset;
    unsigned origin;
    HRESULT result;
    unsigned position;
  } const seeks[] = {{2, 0, S_OK, 2},         {3, 1, S_OK, 5},          {-6, 2, S_OK, 0},
                     {7, 0, E_INVALIDARG, 0}, {-1, 0, E_INVALIDARG, 0}, {1, 2, E_INVALIDARG, 0},
                     {6, 0, S_OK, 6}};
  for (auto const& row : seeks) {
    EXPECT_EQ(stream->Seek(row.offset, row.origin), row.result);
    EXPECT_EQ(stream->GetPosition(), row.position);
  }
  reinterpret_cast<unsigned&>(reinterpret_cast<char*>(stream.get())[56]) |= MemStream::BROKEN;
  EXPECT_EQ(stream->GetState(), E_FAIL);
  EXPECT_EQ(stream->Write("x", 1), E_FAIL);
  EXPECT_EQ(stream->SetSize(3), E_FAIL);
  EXPECT_EQ(stream->Seek(0, 0), S_OK);
  EXPECT_EQ(stream->GetState(), S_OK) << "Seek clears the failure";
}

TEST(MemStream, ShrunkBlockIsNeverOverrun) {
  Ref<Stream> const stream = Memory(std::string(1000, 'a'));
  EXPECT_EQ(stream->SetSize(10), S_OK);
  EXPECT_EQ(Capacity(stream), 0x10000u) << "on purpose";
  EXPECT_LT(GlobalSize(AsMem(stream)->GetHandle(true)), 1000u);
  stream->Seek(0, Stream::FROM_END);
  std::string const more(5000, 'b');
  EXPECT_EQ(stream->Write(more.data(), 5000), S_OK);
  EXPECT_GE(GlobalSize(AsMem(stream)->GetHandle(true)), 5010u);
  EXPECT_EQ(Content(*stream), std::string(10, 'a') + more);
  EXPECT_EQ(stream->SetSize(0), S_OK);
  EXPECT_EQ(stream->GetPosition(), 0u);
}

TEST(MemStream, StorageOfOthers) {
  char buffer[] = "caller's";
  Ref<Stream> const over = Memory();
  EXPECT_EQ(AsMem(over)->AttachBuffer(buffer, 8), S_OK);
  EXPECT_EQ(AsMem(over)->AttachBuffer(buffer, 8), YK_E_EMPTY);
  over->Write("CALL", 4);
  EXPECT_STREQ(buffer, "CALLer's");
  EXPECT_EQ(AsMem(over)->GetHandle(true), nullptr);
  over->Seek(0, Stream::FROM_END);
  EXPECT_EQ(over->Write("!", 1), S_OK);
  EXPECT_EQ(Content(*over), std::string(8, '\0') + "!") << "a new block, into which nothing is copied";
  EXPECT_STREQ(buffer, "CALLer's");

  HGLOBAL const block = GlobalAlloc(GMEM_MOVEABLE, 100);
  Ref<Stream> attached = Memory();
  EXPECT_EQ(AsMem(attached)->Attach(block), S_OK);
  EXPECT_EQ(attached->GetSize(), GlobalSize(block));
  EXPECT_EQ(AsMem(attached)->Attach(nullptr), E_FAIL);
  void* data = nullptr;
  EXPECT_EQ(Slot<HRESULT (*)(void*, void**)>(attached.get(), 20)(attached.get(), &data), S_OK);
  EXPECT_EQ(data, Field<void*>(attached.get(), 48));
  attached.Reset();
  EXPECT_EQ(GlobalFlags(block) & GMEM_LOCKCOUNT, 0u) << "still there, and unlocked";
  GlobalFree(block);

  Ref<Stream> made = Memory();
  EXPECT_EQ(AsMem(made)->Attach(nullptr), S_OK);
  EXPECT_EQ(Capacity(made), 0x10000u);
  EXPECT_EQ(made->GetSize(), 0u);
  HGLOBAL const kept = AsMem(made)->GetHandle(false);
  made.Reset();
  EXPECT_EQ(GlobalSize(kept), 0x10000u) << "handed to the caller";
  GlobalFree(kept);
}

TEST(ResourceStream, ReadsAResourceOfAModule) {
  Ref<Stream> stream;
  EXPECT_EQ(MemStream::Create(GetModuleHandleW(nullptr), L"PICTURE", L"MISSING", stream.Receive()),
            E_INVALIDARG);
  EXPECT_FALSE(stream);
  ASSERT_EQ(MemStream::Create(GetModuleHandleW(nullptr), L"PICTURE", L"LOGO", stream.Receive()), S_OK);
  EXPECT_TRUE(stream->IsTypeOf(ids::RESOURCE_STREAM) && stream->IsTypeOf(ids::STREAM));
  EXPECT_FALSE(stream->IsTypeOf(ids::MEM_STREAM));
  EXPECT_EQ(stream->GetState(), S_OK);
  EXPECT_EQ(stream->Seek(-5, Stream::FROM_END), S_OK);
  EXPECT_EQ(ReadSome(*stream, 9, S_OK), "bytes");
  EXPECT_EQ(stream->GetState(), E_FAIL) << "at its end";
  EXPECT_EQ(stream->Seek(-1, Stream::FROM_START), E_FAIL);
  EXPECT_EQ(stream->Seek(1, Stream::FROM_POSITION), E_FAIL);
  EXPECT_EQ(stream->Write("x", 1), E_NOTIMPL);
  EXPECT_EQ(stream->SetSize(1), E_NOTIMPL);
}

}  // namespace
