// What the filter tests share: a System with the plug-in, pictures in memory, pictures of noise.
#pragma once

#include <qecore/core/filter.h>
#include <qecore/core/system.h>
#include <qecore/io/mem_stream.h>
#include <qecore/values/string.h>
#include <support/temp_folder.h>

#include <string>

#include "image/support.h"

using namespace yk;

/// A System that knows the plug-ins beside the test program.
class Filters : public testing::Test {
 protected:
  Filters() : system(Ref<System>::Adopt(System::Create())) {
    system->ScanModules(ProgramFolder().c_str(), cacheFolder.Path(L"cache").c_str());
  }

  static Ref<ykFlt2d> Filter(Guid const& type) {
    Ref<ykFlt2d> filter;
    EXPECT_EQ(CreateInterface(type, filter.ReceiveVoid()), S_OK);
    return filter;
  }

  TempFolder cacheFolder;
  Ref<System> system;
};

inline Ref<Stream> MemoryWith(std::string const& bytes) {
  Ref<Stream> stream;
  MemStream::Create(stream.Receive());
  if (!bytes.empty()) stream->Write(bytes.data(), static_cast<unsigned>(bytes.size()));
  stream->Seek(0, Stream::FROM_START);
  return stream;
}

inline std::string BytesOf(Stream& stream) {
  std::string bytes(stream.GetSize(), '\0');
  stream.Seek(0, Stream::FROM_START);
  if (!bytes.empty()) stream.Read(bytes.data(), static_cast<unsigned>(bytes.size()));
  return bytes;
}

inline std::string FromHex(std::string const& hex) {
  std::string bytes;
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

inline std::string Encode(ykFlt2d& filter, Image2d& image, unsigned options = 0) {
  Ref<Stream> const stream = MemoryWith("");
  EXPECT_EQ(filter.Write(stream.get(), &image, options), S_OK);
  return BytesOf(*stream);
}

/// Writes and reads again; null after a failure.
inline ImageRef ThereAndBack(ykFlt2d& filter, Image2d& image, unsigned options = 0) {
  ImageRef back;
  EXPECT_EQ(Decode(filter, *MemoryWith(Encode(filter, image, options)), back), S_OK);
  return back;
}

/// A picture whose byte `channel` of the pixel (x, y) is paint(x, y, channel).
template <class Paint>
ImageRef Painted(IMG_FORMAT format, int width, int height, Paint paint) {
  ImageRef image = NewImage(format, width, height);
  int const size = image->bytesPerPixel;
  for (int y = 0; y < height; ++y) {
    for (int i = 0; i < width * size; ++i) {
      image->GetLine(y)[i] = static_cast<uint8_t>(paint(i / size, y, i % size));
    }
  }
  return image;
}

/// Noise whose palette is opaque, since most files cannot say otherwise.
inline ImageRef Opaque(IMG_FORMAT format, int width, int height) {
  ImageRef image = Noise(format, width, height);
  for (int i = 0; i < image->paletteCount; ++i) image->palette[i].alpha = 255;
  return image;
}

/// The pixels from the top row down, without padding, in another format.
inline std::string Pixels(Image2d& image, IMG_FORMAT format) {
  std::string all;
  size_t const size = (static_cast<size_t>(image.width) * img::GetFacts(format).bits + 7) / 8;
  for (int y = 0; y < image.height; ++y) {
    std::string row(size + 4, '\0');
    EXPECT_EQ(image.ConvertLine(y, format, row.data(), INT_MAX), S_OK);
    all += row.substr(0, size);
  }
  return all;
}
