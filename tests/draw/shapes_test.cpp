#include <windows.h>
// first: the platform's types are complete below

#include <math.h>

#include <functional>
#include <limits>

#include <qecore/values/string.h>

#include "surface.h"

using namespace yk;

namespace {

constexpr unsigned WHITE = 0xFFFFFFFF;
constexpr unsigned BLACK = 0xFF000000;
constexpr float HUGE_FLOAT = std::numeric_limits<float>::max();
constexpr float ENDLESS = std::numeric_limits<float>::infinity();

using Points = std::vector<point2df>;
using Spans = std::vector<std::pair<double, double>>;

// The coverage of an area by supersampling, 16 x 16 parts of a pixel at 16 lines each: 256 lines for each row of
// pixels. `spans` tells what of a line lies inside. Coarser samples are more than 3/255 off by themselves.
std::vector<double> Supersample(int w, int h, std::function<Spans(double y)> const& spans) {
  std::vector<double> coverage(static_cast<size_t>(w * h));
  for (int line = 0; line < h * 256; ++line) {
    for (auto const& [from, to] : spans((line + 0.5) / 256)) {
      double const low = std::max(from, 0.0), high = std::min<double>(to, w);
      for (int x = static_cast<int>(low); x < high; ++x) {
        double const part = std::min(high, x + 1.0) - std::max<double>(low, x);
        coverage[static_cast<size_t>(line / 256 * w + x)] += part / 256;
      }
    }
  }
  return coverage;
}

Spans PolygonSpans(Points const& points, double dx, double dy, bool nonZero, double y) {
  std::vector<std::pair<double, int>> crossings;
  for (size_t i = 0; i < points.size(); ++i) {
    point2df const a = points[i], b = points[(i + 1) % points.size()];
    double const ay = a.y + dy, by = b.y + dy;
    if ((ay <= y) == (by <= y)) continue;
    crossings.push_back({a.x + dx + (y - ay) / (by - ay) * (double(b.x) - a.x), ay < by ? 1 : -1});
  }
  std::sort(crossings.begin(), crossings.end());
  Spans spans;
  int winding = 0;
  for (size_t i = 0; i + 1 < crossings.size(); ++i) {
    winding += crossings[i].second;
    if (nonZero ? winding != 0 : winding % 2 != 0)
      spans.push_back({crossings[i].first, crossings[i + 1].first});
  }
  return spans;
}

// Compares the red channel of a surface with coverage times 255 inside the clip; outside it must be black.
void ExpectCoverage(IDC& dc, std::vector<double> const& coverage, std::string const& what) {
  for (int y = 0; y < dc.height; ++y) {
    for (int x = 0; x < dc.width; ++x) {
      double const expected =
          dc.clip.IsInRect(x, y) ? coverage[static_cast<size_t>(y * dc.width + x)] * 255 : 0;
      ASSERT_NEAR(PixelAt(dc, x, y).red, expected, 3) << what << " at " << x << ',' << y;
    }
  }
}

Ref<IDC> MakeBlack(int w, int h) {
  Ref<IDC> dc = MakeSurface(w, h, false);
  dc->Clear(BLACK);
  dc->SetColor(WHITE);
  return dc;
}

std::string Row(IDC& dc, int y) {
  std::string text;
  for (int x = 0; x < dc.width; ++x) text += PixelAt(dc, x, y).red ? '#' : '.';
  return text;
}

}  // namespace

TEST(Area, PolygonsAreCoveredExactly) {
  std::mt19937 random(11);
  auto const number = [&](double low, double high) {
    return static_cast<float>(std::uniform_real_distribution<double>(low, high)(random));
  };
  for (int round = 0; round < 400; ++round) {
    Ref<IDC> const dc = MakeBlack(40, 30);
    if (round & 1) dc->SetClip({7, 5, 33, 22});
    if (round & 2) dc->SetOrigin(-13, 8);
    double const spread = round % 5 == 0 ? 1e7 : round % 5 == 1 ? 4 : 60;
    Points points(static_cast<size_t>(3 + round % 8));
    for (point2df& p : points) p = {number(20 - spread, 20 + spread), number(15 - spread, 15 + spread)};
    if (round % 7 == 0)
      points[1] = {points[0].x + number(-0.2, 0.2), points[0].y + number(-0.2, 0.2)};  // a sliver
    if (round % 11 == 0) points[2].y = points[1].y = floorf(points[1].y);              // along a row
    bool const nonZero = round & 4;
    EXPECT_EQ(dc->FillPolygon(points.data(), static_cast<int>(points.size()), nonZero), S_OK);
    std::vector<double> const expected = Supersample(
        40, 30, [&](double y) { return PolygonSpans(points, dc->originX, dc->originY, nonZero, y); });
    ExpectCoverage(*dc, expected, "polygon " + std::to_string(round));
    if (HasFatalFailure()) return;
  }
}

TEST(Area, EllipsesAndTheirOutlinesAreCoveredExactly) {
  rect2d const rows[] = {{3, 4, 31, 22},          {5.3, 6.2, 5.9, 20.7},  {10, 10, 10.4, 10.3},
                         {-50, -40, 20, 22},      {30, 20, 2, 5},         {-1e7, -1e6, 20, 15},
                         {-1e9, 3, 1e9, 9},       {-500, -500, 500, 500}, {38, 1, 90, 25},
                         {0.5, -1e12, 39.5, 1e12}};
  for (rect2d const& r : rows) {
    for (double outline : {0.0, 1.0, 2.5, 1e3}) {
      Ref<IDC> const dc = MakeBlack(40, 30);
      EXPECT_EQ(dc->FillEllipse(r, outline), S_OK);
      double const rx = fabs(r.x2 - r.x1) / 2, ry = fabs(r.y2 - r.y1) / 2;
      double const cx = (r.x1 + r.x2) / 2, cy = (r.y1 + r.y2) / 2;
      auto const half = [&](double inset, double y) {  // of the chord at y
        double const v = (y - cy) / (ry - inset);
        return rx > inset && ry > inset && fabs(v) < 1 ? (rx - inset) * sqrt((1 - v) * (1 + v)) : 0.0;
      };
      std::vector<double> const expected = Supersample(40, 30, [&](double y) {
        double const outer = half(0, y), inner = outline > 0 ? half(outline, y) : 0;
        return Spans{{cx - outer, cx - inner}, {cx + inner, cx + outer}};
      });
      ExpectCoverage(*dc, expected, "ellipse " + std::to_string(&r - rows) + ", " + std::to_string(outline));
      if (HasFatalFailure()) return;
    }
  }
}

TEST(Area, WholePixelsAreFilledAsRectanglesAre) {
  std::mt19937 random(12);
  for (unsigned mode = 0; mode < 6; ++mode) {
    Ref<IDC> const dc = MakeSurface(20, 20, true), filled = MakeSurface(20, 20, true);
    FillWithNoise(*dc, random);
    memcpy(filled->bits, dc->bits, 1600);
    for (IDC* each : {dc.get(), filled.get()}) {
      each->SetMode(mode);
      each->SetColor(0x90C08040);
    }
    Points const corners = {{3, 4}, {17, 4}, {17, 15}, {3, 15}};
    EXPECT_EQ(dc->FillPolygon(corners.data(), 4, IDC::EVEN_ODD), S_OK);
    filled->FillRect({3, 4, 17, 15});
    EXPECT_EQ(Bytes(*dc), Bytes(*filled)) << mode;
  }
}

TEST(Area, RefusesWhatItCannotFill) {
  Ref<IDC> const dc = MakeBlack(8, 8);
  std::string const before = Bytes(*dc);
  Points const good = {{0, 0}, {8, 0}, {0, 8}}, bad = {{0, 0}, {NAN, 0}, {0, 8}},
               away = {{-ENDLESS, 0}, {8, 0}, {0, 8}};
  EXPECT_EQ(dc->FillPolygon(nullptr, 3, 0), E_INVALIDARG);
  EXPECT_EQ(dc->FillPolygon(good.data(), 3, 2), E_INVALIDARG);
  EXPECT_EQ(dc->FillPolygon(good.data(), 2, 0), S_FALSE);
  EXPECT_EQ(dc->FillPolygon(bad.data(), 3, 0), S_FALSE);
  EXPECT_EQ(dc->FillPolygon(away.data(), 3, 0), S_FALSE);
  EXPECT_EQ(dc->FillEllipse({0, 0, ENDLESS, 8}), S_FALSE);
  EXPECT_EQ(dc->FillEllipse({0, 0, 8, 8}, NAN), S_FALSE);
  EXPECT_EQ(dc->FillEllipse({3, 0, 3, 8}), S_FALSE);
  dc->SetMode(77);
  EXPECT_EQ(dc->FillPolygon(good.data(), 3, 0), E_NOTIMPL);
  EXPECT_EQ(dc->FillEllipse({0, 0, 8, 8}), E_NOTIMPL);
  EXPECT_EQ(dc->DrawLine({0, 0}, {8, 8}), E_NOTIMPL);
  EXPECT_EQ(Bytes(*dc), before);
}

// Whatever the coordinates: it ends, and what lies outside the clip stays.
TEST(Area, SurvivesWildCoordinates) {
  std::mt19937 random(13);
  float const values[] = {0,      1.5f,       -3,          11,     16777216.0f, -16777220.0f, 1e12f,
                          -1e30f, HUGE_FLOAT, -HUGE_FLOAT, 1e-40f, ENDLESS,     -ENDLESS,     NAN};
  auto const any = [&] {
    return point2df{values[random() % std::size(values)], values[random() % std::size(values)]};
  };
  Ref<IDC> const dc = MakeBlack(12, 12);
  dc->SetMode(IDC::MODE_INVERT);
  dc->SetClip({2, 2, 10, 10});
  dc->SetLinePattern(0xA5A5);
  for (int round = 0; round < 20000; ++round) {
    Points points(static_cast<size_t>(2 + round % 5));
    for (point2df& p : points) p = any();
    int const count = static_cast<int>(points.size());
    dc->SetOrigin(round % 3 ? 0 : static_cast<int>(random()), round % 4 ? 0 : static_cast<int>(random()));
    dc->FillPolygon(points.data(), count, round & 1);
    dc->DrawPolyline(points.data(), count, round & 2);
    dc->DrawLine(points[0], points[1]);
    dc->FillEllipse({points[0].x, points[0].y, points[1].x, points[1].y}, round % 7);
  }
  for (int i = 0; i < 144; ++i) {
    if (!dc->clip.IsInRect(i % 12, i / 12)) {
      EXPECT_EQ(PixelAt(*dc, i % 12, i / 12).red, 0) << i;
    }
  }
}

TEST(Line, StepsAlongItsLongerAxis) {
  std::mt19937 random(14);
  auto const number = [&] { return std::uniform_real_distribution<float>(-30, 70)(random); };
  for (int round = 0; round < 300; ++round) {
    Ref<IDC> const dc = MakeBlack(40, 40);
    dc->SetClip({3, 5, 33, 37});
    unsigned const pattern = round % 3 == 0 ? static_cast<unsigned>(random() | 1) : 0;
    dc->SetLinePattern(pattern);
    point2df const a = {number(), number()}, b = {number(), round % 9 ? number() : a.y};
    bool const steep = fabs(b.y - a.y) > fabs(b.x - a.x);
    double const from = steep ? a.y : a.x, to = steep ? b.y : b.x;
    double const across = steep ? a.x : a.y, slope = ((steep ? b.x : b.y) - across) / (to - from);
    int const first = static_cast<int>(floor(from + 0.5)), last = static_cast<int>(floor(to + 0.5));
    std::vector<int> expected(1600);
    int phase = 0;
    for (int i = first;; i += first < last ? 1 : -1) {
      double const v = across + (i - from) * slope;
      int const share = static_cast<int>((v - floor(v)) * 255 + 0.5);
      for (int side : {0, 1}) {
        int const j = static_cast<int>(floor(v)) + side, x = steep ? j : i, y = steep ? i : j;
        bool const isOn = side == 0 ? (++phase, pattern == 0 || pattern >> (phase & 15) & 1)
                                    : pattern == 0 || pattern >> (phase & 15) & 1;
        if (isOn && dc->clip.IsInRect(x, y))
          expected[static_cast<size_t>(y * 40 + x)] = side ? share : 255 - share;
      }
      if (i == last) break;
    }
    HRESULT const result = dc->DrawLine(a, b);
    for (int i = 0; i < 1600; ++i) {
      ASSERT_EQ(PixelAt(*dc, i % 40, i / 40).red, expected[static_cast<size_t>(i)])
          << round << ": " << i % 40 << ',' << i / 40;
    }
    ASSERT_EQ(dc->linePhase, pattern && result == S_OK ? static_cast<unsigned>(phase) : 0u) << round;
  }
}

// A small surface in the middle of a long line shows what a large one shows there.
TEST(Line, IsNotMovedByBeingClipped) {
  std::mt19937 random(15);
  auto const number = [&] { return std::uniform_real_distribution<float>(-1e6f, 1e6f)(random); };
  for (int round = 0; round < 60; ++round) {
    Ref<IDC> const large = MakeBlack(500, 500), small = MakeBlack(30, 30);
    large->SetOrigin(250, 250);
    small->SetOrigin(15, 15);
    point2df const a = {number(), number()}, b = {-a.x * 0.5f + number() / 1e5f, -a.y * 0.5f};
    for (IDC* dc : {large.get(), small.get()}) {
      dc->SetLinePattern(0x3F0F);
      dc->DrawLine(a, b);
    }
    for (int i = 0; i < 900; ++i) {
      ASSERT_EQ(PixelAt(*small, i % 30, i / 30), PixelAt(*large, 235 + i % 30, 235 + i / 30)) << round;
    }
    EXPECT_TRUE(small->linePhase == large->linePhase || small->linePhase == 0);
  }
}

TEST(Line, DrawsNothingWithoutLengthOrOutside) {
  Ref<IDC> const dc = MakeBlack(10, 10);
  dc->SetLinePattern(0xFFFF);
  struct {
    point2df a, b;
  } const rows[] = {{{3, 3}, {3, 3}},
                    {{-9, -1.5f}, {50, -1}},
                    {{10, 0}, {10, 9}},
                    {{NAN, 0}, {9, 9}},
                    {{0, 0}, {ENDLESS, 9}}};
  for (auto const& row : rows) EXPECT_EQ(dc->DrawLine(row.a, row.b), S_FALSE);
  EXPECT_EQ(dc->linePhase, 0u);
  EXPECT_EQ(dc->DrawLine({-HUGE_FLOAT, 5}, {HUGE_FLOAT, 5}), S_OK);
  EXPECT_EQ(Row(*dc, 5), "##########");
  dc->SetLinePattern(0x0002);
  dc->DrawLine({0, 7}, {9, 7});  // the first step looks at bit 1
  EXPECT_EQ(Row(*dc, 7), "#.........");
}

TEST(Polyline, PaintsJointsOnceAndRunsItsPatternOn) {
  Ref<IDC> const dc = MakeBlack(12, 9);
  dc->SetColor(0x80FFFFFF);
  Points const box = {{2, 1}, {9, 1}, {9, 6}, {9, 6}, {2, 6}};
  EXPECT_EQ(dc->DrawPolyline(box.data(), 5, true), S_OK);
  for (int i = 0; i < 108; ++i) {
    int const x = i % 12, y = i / 12;
    bool const edge = x >= 2 && x <= 9 && y >= 1 && y <= 6 && (x == 2 || x == 9 || y == 1 || y == 6);
    EXPECT_EQ(PixelAt(*dc, x, y).red, edge ? 128 : 0) << x << ',' << y;
  }
  for (unsigned pattern : {0x00F5u, 0x3333u, 0xFFFF0000u}) {
    Ref<IDC> const whole = MakeBlack(60, 3), parts = MakeBlack(60, 3);
    Points const joints = {{-20, 1}, {-7, 1}, {9, 1}, {10, 1}, {33, 1}, {90, 1}};
    whole->SetLinePattern(pattern);
    parts->SetLinePattern(pattern);
    whole->DrawLine(joints.front(), joints.back());
    parts->DrawPolyline(joints.data(), 6, false);
    EXPECT_EQ(Row(*parts, 1), Row(*whole, 1));
    EXPECT_EQ(parts->linePhase, whole->linePhase);
  }
  Points const there = {{1, 1}, {9, 6}}, andBack = {{1, 1}, {9, 6}, {1, 1}};
  Ref<IDC> const once = MakeBlack(12, 9), twice = MakeBlack(12, 9);
  EXPECT_EQ(once->DrawPolyline(there.data(), 2, false), S_OK);
  EXPECT_EQ(twice->DrawPolyline(andBack.data(), 3, false), S_OK);
  EXPECT_EQ(Bytes(*once), Bytes(*twice));
  EXPECT_EQ(dc->DrawPolyline(nullptr, 2, false), E_INVALIDARG);
  EXPECT_EQ(dc->DrawPolyline(box.data(), 1, true), S_FALSE);
}

namespace {

// What GDI itself draws, white on black, at the surface's positions: one byte for each pixel.
std::vector<int> LetGdiDraw(IDC& like, std::function<void(HDC)> const& draw) {
  Ref<IDC> const dc = MakeBlack(like.width, like.height);
  SetViewportOrgEx(dc->memoryDC, like.originX, like.originY, nullptr);
  draw(dc->memoryDC);
  GdiFlush();
  std::vector<int> mean;
  for (int i = 0; i < dc->width * dc->height; ++i) {
    Pixel const p = PixelAt(*dc, i % dc->width, i / dc->width);
    mean.push_back((p.blue + p.green + p.red) / 3);
  }
  return mean;
}

}  // namespace

TEST(Text, IsGdisTextInTheCurrentColour) {
  HFONT const font = CreateFontW(-22, 0, 0, 0, FW_BOLD, 1, 0, 0, 0, 0, 0, ANTIALIASED_QUALITY, 0, L"Tahoma");
  for (unsigned format :
       {0u, unsigned{DT_CENTER | DT_WORDBREAK}, unsigned{DT_SINGLELINE | DT_NOCLIP | DT_RIGHT}}) {
    Ref<IDC> const dc = MakeSurface(120, 70, false);
    HGDIOBJ const before = SelectObject(dc->memoryDC, font);
    dc->Clear(WHITE);
    dc->SetOrigin(5, -3);
    dc->SetClip({10, 8, 100, 60});
    dc->SetColor(0xC0204080);
    xrect2d r(10, 10, 105, 45);
    wchar_t const* const text = L"Wide quality, tfj";
    EXPECT_EQ(dc->DrawText(text, -1, &r, format), S_OK);
    std::vector<int> const coverage = LetGdiDraw(*dc, [&](HDC gdi) {
      HGDIOBJ const old = SelectObject(gdi, font);
      SetBkMode(gdi, TRANSPARENT);
      ::SetTextColor(gdi, 0xFFFFFF);
      RECT where = {10, 10, 105, 45};
      DrawTextW(gdi, text, -1, &where, format);
      SelectObject(gdi, old);
    });
    int painted = 0;
    for (int i = 0; i < 120 * 70; ++i) {
      int const c = dc->clip.IsInRect(i % 120, i / 120) ? coverage[static_cast<size_t>(i)] : 0;
      int const a = (0xC0 * c + 127) / 255;
      painted += c > 0;
      ASSERT_EQ(PixelAt(*dc, i % 120, i / 120).red, (255 * (255 - a) + 0x80 * a) / 255)
          << i % 120 << ',' << i / 120;
    }
    EXPECT_GT(painted, 200);

    std::string const picture = Bytes(*dc);
    xrect2d size(10, 10, 20, 20);
    EXPECT_EQ(dc->DrawText(String(text), &size, DT_CALCRECT | DT_SINGLELINE), S_OK);
    EXPECT_GT(size.right - size.left, 80);
    EXPECT_GT(size.bottom - size.top, 20);
    EXPECT_EQ(Bytes(*dc), picture);
    SelectObject(dc->memoryDC, before);
  }
  DeleteObject(font);
}

TEST(Text, RefusesWhatItCannotPaint) {
  Ref<IDC> const dc = MakeBlack(20, 20);
  xrect2d r(0, 0, 20, 20), outside(20, 0, 40, 20);
  EXPECT_EQ(dc->DrawText(nullptr, 3, &r, 0), E_INVALIDARG);
  EXPECT_EQ(dc->DrawText(L"x", 1, nullptr, 0), E_INVALIDARG);
  EXPECT_EQ(dc->DrawText(L"x", -2, &r, 0), E_INVALIDARG);
  EXPECT_EQ(dc->DrawText(L"x", 0, &r, 0), S_FALSE);
  EXPECT_EQ(dc->DrawText(L"x", 1, &outside, 0), S_FALSE);
  wchar_t const text[] = L"much too long for it";
  EXPECT_EQ(dc->DrawText(text, 20, &r, DT_END_ELLIPSIS | DT_MODIFYSTRING | DT_SINGLELINE), S_OK);
  EXPECT_STREQ(text, L"much too long for it");
}

TEST(GdiPolygon, IsGdisPolygonInTwoColours) {
  POINT const star[] = {{20, 2}, {31, 36}, {3, 14}, {37, 14}, {8, 37}};
  for (int penWidth : {0, 1, 5}) {
    Ref<IDC> const dc = MakeBlack(40, 40);
    dc->SetOrigin(2, -1);
    dc->SetClip({4, 3, 37, 33});
    EXPECT_EQ(dc->DrawPolygon(star, 5, 0x800000FF, 0xFF0000C8, penWidth), S_OK);
    auto const draw = [&](HDC gdi, bool outline) {
      HGDIOBJ const pen = outline ? CreatePen(PS_SOLID, penWidth, 0xFFFFFF) : GetStockObject(NULL_PEN);
      HGDIOBJ const oldPen = SelectObject(gdi, pen),
                    oldBrush = SelectObject(gdi, GetStockObject(WHITE_BRUSH));
      POINT const closed[] = {star[0], star[1], star[2], star[3], star[4], star[0]};
      outline ? Polyline(gdi, closed, 6) : Polygon(gdi, star, 5);
      SelectObject(gdi, oldBrush);
      DeleteObject(SelectObject(gdi, oldPen));
    };
    std::vector<int> const fill = LetGdiDraw(*dc, [&](HDC gdi) { draw(gdi, false); });
    std::vector<int> const outline = LetGdiDraw(*dc, [&](HDC gdi) { draw(gdi, true); });
    for (size_t i = 0; i < 1600; ++i) {
      int const x = static_cast<int>(i) % 40, y = static_cast<int>(i) / 40;
      int const expected = !dc->clip.IsInRect(x, y) ? 0 : outline[i] ? 0xC8 : fill[i] ? 0x80 : 0;
      ASSERT_EQ(PixelAt(*dc, x, y).red, expected) << x << ',' << y;
    }
  }
  POINT const wild[] = {{INT_MIN, 0}, {INT_MAX, INT_MIN}, {10, INT_MAX}};
  Ref<IDC> const dc = MakeBlack(40, 40);
  EXPECT_EQ(dc->DrawPolygon(wild, 3, WHITE, BLACK, 3), S_OK);
  EXPECT_EQ(dc->GetPixel(11, 20), WHITE);
  EXPECT_EQ(dc->DrawPolygon(star, 5, WHITE, WHITE, INT_MAX), S_OK);
  EXPECT_EQ(dc->DrawPolygon(nullptr, 5, WHITE, WHITE, 1), E_INVALIDARG);
  EXPECT_EQ(dc->DrawPolygon(star, 5, WHITE, WHITE, -1), E_INVALIDARG);
  dc->SetClip({38, 38, 40, 40});
  EXPECT_EQ(dc->DrawPolygon(star, 3, WHITE, WHITE, 0), S_FALSE);
}
