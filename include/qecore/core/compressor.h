// yk::ykCompressor: the interface of a method of lossless compression, which plug-ins implement. The library
// itself has none.
//
//   class Deflate final : public Implements<Deflate, ykCompressor> { ... };       // in a plug-in
//   info->classId = ids::COMPRESSION_ZLIB;                                        // names the method
//   info->interfaceId = ids::COMPRESSOR;
//
//   slot 8 Compress   9 Decompress      (after the eight of Unknown)
//
// The class identifier names the method, for ever: files store it. What one method has compressed, no other
// decompresses. Blocks are independent of each other.
//
// Ownership: the buffers are the caller's. Failure: result codes; a method says why with Fail (error.h).
// Threads: an instance is used by one thread at a time, several instances by several.
#pragma once

#include <qecore/core/implements.h>

namespace yk {

class ykCompressor : public Answers<ykCompressor, Unknown> {
 public:
  static Guid const& Id() noexcept { return ids::COMPRESSOR; }

  /// Compresses `size` bytes into a buffer of `room` bytes. S_OK: `room` is what they take. S_FALSE: they do
  /// not fit; the buffer's content and `room` are undefined. Otherwise it failed.
  virtual HRESULT Compress(void const* from, unsigned size, void* to, unsigned& room) noexcept = 0;

  /// Restores exactly `bytes` bytes from a block of `size` bytes. YK_E_BADFILE: they are damaged, or fewer or
  /// more; the buffer's content is undefined. Nothing is written past its end, whatever the block holds.
  virtual HRESULT Decompress(void const* from, unsigned size, void* to, unsigned bytes) noexcept = 0;

 protected:
  ykCompressor() noexcept = default;
  ~ykCompressor() = default;
};

}  // namespace yk
