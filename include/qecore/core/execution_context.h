// yk::ExecutionContext: how a host follows a long operation and stops it.
//
//   struct Dialog final : ExecutionContext {
//     bool Continue(Progress const& progress) noexcept override {
//       ShowBar(progress.done, progress.total);
//       return !cancelled;
//     }
//   };
//   Dialog dialog;
//   HRESULT const result = image->RescaleTo(target, &dialog);  // E_ABORT: the user cancelled
//
//   slot 0 Continue
//
// It is accepted by saving and loading of objects and images, resampling, conversion of whole images and the
// plug-in scan. An operation that is stopped returns E_ABORT and leaves no incomplete file, cache or new
// image; an image that it was to write into may be partly written. Null: no progress is reported.
//
// Ownership: the host's; it must outlive the call that it is passed to. Threads: called on the thread that
// called the operation, and on no other, even when several threads do the work.
#pragma once

#include <qecore/core/base.h>

namespace yk {

class ExecutionContext {
 public:
  /// How far an operation has got.
  struct Progress {
    /// What `done` and `total` count.
    enum Unit : unsigned { BYTES = 0, ROWS = 1, ITEMS = 2 };

    char const* operation;  ///< the operation, such as "Image2d::RescaleTo"; static
    uint64_t done;          ///< never decreases, except when `operation` changes
    uint64_t total;         ///< 0: unknown
    Unit unit;              ///< of both
  };

  /// Called repeatedly: at most about a hundred times for an operation whose total is known, and at its end
  /// with `done` equal to `total`. It must return quickly, and must not touch the objects that the operation
  /// works on.
  /// \return false to stop
  virtual bool Continue(Progress const& progress) noexcept = 0;

 protected:
  ExecutionContext() noexcept = default;
  ~ExecutionContext() = default;
};

}  // namespace yk
