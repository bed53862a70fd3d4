// For calls that must all have the same result.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <type_traits>

/// Compares each with the expected value; a failure reports its index in the list, from 0.
template <class T>
void ExpectEach(T const& expected, std::initializer_list<std::type_identity_t<T>> results) {
  for (T const& each : results) EXPECT_EQ(each, expected) << "call " << &each - results.begin();
}
