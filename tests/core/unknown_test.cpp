#include <gtest/gtest.h>
#include <qecore/core/conversions.h>
#include <qecore/core/driver_data.h>
#include <qecore/core/filter.h>
#include <qecore/core/ref.h>
#include <qecore/core/streamable.h>

#include <limits>
#include <new>

#include "support/binary.h"

namespace {

using namespace yk;

/// A class over one of the base interfaces that counts its destructions and stays.
template <class Base>
class Probe final : public Base {
 public:
  int destroyed = 0;
  void Destroy() noexcept override { ++destroyed; }
};

TEST(Unknown, CountsThroughItsSlots) {
  Probe<Unknown> object;
  EXPECT_EQ(Field<int>(&object, 8), 1);
  EXPECT_EQ(Slot<unsigned (*)(void*)>(&object, 1)(&object), 2u);
  EXPECT_EQ(Slot<unsigned (*)(void*)>(&object, 2)(&object), 1u);
  EXPECT_EQ(object.Release(), 0u);
  EXPECT_EQ(object.destroyed, 1);
  EXPECT_EQ(object.Release(), 0xFFFFFFFFu) << "there is no guard";
  EXPECT_EQ(object.destroyed, 2);
  EXPECT_EQ(Slot<Guid const* (*)(void*)>(&object, 5)(&object), nullptr);
  EXPECT_EQ(qe::purecall(), 0);
}

TEST(Unknown, FreeReleasesAndClears) {
  Probe<Unknown> object;
  void* held = &object;
  Unknown::Free(&held);
  EXPECT_EQ(held, nullptr);
  EXPECT_EQ(object.destroyed, 1);
  Unknown::Free(&held);
  Unknown::Free(nullptr);
  EXPECT_EQ(object.destroyed, 1);
}

template <class Base>
void ExpectAnswers(char const* name, Guid const& id, unsigned references) {
  Probe<Base> object;
  void* const untouched = &object.destroyed;
  void* out = untouched;
  HRESULT const result = object.QueryInterface(id, &out);
  EXPECT_EQ(result, references > 1 ? S_OK : E_NOINTERFACE) << name;
  EXPECT_EQ(out, references > 1 ? &object : untouched) << name;
  EXPECT_EQ(References(&object), references) << name;
  EXPECT_EQ(object.IsTypeOf(id), references > 1) << name;
}

TEST(Unknown, InterfacesAnswerTheirChains) {
  ExpectAnswers<Unknown>("Unknown", ids::UNKNOWN, 2);
  ExpectAnswers<Unknown>("Unknown for a filter", ids::FLT, 1);
  ExpectAnswers<qe_Streamable>("Streamable counts twice", ids::STREAMABLE, 3);
  ExpectAnswers<qe_Streamable>("Streamable as Unknown", ids::UNKNOWN, 2);
  ExpectAnswers<ykFlt2d>("2-D", ids::FLT_2D, 2);
  ExpectAnswers<ykFlt2d>("2-D as filter", ids::FLT, 2);
  ExpectAnswers<qe_Flt3d>("3-D", ids::FLT_3D, 2);
  ExpectAnswers<qe_Flt3d>("3-D as filter", ids::FLT, 2);
  ExpectAnswers<qe_Flt3d>("3-D as Unknown", ids::UNKNOWN, 2);
  ExpectAnswers<qe_Flt3d>("3-D is no 2-D", ids::FLT_2D, 1);
}

TEST(Conversions, RoundHalvesAwayFromZero) {
  static constexpr struct {
    double value;
    int expected;
  } ROWS[] = {{2.5, 3},
              {-2.5, -3},
              {2.4999, 2},
              {0.5, 1},
              {-0.5, -1},
              {-0.4, 0},
              {0, 0},
              {2147483646.5, 2147483647},
              {2147483647.5, INT_MIN},
              {-1e300, INT_MIN},
              {std::numeric_limits<double>::quiet_NaN(), INT_MIN}};
  for (auto const& row : ROWS) EXPECT_EQ(yk::round(row.value), row.expected) << row.value;
}

TEST(DriverData, ListOwnsWhatIsAdded) {
  Probe<drvData> a, b;
  a.owner = &a;
  b.owner = &b;
  {
    drvDataPtr list;
    EXPECT_EQ(list.Get(&a), nullptr);
    EXPECT_EQ(list.Add(&a), S_OK);
    EXPECT_EQ(list.Add(&b), S_OK);
    EXPECT_EQ(list.Add(&a), E_INVALIDARG);
    EXPECT_EQ(list.Get(&a), &a);
    EXPECT_EQ(list.Get(&b), &b);
    EXPECT_EQ(list.Remove(&a), S_OK);
    EXPECT_EQ(list.Remove(&a), YK_E_NOTFOUND);
    EXPECT_EQ(a.destroyed, 1);
    EXPECT_EQ(b.destroyed, 0);
  }
  EXPECT_EQ(b.destroyed, 1);
  EXPECT_EQ(b.next, nullptr);
}

}  // namespace
