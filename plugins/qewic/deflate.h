// zlib: the compression of PNG files and of TIFF files that is called Deflate, and the checksum of PNG files.
#pragma once

#include <qecore/core/base.h>
#include <stddef.h>
#include <stdint.h>
#include <zlib.h>

#include <memory>

namespace qewic {

/// Decodes a whole stream into exactly `room` bytes. YK_E_BADFILE: it is damaged, truncated or has another
/// length; bytes after it are ignored. E_OUTOFMEMORY. No failure is recorded.
HRESULT Inflate(uint8_t const* data, size_t size, uint8_t* out, size_t room) noexcept;

/// Decodes a whole stream of at most `room` bytes; `done` is their number. YK_E_BADFILE when there are more.
HRESULT InflateUpTo(uint8_t const* data, size_t size, uint8_t* out, size_t room, size_t& done) noexcept;

/// Receives encoded bytes, some at a time.
using TakeBytes = void (*)(void* target, uint8_t const* bytes, size_t size) noexcept;

/// Compresses bytes as they come.
///
///   Deflater deflater(Take, &target);
///   if (!deflater.Open(6, false)) return E_OUTOFMEMORY;
///   deflater.Add(row, size);  // passes on what a block of its own has no room for
///   deflater.Finish();        // passes on the rest; the next byte begins another stream
class Deflater {
 public:
  static constexpr int MOST = Z_BEST_COMPRESSION;

  Deflater(TakeBytes function, void* to) noexcept : take(function), target(to) {}
  ~Deflater();
  Deflater(Deflater const&) = delete;
  Deflater& operator=(Deflater const&) = delete;

  /// Allocates all that is needed. `level`: 0, not compressed, to 9, the smallest. `isFiltered`: the bytes
  /// are differences, most of them small. False: no memory.
  bool Open(int level, bool isFiltered) noexcept;
  void Add(uint8_t const* data, size_t size) noexcept;
  void Finish() noexcept;

 private:
  static constexpr size_t ROOM = 1 << 16;

  void Run(int flush) noexcept;
  void PassOn() noexcept;

  TakeBytes const take;
  void* const target;
  bool isOpen = false;
  z_stream stream = {};
  std::unique_ptr<uint8_t[]> block;
};

/// The cyclic redundancy check of PNG files. `before` is that of the bytes before these.
uint32_t Crc(void const* bytes, size_t size, uint32_t before = 0) noexcept;

}  // namespace qewic
