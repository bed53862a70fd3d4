#include <gtest/gtest.h>
#include <qecore/core/ref.h>
#include <qecore/values/array.h>
#include <qecore/values/string.h>

#include <algorithm>
#include <array>
#include <climits>
#include <numeric>

#include "support/binary.h"
#include "support/message_box_watcher.h"

namespace {

using namespace yk;
using Ints = std::vector<intptr_t>;

void* P(intptr_t n) { return reinterpret_cast<void*>(n); }
intptr_t N(void const* p) { return reinterpret_cast<intptr_t>(p); }

Ref<Array> Numbers(Ints const& numbers, int step = 0) {
  Ref<Array> array = Ref<Array>::Adopt(Array::Create(step));
  for (intptr_t const n : numbers) array->Add(P(n));
  return array;
}

Ints Elements(Array* array) {
  Ints elements;
  for (int i = 0; i < array->Count(); ++i) elements.push_back(N(array->At(i)));
  return elements;
}

TEST(Array, EditsInRangeThroughItsSlots) {
  Ref<Array> const array = Numbers({1, 2, 3});
  Array* const a = array.get();
  EXPECT_TRUE(a->AtInsert(0, P(9)) && a->AtDelete(1) && a->AtPut(1, P(7)) && a->Remove(P(3)));
  EXPECT_EQ(Slot<int (*)(void*, void*)>(a, 15)(a, P(8)), 2);
  EXPECT_EQ(Slot<int (*)(void*, void*)>(a, 14)(a, P(7)), 1);
  EXPECT_TRUE(a->Swap(0, 1) && a->Find(P(5)) == -1);
  EXPECT_TRUE(a->Swap(0, 100) && a->Swap(-1, 2) && !a->Swap(-1, 3));  // one-sided
  EXPECT_EQ(Elements(a), (Ints{7, 9, 8}));
  EXPECT_TRUE(Field<int>(a, 24) == 3 && Field<void**>(a, 32)[2] == P(8) && Field<int>(a, 40) == 40);
}

TEST(Array, ReportsWhatIsOutOfRange) {
  Ref<Array> const a = Numbers({1, 2, 3});
  MessageBoxWatcher watcher;
  EXPECT_EQ(a->At(3), nullptr);
  EXPECT_FALSE(a->AtInsert(4, P(9)) || a->AtPut(-1, P(9)) || a->Remove(P(9)) || a->FreeAt(3));
  EXPECT_EQ(watcher.Take(),
            (Texts{L"Array::At(3) is out of range:3", L"Array::AtInsert(4) is out of range:3",
                   L"Array::AtPut(-1) is out of range:3", L"Array::ATDelete(-1) is out of range:3",
                   L"Array::ATDelete(3) is out of range:3"}));
  EXPECT_EQ(Elements(a.get()), (Ints{1, 2, 3}));
}

TEST(Array, GrowsInStepsThatGrowUpToItsLimit) {
  for (auto [count, step, capacity] : {std::array{41, 0, 80},
                                       {600, 40, 776},
                                       {2561, 512, 3584},
                                       {16393, 8, 16392 + 8192},
                                       {1, INT_MAX, Array::MAX_COUNT}}) {
    Ref<Array> const a = Numbers(Ints(count), step);
    EXPECT_EQ(Field<int>(a.get(), 44), capacity) << count << " by " << step;
  }
}

Ints freed;

TEST(Array, FreesThroughItsDeleterOnly) {
  freed.clear();
  Ref<Array> a = Ref<Array>::Adopt(Array::CreateEx([](void* element) { freed.push_back(N(element)); }));
  for (int n = 1; n <= 5; ++n) a->Add(P(n));
  EXPECT_TRUE(a->AtDelete(0) && a->AtPut(0, P(6)) && a->FreeAt(1) && a->FreeItem(P(6)));
  a.Reset();
  EXPECT_EQ(freed, (Ints{3, 6, 4, 5}));

  Ref<Array> const object = Numbers({});
  object->AddRef();
  a = Ref<Array>::Adopt(Array::CreateEx(reinterpret_cast<Array::Deleter>(intptr_t{-1})));
  EXPECT_TRUE(a->Add(object.get()) == 0 && a->FreeAt(0) && References(object.get()) == 1);
  a->SetDeleter(reinterpret_cast<Array::Deleter>(intptr_t{-2}));
  EXPECT_TRUE(a->Add(new String(L"text")) == 0 && a->FreeAt(0));
}

int ByTens(void const* a, void const* b, void const*) { return static_cast<int>(N(a) / 10 - N(b) / 10); }

TEST(Array, SortsWithEqualElementsInTheOrderOfItsSteps) {
  Ref<Array> const many = Numbers({49, 26, 57, 32, 54, 57, 51, 43, 11, 39, 59, 25, 51, 13, 20, 17});
  EXPECT_TRUE(many->Sort(ByTens, nullptr));
  EXPECT_EQ(Elements(many.get()), (Ints{13, 11, 17, 25, 26, 20, 39, 32, 49, 43, 54, 57, 51, 51, 59, 57}));
  Ref<Array> const a = Numbers({50, 30, 20, 10});
  EXPECT_TRUE(a->SortRange(1, 3, ByTens, nullptr) && !a->SortRange(0, 4, ByTens, nullptr));
  EXPECT_EQ(Elements(a.get()), (Ints{50, 10, 20, 30}));
}

int Constant(void const*, void const*, void const* answer) { return static_cast<int>(N(answer)); }

TEST(Array, AComparisonThatContradictsItselfHarmsNothing) {
  Ints numbers(1000);
  std::iota(numbers.begin(), numbers.end(), 1);
  for (intptr_t const answer : {-1, 1}) {
    Ref<Array> const a = Numbers(numbers);
    EXPECT_TRUE(a->Sort(Constant, P(answer)));
    Ints elements = Elements(a.get());
    std::sort(elements.begin(), elements.end());
    EXPECT_EQ(elements, numbers);
  }
}

TEST(SortedArray, KeepsOrderAndRefusesDuplicatesUntilTold) {
  Ref<SortedArray> const array = Ref<SortedArray>::Adopt(SortedArray::Create(ByTens, nullptr));
  SortedArray* const a = array.get();
  int position = -1;
  EXPECT_TRUE(!a->Search(P(10), &position) && position == 0);
  for (int const n : {30, 10, 20}) a->Add(P(n));
  EXPECT_EQ(Slot<int (*)(void*, void*)>(a, 15)(a, P(21)), -1);
  EXPECT_EQ(Slot<int (*)(void*, void const*)>(a, 23)(a, P(25)), 1);
  EXPECT_TRUE(!a->Search(P(40), &position) && position == 3);
  a->SetDuplicates(true);
  EXPECT_TRUE(a->Add(P(21)) == 1 && a->Add(P(22)) == 1 && a->Find(P(25)) == 1 && a->Find(P(40)) == -1);
  EXPECT_EQ(Elements(a), (Ints{10, 22, 21, 20, 30}));  // before their equals
}

TEST(DataArray, HoldsZeroedRecordsByValue) {
  Ref<DataArray> const array = Ref<DataArray>::Adopt(DataArray::Create());
  DataArray* const a = array.get();
  freed.clear();
  auto const note = [](void* record) { freed.push_back(*static_cast<int*>(record)); };
  EXPECT_EQ(Slot<long (*)(void*, unsigned, void (*)(void*))>(a, 8)(a, 12, note), S_OK);
  for (int n = 0; n < 11; ++n) {
    int* const record = static_cast<int*>(Slot<void* (*)(void*, int)>(a, 12)(a, 0));
    EXPECT_TRUE(record[0] == 0 && record[1] == 0 && record[2] == 0);
    record[0] = record[2] = n;
  }
  EXPECT_TRUE(Field<int>(a, 28) == 20 && a->Allocate(3) == YK_E_EMPTY);
  EXPECT_TRUE(a->AtFree(1) && a->Count() == 10 && !a->At(10) && static_cast<int*>(a->At(1))[2] == 8);
  a->FreeAll();
  EXPECT_EQ(freed, (Ints{9, 10, 8, 7, 6, 5, 4, 3, 2, 1, 0}));
  EXPECT_TRUE(Field<void*>(a, 16) == nullptr && a->SetRecord(1, nullptr) == S_OK);
  EXPECT_EQ(Slot<long (*)(void*, int)>(a, 13)(a, Array::MAX_COUNT), S_OK);
  MessageBoxWatcher watcher;
  EXPECT_TRUE(!a->AtFree(Array::MAX_COUNT) && !a->AtInsert(-1) && !a->AtInsert(0));
  EXPECT_EQ(watcher.Take(), (Texts{L"DataArray::AtFree index[16777215] out of range",
                                   L"Array::ATInsert index[-1] out of range", L"Array::ATInsert overflow"}));
}

}  // namespace
