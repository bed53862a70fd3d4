#include "message_box_watcher.h"

#include <windows.h>

#include <utility>

namespace {

HWND FindBox() {
  HWND box = nullptr;
  while ((box = FindWindowExW(nullptr, box, L"#32770", L"Internal Error")) != nullptr) {
    DWORD process = 0;
    GetWindowThreadProcessId(box, &process);
    if (process == GetCurrentProcessId()) return box;
  }
  return nullptr;
}

// A box has two Static children, the icon and the text; empty while the box is being created.
std::wstring ReadText(HWND box) {
  std::wstring text;
  HWND child = nullptr;
  while ((child = FindWindowExW(box, child, L"Static", nullptr)) != nullptr) {
    wchar_t buffer[2048];
    int const length = GetWindowTextW(child, buffer, 2048);
    if (length > static_cast<int>(text.size())) text.assign(buffer, static_cast<size_t>(length));
  }
  return text;
}

// Repeats the request from time to time: a box that is not waiting yet may ignore the first one.
void Close(HWND box) {
  for (int tries = 0; IsWindow(box); ++tries) {
    if (tries % 50 == 0) PostMessageW(box, WM_COMMAND, IDOK, 0);
    Sleep(2);
  }
}

}  // namespace

MessageBoxWatcher::MessageBoxWatcher() : thread(&MessageBoxWatcher::Watch, this) {}

MessageBoxWatcher::~MessageBoxWatcher() {
  done = true;
  thread.join();
}

Texts MessageBoxWatcher::Take() {
  std::lock_guard const guard(mutex);
  return std::exchange(texts, {});
}

void MessageBoxWatcher::Watch() {
  while (!done) {
    HWND const box = FindBox();
    std::wstring const text = box ? ReadText(box) : L"";
    if (text.empty()) {
      Sleep(2);
      continue;
    }
    mutex.lock();
    texts.push_back(text);
    mutex.unlock();
    Close(box);
  }
}
