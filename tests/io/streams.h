// Streams for tests: memory with given bytes, and one that a plug-in could have written, which counts its
// calls and can misbehave.
#pragma once

#include <qecore/core/ref.h>
#include <qecore/io/mem_stream.h>

#include <string>

/// Bytes from a literal that may hold zeros.
template <size_t N>
std::string Bytes(char const (&literal)[N]) {
  return {literal, N - 1};
}

/// A number's bytes as they stand in a file.
template <class T>
std::string Le(T number) {
  return {reinterpret_cast<char const*>(&number), sizeof number};
}

/// A memory stream that holds these bytes and stands at its start.
inline yk::Ref<yk::Stream> Memory(std::string const& bytes = {}) {
  yk::Ref<yk::Stream> stream;
  (void)yk::MemStream::Create(stream.Receive());
  stream->Write(bytes.data(), static_cast<unsigned>(bytes.size()));
  stream->Seek(0, yk::Stream::FROM_START);
  return stream;
}

/// All bytes of a stream.
inline std::string Content(yk::Stream& stream) {
  std::string bytes(stream.GetSize(), '?');
  stream.Seek(0, yk::Stream::FROM_START);
  stream.Read(bytes.data(), static_cast<unsigned>(bytes.size()));
  return bytes;
}

/// Bytes that stand at `base` of a stream whose front is not there; lives on the stack.
class SpyStream final : public yk::Stream {
 public:
  explicit SpyStream(std::string content = {}, int64_t start = 0)
      : bytes(std::move(content)), base(start), position(start) {}

  using Stream::Read;
  HRESULT Read(void* buffer, unsigned size, unsigned* done) noexcept override {
    ++reads;
    size_t const at = std::min(static_cast<size_t>(position - base), bytes.size());
    size_t const got =
        bytes.copy(static_cast<char*>(buffer), size, at);  // leaves the rest of the buffer as it is
    position += static_cast<int64_t>(got);
    if (done) *done = static_cast<unsigned>(got);
    return S_OK;
  }
  HRESULT Write(void const* buffer, unsigned size, unsigned* done) noexcept override {
    size_t const at = static_cast<size_t>(position - base);
    if (bytes.size() < at + size) bytes.resize(at + size);
    bytes.replace(at, size, static_cast<char const*>(buffer), size);
    position += size;
    if (done) *done = size;
    return S_OK;
  }
  HRESULT Seek(long offset, unsigned origin, unsigned*) noexcept override {
    ++seeks;
    int64_t const from = origin == FROM_START ? 0 : origin == FROM_POSITION ? position : base + Size();
    if (!seekable || from + offset < 0) return E_FAIL;
    position = from + offset;
    return S_OK;
  }
  unsigned GetPosition() noexcept override { return static_cast<unsigned>(position); }
  unsigned GetSize() noexcept override { return static_cast<unsigned>(base + Size()); }
  HRESULT GetState() noexcept override { return state; }
  void Destroy() noexcept override {}

  std::string bytes;
  int64_t base, position;
  int reads = 0, seeks = 0;
  bool seekable = true;
  HRESULT state = S_OK;

 private:
  int64_t Size() const { return static_cast<int64_t>(bytes.size()); }
};
