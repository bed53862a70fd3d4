// Progress on the terminal, and Ctrl-C.
#pragma once

#include <qecore/core/execution_context.h>

#include <string>

namespace qetool {

/// Thrown when Ctrl-C has stopped a command. main exits with EXIT_STOPPED.
struct Stopped {};
constexpr int EXIT_STOPPED = 130;

/// What the library's operations report to: Ctrl-C stops them. On any thread.
class Listener : public yk::ExecutionContext {
 public:
  /// Throws Stopped after Ctrl-C.
  void Check() const;
  bool Continue(Progress const& progress) noexcept override;
};

/// Shows the progress of the library's operations. Ctrl-C stops the current ones cleanly, leaving no
/// incomplete file; a second Ctrl-C ends the program at once.
class Watch final : public Listener {
 public:
  /// Handles Ctrl-C from now on. There may be only one Watch at a time.
  Watch();
  ~Watch();
  Watch(Watch const&) = delete;
  Watch& operator=(Watch const&) = delete;

  /// Begins the next of `count` items, called `name`. Throws Stopped.
  void Next(std::string const& name, size_t count);
  /// Clears the line before other output. It reappears with the next progress.
  void Clear();

  bool Continue(Progress const& progress) noexcept override;

 private:
  void Redraw(Progress const& progress) noexcept;
  void Put(std::string const& line);

  bool isShown;
  std::string subject;  // "[2/7] photo.png"
  std::string shown;
  size_t current = 0;
  char const* operation = nullptr;
  unsigned long long lastDone = 0;
  unsigned long long lastTime = 0;  // of the line, in milliseconds
};

}  // namespace qetool
