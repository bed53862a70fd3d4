// A host that checks the progress of an operation and stops it after a number of calls.
#pragma once

#include <gtest/gtest.h>
#include <qecore/core/execution_context.h>

#include <string>

struct PatientHost final : yk::ExecutionContext {
  explicit PatientHost(unsigned calls = 1000) : patience(calls) {}

  bool Continue(Progress const& now) noexcept override {
    EXPECT_FALSE(stopped) << "continues after it was stopped";
    EXPECT_TRUE(!calls || now.done >= last.done) << "progress decreases";
    EXPECT_TRUE(!now.total || now.done <= now.total);
    last = now;
    stopped = calls++ == patience;
    return !stopped;
  }

  unsigned const patience;
  unsigned calls = 0;
  bool stopped = false;
  Progress last = {};
};
