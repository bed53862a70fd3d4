#include <gtest/gtest.h>
#include <qecore/core/lock.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "support/binary.h"

namespace {

using namespace yk;
using namespace std::chrono_literals;

bool Soon(std::function<bool()> const& condition) {
  for (int i = 0; i < 5000; ++i) {
    if (condition()) return true;
    std::this_thread::sleep_for(1ms);
  }
  return false;
}

TEST(RWLock, QueuedReadersEnterBeforeTheNextWriter) {
  RWLock lock;
  std::vector<std::string> order;  // written under the lock alone
  std::atomic<int> entered = 0;
  auto const places = [&] { return Field<int>(&lock, 0); };
  auto const writers = [&] { return Field<int>(&lock, 8); };
  lock.EnterRead();
  lock.EnterRead();  // as two readers
  EXPECT_EQ(places(), 0x7FFFFFFF - 2);

  auto const write = [&](char const* name) {
    lock.EnterWrite();
    order.push_back(name);
    ++entered;
    lock.LeaveWrite();
  };
  std::thread first(write, "first writer");
  ASSERT_TRUE(Soon([&] { return places() == -2; }));
  std::thread second(write, "second writer");
  ASSERT_TRUE(Soon([&] { return writers() == -1; }));
  std::thread reader([&] {
    lock.EnterRead();
    order.push_back("reader");
    ++entered;
    lock.LeaveRead();
  });
  ASSERT_TRUE(Soon([&] { return places() == -3; })) << "a new reader queues behind a waiting writer";
  lock.LeaveRead();
  std::this_thread::sleep_for(20ms);
  EXPECT_EQ(entered, 0) << "one reader is still inside";
  lock.LeaveRead();
  for (std::thread* const thread : {&first, &second, &reader}) thread->join();
  EXPECT_EQ(order, (std::vector<std::string>{"first writer", "reader", "second writer"}));
  EXPECT_EQ(places(), 0x7FFFFFFF);
  EXPECT_EQ(writers(), 1);
}

TEST(RWLock, WritersAreAlone) {
  RWLock lock;
  std::atomic<int> inside = 0, faults = 0;
  auto const work = [&](unsigned seed) {
    std::minstd_rand random(seed);
    for (int i = 0; i < 3000; ++i) {
      bool const writes = random() % 4 == 0;
      writes ? lock.EnterWrite() : lock.EnterRead();
      int const step = writes ? 1000 : 1;
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
}

TEST(CriticalSection, KeepsOthersOutAndLetsItsOwnerBackIn) {
  CriticalSection section;
  EXPECT_EQ(Field<uint32_t>(&section, 40), 0x12345678u);
  int counter = 0;
  auto const count = [&] {
    for (int i = 0; i < 20000; ++i) {
      Locker const outer(section), inner(section);
      ++counter;
    }
  };
  std::thread other(count);
  count();
  other.join();
  EXPECT_EQ(counter, 40000);
}

}  // namespace
