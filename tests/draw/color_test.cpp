#include <gtest/gtest.h>
#include <math.h>
#include <qecore/draw/color.h>

#include <numbers>
#include <tuple>

using namespace yk;

namespace {

// The table entry from its definition, in more precision than the library has.
int Entry(int i, int lift, int contrast) {
  constexpr long double PI = std::numbers::pi_v<long double>;
  long double x = i + lift * sinl(i / 255.0L * PI) * 1.5L;
  if (contrast != 0) {
    long double const y = x - 127.5L;
    long double const k = contrast * fabsl(sinl(y / 127.5L * PI)) / 50;
    x = (k > 0 ? y * (k + 1) : y / (1 - k)) + 127.5L;
  }
  return static_cast<int>(fminl(fmaxl(roundl(x), 0), 255));
}

}  // namespace

TEST(Adjustment, EveryEntryIsExact) {
  int const settings[] = {0, 1, -1, 7, 30, -30, 50, -50, 100, -100, 333, 32767, -32768};
  for (int lift : settings) {
    for (int contrast : settings) {
      IADJUSTMENT const a(lift, contrast);
      for (int i = 0; i < 256; ++i)
        ASSERT_EQ(a.table[i], Entry(i, lift, contrast)) << lift << ", " << contrast;
    }
  }
}

TEST(BlendColor, WeighsAsStatedEvenOutsideItsRange) {
  std::tuple<unsigned, unsigned, float, unsigned> const rows[] = {
      {0x01020304, 0xF1F2F3F4, 1.0f, 0x01020304},  {0xFFFFFFFF, 0x00000000, 0.5f, 0x7F7F7F7F},
      {0x000000FF, 0x00000000, 2.0f, 0x000000FE},   // 510, its low byte
      {0x000000FF, 0x00000001, -1.0f, 0x00000003},  // (1 * 510 - 255 * 255) / 255 = -253
      {0x00000001, 0x00000000, -0.5f, 0x00000000},  // -127 / 255, toward zero
      {0x000000FF, 0x00000000, NAN, 0x00000000},    // the weight is -2^31
  };
  for (auto const& [c0, c1, t, expected] : rows) EXPECT_EQ(BlendColor(c0, c1, t), expected) << t;
}
