#include <gtest/gtest.h>
#include <qecore/core/conversions.h>
#include <qecore/core/driver_data.h>
#include <qecore/core/filter.h>
#include <qecore/core/streamable.h>

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
  void* held = &object;
  for (void** slot : {&held, &held, static_cast<void**>(nullptr)}) Unknown::Free(slot);
  EXPECT_EQ(held, nullptr);
  EXPECT_EQ(object.destroyed, 1);
  EXPECT_EQ(object.Release(), 0xFFFFFFFFu) << "there is no guard";
  EXPECT_EQ(object.destroyed, 2);
}

template <class Base>
void ExpectAnswer(Guid const& id, unsigned references) {
  Probe<Base> object;
  void* out = nullptr;
  EXPECT_EQ(object.QueryInterface(id, &out), references > 1 ? S_OK : E_NOINTERFACE);
  EXPECT_EQ(out, references > 1 ? &object : nullptr);
  EXPECT_EQ(References(&object), references);
  EXPECT_EQ(object.IsTypeOf(id), references > 1);
}

TEST(Unknown, InterfacesAnswerTheirChains) {
  ExpectAnswer<Unknown>(ids::FLT, 1);
  ExpectAnswer<qe_Streamable>(ids::STREAMABLE, 3);  // it counts twice
  ExpectAnswer<qe_Streamable>(ids::UNKNOWN, 2);
  ExpectAnswer<qe_Flt3d>(ids::UNKNOWN, 2);
  ExpectAnswer<qe_Flt3d>(ids::FLT_2D, 1);
}

TEST(Conversions, RoundHalvesAwayFromZero) {
  double const values[] = {2.5, -2.5, 2.4999, -0.5, -0.4, 2147483646.5, 2147483647.5, -1e300};
  int const expected[] = {3, -3, 2, -1, 0, 2147483647, INT_MIN, INT_MIN};
  for (size_t i = 0; i < std::size(values); ++i) EXPECT_EQ(yk::round(values[i]), expected[i]) << values[i];
}

TEST(DriverData, ListOwnsWhatIsAdded) {
  Probe<drvData> a, b;
  a.owner = &a;
  {
    drvDataPtr list;
    for (HRESULT const expected : {S_OK, E_INVALIDARG}) EXPECT_EQ(list.Add(&a), expected);
    EXPECT_EQ(list.Add(&b), S_OK);
    EXPECT_EQ(list.Get(&a), &a);
    for (HRESULT const expected : {S_OK, YK_E_NOTFOUND}) EXPECT_EQ(list.Remove(&a), expected);
    EXPECT_EQ(b.destroyed, 0);
  }
  EXPECT_EQ(a.destroyed + b.destroyed, 2);
}

}  // namespace
