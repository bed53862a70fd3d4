// A host that follows an operation and stops it when its patience is over.
#pragma once

#include <gtest/gtest.h>
#include <qecore/core/execution_context.h>

#include <string>

struct PatientHost final : yk::ExecutionContext {
  explicit PatientHost(unsigned calls = 1000) : patience(calls) {}

  bool Continue(Progress const& now) noexcept override {
    EXPECT_FALSE(stopped) << "told to stop, and goes on";
    EXPECT_TRUE(!calls || now.done >= last.done) << "goes back";
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
