#include <gtest/gtest.h>
#include <qecore/core/lock.h>
#include <windows.h>

#include <string>
#include <thread>

#include "support/binary.h"

namespace {

using namespace yk;

// Waits until a counter of the lock has a value, which tells that a thread has come to wait.
bool Comes(RWLock const& lock, size_t offset, int value) {
  for (int i = 0; i < 5000 && Field<int>(&lock, offset) != value; ++i) Sleep(1);
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
  Sleep(20);
  EXPECT_EQ(order, "") << "one reader is still inside";
  lock.LeaveRead();
  for (std::thread* const thread : {&first, &second, &reader}) thread->join();
  EXPECT_EQ(order, "1r2");
}

}  // namespace
