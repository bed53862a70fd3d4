#include "progress_stream_p.h"

#include <string.h>

#include <new>

namespace yk {

Ref<ProgressStream> ProgressStream::Create(Stream& inner, ExecutionContext* context, char const* operation,
                                           unsigned total) noexcept {
  return Ref<ProgressStream>::Adopt(new (std::nothrow) ProgressStream(inner, context, operation, total));
}

ProgressStream::ProgressStream(Stream& source, ExecutionContext* context, char const* operation,
                               unsigned total) noexcept
    : inner(Ref<Stream>::Share(&source)), meter(context, operation, total, ProgressMeter::Unit::BYTES) {}

HRESULT ProgressStream::Read(void* buffer, unsigned size, unsigned* done) noexcept {
  if (IsStopped()) {
    memset(buffer, 0, size);
    if (done) *done = 0;
    return E_ABORT;
  }
  HRESULT const result = inner->Read(buffer, size, done);
  Report();
  return result;
}

HRESULT ProgressStream::Write(void const* buffer, unsigned size, unsigned* done) noexcept {
  if (IsStopped()) {
    if (done) *done = 0;
    return E_ABORT;
  }
  HRESULT const result = inner->Write(buffer, size, done);
  Report();
  return result;
}

HRESULT ProgressStream::Seek(long offset, unsigned origin, unsigned* newPosition) noexcept {
  return IsStopped() ? E_ABORT : inner->Seek(offset, origin, newPosition);
}

unsigned ProgressStream::GetPosition() noexcept { return inner->GetPosition(); }

unsigned ProgressStream::GetSize() noexcept { return inner->GetSize(); }

HRESULT ProgressStream::SetSize(unsigned size) noexcept {
  return IsStopped() ? E_ABORT : inner->SetSize(size);
}

HRESULT ProgressStream::GetState() noexcept { return IsStopped() ? E_ABORT : inner->GetState(); }

// The farthest position counts: readers of some formats begin at the end of the file.
void ProgressStream::Report() noexcept { meter.Reach(inner->GetPosition()); }

}  // namespace yk
