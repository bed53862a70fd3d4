// Reports the progress of an operation to its host, which may stop it.
#pragma once

#include <qecore/core/error.h>
#include <qecore/core/execution_context.h>

#include <algorithm>

namespace yk {

/// Passes about a hundred of many steps on to the host.
class ProgressMeter {
 public:
  using Unit = ExecutionContext::Progress::Unit;

  /// `total` is 0 if it is unknown; `context` may be null.
  ProgressMeter(ExecutionContext* host, char const* operation, uint64_t total, Unit unit) noexcept
      : context(host), progress{operation, 0, total, unit} {}

  /// Reports that `done` of the total is done; a lower value than before counts as no progress. \return
  /// false when the host has stopped the operation, now or earlier
  bool Reach(uint64_t done) noexcept {
    bool const isEnd = done == progress.total && progress.done < done;
    bool const isDue = done >= next || isEnd;
    return !context || (isDue && !stopped ? Report(done) : !stopped);
  }

  bool HasHost() const noexcept { return context != nullptr; }
  bool IsStopped() const noexcept { return stopped; }

  /// `result`, or E_ABORT, recorded as a failure, if the host has stopped the operation.
  HRESULT Result(HRESULT result) const noexcept {
    return stopped ? Fail(E_ABORT, progress.operation, L"stopped") : result;
  }

  /// Stops reporting: the host may be gone from now on.
  void Detach() noexcept { context = nullptr; }

 private:
  bool Report(uint64_t done) noexcept {
    progress.done = std::max(done, progress.done);
    if (progress.done > progress.total) progress.total = 0;  // a stream gives its size modulo 4 GiB
    next = progress.done + Step();
    stopped = !context->Continue(progress);
    return !stopped;
  }

  uint64_t Step() const noexcept {
    constexpr uint64_t STEPS_WITHOUT_TOTAL[] = {0x10000, 64, 64};  // bytes, rows, items
    return progress.total ? std::max<uint64_t>(progress.total / 100, 1) : STEPS_WITHOUT_TOTAL[progress.unit];
  }

  ExecutionContext* context;
  ExecutionContext::Progress progress;
  uint64_t next = 0;
  bool stopped = false;
};

}  // namespace yk
