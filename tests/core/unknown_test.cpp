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
  Unknown::Free(&held);
  Unknown::Free(nullptr);
  EXPECT_EQ(held, nullptr);
  EXPECT_EQ(object.destroyed, 1);
  EXPECT_EQ(object.Release(), 0xFFFFFFFFu) << "there is no guard";
  EXPECT_EQ(object.destroyed, 2);
}

template <class Base>
void ExpectAnswer(char const* name, Guid const& id, unsigned references) {
  Probe<Base> object;
  void* const untouched = &object.destroyed;
  void* out = untouched;
  EXPECT_EQ(object.QueryInterface(id, &out), references > 1 ? S_OK : E_NOINTERFACE) << name;
  EXPECT_EQ(out, references > 1 ? &object : untouched) << name;
  EXPECT_EQ(References(&object) + object.IsTypeOf(id), references + (references > 1)) << name;
}

TEST(Unknown, InterfacesAnswerTheirChains) {
  ExpectAnswer<Unknown>("Unknown for a filter", ids::FLT, 1);
  ExpectAnswer<qe_Streamable>("streamable counts twice", ids::STREAMABLE, 3);
  ExpectAnswer<qe_Streamable>("streamable as Unknown", ids::UNKNOWN, 2);
  ExpectAnswer<qe_Flt3d>("3-D as Unknown", ids::UNKNOWN, 2);
  ExpectAnswer<qe_Flt3d>("3-D is no 2-D", ids::FLT_2D, 1);
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
