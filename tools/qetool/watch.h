// How the tool follows what the library does: a line on a terminal, and Ctrl-C.
#pragma once

#include <qecore/core/execution_context.h>

#include <string>

namespace qetool {

/// What is thrown when Ctrl-C has stopped a command. main exits with EXIT_STOPPED.
struct Stopped {};
constexpr int EXIT_STOPPED = 130;

/// The tool as a host of the library. Ctrl-C lets what is being done come to its end in good order: no half
/// file is left. A second one ends the program at once.
class Watch final : public yk::ExecutionContext {
 public:
  /// Takes over Ctrl-C. One at a time.
  Watch();
  ~Watch();
  Watch(Watch const&) = delete;
  Watch& operator=(Watch const&) = delete;

  /// From now on it is about `name`, the next of `count`. Throws Stopped.
  void Next(std::string const& name, size_t count);
  /// Clears the line, for something else to be printed. It comes again with the next progress.
  void Clear();

  /// Throws Stopped after Ctrl-C.
  void Check() const;
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
