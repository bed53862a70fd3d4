#include <gtest/gtest.h>
#include <qecore/io/buffered_stream.h>
#include <qecore/io/file_stream.h>

#include <random>

#include "streams.h"
#include "support/binary.h"

namespace {

using namespace yk;

std::string Noise(size_t size) {
  std::mt19937 random(7);
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random() | 1);
  return bytes;
}

Ref<Stream> Buffered(Stream& inner) {
  Ref<Stream> stream;
  EXPECT_EQ(ykCreateBufferedStream(&inner, stream.Receive()), S_OK);
  return stream;
}

std::string ReadAt(Stream& stream, long position, unsigned size) {
  std::string buffer(size, '?');
  unsigned done = 99;
  EXPECT_EQ(stream.Seek(position, Stream::FROM_START), S_OK);
  EXPECT_EQ(stream.Read(buffer.data(), size, &done), S_OK);
  EXPECT_EQ(buffer.substr(done), std::string(size - done, '\0'));
  return buffer.substr(0, done);
}

TEST(BufferedStream, ReadsAheadWithoutSeeking) {
  SpyStream inner(Noise(8192));
  Ref<Stream> const stream = Buffered(inner);
  EXPECT_EQ(ReadAt(*stream, 4090, 10), inner.bytes.substr(4090, 10));
  EXPECT_EQ(inner.reads, 2);
  EXPECT_EQ(inner.seeks, 1) << "before the first block only";
  EXPECT_EQ(ReadAt(*stream, 4096, 4000), inner.bytes.substr(4096, 4000));
  EXPECT_EQ(inner.reads, 2) << "a seek does not drop the block";
  EXPECT_EQ(ReadAt(*stream, 8190, 10), inner.bytes.substr(8190));
  EXPECT_EQ(stream->GetPosition(), 8192u);
  EXPECT_EQ(Field<int32_t>(stream.get(), 4136), 1);
  EXPECT_EQ(Field<uint32_t>(stream.get(), 4140), 4096u);
}

TEST(BufferedStream, StartsWhereTheInnerStreamStands) {
  SpyStream inner(Noise(300));
  inner.position = 100;
  Ref<Stream> const stream = Buffered(inner);
  EXPECT_EQ(stream->GetPosition(), 100u);
  char c = 0;
  stream->Read(&c, 1);
  EXPECT_EQ(c, inner.bytes[100]) << "block 0 is read from 0";
}

TEST(BufferedStream, AnswersAsAReaderOfItsInnerStream) {
  Ref<Stream> file;
  ASSERT_EQ(FileStream::CreateTemp(file.Receive()), S_OK);
  file->Write("content", 7);
  Ref<Stream> stream = Buffered(*file), other;
  EXPECT_TRUE(stream->IsTypeOf(ids::FILE_STREAM));
  EXPECT_EQ(stream->QueryInterface(ids::FILE_STREAM, other.ReceiveVoid()), E_NOINTERFACE);
  EXPECT_EQ(stream->Write("x", 1), E_NOTIMPL);
  EXPECT_EQ(stream->SetSize(1), E_NOTIMPL);
  EXPECT_EQ(stream->WriteStringAsUTF8(L"x", false), E_NOTIMPL);
  unsigned position = 0;
  EXPECT_EQ(stream->Seek(-1, Stream::FROM_START, &position), S_OK);
  EXPECT_EQ(position, 7u) << "out of range is the end";
  EXPECT_EQ(stream->Seek(-2, Stream::FROM_END, &position), S_OK);
  EXPECT_EQ(position, 5u);
  EXPECT_EQ(References(file.get()), 2u);
  stream.Reset();
  EXPECT_EQ(References(file.get()), 1u);
  EXPECT_EQ(ykCreateBufferedStream(file.get(), nullptr), E_INVALIDARG);
  EXPECT_EQ(ykCreateBufferedStream(nullptr, other.Receive()), E_INVALIDARG);
}

TEST(BufferedStream, CopiesNoMoreThanTheInnerStreamHas) {
  std::string const bytes = Noise(10000);
  SpyStream inner(bytes);
  Ref<Stream> const stream = Buffered(inner);
  inner.bytes.resize(5000);
  EXPECT_EQ(ReadAt(*stream, 0, 9000), bytes.substr(0, 5000));
  EXPECT_EQ(ReadAt(*stream, 8500, 10), "");
  EXPECT_EQ(ReadAt(*stream, 4990, 20), bytes.substr(4990, 10));
  inner.bytes = bytes + "appended";
  EXPECT_EQ(ReadAt(*stream, 9990, 100), bytes.substr(9990)) << "what is appended is not seen";
  inner.seekable = false;
  EXPECT_EQ(ReadAt(*stream, 100, 10), "") << "rather nothing than bytes from elsewhere";
}

TEST(BufferedStream, GivesTheSameBytesAsItsInnerStream) {
  SpyStream inner(Noise(50000));
  Ref<Stream> const stream = Buffered(inner);
  std::mt19937 random(1);
  for (int i = 0; i < 2000; ++i) {
    unsigned const position = random() % 50001, size = random() % (i % 10 ? 100 : 20000);
    ASSERT_TRUE(ReadAt(*stream, static_cast<long>(position), size) == inner.bytes.substr(position, size))
        << i;
  }
}

}  // namespace
