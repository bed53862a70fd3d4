// Measures pixel throughput: each conversion in gigabytes (read and written) per second, next to a plain copy
// of the same size, in the cache and in memory; then resampling in millions of source pixels per second.
//
//   cmake --build --preset release --target image_bench && build/release/bin/image_bench.exe
#include <qecore/core/ref.h>
#include <qecore/core/system.h>
#include <qecore/image/convert.h>
#include <qecore/image/image.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <chrono>
#include <vector>

namespace {

using namespace yk;

/// Seconds for one call of `work`: the best of several rounds of at least 20 ms.
template <class Work>
double Measure(Work work) {
  using Clock = std::chrono::steady_clock;
  double best = 1e9;
  for (int round = 0, calls = 1; round < 5;) {
    auto const start = Clock::now();
    for (int i = 0; i < calls; ++i) work();
    double const seconds = std::chrono::duration<double>(Clock::now() - start).count();
    if (seconds < 0.02) {
      calls *= 2;
      continue;
    }
    best = std::min(best, seconds / calls);
    ++round;
  }
  return best;
}

struct Buffers {
  std::vector<unsigned char> source, target;
  std::vector<IMG_PALENTRY> palette{256};

  explicit Buffers(int pixels) : source(16u * pixels), target(16u * pixels + 4) {
    for (size_t i = 0; i < source.size(); ++i) source[i] = static_cast<unsigned char>(i * 7 + (i >> 9));
    for (int i = 0; i < 256; ++i) {
      unsigned char const v = static_cast<unsigned char>(i);
      palette[i] = {v, static_cast<unsigned char>(255 - v), 7, v};
    }
  }

  /// Floats within 0.0 to 1.0 instead of noise.
  void FillWithFloats() {
    for (size_t i = 0; i + 4 <= source.size(); i += 4) {
      float const value = static_cast<float>(i % 1021) / 1021.0f;
      memcpy(&source[i], &value, sizeof value);
    }
  }
};

double ConversionRate(Buffers& buffers, IMG_FORMAT from, IMG_FORMAT to, int pixels) {
  double const bytes = (img::GetFacts(from).bits + img::GetFacts(to).bits) / 8.0 * pixels;
  double const seconds = Measure([&] {
    img::ConvertPixels(buffers.source.data(), buffers.target.data(), from, to, pixels,
                       buffers.palette.data());
  });
  return bytes / seconds / 1e9;
}

double CopyRate(Buffers& buffers, IMG_FORMAT from, IMG_FORMAT to, int pixels) {
  size_t const size = (img::GetFacts(from).bits + img::GetFacts(to).bits) / 8 * size_t(pixels) / 2;
  double const seconds = Measure([&] {
    memcpy(buffers.target.data(), buffers.source.data(), size);
    buffers.source[0] ^= buffers.target[size - 1];
  });
  return 2.0 * static_cast<double>(size) / seconds / 1e9;
}

void BenchConversions() {
  constexpr int ROW = 1920;
  constexpr int PICTURE = 4000 * 1500;
  Buffers row(ROW);
  Buffers picture(PICTURE);
  printf("%-8s %-8s %12s %12s %12s %12s   GB/s\n", "from", "to", "row", "copy", "picture", "copy");
  for (int from = 1; from <= img::LAST_FORMAT; ++from) {
    if (from == IMG_GRAYF) {
      row.FillWithFloats();
      picture.FillWithFloats();
    }
    for (int to = 1; to <= img::LAST_FORMAT; ++to) {
      IMG_FORMAT const f = static_cast<IMG_FORMAT>(from);
      IMG_FORMAT const t = static_cast<IMG_FORMAT>(to);
      if (f == t || img::ConvertPixels(row.source.data(), row.target.data(), f, t, 1, row.palette.data()))
        continue;
      printf("%-8s %-8s %12.1f %12.1f %12.1f %12.1f\n", img::GetFacts(f).name, img::GetFacts(t).name,
             ConversionRate(row, f, t, ROW), CopyRate(row, f, t, ROW), ConversionRate(picture, f, t, PICTURE),
             CopyRate(picture, f, t, PICTURE));
    }
  }
}

Ref<Image2d> MakePicture(IMG_FORMAT format, int width, int height) {
  Ref<Image2d> image = Ref<Image2d>::Adopt(Image2d::Create());
  if (!image || Failed(image->Create(format, width, height))) return {};
  for (int y = 0; y < height; ++y) {
    memset(image->GetLine(y), y & 0x3F, static_cast<size_t>(image->stride));
  }
  return image;
}

void BenchResampling() {
  struct Size {
    int width, height;
  };
  printf("\n%-8s %24s %12s %12s\n", "format", "from 4000 x 3000 to", "ms", "Mpixel/s");
  for (IMG_FORMAT format : {IMG_GRAY8, IMG_BGR24, IMG_BGRA32, IMG_BGRAF}) {
    Ref<Image2d> const source = MakePicture(format, 4000, 3000);
    for (Size size :
         {Size{2000, 1500}, Size{1333, 1000}, Size{320, 240}, Size{4001, 3001}, Size{8000, 6000}}) {
      Ref<Image2d> const target = MakePicture(format, size.width, size.height);
      if (!source || !target) continue;
      double const seconds = Measure([&] { source->RescaleTo(target.get()); });
      double const pixels = std::max(4000.0 * 3000.0, double(size.width) * size.height);
      printf("%-8s %15d x %6d %12.1f %12.0f\n", img::GetFacts(format).name, size.width, size.height,
             seconds * 1000, pixels / seconds / 1e6);
    }
  }
}

}  // namespace

int main() {
  Ref<System> const system = Ref<System>::Adopt(System::Create());
  BenchConversions();
  BenchResampling();
  return 0;
}
