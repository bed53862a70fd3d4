// Conversion and resampling.
#include <qecore/image/convert.h>

#include "pictures.h"

namespace bench {

using namespace yk;

namespace {

constexpr int LINE = 1920, UHD_WIDTH = 3840, UHD_HEIGHT = 2160;

std::string NameOf(IMG_FORMAT from, IMG_FORMAT to) {
  return std::string(img::GetFacts(from).name) + " to " + img::GetFacts(to).name;
}

bool IsSupported(IMG_FORMAT from, IMG_FORMAT to) {
  unsigned char source[64] = {}, target[64];
  IMG_PALENTRY palette[256] = {};
  return from != to && Succeeded(img::ConvertPixels(source, target, from, to, 1, palette));
}

void AddLine(IMG_FORMAT from, IMG_FORMAT to) {
  double const bytes = (BytesOf(from) + BytesOf(to)) * LINE;
  AddCopyRow("conversion of a line", NameOf(from, to), LINE, bytes, [=] {
    ImageRef const source = MakePicture(from, LINE, 1), target = MakePicture(to, LINE + 4, 1);
    return [=] {
      img::ConvertPixels(source->bits, target->bits, from, to, LINE, source->palette);
      Keep(target->bits[0]);
    };
  });
}

void AddPicture(IMG_FORMAT from, IMG_FORMAT to) {
  double const pixels = double{UHD_WIDTH} * UHD_HEIGHT;
  double const bytes = (BytesOf(from) + BytesOf(to)) * pixels;
  AddCopyRow("conversion of 3840 x 2160", NameOf(from, to), pixels, bytes, [=] {
    ImageRef const source = MakePicture(from, UHD_WIDTH, UHD_HEIGHT);
    ImageRef const target = MakePicture(to, UHD_WIDTH, UHD_HEIGHT);
    return [=] { source->RescaleTo(target.get()); };
  });
}

struct Sizes {
  IMG_FORMAT format;
  int fromWidth, fromHeight, toWidth, toHeight;
};

std::string NameOf(Sizes const& sizes) {
  auto const side = [](int number) { return std::to_string(number); };
  return std::string(img::GetFacts(sizes.format).name) + ", " + side(sizes.fromWidth) + " x " +
         side(sizes.fromHeight) + " to " + side(sizes.toWidth) + " x " + side(sizes.toHeight);
}

Work PrepareScaling(Sizes const& sizes) {
  ImageRef const source = MakePicture(sizes.format, sizes.fromWidth, sizes.fromHeight);
  ImageRef const target = MakePicture(sizes.format, sizes.toWidth, sizes.toHeight);
  return [=] { source->RescaleTo(target.get()); };
}

void AddScaling(Sizes const& sizes) {
  double const from = double{1} * sizes.fromWidth * sizes.fromHeight;
  double const to = double{1} * sizes.toWidth * sizes.toHeight;
  AddCopyRow("resampling", NameOf(sizes), std::max(from, to), (from + to) * BytesOf(sizes.format),
             [=] { return PrepareScaling(sizes); });
}

constexpr IMG_FORMAT PICTURE_PAIRS[][2] = {
    {IMG_BGR24, IMG_BGRA32}, {IMG_BGRA32, IMG_BGR24}, {IMG_BGR24, IMG_GRAY8}, {IMG_GRAY8, IMG_BGR24},
    {IMG_PAL8, IMG_BGRA32},  {IMG_PAL1, IMG_BGR24},   {IMG_PAL4, IMG_BGR24},  {IMG_RGB555, IMG_BGR24},
    {IMG_BGR48, IMG_BGR24},  {IMG_BGR24, IMG_BGRF},   {IMG_BGRF, IMG_BGR24},  {IMG_BGRA32, IMG_BGRAF},
    {IMG_BGRAF, IMG_BGRA32}, {IMG_GRAY8, IMG_GRAYF},  {IMG_GRAYF, IMG_GRAY8},
};

constexpr Sizes SCALINGS[] = {
    {IMG_BGR24, 3840, 2160, 1280, 720},   {IMG_BGR24, 3840, 2160, 1000, 562},
    {IMG_BGR24, 3840, 2160, 1920, 1080},  {IMG_GRAY8, 3840, 2160, 1280, 720},
    {IMG_GRAY8, 3840, 2160, 1920, 1080},  {IMG_BGRA32, 3840, 2160, 1280, 720},
    {IMG_BGRA32, 3840, 2160, 1920, 1080}, {IMG_GRAYF, 1920, 1080, 960, 540},
    {IMG_BGRF, 1920, 1080, 960, 540},     {IMG_BGRAF, 1920, 1080, 960, 540},
    {IMG_BGR24, 1000, 562, 1920, 1080},   {IMG_BGRA32, 1000, 562, 1920, 1080},
    {IMG_GRAY8, 1000, 562, 1920, 1080},
};

}  // namespace

void AddConversions() {
  for (auto const& pair : PICTURE_PAIRS) AddPicture(pair[0], pair[1]);
  for (int from = 1; from <= img::LAST_FORMAT; ++from) {
    for (int to = 1; to <= img::LAST_FORMAT; ++to) {
      IMG_FORMAT const f = static_cast<IMG_FORMAT>(from), t = static_cast<IMG_FORMAT>(to);
      if (IsSupported(f, t)) AddLine(f, t);
    }
  }
}

void AddResampling() {
  for (Sizes const& sizes : SCALINGS) AddScaling(sizes);
  for (size_t i : {0u, 4u, 10u}) {
    AddThreads(NameOf(SCALINGS[i]), [=] { return PrepareScaling(SCALINGS[i]); });
  }
  AddThreads("bgr24 to bgra32, 3840 x 2160", [] {
    ImageRef const source = MakePicture(IMG_BGR24, UHD_WIDTH, UHD_HEIGHT);
    ImageRef const target = MakePicture(IMG_BGRA32, UHD_WIDTH, UHD_HEIGHT);
    return [=] { source->RescaleTo(target.get()); };
  });
}

}  // namespace bench
