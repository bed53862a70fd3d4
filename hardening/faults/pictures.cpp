// Pictures through the plug-in's filters and the platform's Imaging Component: written over an old picture,
// and read.
#include <windows.h>

#include <objbase.h>
#include <qecore/core/filter.h>
#include <qecore/core/module.h>
#include <qecore/core/registry.h>
#include <qecore/core/system.h>
#include <qecore/image/file_info.h>
#include <qecore/image/filter_option.h>
#include <qecore/image/image.h>
#include <qecore/image/image_file.h>
#include <qecore/io/file_stream.h>
#include <qecore/values/map.h>

#include "faults.h"

extern "C" intptr_t qe_entrypoint(unsigned message, uintptr_t first, void* second) noexcept;

namespace faults {

namespace {

constexpr int WIDTH = 88, HEIGHT = 70;

struct Format {
  unsigned filter;  // its index in the plug-in
  char16_t const* path;
  bool isExact;
  bool saysMore = false;  // its picture has a resolution, a profile and a text
  unsigned option = 0;    // of writing
  int value = 1;
};
constexpr Format PNG = {0, u"C:\\picture.png", true}, JPEG = {1, u"C:\\picture.jpg", false},
                 BMP = {2, u"C:\\picture.bmp", true}, GIF = {3, u"C:\\picture.gif", false},
                 TIFF = {4, u"C:\\picture.tif", true}, PNG_SAYING = {0, u"C:\\facts.png", true, true},
                 JPEG_SAYING = {1, u"C:\\facts.jpg", false, true},
                 TIFF_SAYING = {4, u"C:\\facts.tif", true, true},
                 TIFF_ZIP = {4, u"C:\\zip.tif", true, false, FilterOption::COMPRESSION, 2},
                 TIFF_LZW = {4, u"C:\\lzw.tif", true, false, FilterOption::COMPRESSION},
                 PNG_INTERLACED = {0, u"C:\\coarse.png", true, false, FilterOption::FIRST_OWN + 1};

// Registered once, like the plug-in's classes; COM is initialised once.
void RegisterFilters() {
  static bool const done = [] {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    System* const system = System::Create();
    for (unsigned i = PNG.filter; i <= TIFF.filter; ++i) {
      ClassInfo info;
      qe_entrypoint(MODULE_CLASS, i, &info);
      system->RegisterInterface(&info);
    }
    return true;
  }();
  (void)done;
}

void SayMore(Image2d& image) {
  std::string profile(200, 'p');
  profile.replace(16, 4, "RGB ").replace(36, 4, "acsp");
  Variant value;
  value.Init(72.0);
  image.SetValue(img::INFO_RESOLUTION_X, value);
  image.SetValue(img::INFO_RESOLUTION_Y, value);
  value.Init(profile.data(), static_cast<unsigned>(profile.size()), false);
  image.SetValue(img::INFO_COLOR_PROFILE, value);
  value.Init("a text");
  image.SetValue(img::INFO_AUTHOR, value);
}

Ref<Image2d> MakeImage(int seed, Format const& format) {
  Ref<Image2d> image = Ref<Image2d>::Adopt(Image2d::Create());
  image->flags = IMG_HEAP_MEMORY;
  image->Create(IMG_BGR24, WIDTH, HEIGHT);
  for (int i = 0; i < image->stride * HEIGHT; ++i) image->bits[i] = static_cast<unsigned char>(i * seed >> 3);
  if (format.saysMore) SayMore(*image);
  return image;
}

Ref<Map> OptionOf(Format const& format) {
  Ref<Map> options = Ref<Map>::Adopt(Map::Create());
  Variant value;
  value.Init(format.value);
  options->SetValue(format.option, value);
  return options;
}

/// Writes through a filter directly into a file.
HRESULT WriteWith(Format const& format, Image2d& image) {
  ClassInfo info;
  void* made = nullptr;
  qe_entrypoint(MODULE_CLASS, format.filter, &info);
  HRESULT result = info.create(&info, &made);
  if (Failed(result)) return result;
  Ref<ykFlt2d> const filter = Ref<ykFlt2d>::Adopt(static_cast<ykFlt2d*>(made));
  Ref<Map> const options = Calmly([&] { return format.option ? OptionOf(format) : Ref<Map>(); });
  Ref<Stream> file;
  result = FileStream::Create(Wide(format.path), FileStream::CREATE, file.Receive());
  return Failed(result)
             ? result
             : static_cast<ykFlt2dEx&>(*filter).WriteEx(file.get(), &image, options.get(), nullptr);
}

std::string MakeFile(Format const& format, int seed) {
  harness::Calm const calm;
  RegisterFilters();
  harness::ClearFiles();
  if (Failed(WriteWith(format, *MakeImage(seed, format)))) abort();
  return harness::ReadFile(format.path);
}

struct Files {
  std::string before, after;
};

template <Format const& FORMAT>
Files const& Sound() {
  static Files const files = {MakeFile(FORMAT, 5), MakeFile(FORMAT, 13)};
  return files;
}

template <Format const& FORMAT>
void PutOld() {
  std::string const& before = Sound<FORMAT>().before;
  harness::ClearFiles();
  harness::PutFile(FORMAT.path, before);
}

template <Format const& FORMAT>
void PutNew() {
  std::string const& after = Sound<FORMAT>().after;
  harness::ClearFiles();
  harness::PutFile(FORMAT.path, after);
}

template <Format const& FORMAT>
Outcome Save() {
  Outcome outcome;
  Ref<Image2d> const image = Calmly([] { return MakeImage(13, FORMAT); });
  outcome.Note(image->Save(Wide(FORMAT.path)));
  outcome.whole = harness::ReadFile(FORMAT.path) == Sound<FORMAT>().after;
  outcome.broken = CheckReplaced(FORMAT.path, Sound<FORMAT>().before, Sound<FORMAT>().after);
  if (harness::ListFiles().size() != 1) outcome.broken = "another file is left in the folder";
  return outcome;
}

// Image2d::Save does not support every format. A filter writes directly to its target: half a file is
// possible, but must be reported.
template <Format const& FORMAT>
Outcome WriteThroughFilter() {
  Outcome outcome;
  Ref<Image2d> const image = Calmly([] { return MakeImage(13, FORMAT); });
  outcome.Note(WriteWith(FORMAT, *image));
  outcome.whole = harness::ReadFile(FORMAT.path) == Sound<FORMAT>().after;
  return outcome;
}

bool IsThePicture(AbstractImage& loaded, bool isExact) {
  harness::Calm const calm;
  Ref<Image2d> const wanted = MakeImage(13, PNG);
  Image2d& image = static_cast<Image2d&>(loaded);
  if (image.width != WIDTH || image.height != HEIGHT || !image.bits) return false;
  return !isExact ||
         (image.format == IMG_BGR24 && !memcmp(image.bits, wanted->bits, size_t(wanted->stride) * HEIGHT));
}

template <Format const& FORMAT>
Outcome Load() {
  Outcome outcome;
  Ref<AbstractImage> const image = Ref<AbstractImage>::Adopt(AbstractImage::Load(Wide(FORMAT.path)));
  outcome.Note(image.get() != nullptr);
  outcome.whole = image && IsThePicture(*image, FORMAT.isExact);
  return outcome;
}

// ---- through any filter

Ref<Map> MakeOptions() {
  Ref<Map> options = Ref<Map>::Adopt(Map::Create());
  img::SetOption(ids::FILE_PNG, FILTER_WRITE, L"interlace", L"no", options.get());
  return options;
}

Outcome Write() {
  Outcome outcome;
  Ref<Image2d> const image = Calmly([] { return MakeImage(13, PNG); });
  Ref<Map> const options = Calmly(MakeOptions);
  outcome.Note(img::Write(*image, Wide(PNG.path), nullptr, options.get(), nullptr));
  outcome.whole = harness::ReadFile(PNG.path) == Sound<PNG>().after;
  outcome.broken = CheckReplaced(PNG.path, Sound<PNG>().before, Sound<PNG>().after);
  return outcome;
}

Outcome Read() {
  Outcome outcome;
  Ref<AbstractImage> image;
  outcome.Note(img::Read(Wide(PNG.path), nullptr, nullptr, image.Receive()));
  outcome.whole = image && IsThePicture(*image, PNG.isExact);
  return outcome;
}

// The same frame twice: the second is put on the first.
void PutAnimation() {
  std::string file = Sound<GIF>().after;
  size_t const palette = file[10] & 0x80 ? size_t{6} << (file[10] & 7) : 0, head = 13 + palette;
  file.insert(head, file.substr(head, file.size() - 1 - head));
  harness::ClearFiles();
  harness::PutFile(GIF.path, file);
}

template <bool EVERY>
Outcome ReadFrame() {
  Outcome outcome;
  Ref<AbstractImage> image;
  Ref<Map> const options = Calmly([] {
    Ref<Map> chosen = Ref<Map>::Adopt(Map::Create());
    img::SetOption(ids::FILE_GIF, FILTER_READ, L"frame", L"1", chosen.get());
    if (EVERY) img::SetOption(ids::FILE_GIF, FILTER_READ, L"every-frame", L"yes", chosen.get());
    return chosen;
  });
  outcome.Note(img::Read(Wide(GIF.path), options.get(), nullptr, image.Receive()));
  outcome.whole = image && IsThePicture(*image, GIF.isExact);
  return outcome;
}

Outcome Query() {
  Outcome outcome;
  Ref<Map> const info = Calmly([] { return Ref<Map>::Adopt(Map::Create()); });
  outcome.Note(img::QueryInfo(Wide(JPEG.path), info.get()));
  harness::Calm const calm;
  Variant value;
  unsigned width = 0;
  outcome.whole = Succeeded(info->GetValue(img::INFO_WIDTH, value)) && value.Get(width) && width == WIDTH;
  return outcome;
}

constexpr Scenario SCENARIOS[] = {
    {"png: save", SAVING, PutOld<PNG>, Save<PNG>},
    {"jpeg: save", SAVING, PutOld<JPEG>, Save<JPEG>},
    {"bmp: write", SAVING, PutOld<BMP>, WriteThroughFilter<BMP>},
    {"gif: write", SAVING, PutOld<GIF>, WriteThroughFilter<GIF>},
    {"tiff: write", SAVING, PutOld<TIFF>, WriteThroughFilter<TIFF>},
    {"tiff with lzw: write", SAVING, PutOld<TIFF_LZW>, WriteThroughFilter<TIFF_LZW>},
    {"tiff with zip: write", SAVING, PutOld<TIFF_ZIP>, WriteThroughFilter<TIFF_ZIP>},
    {"png interlaced: write", SAVING, PutOld<PNG_INTERLACED>, WriteThroughFilter<PNG_INTERLACED>},
    {"png with texts: save", SAVING, PutOld<PNG_SAYING>, Save<PNG_SAYING>},
    {"jpeg with texts: save", SAVING, PutOld<JPEG_SAYING>, Save<JPEG_SAYING>},
    {"tiff with texts: write", SAVING, PutOld<TIFF_SAYING>, WriteThroughFilter<TIFF_SAYING>},
    {"png with texts: load", LOADING, PutNew<PNG_SAYING>, Load<PNG_SAYING>},
    {"jpeg with texts: load", LOADING, PutNew<JPEG_SAYING>, Load<JPEG_SAYING>},
    {"tiff with texts: load", LOADING, PutNew<TIFF_SAYING>, Load<TIFF_SAYING>},
    {"png: load", LOADING, PutNew<PNG>, Load<PNG>},
    {"jpeg: load", LOADING, PutNew<JPEG>, Load<JPEG>},
    {"bmp: load", LOADING, PutNew<BMP>, Load<BMP>},
    {"gif: load", LOADING, PutNew<GIF>, Load<GIF>},
    {"tiff: load", LOADING, PutNew<TIFF>, Load<TIFF>},
    {"tiff with zip: load", LOADING, PutNew<TIFF_ZIP>, Load<TIFF_ZIP>},
    {"tiff with lzw: load", LOADING, PutNew<TIFF_LZW>, Load<TIFF_LZW>},
    {"any filter: write", SAVING, PutOld<PNG>, Write},
    {"any filter: read", LOADING, PutNew<PNG>, Read},
    {"gif: read a later frame", LOADING, PutAnimation, ReadFrame<false>},
    {"gif: read every frame", LOADING, PutAnimation, ReadFrame<true>},
    {"any filter: describe", LOADING, PutNew<JPEG>, Query},
};

}  // namespace

std::span<Scenario const> PictureScenarios() { return SCENARIOS; }

}  // namespace faults
