// A part of a file or a stream that is kept in memory, so that many small reads and writes become few large
// ones.
#pragma once

#include <qecore/core/base.h>
#include <stdint.h>

namespace yk {

/// Holds either bytes that were read ahead or bytes that are still to be written. Moving the position does
/// neither: a writer may go back to change a number that it wrote a moment ago. What is written elsewhere, or
/// no longer fits, goes after what is already there.
class Window {
 public:
  static constexpr unsigned SIZE = 0x10000;

  uint64_t Position() const noexcept { return position; }
  void MoveTo(uint64_t to) noexcept { position = to; }
  /// The position after what is still to be written; 0 when there is nothing.
  uint64_t PendingEnd() const noexcept { return isPending ? start + used : 0; }

  /// Reads at the position. Fails only as reading exactly these bytes does, or as Flush. The rest of the
  /// buffer is unchanged.
  HRESULT Read(void* buffer, unsigned size, unsigned& done) noexcept;
  /// Writes at the position. A failure may be that of earlier bytes: then these were not accepted.
  HRESULT Write(void const* buffer, unsigned size, unsigned& done) noexcept;
  /// Overwrites bytes that are still to be written; the position stays. False: they are not.
  bool Patch(uint64_t at, void const* bytes, unsigned size) noexcept;
  /// Writes what is still to be written. What could not be written is discarded.
  HRESULT Flush() noexcept { return isPending ? WritePending() : S_OK; }
  /// Forgets what it holds.
  void Drop() noexcept { isPending = false, used = 0; }

 protected:
  // cppcheck-suppress uninitMemberVar  // the block holds `used` bytes
  explicit Window(uint64_t at) noexcept : position(at) {}
  ~Window() = default;

  /// As Stream::Read and Write, at a position.
  virtual HRESULT ReadAt(uint64_t at, void* buffer, unsigned size, unsigned& done) noexcept = 0;
  virtual HRESULT WriteAt(uint64_t at, void const* buffer, unsigned size, unsigned& done) noexcept = 0;

 private:
  static constexpr unsigned LEAST_AHEAD = 0x1000;

  unsigned Available() const noexcept;
  HRESULT Fetch(unsigned char* to, unsigned size, unsigned& done) noexcept;
  HRESULT WritePending() noexcept;

  uint64_t position;
  uint64_t start = 0;  // the position of the first byte
  unsigned used = 0;
  unsigned ahead = LEAST_AHEAD;  // more while reading goes on where it ended
  bool isPending = false;
  unsigned char block[SIZE];
};

}  // namespace yk
