// A gallery: every drawing operation of the device context, with its name under it.
//
//   draw gallery.png
//
// Each exhibit draws with its own top left corner as the origin, on a card of WIDTH x HEIGHT pixels.
#include <windows.h>

#include <math.h>
#include <qecore/core/diagnostics.h>
#include <qecore/core/ref.h>
#include <qecore/core/system.h>
#include <qecore/draw/color.h>
#include <qecore/draw/device_context.h>
#include <qecore/image/image.h>
#include <qecore/values/string.h>
#include <stdio.h>

#include <iterator>

#include "../print.h"

using namespace yk;

namespace {

constexpr int WIDTH = 200, HEIGHT = 120, GAP = 20, LABEL = 24, COLUMNS = 4;

//! [helpers]
constexpr unsigned WHITE = Rgba(255, 255, 255), INK = Rgba(40, 44, 52), PAPER = Rgba(236, 238, 241);
constexpr unsigned RED = Rgba(214, 69, 65), GREEN = Rgba(59, 160, 104), BLUE = Rgba(52, 109, 199);
constexpr unsigned AMBER = Rgba(240, 173, 60);

constexpr unsigned Translucent(unsigned colour, unsigned alpha) { return (colour & 0xFFFFFF) | alpha << 24; }

void FillOne(IDC& dc, unsigned colour, int x, int y, int w, int h) {
  dc.SetColor(colour);
  dc.FillRect(x, y, w, h);
}

point2df OnCircle(float x, float y, float radius, float turn) {
  return {x + radius * sinf(turn * 6.2831853f), y - radius * cosf(turn * 6.2831853f)};
}

void Star(float x, float y, float radius, point2df (&points)[5]) {
  for (int i = 0; i < 5; ++i) points[i] = OnCircle(x, y, radius, i * 0.4f);
}
//! [helpers]

// ---- the exhibits

//! [Rectangles]
void Rectangles(IDC& dc) {
  FillOne(dc, BLUE, 20, 15, 90, 60);
  FillOne(dc, Translucent(RED, 160), 60, 35, 90, 60);
  FillOne(dc, Translucent(AMBER, 160), 100, 55, 90, 60);
}
//! [Rectangles]

//! [Modes]
void Modes(IDC& dc) {
  dc.FillGradientH({0, 0, WIDTH, HEIGHT}, Rgba(40, 30, 90), Rgba(250, 200, 120));
  unsigned const modes[] = {IDC::MODE_PAINT, IDC::MODE_INVERT, IDC::MODE_ADD, IDC::MODE_SUBTRACT};
  for (int i = 0; i < 4; ++i) {
    dc.SetMode(modes[i]);
    FillOne(dc, Rgba(90, 60, 30, 128), 12, 12 + 26 * i, WIDTH - 24, 18);
  }
  //! [Modes]
}

//! [Gradients]
void Gradients(IDC& dc) {
  dc.FillGradientV({10, 10, 95, 110}, WHITE, BLUE);
  dc.FillGradientH({105, 10, 190, 110}, Translucent(RED, 0), RED);
}
//! [Gradients]

//! [Frames]
void Frames(IDC& dc) {
  dc.SetColor(INK);
  dc.FrameRect({20, 20, 90, 100});
  dc.FrameRoundRect({110, 20, 180, 100});
}
//! [Frames]

//! [Bevels]
void Bevels(IDC& dc) {
  FillOne(dc, Rgba(192, 196, 204), 0, 0, WIDTH, HEIGHT);
  dc.FrameBevel({15, 20, 95, 100}, Translucent(WHITE, 200), Translucent(INK, 120), 8);
  dc.FrameBevel({105, 20, 185, 100}, Translucent(INK, 120), Translucent(WHITE, 200), 8);
}
//! [Bevels]

// The colour of a pixel in a field of two waves.
unsigned Waves(int x, int y, void*) {
  double const wave = sin(hypot(x - 60, y - 50) / 6) + sin(hypot(x - 150, y - 80) / 6);
  return BlendColor(Rgba(20, 60, 120), Rgba(190, 225, 250), static_cast<float>((wave + 2) / 4));
}

//! [Callback]
void Callback(IDC& dc) { dc.FillRect({0, 0, WIDTH, HEIGHT}, Waves, nullptr); }
//! [Callback]

//! [Lines]
void Lines(IDC& dc) {
  dc.SetColor(INK);
  for (int i = 0; i <= 16; ++i) dc.DrawLine({15, 105}, OnCircle(15, 105, 170, i / 64.0f));
}
//! [Lines]

//! [Patterns]
void Patterns(IDC& dc) {
  unsigned const patterns[] = {0xFFFF, 0x5555, 0x3333, 0x00FF, 0x7F27, 0x1111};
  dc.SetColor(BLUE);
  for (int i = 0; i < 6; ++i) {
    dc.SetLinePattern(patterns[i]);
    dc.DrawLine({15, 18.0f + 17 * i}, {185, 12.0f + 17 * i});
  }
  //! [Patterns]
  dc.SetLinePattern(0);
}

//! [Polyline]
void Polyline(IDC& dc) {
  point2df points[34];
  for (int i = 0; i < 34; ++i) points[i] = OnCircle(100, 60, i & 1 ? 24 : 52, i / 34.0f);
  dc.SetColor(Translucent(RED, 150));  // blended once per pixel, even at the joints
  dc.DrawPolyline(points, 34, true);
}
//! [Polyline]

//! [Polygons]
void Polygons(IDC& dc) {
  point2df star[5];
  dc.SetColor(AMBER);
  Star(52, 64, 48, star);
  dc.FillPolygon(star, 5, IDC::EVEN_ODD);
  Star(148, 64, 48, star);
  dc.FillPolygon(star, 5, IDC::NON_ZERO);
}
//! [Polygons]

//! [Ellipses]
void Ellipses(IDC& dc) {
  unsigned const colours[] = {RED, GREEN, BLUE};
  for (int i = 0; i < 3; ++i) {
    point2df const c = OnCircle(100, 66, 22, i / 3.0f);
    dc.SetColor(Translucent(colours[i], 150));
    dc.FillEllipse({c.x - 34.0, c.y - 34.0, c.x + 34.0, c.y + 34.0});
  }
  //! [Ellipses]
}

//! [Outlines]
void Outlines(IDC& dc) {
  dc.SetColor(GREEN);
  for (int i = 0; i < 6; ++i) {
    double const inset = 8.0 * i;
    dc.FillEllipse({20 + inset * 1.6, 10 + inset, 180 - inset * 1.6, 110 - inset}, 0.5 + i * 0.7);
  }
  //! [Outlines]
}

//! [GdiPolygons]
void GdiPolygons(IDC& dc) {
  POINT const arrow[] = {{25, 45}, {105, 45}, {105, 15}, {180, 60}, {105, 105}, {105, 75}, {25, 75}};
  dc.DrawPolygon(arrow, 7, Translucent(BLUE, 110), BLUE, 5);
}
//! [GdiPolygons]

//! [Text]
void Text(IDC& dc) {
  HFONT const font = CreateFontW(-34, 0, 0, 0, FW_BOLD, 0, 0, 0, 0, 0, 0, ANTIALIASED_QUALITY, 0, L"Tahoma");
  HGDIOBJ const before = SelectObject(dc.memoryDC, font);
  xrect2d shadow(3, 23, WIDTH + 3, HEIGHT + 3), text(0, 20, WIDTH, HEIGHT);
  unsigned const format = DT_CENTER | DT_WORDBREAK;
  dc.SetColor(Translucent(INK, 70));
  dc.DrawText(L"Light and shadow", -1, &shadow, format);
  dc.SetColor(RED);
  dc.DrawText(L"Light and shadow", -1, &text, format);
  SelectObject(dc.memoryDC, before);
  DeleteObject(font);
}
//! [Text]

// Composites a pixel with alpha over the page.
void Over(unsigned char* to, unsigned char const* from, void*) {
  for (int i = 0; i < 3; ++i)
    to[i] = static_cast<unsigned char>((to[i] * (255 - from[3]) + from[i] * from[3]) / 255);
}

// A layer with alpha: composited in its own image, then drawn through a callback.
//! [Layer]
void Layer(IDC& dc) {
  FillOne(dc, Rgba(205, 210, 218), 0, 0, WIDTH, HEIGHT);
  for (int i = 0; i < 30; i += 2) FillOne(dc, WHITE, i * WIDTH / 30, 0, WIDTH / 30, HEIGHT);
  Ref<Image2d> const layer = Ref<Image2d>::Adopt(Image2d::Create());
  Ref<IDC> const onLayer = Ref<IDC>::Adopt(IDC::Create());
  if (Failed(layer->Create(IMG_BGRA32, WIDTH, HEIGHT)) || Failed(onLayer->Attach(dc.memoryDC, layer.get())))
    return;
  onLayer->Clear(0);
  onLayer->SetMode(IDC::MODE_COMPOSITE);
  onLayer->SetColor(Translucent(BLUE, 200));
  onLayer->FillEllipse({20, 20, 120, 100});
  onLayer->SetColor(Translucent(RED, 130));
  onLayer->FillEllipse({80, 20, 180, 100});
  dc.DrawImage(layer.get(), 0, 0, nullptr, Over, nullptr);
}
//! [Layer]

//! [Adjustments]
void Adjustments(IDC& dc) {
  IADJUSTMENT adjustment;
  int const settings[][2] = {{0, 0}, {40, 0}, {-40, 0}, {0, 60}, {0, -60}};
  for (int i = 0; i < 5; ++i) {
    xrect2d const strip(10, 8 + 22 * i, WIDTH - 10, 24 + 22 * i);
    dc.FillGradientH(strip, Rgba(0, 0, 0), WHITE);
    dc.Adjust(&strip, settings[i][0], settings[i][1], &adjustment);
  }
  //! [Adjustments]
}

struct Exhibit {
  wchar_t const* name;
  void (*draw)(IDC& dc);
};

constexpr Exhibit EXHIBITS[] = {
    {L"FillRect, alpha 160", Rectangles},
    {L"SetMode: four of the fill modes", Modes},
    {L"FillGradientV, FillGradientH", Gradients},
    {L"FrameRect, FrameRoundRect", Frames},
    {L"FrameBevel", Bevels},
    {L"FillRect with a callback", Callback},
    {L"DrawLine", Lines},
    {L"SetLinePattern", Patterns},
    {L"DrawPolyline", Polyline},
    {L"FillPolygon: even-odd, non-zero", Polygons},
    {L"FillEllipse", Ellipses},
    {L"FillEllipse, outlines 0.5 to 4", Outlines},
    {L"DrawPolygon", GdiPolygons},
    {L"DrawText", Text},
    {L"MODE_COMPOSITE, DrawImage", Layer},
    {L"Adjust: lift, contrast", Adjustments},
};
constexpr int ROWS = (static_cast<int>(std::size(EXHIBITS)) + COLUMNS - 1) / COLUMNS;

void Show(IDC& dc, Exhibit const& exhibit, int left, int top) {
  FillOne(dc, WHITE, left, top, WIDTH, HEIGHT);
  dc.SetOrigin(left, top);
  dc.SetClip({left, top, left + WIDTH, top + HEIGHT});
  exhibit.draw(dc);
  dc.SetMode(IDC::MODE_PAINT);
  dc.SetOrigin(0, 0);
  dc.SetClip({0, 0, dc.width, dc.height});
  xrect2d label(left, top + HEIGHT, left + WIDTH, top + HEIGHT + LABEL);
  dc.SetColor(INK);
  dc.DrawText(exhibit.name, -1, &label, DT_CENTER | DT_VCENTER | DT_SINGLELINE);
}

void DrawPage(IDC& dc) {
  dc.Clear(PAPER);
  for (int i = 0; i < static_cast<int>(std::size(EXHIBITS)); ++i) {
    Show(dc, EXHIBITS[i], GAP + i % COLUMNS * (WIDTH + GAP), GAP + i / COLUMNS * (HEIGHT + LABEL + GAP));
  }
}

}  // namespace

extern "C" int wmain(int count, wchar_t** arguments) {
  if (count != 2) return puts("usage: draw OUT.png"), 2;
  SetErrorHandler(Print);  // nobody would close a message box
  Ref<System> const system = Ref<System>::Adopt(System::Create());
  if (!system) return Refuse();
  system->ScanModules(String(arguments[0]).FilePath(), L"draw.cache");  // the plug-ins next to this program

  //! [attach]
  // The context draws into an image; text, drawn by GDI, takes its font from the device context passed with
  // it.
  Ref<Image2d> const page = Ref<Image2d>::Adopt(Image2d::Create());
  Ref<IDC> const dc = Ref<IDC>::Adopt(IDC::Create());
  if (Failed(page->Create(IMG_BGR24, GAP + COLUMNS * (WIDTH + GAP), GAP + ROWS * (HEIGHT + LABEL + GAP))))
    return 1;
  HDC const memory = CreateCompatibleDC(nullptr);
  HFONT const font =
      CreateFontW(-12, 0, 0, 0, FW_NORMAL, 0, 0, 0, 0, 0, 0, ANTIALIASED_QUALITY, 0, L"Tahoma");
  HGDIOBJ const before = SelectObject(memory, font);
  if (Failed(dc->Attach(memory, page.get()))) return 1;
  //! [attach]
  DrawPage(*dc);
  dc->Detach();
  SelectObject(memory, before);
  DeleteObject(font);
  DeleteDC(memory);
  if (Failed(page->Save(arguments[1]))) return Refuse();
  PrintSize(arguments[1], *page);
  return 0;
}
