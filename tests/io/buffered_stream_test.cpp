#include <qecore/io/buffered_stream.h>

#include <random>

#include "streams.h"

namespace {

using namespace yk;

TEST(BufferedStream, ReadsBlocksWithoutSeeking) {
  std::mt19937 random(7);
  SpyStream inner(std::string(50000, '\0'));
  for (char& byte : inner.bytes) byte = static_cast<char>(random() | 1);
  inner.position = 100;
  Ref<Stream> stream;
  ASSERT_EQ(ykCreateBufferedStream(&inner, stream.Receive()), S_OK);
  EXPECT_EQ(stream->GetPosition(), 100u);
  EXPECT_EQ(ReadAt(*stream, 4090, 10), inner.bytes.substr(4090, 10));
  EXPECT_EQ(inner.seeks, 1) << "before the first block only, which starts at 0";
  EXPECT_EQ(stream->Write("x", 1), E_NOTIMPL);
  for (int i = 0; i < 2000; ++i) {
    unsigned const position = random() % 50001, size = random() % (i % 10 ? 100 : 20000);
    ASSERT_TRUE(ReadAt(*stream, position, size) == inner.bytes.substr(position, size)) << i;
  }
  EXPECT_EQ(ReadAt(*stream, ~0u, 1), "") << "out of range is the end";
  std::string const front = inner.bytes.substr(0, 5000);
  ASSERT_EQ(ykCreateBufferedStream(&inner, stream.Receive()), S_OK);
  inner.bytes.resize(5000);
  EXPECT_EQ(ReadAt(*stream, 0, 9000), front) << "no more than the inner stream has";
  inner.fault = SpyStream::SEEK;
  EXPECT_EQ(ReadAt(*stream, 100, 10), "") << "rather nothing than bytes from elsewhere";
}

}  // namespace
