// Reads and closes the library's "Internal Error" boxes, so that a test may provoke one.
//
//   MessageBoxWatcher watcher;
//   array->At(7);                                            // blocks until the watcher has closed the box
//   EXPECT_EQ(watcher.Take(), Texts({L"Array::At(7) is out of range:3"}));
//
// Use one in every test that provokes a box: without it the box waits for a person. Only boxes of this
// process are closed.
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

using Texts = std::vector<std::wstring>;

class MessageBoxWatcher {
 public:
  MessageBoxWatcher();
  ~MessageBoxWatcher();
  MessageBoxWatcher(MessageBoxWatcher const&) = delete;
  MessageBoxWatcher& operator=(MessageBoxWatcher const&) = delete;

  /// The texts of the boxes closed since the last call, in order.
  Texts Take();

 private:
  void Watch();

  std::mutex mutex;
  Texts texts;
  std::atomic<bool> done{false};
  std::thread thread;
};
