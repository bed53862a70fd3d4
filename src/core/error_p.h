// Failures: what the library's entry point does for them.
#pragma once

namespace yk {

/// Gives up the records of the calling thread, which is about to end.
void ForgetErrorsOfThread() noexcept;

}  // namespace yk
