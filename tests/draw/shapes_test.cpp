#include <windows.h>
// first: the platform's types are complete below

#include <math.h>
#include <qecore/values/string.h>

#include <array>
#include <functional>
#include <numbers>

#include "surface.h"

using namespace yk;

namespace {

constexpr unsigned WHITE = 0xFFFFFFFF, BLACK = 0xFF000000;
constexpr float LARGEST = 3.402823466e38f, ENDLESS = INFINITY;

using Points = std::vector<point2df>;
using Spans = std::vector<std::pair<double, double>>;

// The coverage of an area from many lines through each row of pixels. `cut` tells what of a line lies inside.
std::vector<double> Supersample(int w, int h, int lines,
                                std::function<void(double y, Spans& spans)> const& cut) {
  Spans spans;
  std::vector<double> coverage(static_cast<size_t>(w * h));
  for (int line = 0; line < h * lines; ++line) {
    spans.clear();
    cut((line + 0.5) / lines, spans);
    for (auto const& [from, to] : spans) {
      double const low = std::max(from, 0.0), high = std::min<double>(to, w);
      for (int x = static_cast<int>(low); x < high; ++x) {
        double const part = std::min(high, x + 1.0) - std::max<double>(low, x);
        coverage[static_cast<size_t>(line / lines * w + x)] += part / lines;
      }
    }
  }
  return coverage;
}

void CutPolygon(Points const& points, IDC const& dc, bool nonZero, double y, Spans& spans) {
  static std::vector<std::pair<double, int>> crossings;  // kept: there are millions of lines
  crossings.clear();
  for (size_t i = 0; i < points.size(); ++i) {
    point2df const a = points[i], b = points[(i + 1) % points.size()];
    double const ay = double(a.y) + dc.originY, by = double(b.y) + dc.originY;
    if ((ay <= y) == (by <= y)) continue;
    crossings.push_back({a.x + dc.originX + (y - ay) / (by - ay) * (double(b.x) - a.x), ay < by ? 1 : -1});
  }
  std::sort(crossings.begin(), crossings.end());
  int winding = 0;
  for (size_t i = 0; i + 1 < crossings.size(); ++i) {
    winding += crossings[i].second;
    if (nonZero ? winding != 0 : winding % 2 != 0)
      spans.push_back({crossings[i].first, crossings[i + 1].first});
  }
}

// Half of what the line at y, seen from the centre, has of the points of an ellipse that are not nearer to its
// edge than `inset`: they lie behind every tangent by that much.
double HalfChord(double rx, double ry, double inset, double y) {
  if (ry - inset <= fabs(y) || rx <= inset) return 0;
  if (inset == 0) return rx * sqrt((1 - y / ry) * (1 + y / ry));
  constexpr double QUARTER = std::numbers::pi / 2, STEP = QUARTER / 64;
  auto const behind = [=](double angle) {
    double const c = cos(angle), s = sin(angle);
    return (hypot(rx * c, ry * s) - inset - fabs(y) * s) / c;
  };
  double best = 0;
  for (double angle = 0; angle < QUARTER - STEP / 2; angle += STEP) {
    if (behind(angle) < behind(best)) best = angle;
  }
  double low = std::max(best - STEP, 0.0), high = std::min(best + STEP, QUARTER - 1e-12);
  while (high - low > 1e-14) {
    double const third = (high - low) / 3;
    if (behind(low + third) < behind(high - third)) {
      high -= third;
    } else {
      low += third;
    }
  }
  return behind(low);
}

// White on black: compares the surface with coverage times 255 inside the clip; outside it must be black.
void ExpectCoverage(IDC& dc, std::vector<double> const& coverage, int what, double tolerance) {
  for (int i = 0; i < dc.width * dc.height; ++i) {
    int const x = i % dc.width, y = i / dc.width;
    double const expected = dc.clip.IsInRect(x, y) ? coverage[static_cast<size_t>(i)] * 255 : 0;
    ASSERT_NEAR(PixelAt(dc, x, y).red, expected, tolerance) << what << " at " << x << ',' << y;
  }
}

Ref<IDC> MakeBlack(int w, int h) {
  Ref<IDC> dc = MakeSurface(w, h, false);
  dc->Clear(BLACK);
  dc->SetColor(WHITE);
  return dc;
}

}  // namespace

TEST(Area, PolygonsAreCoveredExactly) {
  std::mt19937 random(11);
  auto const around = [&](double middle, double spread) {
    return static_cast<float>(
        std::uniform_real_distribution<double>(middle - spread, middle + spread)(random));
  };
  for (int round = 0; round < 200; ++round) {
    Ref<IDC> const dc = MakeBlack(40, 30);
    if (round & 1) dc->SetClip({7, 5, 33, 22});
    if (round & 2) dc->SetOrigin(-13, 8);
    double const spread = round % 5 == 0 ? 1e7 : round % 5 == 1 ? 4 : 60;
    Points points(static_cast<size_t>(3 + round % 8));
    for (point2df& p : points) p = {around(20, spread), around(15, spread)};
    if (round % 7 == 0) points[1] = {around(points[0].x, 0.2), around(points[0].y, 0.2)};  // a sliver
    if (round % 11 == 0) points[2].y = points[1].y = floorf(points[1].y);                  // along a row
    bool const nonZero = round & 4;
    EXPECT_TRUE(Succeeded(dc->FillPolygon(points.data(), static_cast<int>(points.size()), nonZero)));
    auto const cut = [&](double y, Spans& spans) { CutPolygon(points, *dc, nonZero, y, spans); };
    ExpectCoverage(*dc, Supersample(40, 30, 256, cut), round, 1.5);
    if (HasFatalFailure()) return;
  }
}

// Thousands of edges and crossings in each row.
TEST(Area, CrowdedPolygonsAreCoveredExactly) {
  std::mt19937 random(12);
  std::uniform_real_distribution<float> unit(0, 1);
  Points star(1501), wild(2000), flat(1000), comb(2000);
  for (size_t i = 0; i < 1501; ++i) {
    double const angle = 2 * std::numbers::pi * double(i * 750 % 1501) / 1501;
    star[i] = {float(20 + 18 * cos(angle)), float(5 + 4.5 * sin(angle))};
  }
  for (point2df& p : wild) p = {40 * unit(random), 10 * unit(random)};
  for (point2df& p : flat) p = {40 * unit(random), 5 + unit(random)};
  for (size_t i = 0; i < 2000; ++i) comb[i] = {float(i) / 50, i % 2 ? 2.3f : 5.1f + unit(random)};
  for (Points const& points : {star, wild, flat, comb}) {
    for (bool nonZero : {false, true}) {
      Ref<IDC> const dc = MakeBlack(40, 10);
      EXPECT_EQ(dc->FillPolygon(points.data(), static_cast<int>(points.size()), nonZero), S_OK);
      auto const cut = [&](double y, Spans& spans) { CutPolygon(points, *dc, nonZero, y, spans); };
      ExpectCoverage(*dc, Supersample(40, 10, 512, cut), static_cast<int>(points.size()), 3);
    }
  }
}

TEST(Area, EllipsesAndTheirOutlinesAreCoveredExactly) {
  rect2d const rows[] = {{3, 4, 31, 22},          {5.3, 6.2, 5.9, 20.7}, {-180, 5, 220, 25.3},
                         {10, 10, 10.4, 10.3},    {-50, -40, 20, 22},    {30, 20, 2, 5},
                         {15, -99, 33.5, 90},     {-1e7, -1e6, 20, 1e6}, {-1e9, 3, 1e9, 9},
                         {0.5, -1e12, 39.5, 1e12}};
  for (int i = 0; i < 30; ++i) {
    rect2d const& r = rows[i / 3];
    double const outline = std::array{0.0, 2.5, 1e3}[static_cast<size_t>(i % 3)];
    Ref<IDC> const dc = MakeBlack(40, 30);
    EXPECT_EQ(dc->FillEllipse(r, outline), S_OK);
    double const rx = fabs(r.x2 - r.x1) / 2, ry = fabs(r.y2 - r.y1) / 2, cx = (r.x1 + r.x2) / 2;
    auto const cut = [&](double y, Spans& spans) {
      double const v = y - (r.y1 + r.y2) / 2;
      double const outer = HalfChord(rx, ry, 0, v), inner = outline > 0 ? HalfChord(rx, ry, outline, v) : 0;
      spans.assign({{cx - outer, cx - inner}, {cx + inner, cx + outer}});
    };
    ExpectCoverage(*dc, Supersample(40, 30, 256, cut), i, 1.25);
    if (HasFatalFailure()) return;
  }
}

TEST(Area, WholePixelsAreFilledAsRectanglesAre) {
  for (unsigned mode = 0; mode < 6; ++mode) {
    Ref<IDC> const dc = MakeSurface(20, 20, true), filled = MakeSurface(20, 20, true);
    for (IDC* each : {dc.get(), filled.get()}) {
      std::mt19937 random(12);
      FillWithNoise(*each, random);
      each->SetMode(mode);
      each->SetColor(0x90C08040);
    }
    Points const corners = {{3, 4}, {17, 4}, {17, 15}, {3, 15}};
    EXPECT_EQ(dc->FillPolygon(corners.data(), 4, IDC::EVEN_ODD), S_OK);
    filled->FillRect({3, 4, 17, 15});
    EXPECT_TRUE(Pixels(*dc) == Pixels(*filled)) << mode;
  }
}

TEST(Shapes, RefuseWhatTheyCannotDraw) {
  Ref<IDC> const dc = MakeBlack(10, 10);
  dc->SetLinePattern(0xFFFF);
  Points const good = {{0, 0}, {8, 0}, {0, 8}};
  xrect2d outside(20, 0, 40, 20);
  EXPECT_EQ(dc->FillPolygon(good.data(), 3, 2), E_INVALIDARG);
  EXPECT_EQ(dc->DrawPolyline(good.data(), 1, true), S_FALSE);
  EXPECT_EQ(dc->FillEllipse({0, 0, 8, 8}, NAN), S_FALSE);
  EXPECT_EQ(dc->DrawText(nullptr, 3, &outside, 0), E_INVALIDARG);
  EXPECT_EQ(dc->DrawText(L"x", -1, &outside, 0), S_FALSE);
  for (point2df const b : {point2df{3, 3}, {3, ENDLESS}, {NAN, 3}})
    EXPECT_EQ(dc->DrawLine({3, 3}, b), S_FALSE);
  dc->SetMode(77);
  EXPECT_EQ(dc->FillPolygon(good.data(), 3, 0), E_NOTIMPL);
  EXPECT_EQ(dc->DrawLine({0, 0}, {8, 8}), E_NOTIMPL);
  EXPECT_EQ(dc->linePhase, 0u);
  for (Pixel const& p : Pixels(*dc)) EXPECT_EQ(p.red, 0);
}

// Whatever the coordinates: it ends, and what lies outside the clip stays.
TEST(Shapes, SurviveWildCoordinates) {
  std::mt19937 random(13);
  float const values[] = {0,      1.5f,    -3,       11,     16777216.0f, -16777220.0f, 1e12f,
                          -1e30f, LARGEST, -LARGEST, 1e-40f, ENDLESS,     -ENDLESS,     NAN};
  Ref<IDC> const dc = MakeBlack(12, 12);
  EXPECT_TRUE(dc->DrawLine({-LARGEST, 5}, {LARGEST, 5}) == S_OK && PixelAt(*dc, 11, 5).red == 255);
  dc->Clear(BLACK);
  dc->SetMode(IDC::MODE_INVERT);
  dc->SetClip({2, 2, 10, 10});
  dc->SetLinePattern(0xA5A5);
  for (int round = 0; round < 20000; ++round) {
    Points points(static_cast<size_t>(2 + round % 5));
    for (point2df& p : points) p = {values[random() % 14], values[random() % 14]};
    int const count = static_cast<int>(points.size());
    dc->SetOrigin(round % 3 ? 0 : static_cast<int>(random()), round % 4 ? 0 : static_cast<int>(random()));
    dc->FillPolygon(points.data(), count, round & 1);
    dc->DrawPolyline(points.data(), count, round & 2);
    dc->DrawLine(points[0], points[1]);
    dc->FillEllipse({points[0].x, points[0].y, points[1].x, points[1].y}, round % 7);
  }
  EXPECT_EQ(dc->FillEllipse({1e300, 0, 1.7e308, 0.5}), S_FALSE);
  dc->SetOrigin(0, 0);
  EXPECT_EQ(dc->FillEllipse({20, 20, 30, 30}), S_FALSE);
  for (int i = 0; i < 144; ++i)
    EXPECT_TRUE(dc->clip.IsInRect(i % 12, i / 12) || PixelAt(*dc, i % 12, i / 12).red == 0);
}

TEST(Line, StepsAlongItsLongerAxis) {
  std::mt19937 random(14);
  for (int round = 0; round < 300; ++round) {
    Ref<IDC> const dc = MakeBlack(40, 40);
    dc->SetClip({3, 5, 33, 37});
    unsigned const pattern = round % 3 == 0 ? static_cast<unsigned>(random() | 1) : 0;
    dc->SetLinePattern(pattern);
    float const reach = round % 4 ? 50 : 1e6f;
    std::uniform_real_distribution<float> number(20 - reach, 20 + reach);
    point2df const a = {number(random), number(random)};
    point2df const b = {round % 4 ? number(random) : 30 - a.x, round % 9 ? number(random) : a.y};
    bool const steep = fabs(b.y - a.y) > fabs(b.x - a.x);
    double const from = steep ? a.y : a.x, to = steep ? b.y : b.x;
    double const across = steep ? a.x : a.y, slope = ((steep ? b.x : b.y) - across) / (to - from);
    int const first = static_cast<int>(floor(from + 0.5)), last = static_cast<int>(floor(to + 0.5));
    std::vector<int> expected(1600);
    unsigned phase = 0;
    for (int step = 0; step <= abs(last - first); ++step) {
      ++phase;
      int const i = first + (last < first ? -step : step);
      double const v = across + (i - from) * slope;
      int const j = static_cast<int>(floor(v)), share = static_cast<int>((v - j) * 255 + 0.5);
      for (int side = 0; side < 2 && (pattern == 0 || pattern >> (phase & 15) & 1); ++side) {
        int const x = steep ? j + side : i, y = steep ? i : j + side;
        if (dc->clip.IsInRect(x, y)) expected[static_cast<size_t>(y * 40 + x)] = side ? share : 255 - share;
      }
    }
    HRESULT const result = dc->DrawLine(a, b);
    for (int i = 0; i < 1600; ++i)
      ASSERT_EQ(PixelAt(*dc, i % 40, i / 40).red, expected[static_cast<size_t>(i)]) << round;
    ASSERT_EQ(dc->linePhase, pattern && result == S_OK ? phase : 0u) << round;
  }
}

// A pattern runs on over the joints, and no joint is painted twice, which the half transparent colour would show.
TEST(Polyline, IsOneLineInParts) {
  Points const joints = {{-20, 1}, {-7, 1}, {9, 1}, {9, 1}, {10, 1}, {90, 1}};
  for (unsigned pattern : {0u, 0x00F5u, 0x3333u, 0xFFFF0000u}) {
    Ref<IDC> const whole = MakeBlack(60, 3), parts = MakeBlack(60, 3);
    for (IDC* each : {whole.get(), parts.get()}) {
      each->SetColor(0x80FFFFFF);
      each->SetLinePattern(pattern);
    }
    whole->DrawLine(joints.front(), joints.back());
    parts->DrawPolyline(joints.data(), 6, false);
    EXPECT_TRUE(Pixels(*parts) == Pixels(*whole) && parts->linePhase == whole->linePhase) << pattern;
  }
}

// Each row that the lines run down through, and each column that they run along, has a full pixel of them.
TEST(Polyline, HasNoGapsWhereItsLongerAxisChanges) {
  Points const bend = {{3, 3.3f}, {12.4f, 12.6f}, {21, 22}};
  Ref<IDC> const dc = MakeBlack(50, 50);
  dc->SetLinePattern(0xFFFF);
  EXPECT_EQ(dc->DrawPolyline(bend.data(), 3, false), S_OK);
  EXPECT_EQ(dc->linePhase, 19u);  // the columns 3 to 12, the rows 13 to 22; they meet in one step
  auto const ink = [&](int from, int to, bool isRow, int at) {
    int sum = 0;
    for (int i = from; i < to; ++i) sum += isRow ? PixelAt(*dc, i, at).red : PixelAt(*dc, at, i).red;
    return sum;
  };
  for (int i = 4; i < 21; ++i) EXPECT_GT(ink(0, 50, true, i), 230) << i;
  for (int points : {11, 64, 360}) {
    Points circle(static_cast<size_t>(points));
    for (int i = 0; i < points; ++i) {
      double const angle = 2 * std::numbers::pi * i / points;
      circle[static_cast<size_t>(i)] = {float(24.6 + 20.3 * cos(angle)), float(25.2 + 20.3 * sin(angle))};
    }
    dc->Clear(BLACK);
    EXPECT_EQ(dc->DrawPolyline(circle.data(), points, true), S_OK);
    for (int i = 11; i < 39; ++i) {
      for (bool isRow : {true, false}) {
        EXPECT_GT(ink(0, 25, isRow, i), 230) << points << ", " << isRow << ", " << i;
        EXPECT_GT(ink(25, 50, isRow, i), 230) << points << ", " << isRow << ", " << i;
      }
    }
  }
}

// Wherever it stands in its rectangle, and however far it leans out: GDI's own text, in the middle between white
// on black and black on white.
TEST(Text, IsGdisTextWithItsCurveUndone) {
  wchar_t const* const text = L"Wide quality,\ttfj";
  HFONT const fonts[] = {
      CreateFontW(-22, 0, 0, 0, FW_BOLD, 1, 0, 0, 0, 0, 0, ANTIALIASED_QUALITY, 0, L"Tahoma"),
      CreateFontW(-9, 0, 200, 200, 0, 0, 0, 0, 0, 0, 0, ANTIALIASED_QUALITY, 0, L"Tahoma")};
  unsigned const formats[] = {DT_CENTER | DT_WORDBREAK,
                              DT_SINGLELINE | DT_NOCLIP,
                              DT_SINGLELINE | DT_NOCLIP | DT_CENTER,
                              DT_SINGLELINE | DT_BOTTOM | DT_RIGHT,
                              DT_SINGLELINE | DT_VCENTER | DT_END_ELLIPSIS,
                              DT_NOCLIP | DT_RIGHT | DT_EXPANDTABS,
                              DT_RTLREADING | DT_WORDBREAK,
                              DT_TABSTOP | DT_EXPANDTABS | 0x300};
  for (HFONT font : fonts) {
    for (unsigned format : formats) {
      if (font == fonts[1] && format != formats[0]) continue;  // where turned text rounds is GDI's
      Ref<IDC> const dc = MakeBlack(140, 172), light = MakeBlack(140, 172), dark = MakeBlack(140, 172);
      dark->Clear(WHITE);
      for (IDC* each : {dc.get(), light.get(), dark.get()}) SelectObject(each->memoryDC, font);
      for (IDC* each : {light.get(), dark.get()}) {
        RECT where = {5, 43, 135, 170};
        SetBkMode(each->memoryDC, TRANSPARENT);
        each->SetTextColor(each == dark.get() ? BLACK : WHITE);
        DrawTextW(each->memoryDC, text, -1, &where, format);
      }
      GdiFlush();
      dc->SetOrigin(5, -3);
      dc->SetClip({10, 8, 132, 168});
      dc->SetColor(0xC0204080);
      xrect2d r(0, 46, 130, 173);
      EXPECT_EQ(dc->DrawText(text, -1, &r, format), S_OK);
      int inked = 0;
      for (int i = 0; i < 140 * 172; ++i) {
        int const x = i % 140, y = i / 140;
        Pixel const a = PixelAt(*light, x, y), b = PixelAt(*dark, x, y);
        int const ink = (a.red + a.green + a.blue) / 3 + 256 - (b.red + b.green + b.blue) / 3;
        int const coverage = dc->clip.IsInRect(x, y) ? ink / 2 : 0;
        ASSERT_EQ(PixelAt(*dc, x, y).red, 0x80 * ((0xC0 * coverage + 127) / 255) / 255) << i << ' ' << format;
        inked += coverage > 0;
      }
      EXPECT_GT(inked, 30) << format;
    }
  }
  for (HFONT font : fonts) DeleteObject(font);
}

TEST(Text, IsMeasured) {
  Ref<IDC> const dc = MakeBlack(4, 4);
  xrect2d size(INT_MAX, INT_MIN, INT_MAX, INT_MIN), r(7, 5, 9, 9);
  EXPECT_EQ(dc->DrawText(String(L"qe"), &r, DT_CALCRECT | DT_SINGLELINE), S_OK);
  EXPECT_EQ(r.left, 7);
  EXPECT_GT(r.right, 12);
  EXPECT_EQ(dc->DrawText(L"x", 1, &size, DT_NOCLIP), S_FALSE);
}

TEST(GdiPolygon, HasAFillAndAnOutline) {
  POINT const square[] = {{5, 6}, {25, 6}, {25, 26}, {5, 26}},
              wild[] = {{INT_MIN, 0}, {INT_MAX, INT_MIN}, {10, INT_MAX}};
  Ref<IDC> const dc = MakeBlack(40, 40);
  dc->SetOrigin(2, -1);
  dc->SetClip({4, 8, 37, 33});
  EXPECT_EQ(dc->DrawPolygon(square, 4, 0x800000FF, 0xFF0000C8, 1), S_OK);
  for (int i = 0; i < 1600; ++i) {
    int const x = i % 40, y = i / 40, beyond = std::max(abs(x - 17), abs(y - 15)) - 10;  // the outline
    int const expected = beyond > 0 || !dc->clip.IsInRect(x, y) ? 0 : beyond == 0 ? 0xC8 : 0x80;
    ASSERT_EQ(PixelAt(*dc, x, y).red, expected) << x << ',' << y;
  }
  EXPECT_EQ(dc->DrawPolygon(wild, 3, WHITE, BLACK, 3), S_OK);
  EXPECT_EQ(dc->GetPixel(11, 20), WHITE);
  EXPECT_EQ(dc->DrawPolygon(square, 4, WHITE, WHITE, INT_MAX), S_OK);
}
