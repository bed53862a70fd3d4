#include <qecore/core/compressor.h>
#include <qecore/core/system.h>
#include <qecore/image/file_info.h>
#include <qecore/image/image_chunk.h>
#include <qecore/image/image_limits.h>
#include <qecore/io/mem_stream.h>

#include "image/image_chunks.h"
#include "support/failure.h"
#include "support/patient_host.h"

namespace {

using namespace yk;

constexpr Guid RUNS = {0x5A0C5F11, 0x7D1B, 0x4C51, {0x9C, 0x0D, 0x60, 0x0E, 0x5A, 0x11, 0x3B, 0x77}};

/// Bytes that are all equal become one.
struct Runs final : Implements<Runs, ykCompressor> {
  static Guid const& Id() noexcept { return RUNS; }
  static HRESULT Create(ClassInfo const*, void** out) noexcept { return *out = new Runs, S_OK; }
  HRESULT Compress(void const* from, unsigned size, void* to, unsigned& room) noexcept override {
    auto const* const bytes = static_cast<char const*>(from);
    *static_cast<char*>(to) = *bytes;
    return std::count(bytes, bytes + size, *bytes) == static_cast<int>(size) ? room = 1, S_OK : S_FALSE;
  }
  HRESULT Decompress(void const* from, unsigned size, void* to, unsigned bytes) noexcept override {
    memset(to, *static_cast<char const*>(from), bytes);
    return size == 1 ? S_OK : Fail(YK_E_BADFILE, "Runs", L"not a run");
  }
};

/// Registered until the end of a scope: the next System does not know it.
struct WithRuns {
  WithRuns() {
    ClassInfo info;
    info.classId = RUNS, info.interfaceId = ids::COMPRESSOR, info.create = Runs::Create;
    EXPECT_EQ(RegisterInterface(&info), S_OK);
  }
  ~WithRuns() { System::ptr()->Release(), System::Create(); }
};

TEST(ImageChunk, KeepsEveryFormatWithoutLoss) {
  WithRuns const runs;
  Variant profile;
  profile.Init("icc", 4, false);
  for (int format = 0; format <= img::LAST_FORMAT; ++format) {
    IMG_FORMAT const kind = img::FORMATS[format].format;
    for (bool isPlain : {false, true}) {
      ImageRef const image = kind ? Noise(kind, 301, 1200) : Own(Image2d::Create());
      if (isPlain && kind) memset(image->bits, 0x5A, size_t(image->stride) * 1200);
      image->name = L"noise";
      image->SetValue(7, Variant(L"seven"));
      image->SetValue(img::INFO_COLOR_PROFILE, profile);
      Ref<Stream> const file = SavedImage(*image, RUNS);
      ImageRef const loaded = LoadedImage(*file);
      ASSERT_TRUE(loaded) << format;
      ExpectSameImage(*loaded, *image);
      Variant kept;
      unsigned char bytes[4] = {};
      loaded->GetValue(img::INFO_COLOR_PROFILE, kept);
      EXPECT_EQ(kept.Get(bytes, sizeof bytes), 4u) << format;
      EXPECT_EQ(memcmp(bytes, "icc", 4), 0) << format;
      EXPECT_TRUE(!isPlain || file->GetSize() < 2000) << file->GetSize();
    }
  }
  ImageRef const wide = Noise(IMG_BGRA32, 70001, 3);  // each row is a block
  memset(wide->GetLine(1), 8, 70001 * 4);
  ExpectSameImage(*LoadedImage(*SavedImage(*wide, RUNS)), *wide);
}

struct FreeingHost final : ExecutionContext {
  explicit FreeingHost(Image2d& image) : image(image) {}
  bool Continue(Progress const&) noexcept override { return image.Free(), true; }
  Image2d& image;
};

TEST(ImageChunk, IsNotSavedWhenTheImageChangesMeanwhile) {
  ImageRef const image = NewImage(IMG_GRAY8, 1000, 1000);
  FreeingHost host(*image);
  Ref<Stream> const file = Memory();
  Ref<Serializer> const writer = Own(Serializer::Create());
  writer->Open(file.get(), 0);
  ExpectFailures({{E_FAIL, L"the image was changed while it was saved",
                   [&] { return img::SaveTo(*writer, *image, 1, Guid(), &host); }}});
}

TEST(ImageChunk, SaysWhyItIsNotLoaded) {
  WithRuns const runs;
  ImageRef const image = NewImage(IMG_GRAY8, 1000, 1000);
  memset(image->bits, 7, 1000 * 1000);
  string const packed = Content(*SavedImage(*image, RUNS)), plain = Content(*SavedImage(*image, Guid()));
  auto const load = [](string bytes, size_t at, int byte) {
    if (byte >= 0) bytes[at] = static_cast<char>(byte);
    return [bytes] { return LoadResult(*Memory(bytes)); };
  };
  size_t const header = packed.find("\x4C\x04"), method = packed.find("\x4D\x04"),
               pixels = packed.find("\x51\x04");
  img::SetReadLimit(3999);
  string const thin = Content(*SavedImage(*NewImage(IMG_PAL1, 1, 1000), RUNS));
  ExpectFailures(
      {{E_OUTOFMEMORY, L"the image needs 4000 bytes, more than the limit of 3999", load(thin, 0, -1)}});
  img::SetReadLimit(999999);
  ExpectFailures(
      {{E_OUTOFMEMORY, L"the image needs 1000000 bytes, more than the limit of 999999", load(plain, 0, -1)}});
  img::SetReadLimit(img::LARGEST_IMAGE);
  ExpectFailures({{YK_E_BADFILE, L"no pixel format has the number 77", load(packed, header + 6, 77)},
                  {YK_E_BADFILE, L"the image is damaged", load(packed, header + 17, 0x7F)},
                  {YK_E_BADFILE, L"the image is damaged", load(plain, plain.find("\x4C\x04") + 16, 99)},
                  {YK_E_BADFILE, L"the image is damaged", load(packed, method, 0)},
                  {YK_E_BADFILE, L"the image cannot be decompressed: not a run", load(packed, pixels + 6, 2)},
                  {YK_E_BADFILE, L"the image is damaged", load(packed, pixels, 0)}});
  PatientHost host(0);
  EXPECT_EQ(LoadResult(*Memory(plain), &host), E_ABORT);
}

TEST(ImageChunk, RefusesAnUnknownMethodAndStoresWithoutIt) {
  ImageRef const image = Noise(IMG_BGR24, 10, 10);
  Ref<Stream> const raw = SavedImage(*image, ids::COMPRESSION_ZLIB);
  ExpectSameImage(*LoadedImage(*raw), *image);
  Ref<Stream> const packed = [&] {
    WithRuns const runs;
    memset(image->bits, 1, 320);
    return SavedImage(*image, RUNS);
  }();
  EXPECT_EQ(LoadResult(*packed), YK_E_NOTFOUND);
  EXPECT_NE(LastMessage().find(L"there is no plug-in for the image's compression, {5A0C5F11"), wstring::npos);
}

}  // namespace
