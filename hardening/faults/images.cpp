// Images and drawing: operations that allocate, which a caller must be able to repeat.
#include <windows.h>

#include <qecore/core/parallel.h>
#include <qecore/core/system.h>
#include <qecore/draw/device_context.h>
#include <qecore/image/image.h>
#include <qecore/image/image_chunk.h>
#include <qecore/io/deserializer.h>
#include <qecore/io/mem_stream.h>
#include <qecore/io/serializer.h>
#include <qecore/values/variant.h>

#include "faults.h"

namespace faults {

namespace {

constexpr int WIDTH = 60, HEIGHT = 50;

// The table of conversions belongs to the System, which persists.
Ref<Image2d> MakeImage(IMG_FORMAT format) {
  harness::Calm const calm;
  System::Create();
  Ref<Image2d> image = Ref<Image2d>::Adopt(Image2d::Create());
  image->flags = IMG_HEAP_MEMORY;
  image->Create(format, WIDTH, HEIGHT);
  memset(image->bits, 50, static_cast<size_t>(image->stride) * HEIGHT);
  return image;
}

void PrepareImages() { System::Create(); }

Outcome Create() {
  Outcome outcome;
  Ref<Image2d> const image = Ref<Image2d>::Adopt(Image2d::Create());
  if (!outcome.Note(image.get() != nullptr)) return outcome.End();
  for (IMG_FORMAT const format : {IMG_BGR24, IMG_PAL8, IMG_BGRAF}) {
    for (uint8_t const flags : {uint8_t{0}, IMG_HEAP_MEMORY}) {
      image->flags = flags;
      bool const made = outcome.Note(image->Create(format, WIDTH, HEIGHT));
      outcome.whole = outcome.whole && made;
      if (made != (image->bits != nullptr)) outcome.broken = "an image in an inconsistent state";
    }
  }
  return outcome;
}

Outcome Rescale() {
  Outcome outcome;
  Ref<Image2d> const image = MakeImage(IMG_BGR24);
  for (IMG_FORMAT const format : {IMG_BGRA32, IMG_GRAYF, IMG_BGR24}) {
    Image2d* result = nullptr;
    if (!outcome.Note(image->Rescale(17, 9, format, &result))) {
      outcome.whole = false;
      continue;
    }
    Ref<Image2d> const small = Ref<Image2d>::Adopt(result);
    if (format == IMG_BGRA32 && small->GetLine(3)[4] != 50) outcome.broken = "wrong pixels, and S_OK";
  }
  Image2d* words = nullptr;  // averaged by other code
  bool const isMade = outcome.Note(MakeImage(IMG_GRAY16)->Rescale(17, 9, IMG_GRAY16, &words));
  if (isMade) words->Release();
  outcome.whole = outcome.whole && isMade;
  return outcome;
}

// Large enough for several threads, which start anew in each run.
constexpr int LARGE_WIDTH = 1300, LARGE_HEIGHT = 800;

void PrepareThreads() {
  System::Create()->Release();
  System::Create();
  SetThreadCount(4);
}

Outcome RescaleOnThreads() {
  Outcome outcome;
  Ref<Image2d> const image = Calmly([] {
    Ref<Image2d> large = Ref<Image2d>::Adopt(Image2d::Create());
    large->flags = IMG_HEAP_MEMORY;
    large->Create(IMG_BGR24, LARGE_WIDTH, LARGE_HEIGHT);
    memset(large->bits, 50, static_cast<size_t>(large->stride) * LARGE_HEIGHT);
    return large;
  });
  Image2d* result = nullptr;
  if (!outcome.Note(image->Rescale(170, 90, IMG_GRAY8, &result))) return outcome.End();
  Ref<Image2d> const small = Ref<Image2d>::Adopt(result);
  for (int y = 0; y < small->height; ++y) {
    if (small->GetLine(y)[y] != small->GetLine(0)[0] || small->GetLine(y)[y] < 49)
      outcome.broken = "wrong pixels, and S_OK";
  }
  return outcome;
}

Outcome CropAndKeep() {
  Outcome outcome;
  Ref<Image2d> const image = MakeImage(IMG_BGR24);
  Image2d* part = nullptr;
  outcome.whole = outcome.Note(image->Crop(1, 1, 9, 9, &part));
  if (outcome.whole) part->Release();
  Variant const value = Calmly([] {
    Variant made;
    made.Init(3);
    return made;
  });
  for (unsigned key : {1u, 2u}) outcome.whole = outcome.Note(image->SetValue(key, value)) && outcome.whole;
  return outcome;
}

// ---- drawing

HRESULT DrawAll(IDC& dc) {
  static constexpr point2df CORNERS[] = {{5, 5}, {50, 9}, {30, 45}};
  static constexpr point2df STAR[] = {{30, 2}, {44, 42}, {4, 17}, {55, 18}, {15, 42}};  // self-intersecting
  Outcome outcome;
  dc.SetColor(0xFF0000FF);
  bool const pushed = outcome.Note(dc.PushColor());
  outcome.Note(dc.FillPolygon(CORNERS, 3, IDC::EVEN_ODD));
  outcome.Note(dc.FillPolygon(STAR, 5, IDC::NON_ZERO));
  outcome.Note(dc.DrawPolyline(CORNERS, 3, true));
  outcome.Note(dc.FillEllipse({10, 10, 40, 30}, 2));
  outcome.Note(dc.FrameRoundRect({1, 1, 30, 30}));
  outcome.Note(dc.DrawImage(MakeImage(IMG_GRAY8).get(), 20, 20));
  if (pushed) outcome.Note(dc.PopColor());
  return outcome.reported;
}

HRESULT DrawOn(Image2d& image) {
  Ref<IDC> const dc = Ref<IDC>::Adopt(IDC::Create());
  if (!dc) return E_OUTOFMEMORY;
  dc->Attach(reinterpret_cast<HDC>(uintptr_t{1}), &image);  // only passed on
  HRESULT const result = DrawAll(*dc);
  dc->Detach();
  return result;
}

bool AreEqual(Image2d const& a, Image2d const& b) {
  return !memcmp(a.bits, b.bits, static_cast<size_t>(a.stride) * HEIGHT);
}

Outcome Draw() {
  Outcome outcome;
  Ref<Image2d> const image = MakeImage(IMG_BGRA32), wanted = MakeImage(IMG_BGRA32);
  outcome.Note(DrawOn(*image));
  harness::Calm const calm;
  DrawOn(*wanted);
  outcome.whole = AreEqual(*image, *wanted);
  return outcome;
}

// ---- in object files

bool HasBlob(Image2d& image) {
  Variant blob;
  unsigned char bytes[5];
  return Succeeded(image.GetValue(2, blob)) && blob.Get(bytes, 5) == 5 && memcmp(bytes, "bytes", 5) == 0;
}

Outcome Keep() {
  Outcome outcome;
  Ref<Image2d> const image = MakeImage(IMG_PAL8);
  Ref<Image2d> copy, loaded;
  Ref<Stream> const stream = Calmly([&] {
    memset(image->palette, 9, 256 * sizeof(IMG_PALENTRY));
    image->name = L"name";
    image->SetValue(1, Variant(L"value"));
    Variant blob;
    blob.Init("bytes", 5, false);
    image->SetValue(2, blob);
    Ref<Stream> memory;
    (void)MemStream::Create(memory.Receive());
    return memory;
  });
  Ref<Serializer> const writer = Calmly([] { return Ref<Serializer>::Adopt(Serializer::Create()); });
  Ref<Deserializer> const reader = Calmly([] { return Ref<Deserializer>::Adopt(Deserializer::Create()); });
  if (!outcome.Note(image->Clone(copy.Receive()))) return outcome.End();
  writer->Open(stream.get(), chunk::RAW);
  outcome.Note(img::SaveTo(*writer, *copy, 9));
  writer->Close();
  stream->Seek(0, Stream::FROM_START);
  if (!outcome.Note(writer->GetFailure()) || !outcome.Note(reader->Open(stream.get(), chunk::RAW)))
    return outcome.End();
  reader->BeginChunk();
  if (!outcome.Note(img::LoadFrom(*reader, loaded.Receive()))) return outcome.End();
  bool const isWhole = AreEqual(*loaded, *image) && loaded->name == L"name" &&
                       loaded->palette[255].red == 9 && loaded->GetProperties() &&
                       loaded->GetProperties()->Count() == 2 && Calmly([&] { return HasBlob(*loaded); });
  if (!isWhole) outcome.broken = "a damaged image, and S_OK";
  return outcome;
}

constexpr Scenario SCENARIOS[] = {
    {"image: create", harness::MEMORY | harness::LOCK, PrepareImages, Create},
    {"image: rescale", harness::MEMORY | harness::LOCK, PrepareImages, Rescale},
    {"image: rescale on threads", harness::MEMORY | harness::THREAD, PrepareThreads, RescaleOnThreads},
    {"image: crop, set a value", harness::MEMORY | harness::LOCK, PrepareImages, CropAndKeep},
    {"drawing", harness::MEMORY, PrepareImages, Draw},
    {"image: clone, keep in an object file", harness::MEMORY | harness::LOCK, PrepareImages, Keep},
};

}  // namespace

std::span<Scenario const> ImageScenarios() { return SCENARIOS; }

}  // namespace faults
