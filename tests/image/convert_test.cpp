#include <windows.h>

#include <math.h>
#include <qecore/core/system.h>

#include <bit>

#include "core/conversions_p.h"
#include "core/processor_p.h"
#include "image/convert_p.h"
#include "support.h"
#include "support/guarded_memory.h"

using namespace yk;

namespace {

/// The conversions exist as long as the System: one for the whole program.
class WithSystem : public testing::Environment {
  void SetUp() override { System::Create(); }
  void TearDown() override { System::ptr()->Release(); }
};
[[maybe_unused]] testing::Environment* const ENVIRONMENT = testing::AddGlobalTestEnvironment(new WithSystem);

// ---- the definition, pixel by pixel -----------------------------------------------------------------------

constexpr bool IsWords(IMG_FORMAT format) { return format >= IMG_GRAY16 && format <= IMG_BGRA64; }

uint8_t ToByte(float v) { return static_cast<uint8_t>(TruncateToInt(static_cast<double>(v) * 255.0 + 0.5)); }

/// A pixel of any source, blue first, converted to bytes and to floats.
struct Pixel {
  uint8_t byte[4] = {0, 0, 0, 255};
  float real[4] = {0, 0, 0, 1};

  void Set(size_t c, uint8_t v) { byte[c] = v, real[c] = v / 255.0f; }
  void Set(size_t c, uint16_t v) { byte[c] = static_cast<uint8_t>(v >> 8), real[c] = v / 65535.0f; }
  void Set(size_t c, float v) { byte[c] = ToByte(v), real[c] = v; }
};

Pixel Load(IMG_FORMAT format, unsigned char const* in, size_t i, IMG_PALENTRY const* palette) {
  unsigned const bits = img::GetFacts(format).bits, channels = img::GetFacts(format).channels;
  IMG_PALENTRY const* entry = palette;
  if (palette) entry += in[i * bits / 8] >> (8 - bits - i * bits % 8) & ((1 << bits) - 1);
  Pixel pixel;
  for (size_t c = 0; c < (channels == 3 || format == IMG_RGB555 ? 3 : 4); ++c) {
    size_t const at = channels == 1 ? i : i * channels + c;
    if (palette) pixel.Set(c, c < 3 ? (&entry->red)[2 - c] : entry->alpha);
    if (format == IMG_RGB555) pixel.Set(c, uint8_t((in[2 * i] | in[2 * i + 1] << 8) >> 5 * c << 3));
    if (IsFloat(format)) pixel.Set(c, reinterpret_cast<float const*>(in)[at]);
    if (IsWords(format)) pixel.Set(c, reinterpret_cast<uint16_t const*>(in)[at]);
    if (!palette && bits == 8 * channels) pixel.Set(c, in[at]);
  }
  return pixel;
}

uint8_t Grey(IMG_FORMAT source, Pixel const& pixel) {
  auto const [b, g, r, a] = pixel.real;
  if (source == IMG_GRAYF) return b >= 1.0f ? 255 : b <= 0.0f ? 0 : uint8_t(TruncateToInt(b * 255.0f));
  if (IsFloat(source)) return ToByte(((b + g) + r) / 3.0f);
  return static_cast<uint8_t>((pixel.byte[0] + pixel.byte[1] + pixel.byte[2]) / 3);
}

void Append(Bytes& out, IMG_FORMAT source, IMG_FORMAT target, Pixel const& pixel) {
  if (target == IMG_GRAY8) return out.push_back(Grey(source, pixel));
  for (size_t i = 0; i < img::GetFacts(target).channels; ++i) {
    size_t const c = source == IMG_PAL8 && target == IMG_GRAYF ? 3 : i;  // the alpha (contract)
    auto const bytes = std::bit_cast<std::array<uint8_t, 4>>(pixel.real[c]);
    IsFloat(target) ? void(out.insert(out.end(), bytes.begin(), bytes.end())) : out.push_back(pixel.byte[c]);
  }
}

/// A float next to the boundary between two bytes.
float EdgeFloat(std::mt19937& random) {
  return nextafterf((random() % 511 * 0.5f) / 255.0f, random() % 2 ? 2.0f : -2.0f);
}

/// A float that is likely to go wrong: far out of range, NaN, or such an edge.
float HardFloat(std::mt19937& random) {
  static constexpr float WILD[] = {NAN, INFINITY, -INFINITY, 1e30f, -0.0f, 1.0f, 1.5f, -0.3f, 1e-40f, 8.4e6f};
  return random() % 4 == 0 ? WILD[random() % std::size(WILD)] : EdgeFloat(random);
}

/// Of one kind, since kernels convert blocks without values that are far out of range in other ways.
void FillWithFloats(Bytes& in, int kind, IMG_FORMAT format, std::mt19937& random) {
  float* const floats = reinterpret_cast<float*>(in.data());
  auto const make = kind == 0 ? HardFloat : EdgeFloat;
  if (kind == 2) return Randomize(format, in.data(), in.size(), random);
  std::generate(floats, floats + in.size() / 4, [&] { return make(random); });
}

constexpr int MOST_PIXELS = 1500;  // so many that tables are made, and that blocks follow each other

img::Kernel const* const SETS[] = {img::KERNELS_BASE, HasSsse3() ? img::KERNELS_SSSE3 : img::KERNELS_BASE,
                                   HasAvx2() ? img::KERNELS_AVX2 : img::KERNELS_BASE};

/// At every width, by the kernels that the library chooses on some processor, on pixels at the end of a page
/// and one byte before it; and by the library.
void CheckPair(int pair, GuardedMemory const& source, GuardedMemory const& target) {
  IMG_FORMAT const from = SETS[0][pair].source, to = SETS[0][pair].target;
  std::mt19937 random(static_cast<unsigned>(pair));
  std::vector<IMG_PALENTRY> palette(img::GetFacts(from).paletteEntries);
  if (!palette.empty()) Randomize(IMG_PAL8, &palette[0].red, 4 * palette.size(), random);
  for (int width = 0; width <= MOST_PIXELS; width += width < 300 ? 1 : 97) {
    SCOPED_TRACE(testing::Message() << from << " to " << to << ", width " << width);
    Bytes in((static_cast<size_t>(img::GetFacts(from).bits) * width + 7) / 8), expected;
    Randomize(IMG_PAL8, in.data(), in.size(), random);
    if (IsFloat(from)) FillWithFloats(in, width % 3, from, random);
    for (int i = 0; i < width; ++i) Append(expected, from, to, Load(from, in.data(), i, palette.data()));
    for (size_t gap : {0, 1}) {
      uint8_t* const there = source.Last(in.size(), gap);
      std::copy(in.begin(), in.end(), there);
      for (img::Kernel const* set : SETS) {
        uint8_t* const out = target.Last(expected.size(), gap);
        out[-1] = 0xCD, memset(out, 0xCD, expected.size() + gap);
        set[pair].run(there, out, static_cast<size_t>(width), palette.data());
        ASSERT_TRUE(Bytes(out, out + expected.size()) == expected) << set;
        ASSERT_TRUE(out[-1] == 0xCD && (!gap || out[expected.size()] == 0xCD)) << set;
      }
    }
    // The only conversion that writes an additional float, a copy of the last one.
    if (from == IMG_GRAY8 && to == IMG_BGRF && width)
      expected.insert(expected.end(), expected.end() - 4, expected.end());
    Bytes out(expected.size());
    if (width == 0) continue;
    ASSERT_EQ(img::ConvertPixels(in.data(), out.data(), from, to, width, palette.data()), S_OK);
    ASSERT_EQ(out, expected);
  }
}

}  // namespace

TEST(ConvertPixels, FollowsTheRulesForEveryPairAtEveryWidth) {
  GuardedMemory const source(16 * MOST_PIXELS + 1), target(16 * MOST_PIXELS + 1);
  for (int pair = 0; pair < img::KERNEL_COUNT && !HasFatalFailure(); ++pair) CheckPair(pair, source, target);
}

TEST(ConvertPixels, CopiesOrRefusesAllElse) {
  Bytes in(64, 1), out(64, 0xCD);
  IMG_PALENTRY palette[256] = {};
  auto const convert = [&](int from, int to, int count, void* source, IMG_PALENTRY* colors) {
    return img::ConvertPixels(source, out.data(), IMG_FORMAT(from), IMG_FORMAT(to), count, colors);
  };
  ExpectEach(E_INVALIDARG, {convert(2, 2, -1, in.data(), palette), convert(2, 3, -1, in.data(), palette),
                            convert(2, 2, 1, nullptr, palette), convert(2, 3, 1, nullptr, palette),
                            convert(IMG_PAL1, IMG_BGR24, 1, in.data(), nullptr)});
  EXPECT_EQ(out, Bytes(64, 0xCD));
  EXPECT_EQ(convert(IMG_PAL1, IMG_PAL1, 9, in.data(), nullptr), S_OK);
  EXPECT_EQ(Bytes(&out[0], &out[3]), (Bytes{1, 1, 0xCD}));
  int pairs = 0;
  for (int i = 0; i < 22 * 22; ++i) {
    int const from = i / 22 - 1, to = i % 22 - 1;
    pairs += from != to && convert(from, to, 1, in.data(), palette) != E_INVALIDARG;
  }
  EXPECT_EQ(pairs, img::KERNEL_COUNT);
}
