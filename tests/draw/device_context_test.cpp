#include <windows.h>
// first: the platform's types are complete below

#include <qecore/core/registry.h>
#include <qecore/core/system.h>
#include <qecore/draw/color.h>
#include <qecore/image/image.h>

#include <functional>

#include "support/binary.h"
#include "support/gdi_objects.h"
#include "surface.h"

using namespace yk;

namespace {

constexpr unsigned WHITE = 0xFFFFFFFF;

Pixel Blended(Pixel p, unsigned colour) {
  int const a = int(colour >> 24);
  auto const blend = [=](int d, unsigned s) { return d * (255 - a) / 255 + int(s & 255) * a / 255; };
  return {blend(p.blue, colour >> 16), blend(p.green, colour >> 8), blend(p.red, colour), p.alpha};
}

// What a painter leaves on a small black surface whose fills add: how often each pixel was painted with 1.
std::string Counts(std::function<HRESULT(IDC&)> const& paint) {
  Ref<IDC> const dc = MakeSurface(6, 5, false);
  dc->Clear(0);
  dc->SetMode(IDC::MODE_ADD);
  dc->SetColor(0x00000001);
  EXPECT_EQ(paint(*dc), S_OK);
  std::string text;
  for (int i = 0; i < 30; ++i) {
    text += static_cast<char>('0' + PixelAt(*dc, i % 6, i / 6).red);
    if (i % 6 == 5) text += '/';
  }
  return text;
}

Ref<Image2d> MakeImage(IMG_FORMAT format, int w, int h) {
  Ref<Image2d> image = Ref<Image2d>::Adopt(Image2d::Create());
  EXPECT_EQ(image->Create(format, w, h), S_OK);
  return image;
}

struct MemoryContext {
  HDC dc = CreateCompatibleDC(nullptr);
  ~MemoryContext() { DeleteDC(dc); }
};

unsigned PositionColour(int x, int y, void* alpha) {
  return *static_cast<unsigned*>(alpha) << 24 | unsigned(x & 255) << 8 | unsigned(y & 255);
}

}  // namespace

TEST(DeviceContext, IsMadeByItsIdentifierAndReachedByPointerOnly) {
  Ref<System> const system = Ref<System>::Adopt(System::Create());
  EXPECT_TRUE(IDC::Register() == S_OK && IDC::Register() == E_INVALIDARG);
  Ref<IDC> dc;
  EXPECT_EQ(CreateInterface(IDC::Id(), dc.ReceiveVoid()), S_OK);
  void* out = &out;
  EXPECT_TRUE(dc->QueryInterface(IDC::Id(), &out) == E_NOINTERFACE && out == &out);
  EXPECT_TRUE(dc->IsTypeOf(IDC::Id()) && dc->IsTypeOf(ids::UNKNOWN) && !dc->IsTypeOf(ids::IMAGE_2D));
  EXPECT_EQ(dc->GetTypeId(), nullptr);
  Slot<void (*)(void*)>(dc.get(), 3)(nullptr);  // Destroy of nothing
  for (size_t i = 12; i < 115; ++i) EXPECT_EQ(Field<char>(dc.get(), i), 0) << i;
}

TEST(DeviceContext, MakesAndKeepsItsSurface) {
  Ref<IDC> const dc = Ref<IDC>::Adopt(IDC::Create());
  auto const create = Slot<HRESULT (*)(void*, int, int)>(dc.get(), 11);
  auto const createAt = Slot<HRESULT (*)(void*, xrect2d const*)>(dc.get(), 10);
  EXPECT_EQ(create(dc.get(), 0, 5), E_INVALIDARG);
  EXPECT_EQ(create(dc.get(), 10, 10), S_OK);
  HBITMAP const bitmap = dc->surfaceBitmap;
  EXPECT_TRUE(dc->ReleaseDC() == S_OK && dc->ReleaseDC() == E_FAIL);
  xrect2d const r(-3, 7, 7, 17);
  EXPECT_EQ(createAt(dc.get(), &r), S_OK);
  EXPECT_TRUE(Field<HBITMAP>(dc.get(), 16) == bitmap && Field<HDC>(dc.get(), 104));
  EXPECT_TRUE(dc->originX == 3 && dc->originY == -7 && dc->stride == 32);
  // a surface that there is no room for leaves a context that paints nothing
  EXPECT_EQ(dc->Create(INT_MAX, INT_MAX), E_FAIL);
  EXPECT_TRUE(dc->FillRect(0, 0, 9, 9) == S_FALSE && dc->DrawLine({0, 0}, {9, 9}) == S_FALSE);
  EXPECT_TRUE(dc->Clear(WHITE) == E_FAIL && dc->GetPixel(0, 0) == 0);
}

TEST(DeviceContext, CutsItsClipToTheSurface) {
  Ref<IDC> const dc = MakeSurface(100, 50, false);
  dc->SetClip({-5, -5, 500, 500});
  EXPECT_EQ(dc->clip, xrect2d(0, 0, 100, 50));
  dc->SetOrigin(90, 40);
  EXPECT_TRUE(dc->IsVisible({9, 9, 99, 99}) && !dc->IsVisible({INT_MIN, INT_MIN, -90, INT_MAX}));
  EXPECT_EQ(dc->FillRect(INT_MAX - 2, 0, 9, 9), S_FALSE);
  EXPECT_EQ(dc->FillRect({INT_MIN, INT_MIN, INT_MAX, INT_MAX}), S_OK);
}

TEST(DeviceContext, ClearsEverything) {
  for (bool hasAlpha : {false, true}) {
    Ref<IDC> const dc = MakeSurface(3, 4, hasAlpha);
    dc->SetClip({1, 1, 2, 2});
    dc->SetMode(IDC::MODE_INVERT);
    EXPECT_EQ(dc->Clear(0x04030201), S_OK);
    for (Pixel const& p : Pixels(*dc)) EXPECT_EQ(p, (Pixel{3, 2, 1, hasAlpha ? 4 : 255}));
  }
}

TEST(DeviceContext, BlendsByAlphaAndKeepsThePixels) {
  std::mt19937 random(2);
  for (unsigned a : {0u, 1u, 128u, 254u, 255u}) {
    Ref<IDC> const dc = MakeSurface(9, 7, a & 1);
    FillWithNoise(*dc, random);
    dc->SetOrigin(-2, 3);
    std::vector<Pixel> expected = Pixels(*dc);
    unsigned const colour = a << 24 | 0xC86401;
    expected[5 * 9 + 4] = Blended(expected[5 * 9 + 4], colour);
    for (size_t x = 5; x < 9; ++x) {
      expected[5 * 9 + x] = Blended(expected[5 * 9 + x], a << 24 | static_cast<unsigned>(x + 2) << 8 | 2);
    }
    EXPECT_TRUE(dc->BlendPixel(6, 2, colour));
    EXPECT_EQ(dc->FillRect({7, 2, 99, 3}, PositionColour, &a), S_OK);
    EXPECT_FALSE(dc->BlendPixel(1, 0, WHITE) || dc->BlendPixel(INT_MAX, INT_MIN, WHITE));
    EXPECT_EQ(dc->FillRect({7, 2, 99, 3}, nullptr, &a), E_INVALIDARG);
    EXPECT_TRUE(Pixels(*dc) == expected) << a;
  }
}

TEST(DeviceContext, GradientsAreTakenOverTheUnclippedRectangle) {
  for (bool vertical : {true, false}) {
    Ref<IDC> const dc = MakeSurface(30, 20, false);
    dc->SetOrigin(2, 1);
    auto const gradient = vertical ? &IDC::FillGradientV : &IDC::FillGradientH;
    EXPECT_EQ(((*dc).*gradient)({-7, -9, 40, 33}, 0xFF102030, 0xFFF0E0D0), S_OK);
    for (int i = 0; i < 600; ++i) {
      double const t = vertical ? (i / 30 - 1 + 9) / 42.0 : (i % 30 - 2 + 7) / 47.0;
      ASSERT_EQ(dc->GetPixel(i % 30 - 2, i / 30 - 1),
                BlendColor(0xFFF0E0D0, 0xFF102030, static_cast<float>(t)))
          << i;
    }
  }
}

TEST(DeviceContext, FramesPaintEachPixelOnceAndBevelsAreMitred) {
  struct {
    xrect2d r;
    int width;            // of a bevel; 0: a frame
    char const* painted;  // by a bevel 1 light, 2 dark
  } const rows[] = {{{1, 1, 5, 4}, 0, "000000/011110/010010/011110/000000/"},
                    {{1, 1, 3, 3}, 0, "000000/011000/011000/000000/000000/"},
                    {{4, 3, 9, 9}, 0, "000000/000000/000000/000011/000010/"},
                    {{2, 2, 2, 2}, 0, "000000/000000/000000/000000/000000/"},
                    {{0, 0, 6, 5}, 1, "111112/100002/100002/100002/222222/"},
                    {{0, 0, 6, 5}, 2, "111112/111122/110022/122222/222222/"},
                    {{0, 0, 6, 5}, INT_MAX, "111112/111122/112222/122222/222222/"},
                    {{1, 1, 4, 9}, 2, "000000/011200/012200/012200/012200/"},
                    {{-9, 1, 4, 2}, 1, "000000/222200/000000/000000/000000/"},
                    {{INT_MIN, INT_MIN, INT_MAX, 4}, 1, "000000/000000/000000/222222/000000/"}};
  for (auto const& [r, width, painted] : rows) {
    auto const paint = [&](IDC& dc) { return width ? dc.FrameBevel(r, 1, 2, width) : dc.FrameRect(r); };
    EXPECT_EQ(Counts(paint), painted);
  }
  auto const one = [](int, int, void*) { return 0xFF000001u; };
  EXPECT_EQ(Counts([&](IDC& dc) { return dc.FrameRect({1, 1, 5, 4}, one, nullptr); }), rows[0].painted);
  auto const round = [](IDC& dc) {
    dc.SetMode(IDC::MODE_PAINT);
    dc.SetColor(0xFF00000F);
    return dc.FrameRoundRect({0, 0, 6, 5});
  };
  EXPECT_EQ(Counts(round), "3????3/?5005?/?0000?/?5005?/3????3/");
}

TEST(DeviceContext, KeepsAStackOfColours) {
  Ref<IDC> const dc = Ref<IDC>::Adopt(IDC::Create());
  for (unsigned c : {WHITE, 7u}) EXPECT_TRUE(dc->SetColor(c) == S_OK && dc->PushColor() == S_OK);
  for (unsigned c : {7u, WHITE}) EXPECT_TRUE(dc->PopColor() == S_OK && dc->colour == c);
  EXPECT_EQ(dc->PopColor(), YK_E_EMPTY);
}

TEST(DeviceContext, ChangesAlphaOnAlphaSurfacesOnly) {
  std::mt19937 random(4);
  Ref<IDC> const dc = MakeSurface(20, 9, true), plain = MakeSurface(2, 2, false);
  FillWithNoise(*dc, random);
  std::vector<Pixel> expected = Pixels(*dc);
  for (size_t i = 0; i < 180; ++i) {
    auto& [blue, green, red, a] = expected[i];
    if (i % 20 < 10) blue = blue * a / 255, green = green * a / 255, red = red * a / 255;
    if (i % 20 >= 10 && i % 20 < 15 && a != 0) blue = green = red = 255;
    if (i % 20 >= 15) a = 7;
  }
  dc->SetOrigin(1, 1);
  EXPECT_EQ(dc->PremultiplyAlpha({-9, -9, 9, 9}), S_OK);
  EXPECT_EQ(dc->WhitenOpaque({9, -9, 14, 99}), S_OK);
  EXPECT_EQ(dc->SetAlpha({14, -9, 99, 99}, 7), S_OK);
  EXPECT_TRUE(Pixels(*dc) == expected);
  EXPECT_EQ(plain->WhitenOpaque({0, 0, 2, 2}), YK_E_EMPTY);
}

TEST(DeviceContext, AdjustsThroughTheTable) {
  Ref<IDC> const dc = MakeSurface(4, 1, true);
  dc->Clear(0x50403020);
  IADJUSTMENT adjustment, identity;
  unsigned const mapped = IADJUSTMENT(25, -10).TranslateColor(0xFF403020);
  xrect2d const r(1, 0, 3, 1);
  EXPECT_EQ(dc->Adjust(&r, 25, -10, &adjustment), S_OK);
  EXPECT_TRUE(dc->GetPixel(0, 0) == 0xFF403020 && dc->GetPixel(1, 0) == mapped);
  memcpy(adjustment.table, identity.table, 256);  // the same settings: the table is used as it is
  EXPECT_EQ(dc->Adjust(nullptr, 25, -10, &adjustment), S_OK);
  EXPECT_TRUE(dc->GetPixel(1, 0) == mapped && PixelAt(*dc, 1, 0).alpha == 0x50);
}

TEST(DeviceContext, BlitsWithAndWithoutItsMemoryDC) {
  std::mt19937 random(5);
  for (bool hasAlpha : {false, true}) {
    Ref<IDC> const from = MakeSurface(12, 10, hasAlpha), to = MakeSurface(12, 10, hasAlpha);
    FillWithNoise(*from, random);
    from->SetOrigin(5, 5);  // Blit takes it back from the memory device context
    xrect2d const part(2, 3, 8, 9), beyond(0, 0, 12, 99);
    EXPECT_EQ(from->Blit(to->memoryDC, 4, 1, &part), S_OK);
    for (int i = 0; i < 36; ++i) {
      EXPECT_EQ(to->GetPixel(4 + i % 6, 1 + i / 6), from->GetPixel(2 - 5 + i % 6, 3 - 5 + i / 6)) << i;
    }
    from->ReleaseDC();
    EXPECT_EQ(from->Blit(to->memoryDC, 0, 0, &beyond), E_FAIL);
  }
}

TEST(Attached, DrawsIntoTheImage) {
  MemoryContext const memory;
  for (IMG_FORMAT format : {IMG_BGR24, IMG_BGRA32}) {
    Ref<Image2d> const image = MakeImage(format, 9, 5);
    Ref<IDC> const dc = MakeSurface(3, 3, false);
    dc->SetMode(IDC::MODE_INVERT);
    EXPECT_EQ(dc->Attach(memory.dc, image.get()), S_OK);
    EXPECT_TRUE(!dc->surfaceBitmap && dc->mode == 0 && dc->hasAlpha == (format == IMG_BGRA32) &&
                dc->clip == xrect2d(0, 0, 9, 5));
    dc->SetColor(0xFF030201);
    dc->FillRect(2, 1, 1, 1);
    EXPECT_EQ(memcmp(image->GetLineEx(1, 2), "\3\2\1", 3), 0);
    EXPECT_TRUE(dc->Detach() == S_OK && !dc->bits && !dc->memoryDC && dc->width == 0);
    EXPECT_EQ(dc->FillRect(0, 0, 9, 9), S_FALSE);
  }
  Ref<IDC> const dc = MakeSurface(3, 3, false);
  EXPECT_EQ(dc->Attach(memory.dc, MakeImage(IMG_GRAY8, 2, 2).get()), E_INVALIDARG);
}

TEST(Attached, DrawsImagesThroughACallback) {
  using Calls = std::vector<std::pair<unsigned char*, unsigned char const*>>;
  auto const note = [](unsigned char* to, unsigned char const* from, void* calls) {
    static_cast<Calls*>(calls)->push_back({to, from});
  };
  Ref<Image2d> const image = MakeImage(IMG_BGR48, 8, 6);
  std::tuple<xrect2d, int64_t, int64_t> const rows[] = {
      {{3, 1, 7, 4}, -4, 6},
      {{-2, -2, 99, 99}, 0, 0},
      {{0, 0, 8, 6}, 9, 0},
      {{INT_MIN, INT_MIN, INT_MAX, INT_MAX}, INT_MIN, INT_MIN}};
  for (auto const& [r, left, top] : rows) {
    Ref<IDC> const dc = MakeSurface(11, 10, true);
    dc->SetClip({1, 0, 11, 10});
    dc->SetOrigin(2, 1);
    Calls calls, expected;
    for (int i = 0; i < 110; ++i) {
      int64_t const x = i % 11 - 2 - left + r.left, y = i / 11 - 1 - top + r.top;
      bool const wanted = x >= std::max(r.left, 0) && x < std::min(r.right, 8) && i % 11 >= 1 &&
                          y >= std::max(r.top, 0) && y < std::min(r.bottom, 6);
      if (!wanted) continue;
      expected.push_back({dc->GetPixelAddress(i / 11, i % 11), image->GetLineEx(int(y), int(x))});
    }
    HRESULT const result = dc->DrawImage(image.get(), int(left), int(top), &r, note, &calls);
    EXPECT_EQ(result, expected.empty() ? S_FALSE : S_OK);
    EXPECT_TRUE(calls == expected) << r.left << ", " << left;
  }
  EXPECT_EQ(MakeSurface(1, 1, true)->DrawImage(nullptr, 0, 0, nullptr, note, nullptr), E_INVALIDARG);
}

TEST(Attached, LeavesNoGdiObjectsBehind) {
  Ref<IDC> const target = MakeSurface(8, 8, false);
  auto const cycle = [&](int i) {
    Ref<Image2d> const image = MakeImage(i & 1 ? IMG_BGR24 : IMG_BGRA32, 6, 6);
    MemoryContext const memory;
    HGDIOBJ const before = SelectObject(memory.dc, image->handle);
    Ref<IDC> const dc = MakeSurface(4, 4, i & 2);
    POINT const triangle[] = {{0, 0}, {3, 0}, {0, 3}};
    xrect2d r(0, 0, 4, 4);
    if (i % 5 == 0) dc->DrawText(L"x", 1, &r, 0);
    if (i % 5 == 1) dc->DrawPolygon(triangle, 3, ~0u, ~0u, 1);
    if (i % 7 == 0) dc->Create(5, 5);
    if (i % 7 == 1) dc->ReleaseDC();
    if (i % 7 == 2) dc->Detach();
    dc->Attach(memory.dc, image.get());
    dc->Blit(target->memoryDC, 0, 0, nullptr);
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
