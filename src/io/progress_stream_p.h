// A stream that reports for those who read or write it and know nothing of hosts: image filters.
#pragma once

#include <qecore/core/ref.h>
#include <qecore/io/stream.h>

#include "core/progress_p.h"

namespace yk {

/// Passes everything on to another stream. Once the host has said stop, every call that can fail returns
/// E_ABORT.
class ProgressStream final : public Destroys<ProgressStream, Stream> {
 public:
  /// Null: there is no memory. `total` as for ProgressMeter, in bytes.
  static Ref<ProgressStream> Create(Stream& inner, ExecutionContext* context, char const* operation,
                                    unsigned total) noexcept;

  bool IsStopped() const noexcept { return meter.IsStopped(); }
  HRESULT Result(HRESULT result) const noexcept { return meter.Result(result); }

  /// Lets go of the host: whoever still holds the stream afterwards has the inner one through it.
  void Detach() noexcept { meter.Detach(); }

  using Stream::Read;
  HRESULT Read(void* buffer, unsigned size, unsigned* done) noexcept override;
  HRESULT Write(void const* buffer, unsigned size, unsigned* done) noexcept override;
  HRESULT Seek(long offset, unsigned origin, unsigned* newPosition) noexcept override;
  unsigned GetPosition() noexcept override;
  unsigned GetSize() noexcept override;
  HRESULT SetSize(unsigned size) noexcept override;
  HRESULT GetState() noexcept override;

 private:
  friend Destroys;
  ProgressStream(Stream& source, ExecutionContext* context, char const* operation, unsigned total) noexcept;
  ~ProgressStream() = default;

  void Report() noexcept;

  Ref<Stream> inner;
  ProgressMeter meter;
};

}  // namespace yk
