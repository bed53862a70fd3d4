#include <qecore/io/buffered_stream.h>

#include <qecore/core/ref.h>

#include <algorithm>
#include <new>

#include "core/error_p.h"
#include "stream_p.h"

namespace yk {
namespace {

constexpr unsigned BLOCK_BITS = 12;
constexpr unsigned BLOCK_SIZE = 1u << BLOCK_BITS;

class BufferedStream final : public Destroys<BufferedStream, Stream> {
 public:
  explicit BufferedStream(Stream* source) noexcept
      : inner(Ref<Stream>::Share(source)), size(source->GetSize()), position(source->GetPosition()) {}

  /// Contract: the inner stream's result, unlike QueryInterface.
  bool IsTypeOf(Guid const& id) noexcept override { return inner->IsTypeOf(id); }

  using Stream::Read;
  HRESULT Read(void* buffer, unsigned bytes, unsigned* done) noexcept override {
    if (static_cast<uint64_t>(bytes) > LeftInBlock()) return ReadAcross(buffer, bytes, done);
    CopyFew(buffer, block + (position & (BLOCK_SIZE - 1)), bytes);
    position += bytes;
    if (done) *done = bytes;
    return S_OK;
  }

  HRESULT Seek(long offset, unsigned origin, unsigned* newPosition) noexcept override {
    int64_t target = offset;
    if (origin == FROM_POSITION) target += static_cast<int64_t>(position);
    if (origin == FROM_END) target += static_cast<int64_t>(size);
    auto const place = static_cast<uint64_t>(target);  // huge for one before the start: clamped to the end
    if (place != position) position = place < size ? place : size;
    if (newPosition) *newPosition = static_cast<unsigned>(position);
    return S_OK;
  }

  unsigned GetPosition() noexcept override { return static_cast<unsigned>(position); }
  unsigned GetSize() noexcept override { return static_cast<unsigned>(size); }
  HRESULT GetState() noexcept override { return inner->GetState(); }

 private:
  friend Destroys;
  ~BufferedStream() = default;

  /// The bytes from the position to the end of the block in the buffer, if it is in that block.
  uint64_t LeftInBlock() const noexcept {
    if (static_cast<int64_t>(position >> BLOCK_BITS) != held) return 0;
    uint64_t const end = std::min((position & ~uint64_t{BLOCK_SIZE - 1}) + valid, size);
    return position < end ? end - position : 0;
  }

  HRESULT ReadAcross(void* buffer, unsigned bytes, unsigned* done) noexcept {
    auto* const target = static_cast<unsigned char*>(buffer);
    Ref<BufferedStream> self;  // set once the inner stream, which may be foreign code, is called
    unsigned got = 0;
    while (got < bytes) {
      unsigned const available = Load(self);
      if (available == 0) break;
      unsigned const piece = available < bytes - got ? available : bytes - got;
      memcpy(target + got, block + (position & (BLOCK_SIZE - 1)), piece);
      got += piece;
      position += piece;
    }
    if (got < bytes) memset(target + got, 0, bytes - got);
    if (done) *done = got;
    return S_OK;
  }

  /// Makes the block at the position the current one. \return bytes from the position to the end of the
  /// block's data
  unsigned Load(Ref<BufferedStream>& self) noexcept {
    if (position >= size) return 0;
    auto const wanted = static_cast<int32_t>(position >> BLOCK_BITS);
    if (wanted != held) {
      if (!self) self = Ref<BufferedStream>::Share(this);
      Fetch(wanted);
    }
    return static_cast<unsigned>(LeftInBlock());
  }

  /// After a whole block, the inner stream is at the start of the next one, which then needs no seek. (There
  /// is none at first: block 0 is always sought, from any position of the inner stream.)
  void Fetch(int32_t wanted) noexcept {
    bool const sequential = wanted == held + 1 && valid == BLOCK_SIZE;
    bool const there = sequential || Succeeded(SeekTo(*inner, static_cast<unsigned>(wanted) << BLOCK_BITS));
    valid = there ? ReadUpTo(*inner, block, BLOCK_SIZE) : 0;
    held = wanted;
  }

  Ref<Stream> inner;
  uint64_t size;      // of the inner stream when this one was created; data appended later is not seen
  uint64_t position;  // of this stream
  unsigned char block[BLOCK_SIZE];
  int32_t held = -1;   // index of the block in the buffer
  uint32_t valid = 0;  // bytes in it
};

static_assert(sizeof(BufferedStream) == 4144);

}  // namespace

HRESULT ykCreateBufferedStream(Stream* inner, Stream** out) noexcept {
  constexpr char OPERATION[] = "ykCreateBufferedStream";
  if (!out) return FailNull(OPERATION, L"out");
  *out = nullptr;
  if (!inner) return FailNull(OPERATION, L"inner");
  *out = Made(new (std::nothrow) BufferedStream(inner), OPERATION);
  return *out ? S_OK : E_OUTOFMEMORY;
}

}  // namespace yk
