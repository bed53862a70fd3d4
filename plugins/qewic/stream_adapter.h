// A yk::Stream seen as the platform's IStream, for decoders and encoders that know no other.
//
//   Ref<StreamAdapter> adapter = StreamAdapter::Create(stream);     // null: no memory
//   decoder->Initialize(adapter.get(), ...);
//
// Position 0 of the adapter is where the stream stood when the adapter was made: a picture may lie anywhere
// in a larger stream. The adapter holds a reference to the stream and is counted itself, since codecs keep
// it. A position that the stream's signed 32-bit seek cannot reach is refused. One thread at a time.
#pragma once

#include <objidl.h>
#include <qecore/core/ref.h>
#include <qecore/io/stream.h>

namespace qewic {

/// Writes all the bytes where the stream stands. E_FAIL: it took fewer. One that does not tell has taken all.
HRESULT WriteAll(yk::Stream& stream, void const* data, unsigned size) noexcept;

class StreamAdapter final : public IStream {
 public:
  static yk::Ref<StreamAdapter> Create(yk::Stream* stream) noexcept;

  /// Bytes from the adapter's position 0 to the end of the stream.
  uint64_t Extent() const noexcept { return extent; }

  /// What the stream said when it first failed to do what it was asked for, whatever the codec made of it.
  /// S_OK: it never did. A stream that does less than it says is E_FAIL.
  HRESULT Failure() const noexcept { return failure; }

  /// Likewise for what has been written, which a stream may refuse later: its state counts as well.
  HRESULT WriteFailure() noexcept;

  /// Lets the stream stand behind the last byte, where what follows a written picture belongs.
  HRESULT MoveToEnd() noexcept;

  HRESULT STDMETHODCALLTYPE QueryInterface(IID const& id, void** out) noexcept override;
  ULONG STDMETHODCALLTYPE AddRef() noexcept override;
  ULONG STDMETHODCALLTYPE Release() noexcept override;

  HRESULT STDMETHODCALLTYPE Read(void* buffer, ULONG size, ULONG* done) noexcept override;
  HRESULT STDMETHODCALLTYPE Write(void const* buffer, ULONG size, ULONG* done) noexcept override;
  /// May go beyond the end, as codecs do; a write there fills the gap with zeros.
  HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER offset, DWORD origin,
                                 ULARGE_INTEGER* result) noexcept override;
  HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER size) noexcept override;
  HRESULT STDMETHODCALLTYPE Commit(DWORD) noexcept override { return S_OK; }
  /// Knows the size and no name.
  HRESULT STDMETHODCALLTYPE Stat(STATSTG* status, DWORD) noexcept override;

  // No codec needs these.
  HRESULT STDMETHODCALLTYPE CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*,
                                   ULARGE_INTEGER*) noexcept override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Revert() noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) noexcept override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) noexcept override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Clone(IStream**) noexcept override { return E_NOTIMPL; }

 private:
  explicit StreamAdapter(yk::Stream* stream) noexcept;
  ~StreamAdapter() = default;

  bool Place(uint64_t target) noexcept;
  bool Append(void const* data, unsigned size) noexcept;
  bool FillGap() noexcept;
  bool Note(HRESULT result, bool whole = true) noexcept;

  LONG references = 1;
  yk::Ref<yk::Stream> stream;
  uint64_t base;          // the stream's position at our 0
  uint64_t extent = 0;    // our size
  uint64_t position = 0;  // ours; the stream is moved when it is next used
  uint64_t placed = 0;    // where the stream stands, from our 0
  HRESULT failure = S_OK;
};

}  // namespace qewic
