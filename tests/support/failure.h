// For calls that must fail and record why.
#pragma once

#include <gtest/gtest.h>
#include <qecore/core/error.h>

#include <functional>
#include <string>
#include <vector>

/// The calling thread's last failure as one line, truncated to `size` characters.
inline std::wstring LastMessage(size_t size = 600) {
  std::wstring line(size, L'#');
  size_t const length = yk::ErrorMessage(yk::LastError(), line.data(), size);
  EXPECT_EQ(line[length], 0);
  line.resize(length);
  return line;
}

struct Failure {
  HRESULT code;
  std::wstring text;
  std::function<HRESULT()> call;
};

/// Expects that each call returns its code and records it with its text.
inline void ExpectFailures(std::vector<Failure> const& rows) {
  for (Failure const& row : rows) {
    unsigned const before = yk::ErrorCount();
    EXPECT_EQ(row.call(), row.code) << row.text;
    EXPECT_NE(yk::ErrorCount(), before) << row.text << ": nothing is recorded";
    EXPECT_EQ(LastMessage(), row.text);
    EXPECT_TRUE(yk::LastError() && yk::LastError()->code == row.code) << row.text;
  }
}
