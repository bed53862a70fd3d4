#include <gtest/gtest.h>
#include <math.h>
#include <qecore/core/system.h>

#include <array>
#include <bit>

#include "core/conversions_p.h"
#include "image/convert_p.h"
#include "support.h"

using namespace yk;

namespace {

/// The conversions live while the System does: one for the whole program.
class WithSystem : public testing::Environment {
  void SetUp() override { System::Create(); }
  void TearDown() override { System::ptr()->Release(); }
};
[[maybe_unused]] testing::Environment* const ENVIRONMENT = testing::AddGlobalTestEnvironment(new WithSystem);

/// The reciprocals in the kernels give the single-precision quotient for every number of 16 bits.
TEST(ConvertPixels, DividesExactly) {
  std::vector<uint16_t> words(65536);
  for (size_t i = 0; i < words.size(); ++i) words[i] = static_cast<uint16_t>(i);
  std::vector<float> gray(3 * words.size());
  ASSERT_EQ(img::ConvertPixels(words.data(), gray.data(), IMG_GRAY16, IMG_BGRF, 65536, nullptr), S_OK);
  for (size_t i = 0; i < words.size(); ++i) ASSERT_EQ(gray[3 * i], static_cast<float>(i) / 65535.0f) << i;
}

// ---- the rules, written down pixel by pixel ---------------------------------------------------------------

enum Depth { EIGHT, SIXTEEN, FLOAT };

constexpr Depth DepthOf(IMG_FORMAT format) {
  if (format >= IMG_GRAYF && format <= IMG_BGRAF) return FLOAT;
  return format >= IMG_GRAY16 && format <= IMG_BGRA64 ? SIXTEEN : EIGHT;
}

/// A pixel of any source; channels of 8 and 16 bits stand as whole numbers.
struct Sample {
  Depth depth;
  float channel[4];
  bool gray = false;

  uint8_t Byte(float v) const {
    int const whole =
        depth == FLOAT ? TruncateToInt(static_cast<double>(v) * 255.0 + 0.5) : static_cast<int>(v);
    return static_cast<uint8_t>(depth == SIXTEEN ? whole >> 8 : whole & 0xFF);
  }
  float Float(float v) const { return depth == EIGHT ? v / 255.0f : depth == SIXTEEN ? v / 65535.0f : v; }
  uint8_t Gray() const {
    auto const [b, g, r, a] = channel;
    if (gray) return b >= 1.0f ? 255 : b <= 0.0f ? 0 : static_cast<uint8_t>(TruncateToInt(b * 255.0f));
    return depth == FLOAT ? Byte(((b + g) + r) / 3.0f)
                          : static_cast<uint8_t>(static_cast<int>(b + g + r) / 3);
  }
};

Sample Load(IMG_FORMAT format, unsigned char const* in, size_t i, IMG_PALENTRY const* palette) {
  unsigned const bits = img::GetFacts(format).bits;
  if (img::GetFacts(format).paletteEntries) {
    IMG_PALENTRY const& e = palette[in[i * bits / 8] >> (8 - bits - i * bits % 8) & ((1 << bits) - 1)];
    return {EIGHT, {float(e.blue), float(e.green), float(e.red), float(e.alpha)}};
  }
  if (format == IMG_RGB555) {
    int const word = in[2 * i] | in[2 * i + 1] << 8;
    return {EIGHT, {float((word & 0x1F) << 3), float(word >> 2 & 0xF8), float(word >> 7 & 0xF8), 255}};
  }
  size_t const n = img::GetFacts(format).channels;
  float const full = DepthOf(format) == FLOAT ? 1.0f : DepthOf(format) == SIXTEEN ? 65535.0f : 255.0f;
  Sample sample = {DepthOf(format), {full, full, full, full}, n == 1};
  for (size_t c = 0; c < 4; ++c) {
    size_t const at = i * n + (n == 1 ? 0 : c);
    if (c == n && n == 3) continue;
    if (sample.depth == EIGHT) sample.channel[c] = in[at];
    if (sample.depth == SIXTEEN) sample.channel[c] = float(in[2 * at] | in[2 * at + 1] << 8);
    if (sample.depth == FLOAT) memcpy(&sample.channel[c], in + 4 * at, 4);
  }
  return sample;
}

void Append(Bytes& out, IMG_FORMAT source, IMG_FORMAT target, Sample const& sample) {
  if (target == IMG_GRAY8) return out.push_back(sample.Gray());
  for (size_t c = 0; c < img::GetFacts(target).channels; ++c) {
    float const v = sample.channel[source == IMG_PAL8 && target == IMG_GRAYF ? 3 : c];
    auto const bytes = std::bit_cast<std::array<uint8_t, 4>>(sample.Float(v));
    if (DepthOf(target) == FLOAT) out.insert(out.end(), bytes.begin(), bytes.end());
    if (DepthOf(target) == EIGHT) out.push_back(sample.Byte(v));
  }
}

/// Bit t of entry s: format s converts to format t.
constexpr unsigned TARGETS[19] = {0, 0x7018, 0x701A, 0x6012, 0x600A, 0, 0,      0x6018, 0x6018, 0x6018,
                                  0, 0,      0x601A, 0x401A, 0x201A, 0, 0x000A, 0x0008, 0x0008};

bool IsPair(int source, int target) {
  return source >= 0 && source < 19 && target >= 0 && TARGETS[source] >> target & 1;
}

/// A float that is apt to go wrong: far outside, no number at all, at the edge between two bytes.
float HardFloat(std::mt19937& random) {
  static constexpr float WILD[] = {NAN,  INFINITY, -INFINITY, 1e30f, -1e30f, -0.0f,
                                   1.0f, 1.5f,     -0.3f,     2.0f,  1e-40f, 8.4e6f};
  if (random() % 4 == 0) return WILD[random() % std::size(WILD)];
  if (random() % 3 == 0) return nextafterf((random() % 256 - 0.5f) / 255.0f, random() % 2 ? 2.0f : -2.0f);
  return static_cast<float>(random() % 0x1000000) / 0x1000000;
}

/// Runs `convert` at every width, in rows with nothing behind them but `slack` bytes, which repeat the last
/// ones.
template <class Converts>
void CheckPair(IMG_FORMAT from, IMG_FORMAT to, size_t slack, Converts convert) {
  std::mt19937 random(static_cast<unsigned>(from * 100 + to));
  std::vector<IMG_PALENTRY> palette(img::GetFacts(from).paletteEntries);
  if (!palette.empty()) Randomize(IMG_PAL8, &palette[0].red, 4 * palette.size(), random);
  for (int width = 1; width <= 300; ++width) {
    Bytes in((static_cast<size_t>(img::GetFacts(from).bits) * width + 7) / 8), expected;
    Randomize(IMG_PAL8, in.data(), in.size(), random);
    for (size_t i = 0; DepthOf(from) == FLOAT && i < in.size(); i += 4) {
      float const value = HardFloat(random);
      memcpy(&in[i], &value, 4);
    }
    for (int i = 0; i < width; ++i) Append(expected, from, to, Load(from, in.data(), i, palette.data()));
    for (size_t i = 0; i < slack; ++i) expected.push_back(expected[expected.size() - slack]);
    Bytes out(expected.size());
    convert(in.data(), out.data(), static_cast<size_t>(width), palette.data());
    ASSERT_EQ(memcmp(out.data(), expected.data(), out.size()), 0)
        << from << " to " << to << ", width " << width;
  }
}

}  // namespace

void Randomize(IMG_FORMAT format, unsigned char* at, size_t size, std::mt19937& random) {
  for (size_t i = 0; i < size; ++i) at[i] = static_cast<unsigned char>(random() >> 8);
  for (size_t i = 0; DepthOf(format) == FLOAT && i + 4 <= size; i += 4) {
    float const value = static_cast<float>(random() % 20001) / 10000.0f - 0.5f;
    memcpy(at + i, &value, 4);
  }
}

/// Through the library, and through the kernels that it does not choose on this processor.
TEST(ConvertPixels, FollowsTheRulesForEveryPairAtEveryWidth) {
  img::Kernel const* const sets[] = {img::KERNELS_BASE,
                                     __builtin_cpu_supports("ssse3") ? img::KERNELS_SSSE3 : nullptr,
                                     __builtin_cpu_supports("avx2") ? img::KERNELS_AVX2 : nullptr};
  for (int i = 0; i < img::KERNEL_COUNT; ++i) {
    IMG_FORMAT const from = sets[0][i].source, to = sets[0][i].target;
    ASSERT_TRUE(IsPair(from, to));
    for (img::Kernel const* set : sets) {
      if (set) CheckPair(from, to, 0, set[i].run);
    }
    // The one conversion that writes a float too many, which equals the last one.
    CheckPair(from, to, from == IMG_GRAY8 && to == IMG_BGRF ? 4 : 0,
              [=](void* in, void* out, size_t count, IMG_PALENTRY* palette) {
                ASSERT_EQ(img::ConvertPixels(in, out, from, to, static_cast<int>(count), palette), S_OK);
              });
  }
}

TEST(ConvertPixels, CopiesOrRefusesAllElse) {
  Bytes in(64, 1), out(64, 0xCD);
  IMG_PALENTRY palette[256] = {};
  auto const convert = [&](int from, int to, int count, bool whole = true) {
    return img::ConvertPixels(whole ? in.data() : nullptr, out.data(), static_cast<IMG_FORMAT>(from),
                              static_cast<IMG_FORMAT>(to), count, whole ? palette : nullptr);
  };
  for (int pair = 0; pair < 22 * 22; ++pair) {
    int const from = pair / 22 - 1, to = pair % 22 - 1;
    EXPECT_TRUE(from == to || IsPair(from, to) || convert(from, to, 1) == E_INVALIDARG) << from << ' ' << to;
  }
  for (int to : {2, 3}) EXPECT_EQ(convert(2, to, -1), E_INVALIDARG);
  for (int to : {2, 3}) EXPECT_EQ(convert(2, to, 1, false), E_INVALIDARG);
  EXPECT_EQ(img::ConvertPixels(in.data(), out.data(), IMG_PAL1, IMG_BGR24, 1, nullptr), E_INVALIDARG);
  EXPECT_EQ(img::ConvertPixels(in.data(), nullptr, IMG_GRAY8, IMG_BGR24, 1, nullptr), E_INVALIDARG);
  EXPECT_EQ(out, Bytes(64, 0xCD));
  EXPECT_EQ(convert(IMG_PAL1, IMG_PAL1, 9), S_OK);
  EXPECT_TRUE(out[1] == 1 && out[2] == 0xCD);
}
