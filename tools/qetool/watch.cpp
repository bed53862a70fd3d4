#include "watch.h"

#include <stdio.h>
#include <windows.h>

#include <atomic>
#include <new>

#include "text.h"

namespace qetool {

using namespace yk;

namespace {

constexpr unsigned long long REDRAW_AFTER = 100;  // milliseconds

std::atomic<bool> isStopped;  // set on a thread of the system

BOOL WINAPI OnStop(DWORD event) {
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) return FALSE;
  return !isStopped.exchange(true);
}

bool IsTerminal() {
  DWORD mode;
  return GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode);
}

}  // namespace

void Listener::Check() const {
  if (isStopped) throw Stopped{};
}

bool Listener::Continue(Progress const&) noexcept { return !isStopped; }

Watch::Watch() : isShown(IsTerminal()) {
  isStopped = false;
  SetConsoleCtrlHandler(OnStop, TRUE);
}

Watch::~Watch() {
  Clear();
  SetConsoleCtrlHandler(OnStop, FALSE);
}

void Watch::Next(std::string const& name, size_t count) {
  Check();
  ++current;
  subject = count > 1 ? Format("[%zu/%zu] %.60s", current, count, name.c_str()) : name.substr(0, 60);
  if (isShown && count > 1) Put(subject);
}

void Watch::Clear() {
  if (!shown.empty()) Put({});
}

// Short operations show no line.
bool Watch::Continue(Progress const& progress) noexcept {
  if (!isShown) return !isStopped;
  bool const isNew = progress.operation != operation || progress.done < lastDone;
  operation = progress.operation;
  lastDone = progress.done;
  if (isNew) lastTime = GetTickCount64();
  if (GetTickCount64() - lastTime > REDRAW_AFTER) {
    lastTime = GetTickCount64();
    Redraw(progress);
  }
  return !isStopped;
}

// Without memory there is no line, which must not end the operation.
void Watch::Redraw(Progress const& progress) noexcept {
  try {
    Put(progress.total > 0 ? Format("%s  %s %u %%", subject.c_str(), progress.operation,
                                    static_cast<unsigned>(progress.done * 100 / progress.total))
                           : Format("%s  %s, %llu KB", subject.c_str(), progress.operation,
                                    static_cast<unsigned long long>(progress.done >> 10)));
  } catch (std::bad_alloc const&) {
    shown.clear();
  }
}

// Replaces the line in a single write, since standard error is not buffered.
void Watch::Put(std::string const& line) {
  std::string const blank(shown.size(), ' ');
  std::string const whole = "\r" + blank + "\r" + line;
  fwrite(whole.data(), 1, whole.size(), stderr);
  shown = line;
}

}  // namespace qetool
