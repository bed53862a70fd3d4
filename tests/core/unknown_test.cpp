#include <gtest/gtest.h>
#include <qecore/core/conversions.h>
#include <qecore/core/driver_data.h>
#include <qecore/core/filter.h>
#include <qecore/core/ref.h>
#include <qecore/core/streamable.h>

#include <string>
#include <utility>

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
  ExpectAnswer<qe_Streamable>(ids::STREAMABLE, 3);  // it counts twice
  ExpectAnswer<qe_Streamable>(ids::UNKNOWN, 2);
  ExpectAnswer<qe_Flt3d>(ids::UNKNOWN, 2);
  ExpectAnswer<qe_Flt3d>(ids::FLT_2D, 1);
}

TEST(Ref, CountsExactly) {
  struct {
    std::string log;
    void AddRef() { log += '+'; }
    void Release() { log += '-'; }
  } object;
  using Counted = Ref<decltype(object)>;
  {
    Counted a = Counted::Adopt(&object);
    Counted const b(a), c = Counted::Share(&object);
    Counted d(std::move(a));
    EXPECT_EQ(a.get(), nullptr);
    EXPECT_EQ(std::exchange(object.log, ""), "++") << "copy and share";
    a = b;
    a = *&a;
    EXPECT_EQ(std::exchange(object.log, ""), "++-") << "assign, and to itself";
    a = std::move(d);
    *a.Receive() = nullptr;
    EXPECT_EQ(std::exchange(object.log, ""), "--") << "move over one that holds, and receive";
    *a.ReceiveVoid() = &object;
    EXPECT_EQ(a.Detach(), &object);
    d.Reset();
    EXPECT_FALSE(Counted::Share(d.get()));
  }
  EXPECT_EQ(object.log, "--") << "destruction";
}

TEST(Conversions, RoundHalvesAwayFromZero) {
  std::pair<double, int> const rows[] = {{2.5, 3},
                                         {-2.5, -3},
                                         {2.4999, 2},
                                         {-0.5, -1},
                                         {-0.4, 0},
                                         {2147483646.5, INT_MAX},
                                         {2147483647.5, INT_MIN},
                                         {-1e300, INT_MIN}};
  for (auto const& [value, expected] : rows) EXPECT_EQ(yk::round(value), expected) << value;
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
