#include "image_edit.h"

#include <qecore/image/convert.h>
#include <qecore/image/file_info.h>
#include <qecore/image/orientation.h>

#include <array>
#include <vector>

#include "resize.h"
#include "text.h"

namespace qetool {

using namespace yk;

namespace {

bool IsGrey(IMG_FORMAT format) { return img::GetFacts(format).channels == 1; }

bool IsFloat(IMG_FORMAT format) { return img::GetFacts(format).kind == img::ChannelKind::FLOAT; }

// Pixels of others can be converted to those in which resampling sums.
bool IsTarget(img::FormatFacts const& facts) {
  return facts.format != IMG_NONE && (facts.averaged == facts.format || facts.summed == facts.format);
}

// Whether the library has a converter.
HRESULT FindConverter(IMG_FORMAT from, IMG_FORMAT to) {
  return img::ConvertPixels(nullptr, nullptr, from, to, 0, nullptr);
}

// A converter, except one that turns alpha into grey or grey into alpha.
bool IsStep(IMG_FORMAT from, IMG_FORMAT to) {
  bool const greyToAlpha = IsGrey(from) && img::HasAlpha(to);
  bool const alphaToGrey = img::GetFacts(from).paletteEntries && IsGrey(to) && IsFloat(to);
  return !greyToAlpha && !alphaToGrey && Succeeded(FindConverter(from, to));
}

// The formats on the shortest path, without `from`, or empty. Of paths of equal length, the
// one through the higher formats is chosen: it keeps more bits.
std::vector<IMG_FORMAT> FindWay(IMG_FORMAT from, IMG_FORMAT to) {
  std::array<int, img::LAST_FORMAT + 1> before = {};  // 0: not reached
  std::vector<IMG_FORMAT> reached = {from};
  before[from] = from;
  for (size_t i = 0; i < reached.size() && !before[to]; ++i) {
    for (int next = img::LAST_FORMAT; next > 0; --next) {
      if (before[next] || !IsStep(reached[i], IMG_FORMAT(next))) continue;
      before[next] = reached[i];
      reached.push_back(IMG_FORMAT(next));
    }
  }
  std::vector<IMG_FORMAT> way;
  for (int at = to; before[at] && at != from; at = before[at]) way.insert(way.begin(), IMG_FORMAT(at));
  return way;
}

// Cropping and mirroring work on whole bytes.
void MakeWholeBytes(ImageRef& image, Listener& listener) {
  if (image->bytesPerPixel == 0) ChangeFormat(image, IMG_BGR24, listener);
}

}  // namespace

IMG_FORMAT FormatByName(std::string const& name) {
  for (img::FormatFacts const& facts : img::FORMATS) {
    if (facts.format != IMG_NONE && EqualNoCase(facts.name, name)) return facts.format;
  }
  throw Failure{"unknown pixel format " + name + ": it must be one of " + TargetFormats()};
}

std::string TargetFormats() {
  std::string names;
  for (img::FormatFacts const& facts : img::FORMATS) {
    if (IsTarget(facts)) names += (names.empty() ? "" : ", ") + std::string(facts.name);
  }
  return names;
}

ImageRef NewImage(IMG_FORMAT format, int width, int height) {
  ImageRef image = ImageRef::Adopt(Image2d::Create());
  if (!image || Failed(image->Create(format, width, height))) throw Failure{LastReason()};
  return image;
}

ImageRef Rescaled(Image2d& image, int width, int height, IMG_FORMAT format, Listener& listener) {
  Image2d* scaled = nullptr;  // dangling after a failure
  HRESULT const result = image.Rescale(width, height, format, &scaled, &listener);
  listener.Check();
  if (Failed(result)) throw Failure{Reason(result)};
  return ImageRef::Adopt(scaled);
}

IMG_FORMAT PlainFormat(Image2d const& image) { return HasAlpha(image) ? IMG_BGRA32 : IMG_BGR24; }

void ChangeFormat(ImageRef& image, IMG_FORMAT format, Listener& listener) {
  if (image->format == format) return;
  std::vector<IMG_FORMAT> const way = FindWay(image->format, format);
  if (way.empty()) throw Failure{Reason(FindConverter(image->format, format))};
  for (IMG_FORMAT const step : way) image = Rescaled(*image, image->width, image->height, step, listener);
}

void Crop(ImageRef& image, Edges const& edges, Listener& listener) {
  MakeWholeBytes(image, listener);
  Image2d* cropped = nullptr;  // dangling after a failure
  HRESULT const result = image->Crop(edges.left, edges.top, edges.right, edges.bottom, &cropped);
  if (Failed(result)) throw Failure{"cannot crop: " + Reason(result)};
  image = ImageRef::Adopt(cropped);
  listener.Check();
}

void MakeUpright(ImageRef& image) {
  Image2d* upright = nullptr;
  HRESULT const result = img::MakeUpright(*image, &upright);
  if (Failed(result)) throw Failure{"cannot turn the picture upright: " + Reason(result)};
  image = ImageRef::Adopt(upright);
}

unsigned OrientationOf(Image2d& image) {
  Variant value;
  unsigned orientation = 1;
  bool const isKnown = Succeeded(image.GetValue(img::INFO_ORIENTATION, value)) && value.Get(orientation);
  return isKnown && orientation >= 1 && orientation <= 8 ? orientation : 1;
}

void KeepFileInfo(Image2d& from, Image2d& to, FileInfo info) {
  if (info == FileInfo::KEPT) {
    HRESULT const result = &from == &to ? S_OK : img::CopyFileInfo(from, to);
    if (Failed(result)) throw Failure{"cannot keep what the file says: " + Reason(result)};
    return;
  }
  unsigned const orientation = OrientationOf(from);  // before it is removed: `to` may be the same picture
  for (img::FileInfoFacts const& facts : img::FILE_INFO) {
    Variant value;
    if (Succeeded(to.GetValue(facts.key, value))) to.SetValue(facts.key, {});
  }
  if (orientation > 1) to.SetValue(img::INFO_ORIENTATION, Variant(orientation));
}

void FlipHorizontally(ImageRef& image, Listener& listener) {
  MakeWholeBytes(image, listener);
  image->FlipH();
  listener.Check();
}

void FlipVertically(ImageRef& image, Listener& listener) {
  MakeWholeBytes(image, listener);
  image->FlipV();
  listener.Check();
}

}  // namespace qetool
