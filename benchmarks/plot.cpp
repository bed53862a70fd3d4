// A picture of the growth rows, drawn and saved by the library: time of an item over the number of items,
// both relative to the smallest work of the row, on logarithmic axes. A flat line is a cost that does not
// depend on the amount of work.
#include <qecore/core/ref.h>
#include <qecore/core/system.h>
#include <qecore/draw/device_context.h>
#include <qecore/image/image.h>
#include <qecore/values/string.h>
#include <windows.h>

#include <algorithm>
#include <cmath>

#include "results.h"

namespace bench {

using namespace yk;

namespace {

constexpr int WIDTH = 1100, HEIGHT = 560, LINE_HEIGHT = 18;
constexpr double LEFT = 60, TOP = 40, RIGHT = 700, BOTTOM = 500;  // of the axes
constexpr double DECADES_ACROSS = 5, DECADES_UP = 2.5, BELOW_ONE = 0.5;

constexpr unsigned Colour(unsigned red, unsigned green, unsigned blue, unsigned alpha = 255) {
  return red | green << 8 | blue << 16 | alpha << 24;
}

constexpr unsigned PAPER = Colour(255, 255, 255), INK = Colour(40, 44, 52), GRID = Colour(222, 226, 232);
constexpr unsigned FLAT = Colour(60, 170, 90, 36);  // what a factor of 2 covers
constexpr unsigned CURVES[] = {Colour(31, 119, 180),  Colour(255, 127, 14),  Colour(44, 160, 44),
                               Colour(214, 39, 40),   Colour(148, 103, 189), Colour(140, 86, 75),
                               Colour(227, 119, 194), Colour(90, 90, 90),    Colour(188, 189, 34),
                               Colour(23, 190, 207)};

float AcrossOf(double factor) {
  return static_cast<float>(LEFT +
                            (RIGHT - LEFT) * std::clamp(std::log10(factor) / DECADES_ACROSS, 0.0, 1.0));
}

float UpOf(double factor) {
  double const up = (std::log10(std::max(factor, 0.01)) + BELOW_ONE) / (DECADES_UP + BELOW_ONE);
  return static_cast<float>(BOTTOM - (BOTTOM - TOP) * std::clamp(up, 0.0, 1.0));
}

/// Where a line of text is drawn, and on which side of that place.
struct Place {
  double left, top, right;
  unsigned side = DT_LEFT;
};

void Label(IDC& dc, std::string const& text, Place const& place) {
  int const top = static_cast<int>(place.top);
  xrect2d r(static_cast<int>(place.left), top, static_cast<int>(place.right), top + LINE_HEIGHT);
  dc.SetColor(INK);
  dc.DrawText(String(text.c_str()), &r, place.side | DT_SINGLELINE | DT_VCENTER | DT_NOPREFIX);
}

std::string PowerOfTen(int power) {
  return power < 0 ? "0." + std::string(static_cast<size_t>(-power - 1), '0') + "1"
                   : "1" + std::string(static_cast<size_t>(power), '0');
}

void DrawAxes(IDC& dc) {
  dc.SetColor(FLAT);
  point2df const band[] = {
      {AcrossOf(1), UpOf(2)}, {AcrossOf(1e5), UpOf(2)}, {AcrossOf(1e5), UpOf(0.5)}, {AcrossOf(1), UpOf(0.5)}};
  dc.FillPolygon(band, 4, IDC::EVEN_ODD);
  for (int power = 0; power <= DECADES_ACROSS; ++power) {
    float const x = AcrossOf(std::pow(10, power));
    dc.SetColor(GRID);
    dc.DrawLine(point2df{x, static_cast<float>(TOP)}, point2df{x, static_cast<float>(BOTTOM)});
    Label(dc, PowerOfTen(power), {x - 50, BOTTOM + 4, x + 50, DT_CENTER});
  }
  for (int power = 0; power <= DECADES_UP; ++power) {
    float const y = UpOf(std::pow(10, power));
    dc.SetColor(GRID);
    dc.DrawLine(point2df{static_cast<float>(LEFT), y}, point2df{static_cast<float>(RIGHT), y});
    Label(dc, PowerOfTen(power), {0, y - LINE_HEIGHT / 2, LEFT - 8, DT_RIGHT});
  }
  Label(dc, "time of an item, times that of the smallest work", {LEFT, 10, RIGHT});
  Label(dc, "number of items, times that of the smallest work", {LEFT, BOTTOM + 26, RIGHT, DT_CENTER});
}

/// One row of results, from `first` to before `last`.
void DrawCurve(IDC& dc, Result const* first, Result const* last, int number) {
  std::vector<point2df> points;
  for (Result const* r = first; r < last; ++r) {
    points.push_back({AcrossOf(r->size / first->size), UpOf(r->nanoseconds / first->nanoseconds)});
  }
  double const legend = TOP + 22 * number;
  unsigned const colour = CURVES[static_cast<size_t>(number) % std::size(CURVES)];
  dc.SetColor(colour);
  // A curve of two pixels, and a dot for each measurement.
  for (float shift : {0.0f, 1.0f}) {
    std::vector<point2df> shifted = points;
    for (point2df& p : shifted) p.y += shift;
    dc.DrawPolyline(shifted.data(), static_cast<int>(shifted.size()), false);
  }
  points.push_back({static_cast<float>(RIGHT + 40), static_cast<float>(legend + 9)});
  double const outline = static_cast<size_t>(number) < std::size(CURVES) ? 0 : 1.6;  // colours come again
  for (point2df const& p : points) dc.FillEllipse({p.x - 4.0, p.y - 4.0, p.x + 5.0, p.y + 5.0}, outline);
  Label(dc, first->name, {RIGHT + 52, legend, WIDTH});
}

void DrawAll(IDC& dc, Results const& results) {
  dc.Clear(PAPER);
  DrawAxes(dc);
  int number = 0;
  for (size_t i = 0; i < results.size();) {
    size_t next = i;
    while (next < results.size() && results[next].name == results[i].name) ++next;
    if (results[i].table == GROWTH) DrawCurve(dc, &results[i], results.data() + next, number++);
    i = next;
  }
}

/// A memory device context with the font of the labels.
class DrawingDc {
 public:
  DrawingDc() : before(SelectObject(dc, font)) {}
  ~DrawingDc() {
    SelectObject(dc, before);
    DeleteObject(font);
    DeleteDC(dc);
  }
  DrawingDc(DrawingDc const&) = delete;
  DrawingDc& operator=(DrawingDc const&) = delete;

  HDC Get() const { return dc; }

 private:
  HDC dc = CreateCompatibleDC(nullptr);
  HFONT font = CreateFontW(-13, 0, 0, 0, FW_NORMAL, 0, 0, 0, 0, 0, 0, ANTIALIASED_QUALITY, 0, L"Tahoma");
  HGDIOBJ before;
};

void ScanPluginsOfProgram() {
  wchar_t path[1000];
  GetModuleFileNameW(nullptr, path, 1000);
  String const folder = String(path).FilePath();
  String cache(folder);
  cache += L"\\bench.cache";
  System::ptr()->ScanModules(folder, cache);
}

}  // namespace

bool DrawGrowth(Results const& results, std::string const& path) {
  ScanPluginsOfProgram();
  Ref<Image2d> const page = Ref<Image2d>::Adopt(Image2d::Create());
  Ref<IDC> const dc = Ref<IDC>::Adopt(IDC::Create());
  if (Failed(page->Create(IMG_BGR24, WIDTH, HEIGHT))) return false;
  DrawingDc const memory;
  if (Succeeded(dc->Attach(memory.Get(), page.get()))) DrawAll(*dc, results);
  dc->Detach();
  return Succeeded(page->Save(String(path.c_str()).c_str()));
}

}  // namespace bench
