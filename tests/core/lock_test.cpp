#include <gtest/gtest.h>
#include <qecore/core/lock.h>

#include <atomic>
#include <chrono>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "support/binary.h"

namespace {

using namespace yk;
using namespace std::chrono_literals;

// Waits until a counter of the lock has a value, which tells that a thread has come to wait.
bool Comes(RWLock const& lock, size_t offset, int value) {
  for (int i = 0; i < 5000 && Field<int>(&lock, offset) != value; ++i) std::this_thread::sleep_for(1ms);
  return Field<int>(&lock, offset) == value;
}

TEST(RWLock, QueuedReadersEnterBeforeTheNextWriter) {
  RWLock lock;
  std::string order;
  lock.EnterRead();
  lock.EnterRead();  // as two readers
  auto const write = [&](char name) {
    lock.EnterWrite();
    order += name;
    lock.LeaveWrite();
  };
  std::thread first(write, '1');
  ASSERT_TRUE(Comes(lock, 0, -2));
  std::thread second(write, '2');
  ASSERT_TRUE(Comes(lock, 8, -1));
  std::thread reader([&] {
    lock.EnterRead();
    order += 'r';
    lock.LeaveRead();
  });
  ASSERT_TRUE(Comes(lock, 0, -3)) << "a new reader queues behind a waiting writer";
  lock.LeaveRead();
  std::this_thread::sleep_for(20ms);
  EXPECT_EQ(order, "") << "one reader is still inside";
  lock.LeaveRead();
  for (std::thread* const thread : {&first, &second, &reader}) thread->join();
  EXPECT_EQ(order, "1r2");
}

TEST(RWLock, WritersAreAlone) {
  RWLock lock;
  std::atomic<int> inside = 0, faults = 0;
  auto const work = [&](unsigned seed) {
    std::minstd_rand random(seed);
    for (int i = 0; i < 3000; ++i) {
      bool const writes = random() % 4 == 0;
      int const step = writes ? 1000 : 1;
      writes ? lock.EnterWrite() : lock.EnterRead();
      int const now = inside += step;
      if (writes ? now != 1000 : now >= 1000) ++faults;
      if (random() % 8 == 0) std::this_thread::yield();
      inside -= step;
      writes ? lock.LeaveWrite() : lock.LeaveRead();
    }
  };
  std::vector<std::thread> threads;
  for (unsigned seed = 1; seed <= 6; ++seed) threads.emplace_back(work, seed);
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(faults, 0);
  EXPECT_EQ(Field<int>(&lock, 0), 0x7FFFFFFF);
}

}  // namespace
