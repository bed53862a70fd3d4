// Several pictures at a time, reported one after the other.
#pragma once

#include <CLI/CLI.hpp>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "watch.h"

namespace qetool {

/// Adds --jobs to a command. 0: it was not given.
void AddJobsOption(CLI::App& command, unsigned& jobs);

/// Does a job for each of several items on threads of its own, while the caller takes the items in order: the
/// messages and the progress are those of one thread.
class Jobs {
 public:
  using Job = std::function<void(size_t item, Listener& listener)>;

  /// `wanted` is the value of --jobs; a single job at a time runs in Await. The threads of the library become
  /// as many as are then left for each.
  Jobs(size_t count, unsigned wanted, Watch& watch, Job job);
  /// Begins no more items, and waits for those that have begun.
  ~Jobs();
  Jobs(Jobs const&) = delete;
  Jobs& operator=(Jobs const&) = delete;

  /// Waits for the next item, the file at `path`, showing its progress. Throws what the job threw; Failure
  /// when there was not enough memory.
  void Await(std::string const& path);

 private:
  /// Keeps the progress for the thread that shows it.
  class Item final : public Listener {
   public:
    bool Continue(Progress const& progress) noexcept override;
    /// Shows the progress until the job is done.
    void Follow(Watch& watch);
    void Do(Job const& job, size_t index) noexcept;

    std::exception_ptr thrown;

   private:
    std::mutex mutex;  // of what follows
    std::condition_variable ended;
    Progress latest = {};
    bool isDone = false;
  };

  bool StartThread();
  void Work() noexcept;

  Watch& watch;
  Job job;
  std::deque<Item> items;
  size_t awaited = 0;
  std::atomic<size_t> next{0};
  std::vector<std::thread> threads;
};

}  // namespace qetool
