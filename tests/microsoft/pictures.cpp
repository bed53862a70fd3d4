// Geometry by value, colour, images and drawing.
#include "runtime.h"

#include <qecore/core/ref.h>
#include <qecore/draw/color.h>
#include <qecore/draw/device_context.h>
#include <qecore/image/convert.h>
#include <qecore/image/image.h>
#include <qecore/image/image_chunk.h>
#include <qecore/image/image_limits.h>
#include <qecore/image/orientation.h>
#include <qecore/io/deserializer.h>
#include <qecore/io/mem_stream.h>
#include <qecore/io/serializer.h>
#include <qecore/values/variant.h>

#include <new>

using namespace yk;

namespace {

bool operator==(_RECTL const& a, _RECTL const& b) {
  return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

bool Transforms() {
  matrix2d m;
  m.SetScale(point2d{2, 3});
  m.OffsetTo(point2d{10, 20});
  POINT points[] = {{1, 1}, {2, 2}};
  point2d pairs[] = {{1, 1}, {2, 2}}, vectors[] = {{1, 1}};
  m.PointTransform(points, 2);
  m.PointTransform(pairs, 2);
  m.VectorTransform(vectors, 1);
  POINT const p = m.PointTransform(POINT{1, 1}), fixed = m.PointTransform(point2dfix{16, 32});
  POINTL const l = m.PointTransform(POINTL{1, 1});
  return points[1].x == 14 && pairs[1] == point2d{14, 26} && vectors[0] == point2d{2, 3} && p.x == 12 &&
         p.y == 23 && fixed.x == 12 && fixed.y == 26 && l.x == 12 && l.y == 23 &&
         m.PointTransform(point2d{1, 2}) == point2d{12, 26} &&
         m.PointTransform(point2df{1, 2}) == point2df{12, 26} &&
         m.VectorTransform(point2d{1, 2}) == point2d{2, 6} &&
         m.VectorTransform(point2df{1, 2}) == point2df{2, 6} &&
         m.RectTransform(RECTL{0, 0, 5, 5}) == RECTL{10, 20, 20, 35} &&
         m.RectTransform(rect2d{0, 0, 1, 1}) == rect2d{10, 20, 12, 23};
}

bool Matrices() {
  matrix2d a, b;
  a.SetScale(point2df{2, 2});
  a.OffsetTo(point2df{4, 6});
  b.SetOffset(point2d{1, 1});
  b.Offset(point2d{1, 1});
  b.Offset(point2df{1, 1});
  b.Scale(point2d{2, 2});
  b.Scale(point2df{0.5f, 0.5f});
  b.Rotate(0);
  a.Transform(b);
  bool ok =
      a._get(0, 2) == &a.dx && a.Get(0, 2) == 7 && static_cast<matrix2d const&>(a)._get(9, 9) == nullptr;
  a.Set(0, 2, 1);
  a.Invert();
  ok = ok && a.dx == -0.5;
  b.SetRotate(0);
  a.SetOffset(point2df{1, 1});
  a.Transform(a, b);
  ok = ok && a.Compare(a, 0) && !a.Compare(b, 0.5);
  a.SetIdentity();
  return ok && a.Compare(b, 0);
}

bool Rectangles() {
  point2d corners[] = {{9, 8}, {1.5, 2}};
  NormalizeRect(corners[0], corners[1]);
  xrect2d x(corners), other(0, 0, 4, 4);
  rect2d r, s;
  r = x;
  s = RECTL{2, 2, 3, 3};
  RECTL got;
  r.Get(got);
  bool ok = x == xrect2d(2, 2, 9, 8) && got.right == 9 && r.Contains(s) && r.Intersect(s) && r.Clip(s);
  r.Empty();
  r.Add(point2d{1, 1});
  r._Add(point2d{5, 5});
  r._Add(rect2d{0, 0, 2, 2});
  x.Add(other);
  x.Add(20, 20);
  x.Inflate(1, 1);
  x.Offset(1, 1);
  x.Normalize();
  return ok && r.x1 == 0 && x == xrect2d(0, 0, 22, 22) && x.IsInRect(3, 3) && x.IsInRect(POINT{4, 4}) &&
         x.Clip(other);
}

bool Colours() {
  IADJUSTMENT adjustment(0, 0);
  unsigned char grey[] = {100};
  adjustment.Translate(grey, 1);
  return grey[0] == 100 && adjustment.TranslateColor(0xFF102030) == 0xFF102030 &&
         BlendColor(0, 0xFFFFFFFF, 0) == 0xFFFFFFFF;
}

class Watcher : public ExecutionContext {
 public:
  bool Continue(Progress const&) noexcept override { return ++calls > 0; }
  int calls = 0;
};

bool Images() {
  Ref<Image2d> const image = Ref<Image2d>::Adopt(Image2d::Create());
  Image2d *small = nullptr, *half = nullptr;
  Watcher watcher;
  unsigned char bgra[4];
  unsigned short bits = 0;
  bool ok = image->Create(IMG_BGR24, 8, 8) == S_OK && image->ClearColor(0x00FF8040) == S_OK &&
            image->Rescale(4, 4, IMG_BGR24, &half, &watcher) == S_OK &&
            image->RescaleTo(half, &watcher) == S_OK && image->Crop(0, 0, 2, 2, &small) == S_OK &&
            watcher.calls > 0;
  Ref<Image2d> const ownHalf = Ref<Image2d>::Adopt(half), ownSmall = Ref<Image2d>::Adopt(small);
  return ok && half->GetLine(3)[9] == image->GetLine(0)[0] && small->width == 2 &&
         img::ConvertPixels(image->GetLine(0), bgra, IMG_BGR24, IMG_BGRA32, 1, nullptr) == S_OK &&
         bgra[3] == 255 && img::GetPixelSize(IMG_BGR48, bits) == 6 && bits == 48 &&
         (img::SetReadLimit(1 << 20), img::GetReadLimit() == 1 << 20) && !AbstractImage::Load(L"missing.png");
}

bool Turning() {
  Ref<Image2d> const image = Ref<Image2d>::Adopt(Image2d::Create());
  Image2d *turned = nullptr, *upright = nullptr;
  bool const ok = image->Create(IMG_BGR24, 8, 4) == S_OK && img::Orient(*image, 6, &turned) == S_OK &&
                  img::MakeUpright(*image, &upright) == S_OK && img::CopyFileInfo(*image, *turned) == S_OK;
  Ref<Image2d> const ownTurned = Ref<Image2d>::Adopt(turned), ownUpright = Ref<Image2d>::Adopt(upright);
  return ok && turned->height == 8 && upright == image.get();
}

// An image of the program, without pixels.
class Drawing : public Destroys<Drawing, AbstractImage> {
 public:
  void* DeleteThis(unsigned flags) noexcept override { return DeleteSelf(flags); }
  bool GetPixel(point3df const&, point4df& color) noexcept override {
    color = {1, 1, 1, 1};
    return true;
  }
  HRESULT ClearColor(unsigned) noexcept override { return S_OK; }
  HRESULT ClearColor(point4df const&) noexcept override { return S_FALSE; }
  HRESULT Free() noexcept override { return S_OK; }
};

// Pixels with a caption: a class derived from one that the library implements.
class Captioned : public Destroys<Captioned, Image2d> {
 public:
  void* DeleteThis(unsigned flags) noexcept override { return DeleteSelf(flags); }
};

bool OwnImages() {
  Ref<Drawing> const drawing = Ref<Drawing>::Adopt(new (std::nothrow) Drawing);
  Ref<Captioned> const captioned = Ref<Captioned>::Adopt(new (std::nothrow) Captioned);
  Variant value, read;
  value.Init(3);
  int number = 0;
  captioned->name = L"caption";
  return drawing->SetValue(4, value) == S_OK && drawing->GetValue(4, read) == S_OK && read.Get(number) &&
         number == 3 && captioned->Create(IMG_GRAY8, 2, 2) == S_OK && captioned->GetLine(1) &&
         captioned->IsTypeOf(ids::IMAGE_2D);
}

bool Kept() {
  Ref<Image2d> const image = Ref<Image2d>::Adopt(Image2d::Create());
  Ref<Image2d> copy, loaded;
  Ref<Stream> stream;
  Ref<Serializer> const writer = Ref<Serializer>::Adopt(Serializer::Create());
  Ref<Deserializer> const reader = Ref<Deserializer>::Adopt(Deserializer::Create());
  bool ok = image->Create(IMG_BGR24, 3, 3) == S_OK && image->ClearColor(0x00030201) == S_OK &&
            image->SetValue(5, Variant(1.5)) == S_OK && image->Clone(copy.Receive()) == S_OK &&
            MemStream::Create(stream.Receive()) == S_OK && writer->Open(stream.get(), chunk::RAW) == S_OK &&
            img::SaveTo(*writer, *copy, 9) == S_OK && writer->Close() == S_OK;
  ok = ok && stream->Seek(0, Stream::FROM_START) == S_OK && reader->Open(stream.get(), chunk::RAW) == S_OK &&
       reader->BeginChunk() == 9 && img::LoadFrom(*reader, loaded.Receive()) == S_OK;
  Ref<AbstractImage> const any = loaded;
  if (!ok || Cast<Image2d>(any.get()) != loaded.get() || loaded->GetLine(2)[6] != 3) return false;
  for (Map::Entry const& entry : *loaded->GetProperties()) ok = ok && entry.key == 5;
  return ok;
}

bool DrawingWithoutTheSystem() {
  Ref<Image2d> const image = Ref<Image2d>::Adopt(Image2d::Create());
  Ref<Image2d> dot = Ref<Image2d>::Adopt(Image2d::Create());
  Ref<IDC> const dc = Ref<IDC>::Adopt(IDC::Create());
  return image->Create(IMG_BGR24, 9, 9) == S_OK && dot->Create(IMG_GRAY8, 1, 1) == S_OK &&
         (*dot->GetLine(0) = 0x80) && dc->Attach(image.get()) == S_OK &&
         dc->DrawImage(dot.get(), 4, 4) == S_OK && dc->GetPixel(4, 4) == Rgba(0x80, 0x80, 0x80);
}

unsigned Blue(int, int, void* calls) {
  ++*static_cast<int*>(calls);
  return 0xFFFF0000;
}

bool Drawing2d() {
  Ref<IDC> const dc = Ref<IDC>::Adopt(IDC::Create());
  int calls = 0;
  point2df const triangle[] = {{0, 0}, {10, 0}, {0, 10}};
  bool ok = dc->Create(20, 20) == S_OK && dc->Clear(0xFFFFFFFF) == S_OK && dc->SetColor(0xFF0000FF) == S_OK &&
            dc->FillRect(xrect2d(0, 0, 5, 5)) == S_OK && dc->GetPixel(1, 1) == 0xFF0000FF &&
            dc->FillRect(10, 10, 2, 2, Blue, &calls) == S_OK && calls == 4 &&
            dc->GetPixel(11, 11) == 0xFFFF0000;
  ok = ok && dc->DrawLine(triangle[0], triangle[1]) == S_OK &&
       dc->FillPolygon(triangle, 3, IDC::EVEN_ODD) == S_OK && dc->FillEllipse(rect2d{2, 2, 9, 9}) == S_OK &&
       dc->GetPixel(3, 3) == 0xFF0000FF;
  return ok && Succeeded(IDC::Register());
}

constexpr Case CASES[] = {
    {"transforms by value", Transforms},
    {"matrices", Matrices},
    {"rectangles", Rectangles},
    {"colours", Colours},
    {"images", Images},
    {"turning", Turning},
    {"own images", OwnImages},
    {"kept images", Kept},
    {"drawing without the system", DrawingWithoutTheSystem},
    {"drawing", Drawing2d},
};

}  // namespace

Cases const PICTURES = CasesOf(CASES);
