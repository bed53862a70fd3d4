// How an operation tells its host how far it is, and hears that it is to stop.
#pragma once

#include <qecore/core/error.h>
#include <qecore/core/execution_context.h>

#include <algorithm>

namespace yk {

/// Passes on about a hundred of many steps.
class ProgressMeter {
 public:
  using Unit = ExecutionContext::Progress::Unit;

  /// `total` is 0 when it is not known; `context` may be null.
  ProgressMeter(ExecutionContext* host, char const* operation, uint64_t total, Unit unit) noexcept
      : context(host), progress{operation, 0, total, unit} {}

  /// Says that `done` of the total is done; what is less than before counts as no progress. \return false
  /// when the host has said stop, now or earlier
  bool Reach(uint64_t done) noexcept {
    bool const isEnd = done == progress.total && progress.done < done;
    bool const isDue = done >= next || isEnd;
    return !context || (isDue && !stopped ? Tell(done) : !stopped);
  }

  bool IsStopped() const noexcept { return stopped; }

  /// `result`, or the failure that stopping is.
  HRESULT Result(HRESULT result) const noexcept {
    return stopped ? Fail(E_ABORT, progress.operation, L"stopped") : result;
  }

  /// From now on nobody is told anything.
  void Detach() noexcept { context = nullptr; }

 private:
  bool Tell(uint64_t done) noexcept {
    progress.done = std::max(done, progress.done);
    next = progress.done + Step();
    stopped = !context->Continue(progress);
    return !stopped;
  }

  uint64_t Step() const noexcept {
    constexpr uint64_t OF_UNKNOWN[] = {0x10000, 64, 64};  // bytes, rows, items
    return progress.total ? std::max<uint64_t>(progress.total / 100, 1) : OF_UNKNOWN[progress.unit];
  }

  ExecutionContext* context;
  ExecutionContext::Progress progress;
  uint64_t next = 0;
  bool stopped = false;
};

}  // namespace yk
