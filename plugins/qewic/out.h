// The bytes of a file that is being written.
#pragma once

#include <qecore/io/stream.h>

#include <memory>

namespace qewic {

/// Stores the low `size` bytes of a number, at most 4.
inline void StoreNumber(uint8_t* at, uint32_t number, unsigned size, bool highestFirst) noexcept {
  for (unsigned i = 0; i < size; ++i)
    at[highestFirst ? size - 1 - i : i] = static_cast<uint8_t>(number >> 8 * i);
}

/// Collects bytes and numbers into blocks for a stream, until a write fails.
class Out {
 public:
  explicit Out(yk::Stream& to, bool highestFirst = true) noexcept
      : bigEndian(highestFirst), stream(to), base(to.GetPosition()) {}

  void Put(void const* bytes, size_t size) noexcept;
  void Put(uint32_t number, unsigned size) noexcept;
  /// As a TakeBytes (deflate.h).
  static void Take(void* out, uint8_t const* bytes, size_t size) noexcept {
    static_cast<Out*>(out)->Put(bytes, size);
  }
  /// Bytes so far.
  uint64_t Count() const noexcept { return count; }

  /// Bytes in the stream before this file.
  uint64_t Base() const noexcept { return base; }
  /// Replaces the number of 4 bytes that begins after `place` bytes.
  void Replace(uint64_t place, uint32_t number) noexcept;

  /// The first failure so far; some are only seen when a block is full.
  HRESULT Result() const noexcept { return result; }
  /// Writes what has been collected. \return the first failure
  HRESULT Flush() noexcept;
  /// The same at the end of the file: the stream may have refused bytes without saying so. Records why the
  /// file is not complete; `before` was ErrorCount() before it was begun.
  HRESULT Finish(unsigned before) noexcept;

  bool bigEndian;  ///< the highest byte of a number is the first

 private:
  void Write(uint8_t const* bytes, size_t size) noexcept;
  void MoveTo(uint64_t place) noexcept;

  yk::Stream& stream;
  uint64_t const base;
  HRESULT result = S_OK;
  uint64_t count = 0;
  unsigned used = 0;
  uint8_t block[4096] = {};
};

/// Bytes in memory.
struct Bytes {
  std::unique_ptr<uint8_t[]> data;
  uint32_t size = 0;

  bool Make(size_t length) noexcept;
  /// The whole content of a stream.
  bool Read(yk::Stream& stream) noexcept;
};

}  // namespace qewic
