// For calls that must all say the same.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <type_traits>

/// Compares each with what is expected; a failure tells its place in the list, from 0.
template <class T>
void ExpectEach(T const& expected, std::initializer_list<std::type_identity_t<T>> results) {
  for (T const& each : results) EXPECT_EQ(each, expected) << "the call " << &each - results.begin();
}
