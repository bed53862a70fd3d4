#include <windows.h>
// first, for the platform's types

#include <float.h>
#include <math.h>
#include <qecore/values/string.h>

#include <numbers>

#include "surface.h"

using namespace yk;

namespace {

constexpr double PI = std::numbers::pi;

using Points = std::vector<point2df>;
using Spans = std::vector<std::pair<double, double>>;

int Count(Points const& points) { return static_cast<int>(points.size()); }

// Compares an area with 512 lines through each row of pixels. cut(y, spans) returns the parts of a line
// inside.
template <class Cut>
void ExpectCoverage(IDC& dc, double tolerance, std::string const& what, Cut cut) {
  Spans spans;
  std::vector<double> coverage(size_t(dc.width * dc.height));
  for (int line = 0; line < dc.height * 512; ++line) {
    spans.clear();
    cut((line + 0.5) / 512, spans);
    for (auto const& [from, to] : spans) {
      double const low = std::max(from, 0.0), high = std::min<double>(to, dc.width);
      for (int x = static_cast<int>(low); x < high; ++x) {
        double const part = std::min(high, x + 1.0) - std::max<double>(low, x);
        coverage[size_t(line / 512 * dc.width + x)] += part / 512;
      }
    }
  }
  ExpectRed(dc, tolerance, what, [&](int x, int y) { return coverage[size_t(y * dc.width + x)] * 255; });
}

void CutPolygon(Points const& points, IDC const& dc, bool nonZero, double y, Spans& spans) {
  static std::vector<std::pair<double, int>> crossings;  // reused: there are millions of lines
  crossings.clear();
  for (size_t i = 0; i < points.size(); ++i) {
    point2df const a = points[i], b = points[i + 1 < points.size() ? i + 1 : 0];
    double const ay = double(a.y) + dc.originY, by = double(b.y) + dc.originY;
    if ((ay <= y) == (by <= y)) continue;
    crossings.push_back({a.x + dc.originX + (y - ay) / (by - ay) * (double(b.x) - a.x), ay < by ? 1 : -1});
  }
  std::sort(crossings.begin(), crossings.end());
  int winding = 0;
  for (size_t i = 0; i + 1 < crossings.size(); ++i) {
    winding += crossings[i].second;
    if (winding & (nonZero ? ~0 : 1)) spans.push_back({crossings[i].first, crossings[i + 1].first});
  }
}

// Half the length, on the line at y relative to the centre, of the points of an ellipse at a distance of at
// least `inset` from its edge: they are at that distance behind every tangent.
double HalfChord(double rx, double ry, double inset, double y) {
  if (ry - inset <= fabs(y) || rx <= inset) return 0;
  if (inset == 0) return rx * sqrt((1 - y / ry) * (1 + y / ry));
  double best = 0, reach = rx - inset;
  for (double step = PI / 128, middle = 32 * step; step > 1e-15; step /= 8, middle = best) {
    for (double angle = std::max(middle - 32 * step, 0.0); angle < middle + 32 * step; angle += step) {
      double const c = cos(angle), s = sin(angle);
      double const behind = (hypot(rx * c, ry * s) - inset - fabs(y) * s) / c;
      if (c > 0 && behind < reach) reach = behind, best = angle;
    }
  }
  return reach;
}

}  // namespace

TEST(Area, PolygonsAreCoveredExactly) {
  std::mt19937 random(11);
  auto const around = [&](double middle, double spread) {
    return float(std::uniform_real_distribution<double>(middle - spread, middle + spread)(random));
  };
  std::vector<Points> shapes(4);  // with thousands of edges and crossings in a row
  for (int i = 0; i < 1501; ++i) {
    double const angle = 2 * PI * (i * 750 % 1501) / 1501;
    shapes[0].push_back({float(20 + 18 * cos(angle)), float(6 + 4.5 * sin(angle))});
  }
  for (int i = 0; i < 2000; ++i) {
    shapes[1].push_back({around(20, 20), around(6, 6)});
    shapes[2].push_back({float(i) / 50, i % 2 ? 2.3f : around(5.5, 0.5)});
    if (i % 2) shapes[3].push_back({around(20, 20), around(5.5, 0.5)});
  }
  for (int i = 0; i < 200; ++i) {
    Points few(static_cast<size_t>(3 + i % 8));
    double const spread = i % 5 == 0 ? 1e7 : i % 5 == 1 ? 4 : 60;
    for (point2df& p : few) p = {around(20, spread), around(6, spread)};
    if (i % 7 == 0) few[1] = {around(few[0].x, 0.2), around(few[0].y, 0.2)};  // nearly degenerate
    if (i % 11 == 0) few[2].y = few[1].y = floorf(few[1].y);                  // along a row
    shapes.push_back(few);
  }
  for (size_t i = 0; i < shapes.size() * 2 && !HasFatalFailure(); ++i) {
    Points const& points = shapes[i / 2];
    Ref<IDC> const dc = MakeBlack(40, 12);
    if (i % 3 == 1) dc->SetClip({7, 2, 33, 9});
    if (i % 5 == 1) dc->SetOrigin(-13, 8);
    EXPECT_TRUE(Succeeded(dc->FillPolygon(points.data(), Count(points), i & 1)));
    ExpectCoverage(*dc, i < 8 ? 3 : 1.5, std::to_string(i),
                   [&](double y, Spans& spans) { CutPolygon(points, *dc, i & 1, y, spans); });
  }
}

TEST(Area, EllipsesAndTheirOutlinesAreCoveredExactly) {
  rect2d const rows[] = {{3, 4, 31, 22},          {5.3, 6.2, 5.9, 20.7}, {-180, 5, 220, 25.3},
                         {10, 10, 10.4, 10.3},    {-50, -40, 20, 22},    {30, 20, 2, 5},
                         {15, -99, 33.5, 90},     {-1e7, -1e6, 20, 1e6}, {-1e9, 3, 1e9, 9},
                         {0.5, -1e12, 39.5, 1e12}};
  for (rect2d const& r : rows) {
    for (double outline : {0.0, 2.5, 1e3}) {
      Ref<IDC> const dc = MakeBlack(40, 26);
      EXPECT_EQ(dc->FillEllipse(r, outline), S_OK);
      double const rx = fabs(r.x2 - r.x1) / 2, ry = fabs(r.y2 - r.y1) / 2, cx = (r.x1 + r.x2) / 2;
      ExpectCoverage(*dc, 1, std::to_string(r.x1), [&](double y, Spans& spans) {
        double const v = y - (r.y1 + r.y2) / 2, outer = HalfChord(rx, ry, 0, v);
        double const inner = outline > 0 ? HalfChord(rx, ry, outline, v) : 0;
        spans.assign({{cx - outer, cx - inner}, {cx + inner, cx + outer}});
      });
      if (HasFatalFailure()) return;
    }
  }
  EXPECT_TRUE(Succeeded(MakeBlack(4, 4)->FillEllipse({1e-320, 1e-320, 0, 0.996}, 1e-321)));
}

TEST(Area, WholePixelsAreFilledAsRectanglesAreAndHalvesHalf) {
  struct {
    unsigned mode, alpha, before, alphaBefore;
    int after, alphaAfter;
  } const rows[] = {{0, 255, 100, 9, 150, 9},     {0, 64, 100, 9, 112, 9},      {1, 0, 100, 9, 127, 9},
                    {2, 0, 100, 9, 200, 9},       {2, 0, 200, 9, 255, 9},       {3, 0, 120, 9, 20, 9},
                    {3, 0, 60, 9, 0, 9},          {4, 128, 100, 255, 133, 191}, {4, 0, 100, 0, 150, 0},
                    {5, 128, 100, 255, 125, 255}, {5, 128, 100, 0, 200, 64},    {5, 0, 100, 7, 100, 7}};
  Points const half = {{0, 0}, {1.5f, 0}, {1.5f, 1}, {0, 1}};
  for (auto const& [mode, alpha, before, alphaBefore, after, alphaAfter] : rows) {
    Ref<IDC> const dc = MakeSurface(3, 1, true);
    dc->Clear(alphaBefore << 24 | before * 0x010101);
    dc->SetMode(mode);
    dc->SetColor(alpha << 24 | 0xC8C8C8);
    EXPECT_EQ(dc->FillPolygon(half.data(), 4, IDC::EVEN_ODD), S_OK);
    EXPECT_EQ(PixelAt(*dc, 1, 0), (Pixel{after, after, after, alphaAfter})) << mode << ", " << before;
    EXPECT_EQ(PixelAt(*dc, 2, 0).red, static_cast<int>(before)) << mode;
    Pixel const whole = PixelAt(*dc, 0, 0);
    dc->Clear(alphaBefore << 24 | before * 0x010101);
    dc->FillRect(0, 0, 1, 1);
    EXPECT_EQ(PixelAt(*dc, 0, 0), whole) << mode;
  }
}

// For all coordinates: it terminates, and pixels outside the clip are unchanged.
TEST(Shapes, SurviveWildCoordinates) {
  std::mt19937 random(13);
  float const values[] = {0,     1.5f,   -3,      11,       1.6e7f, -1.7e7f,
                          1e12f, -1e30f, FLT_MAX, -FLT_MAX, 1e-40f, INFINITY};
  Ref<IDC> const dc = MakeBlack(12, 12);
  dc->SetMode(IDC::MODE_INVERT);
  dc->SetClip({2, 2, 10, 10});
  dc->SetLinePattern(0xA5A5);
  for (int round = 0; round < 10000; ++round) {
    Points points(size_t(2 + round % 5));
    for (point2df& p : points) p = {values[random() % 12], values[random() % 12]};
    dc->SetOrigin(round % 3 ? 0 : int(random()), round % 4 ? 0 : int(random()));
    dc->FillPolygon(points.data(), Count(points), round & 1);
    dc->DrawPolyline(points.data(), Count(points), round & 2);
    dc->DrawLine(points[0], points[1]);
    dc->FillEllipse({points[0].x, points[0].y, points[1].x, points[1].y}, round % 7);
  }
  ExpectRed(*dc, 0, "wild", [&](int x, int y) { return PixelAt(*dc, x, y).red; });
}

// Two pixels a step, as digits in 28ths of 255. Each line is also drawn as a polyline in parts, whose joints
// are painted once, which the half transparent colour would reveal, and through which the pattern continues.
TEST(Line, StepsAlongItsLongerAxis) {
  struct {
    point2df a, b;
    unsigned pattern, phase;
    char const* picture;  // columns 1 to 8 of three rows
  } const rows[] = {{{0, 1}, {9, 1}, 0, 0, "00000000/55555555/00000000"},
                    {{9, 1}, {-20, 1}, 0x00F5, 30, "00000000/00555505/00000000"},
                    {{-1e6f, 0.25f}, {1e6f, 0.25f}, 0, 0, "33333333/11111111/00000000"},
                    {{2, 0}, {6.2f, 2}, 0xFFFF0000, 5, "00000000/00000000/00000000"},
                    {{2, 0}, {6, 2}, 0, 0, "05200000/00252000/00002500"},
                    {{4, -9}, {3, 11}, 0, 0, "00230000/00220000/00320000"},
                    {{7.75f, 2.4f}, {7.75f, 0.6f}, 0, 0, "00000000/00000013/00000013"}};
  for (auto const& [a, b, pattern, phase, picture] : rows) {
    for (bool inParts : {false, true}) {
      Ref<IDC> const dc = MakeBlack(10, 3);
      dc->SetClip({1, 0, 9, 3});
      dc->SetColor(0x80FFFFFF);
      dc->SetLinePattern(pattern);
      Points const parts = {a, {a.x + (b.x - a.x) / 2, a.y + (b.y - a.y) / 2}, b, b};
      EXPECT_TRUE(Succeeded(inParts ? dc->DrawPolyline(parts.data(), 4, false) : dc->DrawLine(a, b)));
      std::string drawn;
      for (int i = 0; i < 24; ++i) {
        if (i == 8 || i == 16) drawn += '/';
        drawn += static_cast<char>('0' + (PixelAt(*dc, i % 8 + 1, i / 8).red + 14) / 28);
      }
      EXPECT_EQ(drawn, picture) << inParts;
      EXPECT_EQ(dc->linePhase, phase);
    }
  }
}

// Each row that the lines run down through, and each column that they run along, has a full pixel of them.
TEST(Polyline, HasNoGapsWhereItsLongerAxisChanges) {
  Ref<IDC> const dc = MakeBlack(50, 50);
  Points const bend = {{3, 3.3f}, {12.4f, 12.6f}, {21, 22}};
  dc->SetLinePattern(0xFFFF);
  EXPECT_EQ(dc->DrawPolyline(bend.data(), 3, false), S_OK);
  EXPECT_EQ(dc->linePhase, 19u);  // the columns 3 to 12, the rows 13 to 22; they share one step
  for (int points : {11, 64, 360}) {
    Points circle;
    for (int i = 0; i < points; ++i) {
      double const angle = 2 * PI * i / points;
      circle.push_back({float(24.6 + 20.3 * cos(angle)), float(25.2 + 20.3 * sin(angle))});
    }
    dc->Clear(BLACK);
    EXPECT_EQ(dc->DrawPolyline(circle.data(), points, true), S_OK);
    for (int i = 11; i < 39; ++i) {
      int ink[4] = {};  // left and right half of a row, upper and lower half of a column
      for (int k = 0; k < 50; ++k)
        ink[k / 25] += PixelAt(*dc, k, i).red, ink[2 + k / 25] += PixelAt(*dc, i, k).red;
      for (int each : ink) EXPECT_GT(each, 230) << points << ", " << i;
    }
  }
}

// At any position in its rectangle, and however far glyphs extend: the mean of GDI's own white text on black
// and black text on white.
TEST(Text, IsGdisTextWithItsCurveUndone) {
  wchar_t const* const text = L"Wide quality,\ttfj";  // without a prefix: the format flag can choose the font
  LOGFONTW face = {-22, 0, 0, 0, FW_BOLD, 1, 0, 0, 0, 0, 0, ANTIALIASED_QUALITY, 0, L"Tahoma"};
  HFONT const bold = CreateFontIndirectW(&face);
  face = {-9, 0, 200, 200, 0, 0, 0, 0, 0, 0, 0, ANTIALIASED_QUALITY, 0, L"Tahoma"};
  HFONT const turned = CreateFontIndirectW(&face);
  constexpr unsigned LINE = DT_SINGLELINE, WRAP = DT_WORDBREAK, TABS = DT_EXPANDTABS, TURNED = DT_NOPREFIX;
  for (unsigned const format :
       {WRAP | DT_CENTER, LINE | DT_NOCLIP, LINE | DT_NOCLIP | DT_CENTER, LINE | DT_BOTTOM | DT_RIGHT,
        LINE | DT_VCENTER | DT_END_ELLIPSIS, TABS | DT_NOCLIP | DT_RIGHT, TABS | DT_TABSTOP | 0x300,
        WRAP | DT_RTLREADING, 0u | DT_NOCLIP | DT_BOTTOM, 0u | DT_NOCLIP | DT_RTLREADING,
        WRAP | DT_CENTER | TURNED}) {
    int const bottom = format == (LINE | DT_NOCLIP) ? 20 : 170;  // above the top
    Ref<IDC> const dc = MakeBlack(140, 172), light = MakeBlack(140, 172), dark = MakeBlack(140, 172);
    dark->Clear(WHITE);
    for (IDC* each : {dc.get(), light.get(), dark.get()}) {
      SelectObject(each->memoryDC, format & TURNED ? turned : bold);
      if (each == dc.get()) continue;
      RECT where = {5, 43, 135, bottom};
      SetBkMode(each->memoryDC, TRANSPARENT);
      each->SetTextColor(each == dark.get() ? BLACK : WHITE);
      DrawTextW(each->memoryDC, text, -1, &where, format);
    }
    GdiFlush();
    dc->SetOrigin(5, -3);
    dc->SetClip({10, 8, 132, 168});
    dc->SetColor(0xC0204080);
    xrect2d r(0, 46, 130, bottom + 3);
    EXPECT_EQ(dc->DrawText(text, -1, &r, format), S_OK);
    int inked = 0;
    ExpectRed(*dc, 0, std::to_string(format), [&](int x, int y) {
      Pixel const a = PixelAt(*light, x, y), b = PixelAt(*dark, x, y);
      int const coverage = ((a.red + a.green + a.blue) / 3 + 256 - (b.red + b.green + b.blue) / 3) / 2;
      inked += coverage > 0;
      return 0x80 * ((0xC0 * coverage + 127) / 255) / 255;
    });
    EXPECT_GT(inked, 30) << format;
  }
  for (HFONT font : {bold, turned}) DeleteObject(font);
}

TEST(Text, IsMeasured) {
  Ref<IDC> const dc = MakeBlack(4, 4);
  xrect2d endless(INT_MAX, INT_MIN, INT_MAX, INT_MIN), r(7, 5, 9, 9);
  ExpectEach(S_OK, {dc->DrawText(L"", 0, &r, DT_CALCRECT),
                    dc->DrawText(String(L"qe"), &r, DT_CALCRECT | DT_SINGLELINE)});
  EXPECT_TRUE(r.left == 7 && r.right > 12);
  EXPECT_EQ(dc->DrawText(L"x", 1, &endless, DT_NOCLIP), S_FALSE);
}

TEST(GdiPolygon, HasAFillAndAnOutline) {
  POINT const square[] = {{5, 6}, {25, 6}, {25, 26}, {5, 26}};
  POINT const wild[] = {{INT_MIN, 0}, {INT_MAX, INT_MIN}, {10, INT_MAX}};
  xrect2d r(0, 0, 40, 40);
  EXPECT_EQ(MakeBlack(40, 40)->DrawText(L"its mask is kept", -1, &r, DT_WORDBREAK), S_OK);
  Ref<IDC> const dc = MakeBlack(40, 40);
  dc->SetOrigin(2, -1);
  dc->SetClip({4, 8, 37, 33});
  ExpectEach(S_OK,
             {dc->DrawPolygon(square, 4, 0x800000FF, 0, 1), dc->DrawPolygon(square, 4, 0, 0xFF0000C8, 1)});
  ExpectRed(*dc, 0, "square", [](int x, int y) {
    int const beyond = std::max(abs(x - 17), abs(y - 15)) - 10;  // the outline
    return beyond > 0 ? 0 : beyond == 0 ? 0xC8 : 0x80;
  });
  EXPECT_EQ(dc->DrawPolygon(wild, 3, WHITE, BLACK, 3), S_OK);
  EXPECT_EQ(dc->GetPixel(11, 20), WHITE);
  EXPECT_EQ(dc->DrawPolygon(square, 4, WHITE, WHITE, INT_MAX), S_OK);
}
