#include "jobs.h"

#include <qecore/core/parallel.h>

#include <algorithm>
#include <chrono>
#include <new>
#include <system_error>

#include "help.h"
#include "input.h"
#include "text.h"

namespace qetool {

namespace {

constexpr unsigned MOST_JOBS = 64;
constexpr std::chrono::milliseconds REFRESH(50);

}  // namespace

void AddJobsOption(CLI::App& command, unsigned& jobs) {
  command
      .add_option("--jobs", jobs, "Pictures processed at a time; by default as many as there are processors")
      ->type_name("N")
      ->check(WholeNumber(1, MOST_JOBS));
}

bool Jobs::Item::Continue(Progress const& progress) noexcept {
  std::lock_guard const guard(mutex);
  latest = progress;
  return Listener::Continue(progress);
}

void Jobs::Item::Follow(Watch& watch) {
  std::unique_lock guard(mutex);
  while (!ended.wait_for(guard, REFRESH, [this] { return isDone; })) {
    Progress const progress = latest;
    guard.unlock();
    if (progress.operation) watch.Continue(progress);
    guard.lock();
  }
}

void Jobs::Item::Do(Job const& job, size_t index) noexcept {
  try {
    Check();
    job(index, *this);
  } catch (...) {
    thrown = std::current_exception();
  }
  std::lock_guard const guard(mutex);
  isDone = true;
  ended.notify_one();
}

Jobs::Jobs(size_t count, unsigned wanted, Watch& watch, Job job)
    : watch(watch), job(std::move(job)), items(count) {
  unsigned const processors = yk::GetThreadCount();
  size_t const most = std::min<size_t>(wanted ? wanted : processors, count);
  if (most < 2) return;
  yk::SetThreadCount(std::max(1u, processors / static_cast<unsigned>(most)));
  threads.reserve(most);
  while (threads.size() < most && StartThread()) continue;
}

// Those that started do all jobs; without any, Await does.
bool Jobs::StartThread() {
  try {
    threads.emplace_back([this] { Work(); });
    return true;
  } catch (std::system_error const&) {
    return false;
  }
}

Jobs::~Jobs() {
  next = items.size();
  for (std::thread& thread : threads) thread.join();
}

void Jobs::Await(std::string const& path) try {
  size_t const index = awaited++;
  if (threads.empty()) return job(index, watch);
  items[index].Follow(watch);
  if (items[index].thrown) std::rethrow_exception(items[index].thrown);
} catch (std::bad_alloc const&) {  // the next item may need less
  throw Failure{"cannot read " + ShownName(path) + ": not enough memory"};
}

void Jobs::Work() noexcept {
  for (size_t index; (index = next++) < items.size();) items[index].Do(job, index);
}

}  // namespace qetool
