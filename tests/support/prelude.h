// Included by nearly every test.
#pragma once

#include <gtest/gtest.h>
#include <qecore/core/ref.h>

#include <array>
#include <string>
#include <tuple>
#include <vector>

#include "binary.h"
#include "each.h"

using std::string, std::wstring;

template <class... Columns>
using Table = std::vector<std::tuple<Columns...>>;
using Ints = std::vector<intptr_t>;
using Sizes = std::vector<size_t>;

/// Adopts an object that was created with one reference.
template <class T>
yk::Ref<T> Own(T* made) {
  return yk::Ref<T>::Adopt(made);
}

/// A variant of a value.
template <class... Arguments>
yk::Variant Made(Arguments... arguments) {
  return yk::Variant(arguments...);
}
