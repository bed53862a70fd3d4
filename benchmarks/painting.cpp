// The drawing surface, and the operations of images that paint.
#include <qecore/draw/device_context.h>
#include <windows.h>

#include <cmath>

#include "pictures.h"

namespace bench {

using namespace yk;

namespace {

constexpr double PI = 3.14159265358979323846;
constexpr double PIXELS = double{FULL_WIDTH} * FULL_HEIGHT;
constexpr int SMALL = 64;

using Paint = void (*)(IDC& dc, xrect2d const& r);

// ---- rectangles

/// Something that paints the whole of a rectangle. It moves `passes` bytes for each byte of a pixel: 1 for
/// what only writes, 2 for what reads as well.
struct Fill {
  char const* name;
  int passes;
  bool needsAlpha;
  unsigned colour, mode;
  Paint paint;
};

void FillIt(IDC& dc, xrect2d const& r) { dc.FillRect(r); }

constexpr Fill FILLS[] = {
    {"opaque fill", 1, false, 0xFF2878C8, IDC::MODE_PAINT, FillIt},
    {"blended fill", 2, false, 0x802878C8, IDC::MODE_PAINT, FillIt},
    {"inverted", 2, false, 0, IDC::MODE_INVERT, FillIt},
    {"added", 2, false, 0x00102030, IDC::MODE_ADD, FillIt},
    {"composite fill", 2, true, 0x802878C8, IDC::MODE_COMPOSITE, FillIt},
    {"horizontal gradient", 2, false, 0, IDC::MODE_PAINT,
     [](IDC& dc, xrect2d const& r) { dc.FillGradientH(r, 0xFF102030, 0x80F0E0D0); }},
    {"vertical gradient", 2, false, 0, IDC::MODE_PAINT,
     [](IDC& dc, xrect2d const& r) { dc.FillGradientV(r, 0xFF102030, 0xFFF0E0D0); }},
    {"premultiplied", 2, true, 0, IDC::MODE_PAINT, [](IDC& dc, xrect2d const& r) { dc.PremultiplyAlpha(r); }},
    {"alpha set", 2, true, 0, IDC::MODE_PAINT, [](IDC& dc, xrect2d const& r) { dc.SetAlpha(r, 200); }},
    {"whitened", 2, true, 0, IDC::MODE_PAINT, [](IDC& dc, xrect2d const& r) { dc.WhitenOpaque(r); }},
};

void AddFill(Fill const& fill, bool hasAlpha, bool small) {
  int const width = small ? SMALL : FULL_WIDTH, height = small ? SMALL : FULL_HEIGHT;
  double const pixels = double{1} * width * height;
  std::string const name = std::string(fill.name) + (hasAlpha ? ", bgra32" : ", bgr24");
  AddCopyRow(small ? "rectangles of 64 x 64" : "rectangles of 1920 x 1080", name, pixels,
             pixels * fill.passes * (hasAlpha ? 4 : 3), [=] {
               Surface const dc = MakeSurface(hasAlpha);
               dc->SetColor(fill.colour);
               dc->SetMode(fill.mode);
               xrect2d const whole(0, 0, width, height), inside(333, 222, 333 + SMALL, 222 + SMALL);
               return [=] { fill.paint(*dc, small ? inside : whole); };
             });
}

// ---- shapes: compared with a copy of the surface

struct Shape {
  char const* name;
  int count;  // of lines, points, ...
  std::function<void(IDC& dc)> paint;
};

using Points = std::vector<point2df>;

Points RandomPoints(size_t count, float width = FULL_WIDTH, float height = FULL_HEIGHT) {
  Numbers numbers(count);
  Points points(count);
  for (point2df& p : points) {
    p = {static_cast<float>(numbers.Unit()) * width, static_cast<float>(numbers.Unit()) * height};
  }
  return points;
}

Points Star(double x, double y, double radius) {
  Points points;
  for (int i = 0; i < 5; ++i) {
    double const angle = i * 4 * PI / 5;
    points.push_back(
        {static_cast<float>(x + radius * std::sin(angle)), static_cast<float>(y - radius * std::cos(angle))});
  }
  return points;
}

/// A line of short steps, as a curve or a diagram has.
Points Curve(size_t count) {
  Points points(count);
  for (size_t i = 0; i < count; ++i) {
    double const at = static_cast<double>(i) / static_cast<double>(count);
    points[i] = {static_cast<float>(at * FULL_WIDTH),
                 static_cast<float>((0.5 + 0.4 * std::sin(at * 40)) * FULL_HEIGHT)};
  }
  return points;
}

Shape Lines(char const* name, int count) {
  return {name, count, [points = RandomPoints(2 * static_cast<size_t>(count))](IDC& dc) {
            for (size_t i = 0; i < points.size(); i += 2) dc.DrawLine(points[i], points[i + 1]);
          }};
}

Shape Polyline(char const* name, Points const& points) {
  int const count = static_cast<int>(points.size());
  return {name, count, [=](IDC& dc) { dc.DrawPolyline(points.data(), count, false); }};
}

Shape Polygon(char const* name, Points const& points) {
  int const count = static_cast<int>(points.size());
  return {name, count, [=](IDC& dc) { dc.FillPolygon(points.data(), count, IDC::EVEN_ODD); }};
}

Shape Stars(char const* name, int count) {
  std::vector<Points> stars;
  for (point2df const& p : RandomPoints(static_cast<size_t>(count))) stars.push_back(Star(p.x, p.y, 100));
  return {name, count, [=](IDC& dc) {
            for (Points const& star : stars) dc.FillPolygon(star.data(), 5, IDC::EVEN_ODD);
          }};
}

Shape Ellipses(char const* name, int count, double outline) {
  return {name, count, [=, points = RandomPoints(static_cast<size_t>(count))](IDC& dc) {
            for (point2df const& p : points) {
              dc.FillEllipse({p.x - 80.0, p.y - 50.0, p.x + 80.0, p.y + 50.0}, outline);
            }
          }};
}

void AddShape(Shape const& shape, bool hasAlpha) {
  std::string const name = std::string(shape.name) + (hasAlpha ? ", bgra32" : ", bgr24");
  AddCopyRow("shapes, to a copy of the surface", name, shape.count, 2 * PIXELS * (hasAlpha ? 4 : 3), [=] {
    Surface const dc = MakeSurface(hasAlpha);
    return [=] { shape.paint(*dc); };
  });
}

void AddText(bool hasAlpha) {
  static constexpr wchar_t TEXT[] = L"The quick brown fox jumps over the lazy.";
  constexpr unsigned FORMAT = DT_SINGLELINE | DT_NOPREFIX;
  AddRow("text", hasAlpha ? "40 characters, bgra32" : "40 characters, bgr24", 1, "bare GDI", [=] {
    Surface const dc = MakeSurface(hasAlpha);
    Work const ours = [=] {
      xrect2d r(100, 100, 500, 120);
      dc->DrawText(TEXT, 40, &r, FORMAT);
    };
    return Pair{ours, [=] {
                  RECT r = {100, 100, 500, 120};
                  ::DrawTextW(dc->memoryDC, TEXT, 40, &r, FORMAT);
                }};
  });
}

// ---- operations of images

struct Operation {
  char const* name;
  IMG_FORMAT format;
  int passes;
  void (*run)(Image2d& image);
};

constexpr Operation OPERATIONS[] = {
    {"FlipH, bgr24", IMG_BGR24, 2, [](Image2d& image) { image.FlipH(); }},
    {"FlipH, bgra32", IMG_BGRA32, 2, [](Image2d& image) { image.FlipH(); }},
    {"FlipV, bgr24", IMG_BGR24, 2, [](Image2d& image) { image.FlipV(); }},
    {"PremultiplyAlpha, bgra32", IMG_BGRA32, 2, [](Image2d& image) { image.PremultiplyAlpha(); }},
    {"ClearColor, bgr24", IMG_BGR24, 1, [](Image2d& image) { image.ClearColor(0x102030); }},
    {"IsGrayScaleContent, bgr24", IMG_BGR24, 1, [](Image2d& image) { image.IsGrayScaleContent(); }},
    {"Crop, bgr24", IMG_BGR24, 2,
     [](Image2d& image) {
       Image2d* part = nullptr;
       if (Succeeded(image.Crop(1, 1, FULL_WIDTH - 1, FULL_HEIGHT - 1, &part))) part->Release();
     }},
};

void AddOperation(Operation const& operation) {
  AddCopyRow("operations of images", operation.name, PIXELS,
             PIXELS * operation.passes * BytesOf(operation.format), [=] {
               ImageRef const image = MakePicture(operation.format, FULL_WIDTH, FULL_HEIGHT);
               // grey, so that the search for colour goes on to the end
               memset(image->bits, 0x55, static_cast<size_t>(image->stride) * FULL_HEIGHT);
               return [=] { operation.run(*image); };
             });
}

}  // namespace

void AddPainting() {
  for (bool small : {false, true}) {
    for (Fill const& fill : FILLS) {
      if (!fill.needsAlpha) AddFill(fill, false, small);
      AddFill(fill, true, small);
    }
  }
  Shape const shapes[] = {Lines("1000 lines", 1000),
                          Polyline("polyline of 1000 points", Curve(1000)),
                          Polyline("polyline of 10000 points", Curve(10000)),
                          Stars("200 stars", 200),
                          Polygon("polygon of 5000 random points", RandomPoints(5000)),
                          Ellipses("500 ellipses", 500, 0),
                          Ellipses("500 elliptic outlines", 500, 2)};
  for (Shape const& shape : shapes) {
    for (bool hasAlpha : {false, true}) AddShape(shape, hasAlpha);
  }
  for (bool hasAlpha : {false, true}) AddText(hasAlpha);
  for (Operation const& operation : OPERATIONS) AddOperation(operation);
  // In a small area, so that the number of pixels does not decide.
  AddGrowth("filled polygon of random points", 2, {100, 1000, 5000}, [](size_t size, double&) -> Work {
    Surface const dc = MakeSurface(true);
    Points const points = RandomPoints(size, 400, 300);
    return [=] { dc->FillPolygon(points.data(), static_cast<int>(points.size()), IDC::EVEN_ODD); };
  });
}

}  // namespace bench
