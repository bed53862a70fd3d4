// Images: arbitrary sequences of operations on two of them, of any size and format for which there is memory.
#include <qecore/core/system.h>
#include <qecore/draw/geometry.h>
#include <qecore/image/convert.h>
#include <qecore/image/image.h>

#include "images.h"
#include "target.h"

namespace fuzz {

using namespace yk;

IMG_FORMAT AnyFormat(Input& in) {
  static constexpr int ODD[] = {5, 6, 10, -1, INT_MAX};
  unsigned const choice = in.Below(20);
  if (choice == 19) return static_cast<IMG_FORMAT>(in.Pick(ODD));
  return static_cast<IMG_FORMAT>(choice);
}

void Paint(Image2d& image, unsigned seed) {
  if (!image.bits) return;
  auto const next = [&] { return seed = seed * 1664525u + 1013904223u; };
  size_t const size = static_cast<size_t>(image.stride) * image.height;
  for (size_t i = 0; i < size; ++i) image.bits[i] = static_cast<uint8_t>(next() >> 24);
  for (int i = 0; i < img::GetFacts(image.format).paletteEntries; ++i) {
    unsigned const entry = next();
    memcpy(&image.palette[i], &entry, sizeof entry);
  }
}

void Touch(Image2d& image) {
  if (!image.bits || image.height > 100000) return;
  unsigned volatile sum = 0;
  for (int y = 0; y < image.height; ++y) {
    unsigned char const* const row = image.GetLine(y);
    Require(row != nullptr, "an image has all its rows");
    if (image.stride > 0) sum = sum + row[0] + row[image.stride - 1];
  }
  if (img::GetFacts(image.format).paletteEntries) sum = sum + image.palette[image.paletteCount - 1].alpha;
}

namespace {

constexpr int LARGEST_RESAMPLED = 300;
constexpr int LARGEST_ROW = 1 << 19;

struct Pair {
  Ref<Image2d> images[2];
};

int Side(Input& in) { return in.OneIn(16) ? in.Any() : static_cast<int>(in.Below(70)); }

// Sizes for which an image has no bytes may have 2^31 rows: the operation is supposed to walk them all.
void Create(Image2d& a, Pair&, Input& in) {
  a.flags = in.Below(2);
  IMG_FORMAT const format = AnyFormat(in);
  int const width = Side(in), height = Side(in);
  HRESULT const result = a.Create(format, width, height);
  if (Failed(result))
    return Require(!a.bits || result == E_INVALIDARG, "an image whose creation failed has no pixels");
  Require(a.bits != nullptr, "a created image has pixels");
  Require(a.bitsPerPixel == img::GetFacts(format).bits, "an image knows its format");
  Paint(a, in.Byte());
}

void Rescale(Image2d& a, Pair& pair, Input& in) {
  int const width = Side(in) % LARGEST_RESAMPLED, height = Side(in) % LARGEST_RESAMPLED;
  Image2d* result = nullptr;
  if (Failed(a.Rescale(width, height, AnyFormat(in), &result))) return;
  Touch(*result);
  in.Pick(pair.images) = Ref<Image2d>::Adopt(result);
}

void Crop(Image2d& a, Pair& pair, Input& in) {
  int const left = Side(in), top = Side(in), right = Side(in), bottom = Side(in);
  Image2d* result = nullptr;
  if (Failed(a.Crop(left, top, right, bottom, &result))) return;
  Touch(*result);
  in.Pick(pair.images) = Ref<Image2d>::Adopt(result);
}

void RescaleTo(Image2d& a, Pair& pair, Input& in) {
  a.RescaleTo(in.OneIn(16) ? nullptr : in.Pick(pair.images).get());
}

// The row has one byte more than needed, or exactly enough, or one too few.
void ConvertLine(Image2d& a, Pair&, Input& in) {
  IMG_FORMAT const format = AnyFormat(in);
  int64_t const size = img::GetRowSize(format, a.width) + static_cast<int>(in.Below(3)) - 1;
  if (size < 0 || size > LARGEST_ROW) return;
  std::vector<char> row(static_cast<size_t>(size));
  row.shrink_to_fit();
  a.ConvertLine(Side(in), format, row.data(), static_cast<int>(size));
}

void ConvertPixels(Image2d&, Pair&, Input& in) {
  IMG_FORMAT const from = AnyFormat(in), to = AnyFormat(in);
  int const count = in.Byte();
  size_t const extra = from == IMG_GRAY8 && to == IMG_BGRF ? 4 : 0;  // see convert.h
  std::vector<char> source(img::GetRowSize(from, count), in.Small()),
      target(img::GetRowSize(to, count) + extra);
  IMG_PALENTRY palette[256] = {};
  img::ConvertPixels(source.data(), target.data(), from, to, count, in.OneIn(4) ? nullptr : palette);
}

void GetPixel(Image2d& a, Pair&, Input& in) {
  point4df color;
  a.GetPixel({in.Single(), in.Single(), in.Single()}, color);
}

void SetProperty(Image2d& a, Pair&, Input& in) {
  Variant value;
  value.Init(static_cast<int>(in.Byte()));
  a.SetValue(in.Below(4), value);
  a.GetValue(in.Below(4), value);
}

void GetLine(Image2d& a, Pair&, Input& in) {
  int const y = Side(in);
  unsigned char const* const row = a.GetLine(y);
  a.GetLineEx(y, 0);
  if (row) Require(y >= 0 && y < a.height, "a row is inside the image");
}

struct Record final : drvData {
  void Destroy() noexcept override { delete this; }
};

void KeepRecord(Image2d& a, Pair&, Input& in) {
  Record* const record = new Record;
  record->owner = reinterpret_cast<void*>(uintptr_t{in.Byte()});
  Require(Succeeded(a.drivers.Add(record)), "a new record is accepted");
  Require(a.drivers.Get(record->owner) == record, "an accepted record is found");
  if (in.Flag()) a.drivers.Remove(record);
}

void ClearColor(Image2d& a, Pair&, Input& in) { a.ClearColor(in.Take<unsigned>()); }
void AskGrey(Image2d& a, Pair&, Input&) { a.IsGrayScaleContent(), a.IsGrayScalePalette(); }
void Free(Image2d& a, Pair&, Input&) { a.Free(); }
void FlipH(Image2d& a, Pair&, Input&) { a.FlipH(); }
void FlipV(Image2d& a, Pair&, Input&) { a.FlipV(); }
void Premultiply(Image2d& a, Pair&, Input&) { a.PremultiplyAlpha(); }

using Step = void (*)(Image2d&, Pair&, Input&);
constexpr Step STEPS[] = {Create,      Create,        Create,   Rescale,     Crop,    RescaleTo,
                          ConvertLine, ConvertPixels, GetPixel, SetProperty, GetLine, KeepRecord,
                          ClearColor,  AskGrey,       Free,     FlipH,       FlipV,   Premultiply};

}  // namespace

// The table of conversions belongs to the System; building it again for each input would take most of the
// time.
void PrepareImages() { System::Create(); }

void EditImages(Input& in) {
  Pair pair;
  for (Ref<Image2d>& image : pair.images) image = Ref<Image2d>::Adopt(Image2d::Create());
  for (int turns = 0; in.More() && turns < 20 && pair.images[0] && pair.images[1]; ++turns) {
    Image2d& image = *in.Pick(pair.images);
    in.Step(STEPS)(image, pair, in);
    if (in.OneIn(8)) Touch(*pair.images[0]), Touch(*pair.images[1]);
  }
}

}  // namespace fuzz
