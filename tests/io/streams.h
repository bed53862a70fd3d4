// Streams for tests: memory with given bytes, and one like a plug-in's, which counts its calls and can
// misbehave. And functions that write and read chunks through them.
#pragma once

#include <qecore/io/deserializer.h>
#include <qecore/io/mem_stream.h>
#include <qecore/io/serializer.h>

#include <algorithm>
#include <functional>

#include "support/prelude.h"

using namespace std::string_literals;  // "with\0zeros"s

/// The bytes of a number as in a file.
template <class T>
std::string Le(T number) {
  return {reinterpret_cast<char const*>(&number), sizeof number};
}

/// A memory stream with these bytes, positioned at its start.
inline yk::Ref<yk::Stream> Memory(std::string const& bytes = {}) {
  yk::Ref<yk::Stream> stream;
  (void)yk::MemStream::Create(stream.Receive());
  stream->Write(bytes.data(), static_cast<unsigned>(bytes.size()));
  stream->Seek(0, yk::Stream::FROM_START);
  return stream;
}

/// Reads at a position and checks that the unread part of the buffer is zero.
inline std::string ReadAt(yk::Stream& stream, unsigned position, unsigned size) {
  std::string buffer(size, '?');
  unsigned done = 0;
  stream.Seek(static_cast<long>(position), yk::Stream::FROM_START);
  stream.Read(buffer.data(), size, &done);
  EXPECT_EQ(buffer.substr(done), std::string(size - done, '\0'));
  return buffer.substr(0, done);
}

inline std::string Content(yk::Stream& stream) { return ReadAt(stream, 0, stream.GetSize()); }

/// Seeks from each origin in a stream of 14 bytes.
inline void CheckSeeks(yk::Stream& stream) {
  unsigned at[3] = {};
  ExpectEach(S_OK,
             {stream.Seek(-3, yk::Stream::FROM_END, at), stream.Seek(-5, yk::Stream::FROM_POSITION, at + 1),
              stream.Seek(2, yk::Stream::FROM_START, at + 2)});
  EXPECT_EQ(std::tuple(at[0], at[1], at[2], stream.GetPosition()), std::tuple(11u, 6u, 2u, 2u));
  EXPECT_TRUE(yk::Failed(stream.Seek(-1, yk::Stream::FROM_START)) || stream.GetPosition() == 14);
  EXPECT_EQ(ReadAt(stream, 9, 9).size(), 5u);
}

inline std::string Chunk(unsigned short tag, std::string const& payload = {}) {
  return Le(tag) + Le(static_cast<unsigned>(payload.size() + 6)) + payload;
}

inline yk::Ref<yk::Serializer> Writer(yk::Stream& stream, unsigned flags) {
  yk::Ref<yk::Serializer> const writer = Own(yk::Serializer::Create());
  EXPECT_EQ(writer->Open(&stream, flags), S_OK);
  return writer;
}

/// A reader that was given the stream to open; if that failed, GetFailure returns the failure.
inline yk::Ref<yk::Deserializer> Reader(yk::Stream& stream, unsigned flags) {
  yk::Ref<yk::Deserializer> const reader = Own(yk::Deserializer::Create());
  (void)reader->Open(&stream, flags);
  return reader;
}

/// A stream whose bytes begin at `base` and whose beginning is missing; lives on the stack. A call can be
/// made to fail: the `left`-th of its kind from here, or all from then on.
class SpyStream : public yk::Stream {
 public:
  enum Fault { NONE, READ, WRITE, SHORT_READ, SHORT, SEEK, STATE };

  explicit SpyStream(std::string content = {}, size_t at = 0) : bytes(content), base(at), position(at) {}

  using Stream::Read;
  HRESULT Read(void* buffer, unsigned size, unsigned* done) noexcept override {
    size_t const at = std::min(position - base, bytes.size());
    *done = 0;
    if (Fails(READ)) return yk::YK_E_ACCESS;
    if (Fails(SHORT_READ)) size /= 2;
    // the rest is not written
    *done = static_cast<unsigned>(bytes.copy(static_cast<char*>(buffer), size, at));
    position += *done;
    return S_OK;
  }
  HRESULT Write(void const* buffer, unsigned size, unsigned* done) noexcept override {
    if (Fails(WRITE)) return yk::YK_E_ACCESS;
    if (size > 0 && Fails(SHORT)) *done = --size;  // otherwise it does not report it
    bytes.resize(std::max(bytes.size(), position - base + size));
    bytes.replace(position - base, size, static_cast<char const*>(buffer), size);
    position += size;
    return S_OK;
  }
  HRESULT Seek(long offset, unsigned origin, unsigned* at) noexcept override {
    ++seeks;
    if (Fails(SEEK)) return E_FAIL;
    position = (origin == FROM_START ? 0 : origin == FROM_END ? base + bytes.size() : position) + offset;
    if (at) *at = static_cast<unsigned>(position);
    return S_OK;
  }
  unsigned GetPosition() noexcept override { return Call(), static_cast<unsigned>(position); }
  unsigned GetSize() noexcept override { return static_cast<unsigned>(base + bytes.size()); }
  HRESULT GetState() noexcept override { return Fails(STATE) ? E_FAIL : S_OK; }
  void Destroy() noexcept override {}

  std::string bytes;
  size_t base, position;
  int seeks = 0, left = 0;
  bool failed = false, isForGood = false;
  Fault fault = NONE;
  std::function<void()> onCall;

 private:
  void Call() {
    if (onCall) std::exchange(onCall, nullptr)();
  }
  bool Fails(Fault what) {
    Call();
    if (fault != what || (left-- != 0 && !(failed && isForGood))) return false;
    return failed = true;
  }
};
