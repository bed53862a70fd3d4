#include "stream_adapter.h"

#include <algorithm>
#include <iterator>
#include <new>

namespace qewic {

namespace {

// The farthest byte that yk::Stream::Seek can reach.
constexpr uint64_t FARTHEST = 0x7FFFFFFF;

}  // namespace

HRESULT WriteAll(yk::Stream& stream, void const* data, unsigned size) noexcept {
  unsigned done = size;
  HRESULT const result = stream.Write(data, size, &done);
  return yk::Succeeded(result) && done < size ? E_FAIL : result;
}

StreamAdapter::StreamAdapter(yk::Stream* source) noexcept
    : stream(yk::Ref<yk::Stream>::Share(source)), base(source->GetPosition()) {
  uint64_t const size = source->GetSize();
  extent = size > base ? size - base : 0;
}

yk::Ref<StreamAdapter> StreamAdapter::Create(yk::Stream* stream) noexcept {
  return yk::Ref<StreamAdapter>::Adopt(new (std::nothrow) StreamAdapter(stream));
}

bool StreamAdapter::ReadAt(uint64_t offset, void* to, size_t size) noexcept {
  if (offset > extent || size > extent - offset) return false;
  position = offset;
  ULONG done = 0;
  return Read(to, static_cast<ULONG>(size), &done) == S_OK;
}

HRESULT StreamAdapter::WriteFailure() noexcept {
  Note(stream->GetState());
  return failure;
}

HRESULT StreamAdapter::MoveToEnd() noexcept { return Place(extent) ? S_OK : failure; }

HRESULT StreamAdapter::QueryInterface(IID const& id, void** out) noexcept {
  if (!out) return E_POINTER;
  bool const known = id == __uuidof(IUnknown) || id == __uuidof(ISequentialStream) || id == __uuidof(IStream);
  *out = known ? this : nullptr;
  if (!known) return E_NOINTERFACE;
  AddRef();
  return S_OK;
}

ULONG StreamAdapter::AddRef() noexcept { return static_cast<ULONG>(InterlockedIncrement(&references)); }

ULONG StreamAdapter::Release() noexcept {
  LONG const left = InterlockedDecrement(&references);
  if (left == 0) delete this;
  return static_cast<ULONG>(left);
}

HRESULT StreamAdapter::Read(void* buffer, ULONG size, ULONG* done) noexcept {
  if (done) *done = 0;
  // Never reads past the end: streams differ in what they return there.
  uint64_t const left = position < extent ? extent - position : 0;
  unsigned const wanted = static_cast<unsigned>(std::min<uint64_t>(size, left));
  unsigned got = 0;
  if (wanted) {
    if (!Place(position)) return STG_E_READFAULT;
    HRESULT const result = stream->Read(buffer, wanted, &got);
    if (!Note(result, got == wanted)) return STG_E_READFAULT;
    placed = position += got;
  }
  if (done) *done = got;
  return got == size ? S_OK : S_FALSE;
}

HRESULT StreamAdapter::Write(void const* buffer, ULONG size, ULONG* done) noexcept {
  if (done) *done = 0;
  if (base + position + size > FARTHEST) {
    Note(STG_E_MEDIUMFULL);
    return STG_E_MEDIUMFULL;
  }
  if (!FillGap() || !Place(position) || !Append(buffer, size)) return STG_E_WRITEFAULT;
  position = placed;
  if (done) *done = size;
  return S_OK;
}

HRESULT StreamAdapter::Seek(LARGE_INTEGER offset, DWORD origin, ULARGE_INTEGER* result) noexcept {
  uint64_t const starts[] = {0, position, extent};
  if (origin >= std::size(starts)) return STG_E_INVALIDFUNCTION;
  int64_t const farthest = static_cast<int64_t>(FARTHEST);
  if (offset.QuadPart < -farthest || offset.QuadPart > farthest) return STG_E_INVALIDFUNCTION;
  int64_t const target = static_cast<int64_t>(starts[origin]) + offset.QuadPart;
  if (target < 0 || target > farthest) return STG_E_INVALIDFUNCTION;
  position = static_cast<uint64_t>(target);
  if (result) result->QuadPart = position;
  return S_OK;
}

HRESULT StreamAdapter::SetSize(ULARGE_INTEGER size) noexcept {
  if (size.QuadPart > FARTHEST - std::min(base, FARTHEST)) return STG_E_MEDIUMFULL;
  if (!Note(stream->SetSize(static_cast<unsigned>(base + size.QuadPart)))) return STG_E_WRITEFAULT;
  extent = size.QuadPart;
  placed = stream->GetPosition() - base;  // shrinking may have moved the position
  return S_OK;
}

HRESULT StreamAdapter::Stat(STATSTG* status, DWORD) noexcept {
  if (!status) return STG_E_INVALIDPOINTER;
  *status = {};
  status->type = STGTY_STREAM;
  status->cbSize.QuadPart = extent;
  return S_OK;
}

// Moves the stream to the adapter's position `target`.
bool StreamAdapter::Place(uint64_t target) noexcept {
  if (placed == target) return true;
  if (base + target > FARTHEST) return Note(E_FAIL);
  if (!Note(stream->Seek(static_cast<long>(base + target), 0, nullptr))) return false;
  placed = target;
  return true;
}

// Writes at the stream's position.
bool StreamAdapter::Append(void const* data, unsigned size) noexcept {
  if (!Note(WriteAll(*stream, data, size))) return false;
  placed += size;
  extent = std::max(extent, placed);
  return true;
}

// Writes zeros from the end to a position beyond it.
bool StreamAdapter::FillGap() noexcept {
  static constexpr uint8_t ZEROS[512] = {};
  while (extent < position) {
    unsigned const size = static_cast<unsigned>(std::min<uint64_t>(position - extent, sizeof ZEROS));
    if (!Place(extent) || !Append(ZEROS, size)) return false;
  }
  return true;
}

// Stores the first failure. False: this call failed, or was not carried out completely.
bool StreamAdapter::Note(HRESULT result, bool whole) noexcept {
  if (yk::Succeeded(result) && whole) return true;
  if (yk::Succeeded(failure)) failure = yk::Failed(result) ? result : E_FAIL;
  return false;
}

}  // namespace qewic
