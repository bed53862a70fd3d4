#include <qecore/io/write_behind_stream.h>

#include <qecore/core/ref.h>

#include <algorithm>
#include <new>

#include "core/dying_p.h"
#include "core/error_p.h"
#include "stream_p.h"
#include "window_p.h"

namespace yk {
namespace {

constexpr char CREATE[] = "ykCreateWriteBehindStream";
constexpr char READ[] = "WriteBehindStream::Read";
constexpr char WRITE[] = "WriteBehindStream::Write";
constexpr char SEEK[] = "WriteBehindStream::Seek";
constexpr char SET_SIZE[] = "WriteBehindStream::SetSize";

class StreamWindow final : public Window {
 public:
  explicit StreamWindow(Stream& stream) noexcept
      : Window(stream.GetPosition()), inner(Ref<Stream>::Share(&stream)), reached(Position()) {}

  Stream& Inner() const noexcept { return *inner; }

  /// E_FAIL while the inner stream reads, writes or moves: it may be foreign code, which must not use what is
  /// in memory meanwhile.
  HRESULT Ready(char const* operation) const noexcept {
    return calls == 0 ? S_OK : Fail(E_FAIL, operation, L"the stream is called by the one that it writes to");
  }

  HRESULT SetSize(unsigned size) noexcept {
    CallScope const scope(calls);
    HRESULT const result = inner->SetSize(size);
    Drop();
    reached = inner->GetPosition();
    MoveTo(reached);
    return result;
  }

 private:
  class CallScope {
   public:
    explicit CallScope(unsigned& count) noexcept : calls(count) { ++calls; }
    ~CallScope() { --calls; }
    CallScope(CallScope const&) = delete;
    CallScope& operator=(CallScope const&) = delete;

   private:
    unsigned& calls;
  };

  HRESULT ReadAt(uint64_t at, void* buffer, unsigned size, unsigned& done) noexcept override {
    CallScope const scope(calls);
    HRESULT result = Reach(at);
    if (Succeeded(result)) done = ReadUpTo(*inner, buffer, size, &result);
    reached = Succeeded(result) ? at + done : NOWHERE;
    return result;
  }

  HRESULT WriteAt(uint64_t at, void const* buffer, unsigned size, unsigned& done) noexcept override {
    CallScope const scope(calls);
    HRESULT result = Reach(at);
    if (Failed(result)) return result;
    done = size;  // a stream that does not set it has written everything
    result = inner->Write(buffer, size, &done);
    if (Succeeded(result) && done < size)
      result = Fail(E_FAIL, WRITE, L"only %u of %u bytes could be written", done, size);
    reached = Succeeded(result) ? at + size : NOWHERE;
    return result;
  }

  HRESULT Reach(uint64_t at) noexcept {
    if (reached == at) return S_OK;
    HRESULT const moved = at <= UINT_MAX ? SeekTo(*inner, static_cast<unsigned>(at)) : FailTooLarge(WRITE);
    reached = Succeeded(moved) ? at : NOWHERE;
    return moved;
  }

  Ref<Stream> inner;
  uint64_t reached;    // the inner stream's position
  unsigned calls = 0;  // of the inner stream that are running
};

// The inner stream may be foreign code, which may release this stream: whatever calls it holds a reference.
class WriteBehindStream final : public Destroys<WriteBehindStream, Stream> {
 public:
  explicit WriteBehindStream(Stream& inner) noexcept : window(inner) {}

  using Stream::Read;
  HRESULT Read(void* buffer, unsigned size, unsigned* done) noexcept override {
    Ref<WriteBehindStream> const self = Ref<WriteBehindStream>::Share(this);
    unsigned got = 0;
    HRESULT read = window.Ready(READ);
    if (Succeeded(read)) read = Note(window.Flush());
    if (Succeeded(read)) read = window.Read(buffer, size, got);
    if (got < size) memset(static_cast<unsigned char*>(buffer) + got, 0, size - got);
    if (done) *done = got;
    return read;
  }

  HRESULT Write(void const* buffer, unsigned size, unsigned* done) noexcept override {
    Ref<WriteBehindStream> const self = Ref<WriteBehindStream>::Share(this);
    unsigned written = 0;
    HRESULT result = window.Ready(WRITE);
    if (Succeeded(result)) result = window.Write(buffer, size, written);
    Note(result);
    if (done) *done = written;
    return result;
  }

  HRESULT Seek(long offset, unsigned origin, unsigned* newPosition) noexcept override {
    Ref<WriteBehindStream> const self = Ref<WriteBehindStream>::Share(this);
    HRESULT const ready = window.Ready(SEEK);
    if (Failed(ready)) return ready;
    int64_t target = offset;
    if (origin == FROM_POSITION) target += static_cast<int64_t>(window.Position());
    if (origin == FROM_END) target += GetSize();
    if (target < 0 || target > UINT_MAX) {
      return Fail(E_INVALIDARG, SEEK, L"byte %lld is outside the stream", static_cast<long long>(target));
    }
    window.MoveTo(static_cast<uint64_t>(target));
    if (newPosition) *newPosition = static_cast<unsigned>(target);
    return S_OK;
  }

  unsigned GetPosition() noexcept override { return static_cast<unsigned>(window.Position()); }

  unsigned GetSize() noexcept override {
    Ref<WriteBehindStream> const self = Ref<WriteBehindStream>::Share(this);
    unsigned const size = window.Inner().GetSize();
    return static_cast<unsigned>(std::clamp<uint64_t>(window.PendingEnd(), size, UINT_MAX));
  }

  HRESULT SetSize(unsigned size) noexcept override {
    Ref<WriteBehindStream> const self = Ref<WriteBehindStream>::Share(this);
    HRESULT const ready = window.Ready(SET_SIZE);
    if (Failed(ready)) return Note(ready);
    HRESULT const flushed = Note(window.Flush());
    return Succeeded(flushed) ? Note(window.SetSize(size)) : flushed;
  }

  HRESULT GetState() noexcept override {
    Ref<WriteBehindStream> const self = Ref<WriteBehindStream>::Share(this);
    Note(window.Flush());
    return Failed(failure) ? failure : window.Inner().GetState();
  }

 private:
  friend Destroys;
  ~WriteBehindStream() {
    HoldWhileDying(*this);
    window.Flush();
  }

  /// Stores a failure, if it is the first. \return the result
  HRESULT Note(HRESULT result) noexcept {
    if (Failed(result) && Succeeded(failure)) failure = result;
    return result;
  }

  StreamWindow window;
  HRESULT failure = S_OK;  // the first
};

}  // namespace

HRESULT ykCreateWriteBehindStream(Stream* inner, Stream** out) noexcept {
  if (!out) return FailNull(CREATE, L"out");
  *out = nullptr;
  if (!inner) return FailNull(CREATE, L"inner");
  *out = Made(new (std::nothrow) WriteBehindStream(*inner), CREATE);
  return *out ? S_OK : E_OUTOFMEMORY;
}

}  // namespace yk
