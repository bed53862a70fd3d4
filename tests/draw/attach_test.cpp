// A device context over the pixels of an image, and what is left behind when it goes.
#include <windows.h>
// first: the platform's types are complete below

#include <qecore/core/registry.h>
#include <qecore/core/system.h>
#include <qecore/image/image.h>

#include "support/gdi_objects.h"
#include "surface.h"

using namespace yk;

namespace {

Ref<Image2d> MakeImage(IMG_FORMAT format, int w, int h) {
  Ref<Image2d> image = Ref<Image2d>::Adopt(Image2d::Create());
  EXPECT_EQ(image->Create(format, w, h), S_OK);
  return image;
}

struct MemoryContext {
  HDC dc = CreateCompatibleDC(nullptr);
  ~MemoryContext() { DeleteDC(dc); }
};

}  // namespace

TEST(Attached, DrawsIntoTheImage) {
  MemoryContext const memory;
  for (IMG_FORMAT format : {IMG_BGR24, IMG_BGRA32}) {
    Ref<Image2d> const image = MakeImage(format, 9, 5);
    memset(image->bits, 0, static_cast<size_t>(image->stride) * 5);
    Ref<IDC> const dc = MakeSurface(3, 3, false);
    dc->SetMode(IDC::MODE_INVERT);
    EXPECT_EQ(dc->Attach(memory.dc, image.get()), S_OK);
    EXPECT_EQ(dc->surfaceBitmap, nullptr);
    EXPECT_TRUE(dc->mode == 0 && dc->hasAlpha == (format == IMG_BGRA32) && dc->clip == xrect2d(0, 0, 9, 5));
    dc->SetColor(0xFF030201);
    dc->FillRect(2, 1, 1, 1);
    EXPECT_EQ(memcmp(image->GetLineEx(1, 2), "\3\2\1", 3), 0);
    EXPECT_EQ(dc->GetPixelAddress(1, 2), image->GetLineEx(1, 2));
    EXPECT_EQ(dc->Detach(), S_OK);
    EXPECT_TRUE(!dc->bits && !dc->memoryDC && dc->width == 0);
    EXPECT_EQ(dc->FillRect(0, 0, 9, 9), S_FALSE);
  }
  Ref<IDC> const dc = MakeSurface(3, 3, false);
  EXPECT_EQ(dc->Attach(memory.dc, MakeImage(IMG_GRAY8, 2, 2).get()), E_INVALIDARG);
  EXPECT_EQ(dc->Attach(memory.dc, nullptr), E_INVALIDARG);
  EXPECT_EQ(dc->Attach(nullptr, MakeImage(IMG_BGR24, 2, 2).get()), E_INVALIDARG);
}

TEST(Attached, DrawsImagesThroughACallback) {
  using Calls = std::vector<std::pair<unsigned char*, unsigned char const*>>;
  auto const note = [](unsigned char* to, unsigned char const* from, void* calls) {
    static_cast<Calls*>(calls)->push_back({to, from});
  };
  Ref<Image2d> const image = MakeImage(IMG_BGR48, 8, 6);
  struct {
    xrect2d source;
    int x, y;
    xrect2d painted;                                              // on the surface
    int dx, dy;                                                   // from there to the image
  } const rows[] = {{{0, 0, 8, 6}, 0, 0, {2, 1, 10, 7}, -2, -1},  // the origin is (2, 1)
                    {{3, 1, 7, 4}, -4, 6, {1, 7, 2, 10}, 5, -6},
                    {{-2, -2, 99, 99}, 0, 0, {4, 3, 11, 9}, -4, -3},  // the image has no pixels out there
                    {{0, 0, 8, 6}, 9, 0, {0, 0, 0, 0}, 0, 0},
                    {{INT_MIN, INT_MIN, INT_MAX, INT_MAX}, INT_MIN, INT_MIN, {2, 1, 10, 7}, -2, -1}};
  for (auto const& row : rows) {
    Ref<IDC> const dc = MakeSurface(11, 10, true);
    dc->SetClip({1, 0, 11, 10});
    dc->SetOrigin(2, 1);
    Calls calls, expected;
    for (int y = row.painted.top; y < row.painted.bottom; ++y) {
      for (int x = row.painted.left; x < row.painted.right; ++x) {
        expected.push_back({dc->GetPixelAddress(y, x), image->GetLineEx(y + row.dy, x + row.dx)});
      }
    }
    HRESULT const result = dc->DrawImage(image.get(), row.x, row.y, &row.source, note, &calls);
    EXPECT_EQ(result, expected.empty() ? S_FALSE : S_OK);
    EXPECT_TRUE(calls == expected) << &row - rows;
  }
  EXPECT_EQ(MakeSurface(1, 1, true)->DrawImage(nullptr, 0, 0, nullptr, note, nullptr), E_INVALIDARG);
}

TEST(Attached, LeavesNoGdiObjectsBehind) {
  Ref<IDC> const target = MakeSurface(8, 8, false);
  auto const cycle = [&](int i) {
    Ref<Image2d> const image = MakeImage(i & 1 ? IMG_BGR24 : IMG_BGRA32, 6, 6);
    MemoryContext const memory;
    HGDIOBJ const before = SelectObject(memory.dc, image->handle);
    Ref<IDC> const dc = MakeSurface(4 + i % 3, 4, i & 2);
    POINT const triangle[] = {{0, 0}, {3, 0}, {0, 3}};
    xrect2d r(0, 0, 4, 4);
    if (i % 5 == 0) dc->DrawText(L"x", 1, &r, 0);
    if (i % 5 == 1) dc->DrawPolygon(triangle, 3, ~0u, ~0u, 1);
    if (i % 7 == 0) dc->Create(5, 5);
    if (i % 7 == 1) dc->ReleaseDC();
    if (i % 7 == 2) dc->Detach();
    if (i % 7 == 3) dc->Attach(memory.dc, image.get()), dc->Detach(), dc->Create(6, 6);
    dc->Attach(memory.dc, image.get());
    dc->FillRect(0, 0, 3, 3);
    EXPECT_EQ(dc->Blit(target->memoryDC, 0, 0, nullptr), S_OK);
    if (i % 3 == 0) dc->Detach();
    SelectObject(memory.dc, before);
  };
  for (int i = 0; i < 105; ++i) cycle(i);
  int const before = CountGdiObjects();
  EXPECT_GT(before, 2);
  for (int i = 0; i < 10500; ++i) cycle(i);
  EXPECT_EQ(CountGdiObjects(), before);
  Ref<IDC> const counted = MakeSurface(1, 1, false);
  EXPECT_EQ(CountGdiObjects(), before + 2);  // a bitmap and its device context: the count does count
}

TEST(Registered, IsMadeByItsIdentifier) {
  Ref<System> const system = Ref<System>::Adopt(System::Create());
  EXPECT_EQ(IDC::Register(), S_OK);
  EXPECT_EQ(IDC::Register(), E_INVALIDARG);
  Ref<IDC> dc;
  EXPECT_EQ(CreateInterface(IDC::Id(), dc.ReceiveVoid()), S_OK);
  EXPECT_EQ(dc->Create(2, 2), S_OK);
}

// A real window on a real screen: what is drawn is what stands there.
TEST(Window, ShowsWhatWasDrawn) {
  HWND const window = CreateWindowExW(WS_EX_TOPMOST | WS_EX_TOOLWINDOW, L"Static", L"", WS_POPUP | WS_VISIBLE,
                                      40, 30, 64, 48, nullptr, nullptr, nullptr, nullptr);
  if (!window) GTEST_SKIP() << "there is no display";
  std::mt19937 random(21);
  Ref<IDC> const drawn = MakeSurface(64, 48, false), seen = MakeSurface(64, 48, false);
  FillWithNoise(*drawn, random);
  UpdateWindow(window);
  HDC const windowDC = GetDC(window), screen = GetDC(nullptr);
  bool same = false;
  for (int attempt = 0; attempt < 50 && !same; ++attempt) {  // the screen may take its time
    EXPECT_EQ(drawn->Blit(windowDC, 0, 0, nullptr), S_OK);
    GdiFlush();
    Sleep(20);
    BitBlt(seen->memoryDC, 0, 0, 64, 48, screen, 40, 30, SRCCOPY);
    GdiFlush();
    same = Pixels(*seen) == Pixels(*drawn);
  }
  EXPECT_TRUE(same);
  ReleaseDC(window, windowDC);
  ReleaseDC(nullptr, screen);
  DestroyWindow(window);
}
