// A stream that reports progress on behalf of its users, the image filters, which have no access to the host.
#pragma once

#include <qecore/core/ref.h>
#include <qecore/io/stream.h>

#include "core/progress_p.h"

namespace yk {

/// Passes all calls on to another stream. Once the host has stopped the operation, every call that can fail
/// returns E_ABORT.
class ProgressStream final : public Destroys<ProgressStream, Stream> {
 public:
  /// Null without memory. `total` as for ProgressMeter, in bytes.
  static Ref<ProgressStream> Create(Stream& inner, ExecutionContext* context, char const* operation,
                                    unsigned total) noexcept;

  bool IsStopped() const noexcept { return meter.IsStopped(); }

  /// Reports that `done` bytes are done. \return false: the host has stopped the operation
  bool Reach(unsigned done) noexcept { return meter.Reach(done); }

  HRESULT Result(HRESULT result) const noexcept { return meter.Result(result); }

  /// Stops reporting to the host; a filter that keeps the stream can still use the inner one through it.
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
