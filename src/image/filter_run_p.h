// One call of a filter: the stream that it gets, and its result.
#pragma once

#include <qecore/core/error.h>
#include <qecore/image/image.h>

#include "io/progress_stream_p.h"

namespace yk {

class FilterRun {
 public:
  /// `total` is the number of bytes to be reported as done at the end; 0: unknown.
  FilterRun(Stream& target, ExecutionContext* context, char const* forOperation, unsigned forTotal) noexcept
      : stream(&target), operation(forOperation), total(forTotal), before(ErrorCount()) {
    if (!context) return;
    reporter = ProgressStream::Create(target, context, operation, total);
    stream = reporter.get();
    if (reporter) reporter->Reach(0);
  }

  /// The stream itself without a host; otherwise one that reports to it. Null: no memory.
  Stream* GetStream() const noexcept { return stream; }

  /// The overall result of a filter; a stop takes precedence. A failure that the filter did not record is
  /// recorded here.
  HRESULT Finish(HRESULT result) noexcept {
    bool const isSilent = Failed(result) && ErrorCount() == before;
    if (isSilent && !(reporter && reporter->IsStopped())) Fail(result, operation, nullptr);
    if (!reporter) return result;
    if (Succeeded(result)) reporter->Reach(total);
    reporter->Detach();  // cppcheck-suppress ignoredReturnValue  // that of Ref, which this is not
    return reporter->Result(result);
  }

  /// Has `read(stream, &made)` make an image and passes it on, unless it fails or is stopped.
  template <class Function>
  HRESULT Read(AbstractImage** image, Function read) noexcept {
    if (!stream) return Fail(E_OUTOFMEMORY, operation, nullptr);
    AbstractImage* made = nullptr;
    HRESULT const ofFilter = read(stream, &made);
    HRESULT const result = Finish(ofFilter);
    if (Succeeded(result) && !made) return Fail(E_FAIL, operation, L"the plug-in returned no image");
    if (Succeeded(result)) *image = made;
    if (Failed(result) && Succeeded(ofFilter)) Ref<AbstractImage>::Adopt(made).Reset();
    return result;
  }

 private:
  Ref<ProgressStream> reporter;
  Stream* stream;
  char const* operation;
  unsigned total;
  unsigned before;
};

}  // namespace yk
