#include <gtest/gtest.h>
#include <qecore/core/ref.h>

#include <utility>

namespace {

using yk::Ref;

struct Counted {
  int added = 0, released = 0;
  void AddRef() { ++added; }
  void Release() { ++released; }
};

TEST(Ref, CountsExactly) {
  Counted object;
  auto const counts = [&object] { return std::pair(object.added, object.released); };
  {
    Ref<Counted> a = Ref<Counted>::Adopt(&object);
    EXPECT_EQ(counts(), std::pair(0, 0)) << "adopt";
    Ref<Counted> const b(a), c = Ref<Counted>::Share(&object);
    EXPECT_EQ(counts(), std::pair(2, 0)) << "copy and share";
    Ref<Counted> d(std::move(a));
    EXPECT_EQ(a.get(), nullptr);
    EXPECT_EQ(counts(), std::pair(2, 0)) << "move";
    a = b;
    a = *&a;
    EXPECT_EQ(counts(), std::pair(4, 1)) << "assign, and to itself";
    a = std::move(d);
    EXPECT_EQ(counts(), std::pair(4, 2)) << "move over one that holds";
    *a.Receive() = nullptr;
    EXPECT_EQ(counts(), std::pair(4, 3)) << "receive";
    *a.ReceiveVoid() = &object;
    EXPECT_EQ(a.Detach(), &object);
    EXPECT_EQ(counts(), std::pair(4, 3)) << "detach";
    d.Reset();
    EXPECT_FALSE(Ref<Counted>::Share(d.get()));
  }
  EXPECT_EQ(counts(), std::pair(4, 5)) << "destruction";
}

}  // namespace
