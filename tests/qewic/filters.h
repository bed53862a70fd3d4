// The filters of qewic.qem, created through the registry as by a host, and files in memory.
#pragma once

#include <qecore/core/filter.h>
#include <qecore/core/system.h>
#include <qecore/image/file_info.h>
#include <qecore/image/image_file.h>
#include <qecore/values/map.h>

#include "image/support.h"
#include "io/streams.h"
#include "support/prelude.h"
#include "support/temp_folder.h"

using namespace yk;

inline Ref<ykFlt2d> Filter(Guid const& type) {
  Ref<ykFlt2d> filter;
  EXPECT_EQ(CreateInterface(type, filter.ReceiveVoid()), S_OK);
  EXPECT_EQ(*filter->GetTypeId(), type);
  return filter;
}

/// A System that knows the plug-ins next to the test program, and the filters of each.
struct Filters : testing::Test {
  Filters() {
    system->ScanModules(ProgramFolder().c_str(), cacheFolder.Path(L"cache").c_str());
    for (Guid const& type : {ids::FILE_PNG, ids::FILE_JPEG, ids::FILE_BMP, ids::FILE_GIF, ids::FILE_TIFF})
      filters.push_back(Filter(type));
  }

  TempFolder cacheFolder;
  Ref<System> system = Own(System::Create());
  std::vector<Ref<ykFlt2d>> filters;
};

inline string FromHex(string const& hex) {
  string bytes;
  for (size_t i = 0; i < hex.size(); i += 2)
    bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
  return bytes;
}

inline HRESULT Decode(ykFlt2d& filter, Stream& stream, ImageRef& image) {
  AbstractImage* out = reinterpret_cast<AbstractImage*>(intptr_t{-1});
  HRESULT const result = filter.Read(&stream, &out, 0);
  EXPECT_EQ(out != nullptr, Succeeded(result));
  image = ImageRef::Adopt(Succeeded(result) ? static_cast<Image2d*>(out) : nullptr);
  return result;
}

inline string Encode(ykFlt2d& filter, Image2d& image, unsigned options = 0) {
  Ref<Stream> const stream = Memory();
  EXPECT_EQ(filter.Write(stream.get(), &image, options), S_OK);
  return Content(*stream);
}

/// What the file says under a key, or a number that it cannot say.
inline unsigned Described(ykFlt2d& filter, string const& file, unsigned key) {
  Ref<Map> const info = Own(Map::Create());
  Variant value;
  unsigned number = 99;
  EXPECT_EQ(filter.QueryFileInfo(Memory(file).get(), info.get(), 0), S_OK);
  return info->GetValue(key, value) == S_OK && value.Get(number) ? number : 99;
}

/// The picture of a whole file, which describes it in the same way.
inline ImageRef Decoded(ykFlt2d& filter, string const& file) {
  ImageRef image;
  EXPECT_EQ(Decode(filter, *Memory(file), image), S_OK);
  if (!image) return ImageRef::Adopt(Image2d::Create());
  auto const format = Described(filter, file, img::INFO_PIXEL_FORMAT);
  EXPECT_TRUE(format == static_cast<unsigned>(image->format) || (format == 99 && file[25] == 4)) << format;
  EXPECT_EQ(Described(filter, file, img::INFO_WIDTH), static_cast<unsigned>(image->width));
  return image;
}

inline ImageRef ThereAndBack(ykFlt2d& filter, Image2d& image, unsigned options = 0) {
  return Decoded(filter, Encode(filter, image, options));
}

/// A picture whose byte `channel` of the pixel (x, y) is paint(x, y, channel).
template <class Paint>
ImageRef Painted(IMG_FORMAT format, int width, int height, Paint paint) {
  ImageRef image = NewImage(format, width, height);
  int const size = image->bytesPerPixel;
  for (int i = 0; i < width * height * size; ++i) {
    int const x = i / size % width, y = i / size / width;
    image->GetLineEx(y, x)[i % size] = static_cast<uint8_t>(paint(x, y, i % size));
  }
  return image;
}

/// The pixels from the top row down, without padding, in another format.
inline string Pixels(Image2d& image, IMG_FORMAT format) {
  string all;
  size_t const size = (static_cast<size_t>(image.width) * img::GetFacts(format).bits + 7) / 8;
  for (int y = 0; y < image.height; ++y) {
    string row(size + 4, '\0');
    EXPECT_EQ(image.ConvertLine(y, format, row.data(), INT_MAX), S_OK);
    all += row.substr(0, size);
  }
  return all;
}

template <class Type>
Variant Value(Type content) {
  Variant value;
  value.Init(content);
  return value;
}

inline Ref<ykFlt2dEx> Extended(ykFlt2d& filter) { return Ref<ykFlt2d>::Share(&filter).Query<ykFlt2dEx>(); }

inline string EncodeWith(ykFlt2d& filter, Image2d& image, unsigned key, int value) {
  Ref<Map> const options = Own(Map::Create());
  Variant chosen;
  chosen.Init(value);
  options->SetValue(key, chosen);
  Ref<Stream> const stream = Memory();
  EXPECT_EQ(Extended(filter)->WriteEx(stream.get(), &image, options.get(), nullptr), S_OK) << value;
  return Content(*stream);
}
