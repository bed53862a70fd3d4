// The plug-in's filters: their handling of arbitrary headers from an Imaging Component, and of damaged files
// through the platform's own; pictures that were read are written in another format and read back.
#include <windows.h>

#include <objbase.h>
#include <qecore/core/filter.h>
#include <qecore/core/module.h>
#include <qecore/core/registry.h>
#include <qecore/core/system.h>
#include <qecore/image/file_info.h>
#include <qecore/image/filter_option.h>
#include <qecore/image/image.h>
#include <qecore/io/mem_stream.h>

#include "images.h"
#include "imaging.h"
#include "target.h"

extern "C" intptr_t qe_entrypoint(unsigned message, uintptr_t first, void* second) noexcept;

namespace fuzz {

using namespace yk;

namespace {

constexpr unsigned FILTERS = 5;
constexpr unsigned PNG = 0, JPEG = 1, TIFF = 4;

/// A stream that fails from its N-th call on, or once, or transfers less than requested.
class OddStream final : public Destroys<OddStream, Stream> {
 public:
  /// Its misbehaviour, as bits. Those above are the number of a frame.
  enum How : unsigned { ALWAYS = 1, QUIETLY = 2, BY_HALVES = 4, SEEKS_FAIL = 8, HUGE = 16, FRAME = 32 };

  OddStream(Ref<Stream> over, unsigned how, unsigned at) noexcept
      : inner(std::move(over)), how(how), failsAt(at) {}

  bool HasFailed() const noexcept { return failsAt > 0 && calls >= failsAt; }

  using Stream::Read;
  HRESULT Read(void* buffer, unsigned size, unsigned* done) noexcept override {
    if (Fails()) return Refuse(done);
    return inner->Read(buffer, how & BY_HALVES ? (size + 1) / 2 : size, done);
  }
  HRESULT Write(void const* buffer, unsigned size, unsigned* done) noexcept override {
    return Fails() ? Refuse(done) : inner->Write(buffer, size, done);
  }
  HRESULT Seek(int offset, unsigned origin, unsigned* newPosition) noexcept override {
    return how & SEEKS_FAIL && Fails() ? E_FAIL : inner->Seek(offset, origin, newPosition);
  }
  unsigned GetPosition() noexcept override { return inner->GetPosition(); }
  unsigned GetSize() noexcept override { return how & HUGE ? 0xFFFFFFF0u : inner->GetSize(); }
  HRESULT SetSize(unsigned size) noexcept override { return Fails() ? E_FAIL : inner->SetSize(size); }
  HRESULT GetState() noexcept override { return S_OK; }

 private:
  bool Fails() noexcept {
    ++calls;
    return failsAt > 0 && (how & ALWAYS ? calls >= failsAt : calls == failsAt);
  }
  HRESULT Refuse(unsigned* done) const noexcept {
    if (done) *done = 0;
    return how & QUIETLY ? S_OK : E_FAIL;
  }

  Ref<Stream> inner;
  unsigned how, failsAt, calls = 0;
};

Ref<ykFlt2d> MakeFilter(unsigned index) {
  ClassInfo info;
  void* made = nullptr;
  qe_entrypoint(MODULE_CLASS, index, &info);
  if (Failed(info.create(&info, &made))) return {};
  return Ref<ykFlt2d>::Adopt(static_cast<ykFlt2d*>(made));
}

Ref<Image2d> ReadWith(ykFlt2d& filter, Stream& stream, unsigned frame = 0, bool every = false) {
  AbstractImage* image = nullptr;
  Ref<Map> const options = frame ? Ref<Map>::Adopt(Map::Create()) : Ref<Map>();
  Variant chosen;
  chosen.Init(static_cast<int>(frame));
  if (options) options->SetValue(FilterOption::FRAME, chosen);
  chosen.Init(every);
  if (options) options->SetValue(FilterOption::EVERY_FRAME, chosen);
  HRESULT const result = static_cast<ykFlt2dEx&>(filter).ReadEx(&stream, options.get(), nullptr, &image);
  Require(Succeeded(result) == (image != nullptr), "success comes with an image");
  return Ref<Image2d>::Adopt(static_cast<Image2d*>(image));
}

}  // namespace

// index of the filter, misbehaviour of the stream, from which call on, length of the file, file, results of
// the component
void ReadPictureHeaders(Input& in) {
  Ref<ykFlt2d> const filter = MakeFilter(in.Below(FILTERS));
  unsigned const how = in.OneIn(4) ? in.Byte() : 0, at = in.OneIn(4) ? in.Byte() : 0;
  Input file = in.Part(in.Below(32));
  std::vector<uint8_t> const bytes = file.Rest();
  if (!filter) return;
  Ref<OddStream> const stream =
      Ref<OddStream>::Adopt(new OddStream(StreamOf(bytes.data(), bytes.size()), how, at));
  ImagingByInput const imaging(in);
  if (Ref<Image2d> const image = ReadWith(*filter, *stream)) Touch(*image);
}

// ---- files

namespace {

constexpr int64_t MOST_PIXELS_WRITTEN = 200000;

struct Rewriting {
  unsigned filter, quality, how, failsAt;  // the quality is also the number of a way to write without losses
};

Ref<Map> OptionsOf(Rewriting const& r) {
  constexpr unsigned OWN = FilterOption::FIRST_OWN;
  Ref<Map> options = Ref<Map>::Adopt(Map::Create());
  auto const set = [&](unsigned key, unsigned number) {
    Variant value;
    value.Init(static_cast<int>(number));
    if (options) options->SetValue(key, value);
  };
  unsigned const way = r.quality;
  if (r.filter == JPEG) set(FilterOption::QUALITY, way);
  if (r.filter == TIFF) set(FilterOption::COMPRESSION, way % 3);
  if (r.filter == PNG) set(OWN, way % 6), set(OWN + 1, way / 6 % 2), set(OWN + 2, way / 12 % 10);
  return options;
}

// Everything that was written without a failure must be readable.
void Rewrite(Image2d& image, Rewriting const& r) {
  if (int64_t{image.width} * image.height > MOST_PIXELS_WRITTEN) return;
  Ref<ykFlt2d> const filter = MakeFilter(r.filter);
  Ref<Stream> memory;
  if (!filter || Failed(MemStream::Create(memory.Receive()))) return;
  Ref<OddStream> const odd =
      Ref<OddStream>::Adopt(new OddStream(memory, r.how & OddStream::ALWAYS, r.failsAt));
  Ref<Map> const options = OptionsOf(r);
  HRESULT const result = static_cast<ykFlt2dEx&>(*filter).WriteEx(odd.get(), &image, options.get(), nullptr);
  Require(!odd->HasFailed() || Failed(result), "a failed write is reported");
  if (Failed(result) || MayFail()) return;
  memory->Seek(0, Stream::FROM_START);
  Ref<Image2d> const again = ReadWith(*filter, *memory);
  Require(again && again->width == image.width && again->height == image.height,
          "a written picture can be read");
}

}  // namespace

namespace {

// What is read has the format that the file was said to have.
void CheckDescription(ykFlt2d& filter, Stream& stream, Image2d const& image) {
  Ref<Map> const info = Ref<Map>::Adopt(Map::Create());
  stream.Seek(0, Stream::FROM_START);
  if (!info || Failed(filter.QueryFileInfo(&stream, info.get(), 0))) return;
  Variant value;
  int format = image.format;
  if (Succeeded(info->GetValue(img::INFO_PIXEL_FORMAT, value))) value.Get(format);
  Require(format == image.format, "a picture has the format of its description");
}

}  // namespace

// COM is initialised once: to do so for each input would take most of the time. The pixel conversions belong
// to the System.
void PreparePictures() {
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  System::Create();
}

// Decoding what is not seen changes nothing of a picture.
void CheckEveryFrame(ykFlt2d& filter, std::vector<uint8_t> const& bytes, unsigned frame) {
  Ref<Image2d> const every = ReadWith(filter, *StreamOf(bytes.data(), bytes.size()), frame, true);
  Ref<Image2d> const alone = every ? ReadWith(filter, *StreamOf(bytes.data(), bytes.size()), frame) : every;
  if (!every || MayFail()) return;
  bool const isSame = alone && alone->stride == every->stride && alone->height == every->height;
  Require(isSame && !memcmp(alone->bits, every->bits, size_t(alone->stride) * alone->height),
          "a frame is the same, whether those before it are decoded or not");
}

// filter to read with, misbehaviour of the stream, from which call on, filter to write with, quality, file
void ReadPictures(Input& in) {
  Ref<ykFlt2d> const filter = MakeFilter(in.Below(FILTERS));
  unsigned const how = in.Byte(), at = in.Byte(), target = in.Below(FILTERS), quality = in.Byte();
  if (!filter) return;
  // Most values of `at` let all calls succeed; the highest make one fail while reading, those below while
  // writing.
  unsigned const readAt = at >= 200 ? at - 199 : 0, writeAt = at >= 128 && at < 200 ? at - 127 : 0;
  std::vector<uint8_t> const bytes = in.Rest();
  Ref<OddStream> const stream =
      Ref<OddStream>::Adopt(new OddStream(StreamOf(bytes.data(), bytes.size()), how, readAt));
  Ref<Image2d> const image = ReadWith(*filter, *stream, how / OddStream::FRAME);
  if (!image) return;
  Touch(*image);
  if (how >= OddStream::FRAME) CheckEveryFrame(*filter, bytes, how / OddStream::FRAME);
  if (how < OddStream::FRAME) CheckDescription(*filter, *stream, *image);
  Rewrite(*image, {target, quality, how, writeAt});
}

// A small picture of each format, written by each filter.
void SeedPictures(Seeds& seeds) {
  for (int format = IMG_GRAY8; format <= img::LAST_FORMAT; ++format) {
    Ref<Image2d> const image = Ref<Image2d>::Adopt(Image2d::Create());
    image->flags = IMG_HEAP_MEMORY;
    if (Failed(image->Create(static_cast<IMG_FORMAT>(format), 9, 7))) continue;
    Paint(*image, 1);
    for (unsigned i = 0; i < FILTERS; ++i) {
      Ref<Stream> const stream = StreamOf(nullptr, 0);
      if (Failed(MakeFilter(i)->Write(stream.get(), image.get(), i == JPEG ? 80 : 0))) continue;
      std::string const head = {static_cast<char>(i), 0, 0, static_cast<char>((i + 1) % FILTERS), 75};
      seeds.Add(std::to_string(format) + "-" + std::to_string(i), head + BytesOf(*stream));
    }
  }
}

}  // namespace fuzz
