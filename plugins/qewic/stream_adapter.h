// A yk::Stream as the platform's IStream, for decoders and encoders that accept nothing else.
//
//   Ref<StreamAdapter> adapter = StreamAdapter::Create(stream);     // null: no memory
//   decoder->Initialize(adapter.get(), ...);
//
// Position 0 of the adapter is the stream's position when the adapter was created: a picture may be anywhere
// in a larger stream. The adapter holds a reference to the stream and is counted itself, since codecs keep
// it. Positions beyond the range of the stream's signed 32-bit seek are refused. One thread at a time.
#pragma once

#include <objidl.h>
#include <qecore/core/ref.h>
#include <qecore/io/stream.h>

namespace qewic {

/// Writes all the bytes at the stream's position. E_FAIL: it accepted fewer. A stream that does not report
/// the number has accepted all.
HRESULT WriteAll(yk::Stream& stream, void const* data, unsigned size) noexcept;

class StreamAdapter final : public IStream {
 public:
  static yk::Ref<StreamAdapter> Create(yk::Stream* stream) noexcept;

  /// Bytes from the adapter's position 0 to the end of the stream.
  uint64_t Extent() const noexcept { return extent; }

  /// Reads all of `size` bytes at `offset`. False: they are not all there, or the stream failed.
  bool ReadAt(uint64_t offset, void* to, size_t size) noexcept;

  /// The first failure of the stream, even if the codec ignored it; E_FAIL for a stream that did less than
  /// it reported. S_OK: there was none.
  HRESULT Failure() const noexcept { return failure; }

  /// The same for written data, which a stream may refuse later: its state counts as well.
  HRESULT WriteFailure() noexcept;

  /// Moves the stream past the last byte, where the data after a written picture belongs.
  HRESULT MoveToEnd() noexcept;

  HRESULT STDMETHODCALLTYPE QueryInterface(IID const& id, void** out) noexcept override;
  ULONG STDMETHODCALLTYPE AddRef() noexcept override;
  ULONG STDMETHODCALLTYPE Release() noexcept override;

  HRESULT STDMETHODCALLTYPE Read(void* buffer, ULONG size, ULONG* done) noexcept override;
  HRESULT STDMETHODCALLTYPE Write(void const* buffer, ULONG size, ULONG* done) noexcept override;
  /// May move past the end, as codecs do; a write there fills the gap with zeros.
  HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER offset, DWORD origin,
                                 ULARGE_INTEGER* result) noexcept override;
  HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER size) noexcept override;
  HRESULT STDMETHODCALLTYPE Commit(DWORD) noexcept override { return S_OK; }
  /// Reports the size but no name.
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
  uint64_t base;          // the stream's position at the adapter's 0
  uint64_t extent = 0;    // the adapter's size
  uint64_t position = 0;  // the adapter's; the stream is moved when it is next used
  uint64_t placed = 0;    // the stream's position, relative to the adapter's 0
  HRESULT failure = S_OK;
};

}  // namespace qewic
