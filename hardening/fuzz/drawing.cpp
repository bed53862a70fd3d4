// Drawing: arbitrary sequences of calls on a context over an image's pixels, with coordinates from sensible
// to absurd. Calls that draw through the platform (text, GDI's polygon, copies to a window) are left out: no
// display is needed.
#include <windows.h>

#include <qecore/draw/color.h>
#include <qecore/draw/device_context.h>
#include <qecore/draw/geometry.h>
#include <qecore/image/image.h>

#include "images.h"
#include "target.h"

namespace fuzz {

using namespace yk;

namespace {

constexpr int MOST_CALLS = 60;

// Contexts only pass a device context on, and none of these calls uses it.
HDC NoDevice() noexcept { return reinterpret_cast<HDC>(uintptr_t{1}); }

struct Drawing {
  Ref<IDC> dc;
  Ref<Image2d> surface;
  Ref<Image2d> picture;  // drawn by DrawImage
  unsigned seed = 0;
};

xrect2d Rect(Input& in) {
  bool const absurd = in.OneIn(8);
  int edges[4];
  for (int& edge : edges) edge = absurd ? in.Any() : in.Small();
  return {edges[0], edges[1], edges[2], edges[3]};
}

unsigned Color(Input& in) { return in.Take<unsigned>(); }
point2df Point(Input& in) { return {in.Single(), in.Single()}; }

unsigned ColorAt(int x, int y, void* context) {
  return (static_cast<unsigned>(x) * 31u + static_cast<unsigned>(y) * 7u) ^ *static_cast<unsigned*>(context);
}

// Like a host's callback: reads the source's pixel, writes the surface's, all bytes of each.
struct PixelSizes {
  int surface, picture;
};

void CopyPixel(unsigned char* to, unsigned char const* from, void* context) {
  PixelSizes const& sizes = *static_cast<PixelSizes*>(context);
  for (int i = 0; i < sizes.surface; ++i) to[i] = i < sizes.picture ? from[i] : 7;
}

// ---- state

void SetOrigin(Drawing& d, Input& in) { d.dc->SetOrigin(in.Any(), in.Any()); }
void SetClip(Drawing& d, Input& in) { d.dc->SetClip(Rect(in)); }
void SetMode(Drawing& d, Input& in) { d.dc->SetMode(in.Below(8)); }
void SetColor(Drawing& d, Input& in) { d.dc->SetColor(Color(in)); }
void SetPattern(Drawing& d, Input& in) { d.dc->SetLinePattern(in.Take<uint16_t>()); }
void PushColor(Drawing& d, Input&) { d.dc->PushColor(); }
void PopColor(Drawing& d, Input&) { d.dc->PopColor(); }
void TurnOver(Drawing& d, Input& in) { d.dc->topDown ^= in.Below(2); }

void AskState(Drawing& d, Input& in) {
  xrect2d clip;
  int x = 0, y = 0;
  d.dc->GetClip(clip);
  d.dc->GetOrigin(x, y);
  d.dc->IsVisible(Rect(in));
}

// Without bits the context has no surface.
void Detach(Drawing& d, Input& in) {
  if (in.OneIn(4)) d.dc->Detach();
}

void Attach(Drawing& d, Input& in) {
  if (in.OneIn(4) && d.surface->bits) d.dc->Attach(NoDevice(), d.surface.get());
}

// ---- areas

void FillGradientV(Drawing& d, Input& in) { d.dc->FillGradientV(Rect(in), Color(in), Color(in)); }
void FillGradientH(Drawing& d, Input& in) { d.dc->FillGradientH(Rect(in), Color(in), Color(in)); }
void FillRect(Drawing& d, Input& in) { d.dc->FillRect(Rect(in)); }
void FillSize(Drawing& d, Input& in) { d.dc->FillRect(in.Any(), in.Any(), in.Any(), in.Any()); }
void FillRectWith(Drawing& d, Input& in) { d.dc->FillRectWith(Rect(in), ColorAt, &d.seed); }
void FrameRect(Drawing& d, Input& in) { d.dc->FrameRect(Rect(in)); }
void FrameSize(Drawing& d, Input& in) { d.dc->FrameRect(in.Any(), in.Any(), in.Any(), in.Any()); }
void FrameRectWith(Drawing& d, Input& in) { d.dc->FrameRectWith(Rect(in), ColorAt, &d.seed); }
void FrameRoundRect(Drawing& d, Input& in) { d.dc->FrameRoundRect(Rect(in)); }
void FrameBevel(Drawing& d, Input& in) { d.dc->FrameBevel(Rect(in), Color(in), Color(in), in.Any()); }
void Clear(Drawing& d, Input& in) { d.dc->Clear(Color(in)); }
void SetAlpha(Drawing& d, Input& in) { d.dc->SetAlpha(Rect(in), in.Byte()); }
void PremultiplyAlpha(Drawing& d, Input& in) { d.dc->PremultiplyAlpha(Rect(in)); }
void WhitenOpaque(Drawing& d, Input& in) { d.dc->WhitenOpaque(Rect(in)); }
void GetPixel(Drawing& d, Input& in) { d.dc->GetPixel(in.Any(), in.Any()); }
void BlendPixel(Drawing& d, Input& in) { d.dc->BlendPixel(in.Any(), in.Any(), Color(in)); }

void DrawImage(Drawing& d, Input& in) {
  PixelSizes sizes = {d.dc->bytesPerPixel, d.picture->bytesPerPixel};
  xrect2d const part = Rect(in);
  int const x = in.Any(), y = in.Any();
  d.dc->DrawImage(d.picture.get(), x, y, in.Flag() ? &part : nullptr, CopyPixel, &sizes);
}

void Adjust(Drawing& d, Input& in) {
  IADJUSTMENT adjustment(in.Any(), in.Any());
  xrect2d const part = Rect(in);
  d.dc->Adjust(in.Flag() ? &part : nullptr, in.Any(), in.Any(), &adjustment);
}

// ---- shapes

void DrawLine(Drawing& d, Input& in) { d.dc->DrawLine(Point(in), Point(in)); }

std::vector<point2df> Points(Input& in) {
  std::vector<point2df> points(in.Below(12));
  for (point2df& point : points) point = Point(in);
  points.shrink_to_fit();
  return points;
}

void DrawPolyline(Drawing& d, Input& in) {
  std::vector<point2df> const points = Points(in);
  d.dc->DrawPolyline(points.data(), static_cast<int>(points.size()), in.Flag());
}

void FillPolygon(Drawing& d, Input& in) {
  std::vector<point2df> const points = Points(in);
  d.dc->FillPolygon(points.data(), static_cast<int>(points.size()), in.Below(3));
}

// Many edges, many of them in the same row.
void FillThicket(Drawing& d, Input& in) {
  std::vector<point2df> points(3 + in.Byte());
  for (point2df& point : points)
    point = {static_cast<float>(in.Small()) / 3, static_cast<float>(in.Small()) / 3};
  d.dc->FillPolygon(points.data(), static_cast<int>(points.size()), in.Below(2));
}

void FillEllipse(Drawing& d, Input& in) {
  rect2d const box = {in.Real(), in.Real(), in.Real(), in.Real()};
  d.dc->FillEllipse(box, in.Flag() ? 0 : in.Real());
}

// ---- plain values

void MixColors(Drawing&, Input& in) {
  BlendColor(Color(in), Color(in), in.Single());
  IADJUSTMENT(in.Any(), in.Any()).TranslateColor(Color(in));
}

void UseMatrix(Drawing&, Input& in) {
  matrix2d m = {in.Real(), in.Real(), in.Real(), in.Real(), in.Real(), in.Real()}, inverse = m;
  inverse.Invert();
  m.Transform(inverse);
  m.Rotate(in.Real());
  m.PointTransform(point2d{in.Real(), in.Real()});
  m.PointTransform(POINT{in.Any(), in.Any()});
  m.PointTransform(point2dfix{in.Any(), in.Any()});
  m.RectTransform(RECTL{in.Any(), in.Any(), in.Any(), in.Any()});
  m.RectTransform(rect2d{in.Real(), in.Real(), in.Real(), in.Real()});
  m.Get(in.Any(), in.Any());
}

void UseRects(Drawing&, Input& in) {
  xrect2d a = Rect(in), b = Rect(in);
  a.Add(b);
  a.Add(in.Any(), in.Any());
  a.Normalize();
  a.Inflate(in.Any(), in.Any());
  a.Offset(in.Any(), in.Any());
  a.IsInRect(in.Any(), in.Any());
  a.Clip(b);
  point2d const corners[] = {{in.Real(), in.Real()}, {in.Real(), in.Real()}};
  rect2d box{in.Real(), in.Real(), in.Real(), in.Real()}, other;
  other = xrect2d(corners);
  box.Add(corners[0]);
  box.Clip(other);
  RECTL whole;
  box.Get(whole);
}

using Step = void (*)(Drawing&, Input&);
constexpr Step STEPS[] = {
    SetOrigin,   SetClip,      SetMode,          SetColor,     SetPattern,    PushColor,      PopColor,
    TurnOver,    AskState,     Detach,           Attach,       FillGradientV, FillGradientH,  FillRect,
    FillSize,    FillRectWith, FrameRect,        FrameSize,    FrameRectWith, FrameRoundRect, FrameBevel,
    Clear,       SetAlpha,     PremultiplyAlpha, WhitenOpaque, GetPixel,      BlendPixel,     DrawImage,
    Adjust,      DrawLine,     DrawLine,         DrawPolyline, DrawPolyline,  FillPolygon,    FillPolygon,
    FillThicket, FillEllipse,  FillEllipse,      MixColors,    UseMatrix,     UseRects};

// Pixels on the heap end where the sanitizer checks. One in eight images is wide, flat, or has no pixels.
Ref<Image2d> MakeSurface(Input& in) {
  unsigned const how = in.Byte();
  int width = 1 + in.Below(70), height = 1 + in.Below(40);
  if (how >> 5 == 1) width = in.Take<uint16_t>() % 3000, height = in.Below(4);
  Ref<Image2d> image = Ref<Image2d>::Adopt(Image2d::Create());
  if (!image) return image;
  image->flags = IMG_HEAP_MEMORY;
  image->Create(how & 1 ? IMG_BGR24 : IMG_BGRA32, width, height);
  Paint(*image, how);
  return image;
}

}  // namespace

void Draw(Input& in) {
  Drawing d;
  d.dc = Ref<IDC>::Adopt(IDC::Create());
  d.surface = MakeSurface(in);
  d.picture = Ref<Image2d>::Adopt(Image2d::Create());
  if (!d.dc || !d.surface || !d.picture) return;
  d.picture->flags = IMG_HEAP_MEMORY;
  d.picture->Create(AnyFormat(in), 1 + in.Below(40), 1 + in.Below(40));
  Paint(*d.picture, 2);
  d.seed = in.Byte();
  d.dc->topDown = d.seed & 1;
  if (d.surface->bits) d.dc->Attach(NoDevice(), d.surface.get());
  Play(in, MOST_CALLS, STEPS, d);
  d.dc->Detach();
}

}  // namespace fuzz
