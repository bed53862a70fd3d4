#include <qecore/core/error.h>
#include <qecore/values/array.h>
#include <qecore/values/string.h>

#include <algorithm>
#include <climits>
#include <numeric>

#include "support/message_box_watcher.h"
#include "support/prelude.h"

namespace {

using namespace yk;

void* P(intptr_t n) { return reinterpret_cast<void*>(n); }
intptr_t N(void const* p) { return reinterpret_cast<intptr_t>(p); }

Ref<Array> Numbers(Ints const& numbers, int step = 0) {
  Ref<Array> array = Own(Array::Create(step));
  for (intptr_t const n : numbers) array->Add(P(n));
  return array;
}

Ints Elements(Array* array) {
  Ints elements;
  for (int i = 0; i < array->Count(); ++i) elements.push_back(N(array->At(i)));
  return elements;
}

TEST(Arrays, AreWalkedInLoops) {
  int numbers[] = {3, 1, 2}, sum = 0;
  Ref<Array> const empty = Own(Array::Create(0)), pointers = Own(Array::Create(0));
  Ref<DataArray> const records = Own(DataArray::Create());
  records->SetRecord(sizeof(int), nullptr);
  for (int& number : numbers) {
    pointers->Add(&number);
    *static_cast<int*>(records->AtInsert(records->Count())) = number;
  }
  for (int const* number : pointers->Each<int>()) sum = 10 * sum + *number;
  for (int& number : records->Each<int>()) sum = 10 * sum + number;
  EXPECT_EQ(sum, 312312);
  EXPECT_EQ((Sizes{records->Each<char>().size(), empty->Each<int>().size()}), Sizes(2));
  EXPECT_EQ(pointers->end() - pointers->begin() + (empty->end() - empty->begin()), 3);
}

TEST(Array, EditsInRangeThroughItsSlots) {
  Ref<Array> const array = Numbers({1, 2, 3});
  Array* const a = array.get();
  EXPECT_EQ((Ints{a->AtInsert(0, P(9)), a->AtDelete(1), a->AtPut(1, P(7)), a->Remove(P(3))}), Ints(4, true));
  EXPECT_EQ(Slot<int (*)(void*, void*)>(a, 15)(a, P(8)), 2);
  EXPECT_EQ(Slot<int (*)(void*, void*)>(a, 14)(a, P(7)), 1);
  EXPECT_EQ(a->FindItem(P(5)), -1);
  EXPECT_EQ((Ints{a->Swap(0, 1), a->Swap(0, 100), a->Swap(-1, 2), a->Swap(-1, 3)}), (Ints{1, 1, 1, 0}));
  EXPECT_EQ(Elements(a), (Ints{7, 9, 8}));
  EXPECT_EQ((Ints{Field<int>(a, 24), Field<int>(a, 40), Field<int>(a, 44)}), (Ints{3, 40, 40}));
  EXPECT_EQ((Ints{a->Swap(39, 1), a->Swap(0, 40), a->Swap(40, 0), a->Swap(0, -1)}), Ints(4, 1));
  EXPECT_EQ(Elements(a), (Ints{7, 0, 8})) << "exchanged inside the block only";
  EXPECT_EQ(Field<void**>(a, 32)[39], P(9));
}

TEST(Array, ReportsWhatIsOutOfRange) {
  Ref<Array> const a = Numbers({1, 2, 3}), largest = Numbers({1}, INT_MAX);
  int& count = reinterpret_cast<int*>(largest.get())[6];
  count = Array::MAX_COUNT;
  MessageBoxWatcher watcher;
  EXPECT_EQ((Ints{N(a->At(3)), a->AtInsert(4, P(9)), a->AtInsert(-1, P(9)), a->AtPut(-1, P(9)),
                  a->FreeItem(P(9)), a->FreeAt(3), largest->AtInsert(0, P(9))}),
            Ints(7));
  EXPECT_EQ(watcher.Take(),
            (Texts{L"Array::At(3) is out of range:3", L"Array::AtInsert(4) is out of range:3",
                   L"Array::AtInsert(-1) is out of range:3", L"Array::AtPut(-1) is out of range:3",
                   L"Array::ATDelete(-1) is out of range:3", L"Array::ATDelete(3) is out of range:3",
                   L"Array::ATInsert overflow"}));
  EXPECT_STREQ(LastError()->text, L"no array has more than 16777215 elements");
  EXPECT_FALSE(a->FreeAt(3));
  EXPECT_STREQ(LastError()->text, L"the index 3 is out of range for 3 elements");
  EXPECT_EQ(Elements(a.get()), (Ints{1, 2, 3}));
  count = 1;
}

TEST(Array, GrowsInStepsThatGrowUpToItsLimit) {
  int const cases[][3] = {
      {41, 0, 80}, {600, 40, 776}, {2561, 512, 3584}, {16393, 8, 24584}, {1, INT_MAX, Array::MAX_COUNT}};
  for (auto const& [count, step, capacity] : cases) {
    Ref<Array> const a = Numbers(Ints(count), step);
    EXPECT_EQ(Field<int>(a.get(), 44), capacity) << count << " by " << step;
  }
}

TEST(Array, KeepsEveryElementWhereverItsBlockGrows) {
  Ref<Array> const a = Own(Array::Create(0));
  for (int n = 0; n < 5000; ++n) a->AtInsert(n % 2 ? a->Count() : 0, P(n));
  for (int n = 0; n < 5000; ++n) ASSERT_EQ(a->At(n % 2 ? 2500 + n / 2 : 2499 - n / 2), P(n));
  EXPECT_EQ(Field<int>(a.get(), 44), 5128);
  EXPECT_TRUE(a->Swap(5127, 0));
  EXPECT_EQ(a->At(0), nullptr) << "zeroed up to its capacity";
}

Ints freed;

TEST(Array, FreesThroughItsDeleterOnly) {
  freed.clear();
  Ref<Array> a = Own(Array::CreateEx([](void* element) { freed.push_back(N(element)); }));
  for (int n = 1; n <= 5; ++n) a->Add(P(n));
  EXPECT_EQ((Ints{a->AtDelete(0), a->AtPut(0, P(6)), a->FreeAt(1), a->FreeItem(P(6))}), Ints(4, true));
  a.Reset();
  EXPECT_EQ(freed, (Ints{3, 6, 4, 5}));

  Ref<Array> const object = Numbers({});
  object->AddRef();
  a = Own(Array::CreateEx(reinterpret_cast<Array::Deleter>(intptr_t{-1})));
  EXPECT_EQ((Ints{a->Add(object.get()), a->Add(nullptr), a->FreeAt(0), a->FreeAt(0)}), (Ints{0, 1, 1, 1}));
  EXPECT_EQ(References(object.get()), 1u);
  a->SetDeleter(reinterpret_cast<Array::Deleter>(intptr_t{-2}));
  EXPECT_EQ((Ints{a->Add(new String(L"text")), a->FreeAt(0)}), (Ints{0, 1}));
}

Array* called;

// A freed element removes itself, and the last one releases the array.
void RemoveFreed(void* element) {
  freed.push_back(N(element));
  called->Remove(element);
  if (element == P(3)) called->Release();
}

int InsertAndCompare(void const* a, void const* b, void const*) {
  for (int i = 0; i < 50 && called->Count() < 1000; ++i) called->Add(P(1000));
  return static_cast<int>(N(a) - N(b));
}

TEST(Array, DeletersAndComparisonsMayCallItAndReleaseIt) {
  freed.clear();
  called = Array::CreateEx(RemoveFreed);
  for (int const n : {4, 1, 2, 3}) called->Add(P(n));
  EXPECT_TRUE(called->FreeAt(0));
  EXPECT_EQ(Elements(called), (Ints{1, 2, 3}));
  called->FreeAll();
  EXPECT_EQ(freed, (Ints{4, 1, 2, 3}));
  freed.clear();
  Ref<Array> const inserting = Numbers({1, 2, 3});
  (called = inserting.get())->SetDeleter([](void* element) {
    freed.push_back(N(element));
    if (N(element) < 10) called->AtInsert(0, P(N(element) + 10));
  });
  EXPECT_TRUE(called->FreeAt(0));
  called->FreeAll();
  EXPECT_EQ(freed, (Ints{1, 11, 2, 3, 12, 13}));
  Ref<Array> const array = Numbers({3, 2, 1}, 2);
  called = array.get();
  EXPECT_TRUE(array->SortRange(0, 2, InsertAndCompare, nullptr));
  EXPECT_EQ(array->At(0), P(1));
}

int ByTens(void const* a, void const* b, void const*) { return static_cast<int>(N(a) / 10 - N(b) / 10); }

TEST(Array, SortsWithEqualElementsInTheOrderOfItsSteps) {
  Ref<Array> const many = Numbers({49, 26, 57, 32, 54, 57, 51, 43, 11, 39, 59, 25, 51, 13, 20, 17});
  EXPECT_TRUE(many->Sort(ByTens, nullptr));
  EXPECT_EQ(Elements(many.get()), (Ints{13, 11, 17, 25, 26, 20, 39, 32, 49, 43, 54, 57, 51, 51, 59, 57}));
  Ref<Array> const a = Numbers({50, 30, 20, 10});
  EXPECT_TRUE(a->SortRange(1, 3, ByTens, nullptr));
  for (auto [first, last] : {std::pair(0, 4), {-1, 1}, {1, 1}})
    EXPECT_FALSE(a->SortRange(first, last, ByTens, nullptr));
  EXPECT_EQ(Elements(a.get()), (Ints{50, 10, 20, 30}));
}

TEST(Array, AComparisonThatContradictsItselfHarmsNothing) {
  Ints numbers(1000);
  std::iota(numbers.begin(), numbers.end(), 1);
  for (intptr_t const answer : {-1, 1}) {
    Ref<Array> const a = Numbers(numbers);
    EXPECT_TRUE(a->Sort([](auto, auto, auto what) { return static_cast<int>(N(what)); }, P(answer)));
    EXPECT_TRUE(std::ranges::is_permutation(Elements(a.get()), numbers)) << answer;
  }
}

TEST(SortedArray, KeepsOrderAndRefusesDuplicatesUntilTold) {
  Ref<SortedArray> const array = Own(SortedArray::Create(ByTens, nullptr));
  SortedArray* const a = array.get();
  int empty = -1, end = -1;
  EXPECT_FALSE(a->Search(P(10), &empty));
  for (int const n : {30, 10, 20}) a->Add(P(n));
  EXPECT_EQ(Slot<int (*)(void*, void*)>(a, 15)(a, P(21)), -1);
  EXPECT_EQ(Slot<int (*)(void*, void const*)>(a, 23)(a, P(25)), 1);
  EXPECT_EQ((Ints{a->Search(P(40), &end), a->Search(P(10), nullptr), a->FindKey(P(20))}), (Ints{0, 1, 1}));
  EXPECT_EQ((Ints{empty, end}), (Ints{0, 3}));
  a->SetDuplicates(true);
  EXPECT_EQ((Ints{a->Add(P(21)), a->Add(P(22)), a->Find(P(25)), a->Find(P(40))}), (Ints{1, 1, 1, -1}));
  EXPECT_EQ(Elements(a), (Ints{10, 22, 21, 20, 30}));  // before their equals
  called = a;
  auto const forget = [](auto, auto, auto) { return called->Reset(), -1; };
  EXPECT_EQ((Ints{a->SetCompare(forget, nullptr), a->Add(P(1)), a->Count()}), (Ints{1, 0, 1}));
  EXPECT_EQ((Ints{a->SetCompare(nullptr, nullptr), a->Find(P(1)), a->Add(P(2))}), (Ints{1, -1, 0}));
}

TEST(DataArray, HoldsZeroedRecordsByValue) {
  Ref<DataArray> const array = Own(DataArray::Create());
  DataArray* const a = array.get();
  freed.clear();
  auto const note = [](void* record) { freed.push_back(*static_cast<int*>(record)); };
  EXPECT_EQ((Ints{N(a->AtInsert(0)), a->Allocate(1)}), (Ints{0, YK_E_EMPTY}));  // records of no size
  EXPECT_EQ(Slot<long (*)(void*, unsigned, void (*)(void*))>(a, 8)(a, 12, note), S_OK);
  for (int n = 0; n < 11; ++n) {
    int* const record = static_cast<int*>(Slot<void* (*)(void*, int)>(a, 12)(a, 0));
    EXPECT_EQ((Ints{record[0], record[1], record[2]}), Ints(3));
    record[0] = record[2] = n;
  }
  EXPECT_EQ((Ints{Field<int>(a, 28), a->Allocate(3), a->SetRecord(8, nullptr), a->AtFree(1)}),
            (Ints{20, YK_E_EMPTY, YK_E_EMPTY, true}));
  EXPECT_EQ((Ints{N(a->At(10)), N(a->At(-1)), static_cast<int*>(a->At(1))[2]}), (Ints{0, 0, 8}));
  a->FreeAll();
  EXPECT_EQ(freed, (Ints{9, 10, 8, 7, 6, 5, 4, 3, 2, 1, 0}));
  EXPECT_EQ((Ints{N(Field<void*>(a, 16)), a->SetRecord(1, nullptr)}), (Ints{0, S_OK}));
  EXPECT_EQ((Ints{a->Allocate(-1), a->Allocate(0), a->Count()}), (Ints{E_INVALIDARG, S_OK, 0}));
  EXPECT_EQ(Slot<long (*)(void*, int)>(a, 13)(a, Array::MAX_COUNT), S_OK);
  static DataArray* own;
  Ref<DataArray> const inserting = Own(own = DataArray::Create());
  own->SetRecord(300, [](void* record) {
    freed.push_back(*static_cast<char*>(record));
    if (freed.back()) own->AtInsert(0);
  });
  for (char const n : {3, 2, 1}) *static_cast<char*>(own->AtInsert(0)) = n;
  freed.clear();
  EXPECT_EQ((Ints{own->AtFree(1), own->Count(), *static_cast<char*>(own->At(2))}), (Ints{true, 3, 3}));
  own->FreeAll();
  EXPECT_EQ(freed, (Ints{2, 0, 1, 3, 0, 0}));
  MessageBoxWatcher watcher;
  EXPECT_EQ((Ints{a->AtFree(Array::MAX_COUNT), a->AtFree(-1), N(a->AtInsert(-1)), N(own->AtInsert(1)),
                  N(a->AtInsert(0)), a->AtFree(0)}),
            (Ints{0, 0, 0, 0, 0, 1}));
  EXPECT_EQ(watcher.Take(),
            (Texts{L"DataArray::AtFree index[16777215] out of range",
                   L"DataArray::AtFree index[-1] out of range", L"Array::ATInsert index[-1] out of range",
                   L"Array::ATInsert index[1] out of range", L"Array::ATInsert overflow"}));
}

TEST(DataArray, KeepsEveryRecordWhereverItsBlockGrows) {
  for (int const allocated : {0, 1000, 3001}) {
    Ref<DataArray> const a = Own(DataArray::Create());
    a->SetRecord(sizeof(int), nullptr);
    EXPECT_EQ(a->Allocate(allocated), S_OK);
    for (int n = 0; n < allocated; ++n) *static_cast<int*>(a->At(n)) = n;
    for (int n = allocated; n < 5000; ++n) *static_cast<int*>(a->AtInsert(n)) = n;
    for (int n = 0; n < 5000; ++n) ASSERT_EQ(*static_cast<int*>(a->At(n)), n) << allocated;
    EXPECT_EQ(Field<int>(a.get(), 28), 5000 + allocated % 10);
  }
}

}  // namespace
