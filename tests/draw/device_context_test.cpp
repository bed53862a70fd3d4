#include <windows.h>
// first, for the platform's types

#include <qecore/core/registry.h>
#include <qecore/core/system.h>
#include <qecore/draw/color.h>
#include <qecore/values/string.h>

#include <functional>

#include "image/support.h"
#include "support/failure.h"
#include "surface.h"

using namespace yk;

namespace {

using Paint = std::function<void(IDC&)>;

// A small black surface after additive painting: how many times each pixel was painted with 1.
std::string Counts(Paint const& paint) {
  Ref<IDC> const dc = MakeSurface(6, 5, false);
  dc->Clear(0);
  dc->SetMode(IDC::MODE_ADD);
  dc->SetColor(0x00000001);
  paint(*dc);
  std::string text;
  for (Pixel const& p : Pixels(*dc)) text += text.size() % 7 == 6 ? "/" : "", text += char('0' + p.red);
  return text;
}

}  // namespace

TEST(DeviceContext, IsMadeByItsIdentifierAndReachedByPointerOnly) {
  Ref<System> const system = Own(System::Create());
  Ref<IDC> dc;
  ExpectEach(S_OK, {IDC::Register(), CreateInterface(IDC::Id(), dc.ReceiveVoid())});
  void* out;
  EXPECT_EQ(dc->QueryInterface(IDC::Id(), &out), E_NOINTERFACE);
  EXPECT_TRUE(dc->IsTypeOf(IDC::Id()) && !dc->IsTypeOf(ids::IMAGE_2D));
  Slot<void (*)(void*)>(dc.get(), 3)(nullptr);  // Destroy of a null object
  for (size_t i = 12; i < 115; ++i) EXPECT_EQ(Field<char>(dc.get(), i), 0) << i;
}

// A host may hook the table of a context: operations documented as going through it must call the hook.
TEST(DeviceContext, CallsItsOwnOperationsThroughTheTable) {
  auto const red = [](int, int, void*) { return 0xFF0000FFu; };
  xrect2d r(1, 1, 5, 4);
  Table<int, int, Paint> const rows = {{11, 1, [&](IDC& dc) { dc.Create(r); }},
                                       {24, 1, [&](IDC& dc) { dc.FillRect(1, 1, 4, 3); }},
                                       {26, 1, [&](IDC& dc) { dc.FrameRect(r); }},
                                       {23, 4, [&](IDC& dc) { dc.FrameRect(1, 1, 4, 3); }},
                                       {27, 1, [&](IDC& dc) { dc.FrameRect(r, red, nullptr); }},
                                       {33, 4, [&](IDC& dc) { dc.FrameRect(1, 1, 4, 3, red, nullptr); }},
                                       {34, 1, [&](IDC& dc) { dc.FillRect(1, 1, 4, 3, red, nullptr); }},
                                       {23, 4, [&](IDC& dc) { dc.FrameRoundRect(r); }},
                                       {47, 1, [&](IDC& dc) { dc.DrawText(String(L"x"), &r, 0); }}};
  for (auto const& [slot, count, call] : rows) {
    Ref<IDC> const dc = MakeSurface(9, 9, false);
    SlotHook const hook(dc.get(), 53, slot);
    call(*dc);
    EXPECT_EQ(SlotHook::calls, count) << slot;
  }
}

TEST(DeviceContext, MakesAndKeepsItsSurface) {
  Ref<IDC> const dc = MakeSurface(10, 10, false);
  HBITMAP const bitmap = dc->surfaceBitmap;
  for (HRESULT result : {S_OK, E_FAIL}) EXPECT_EQ(dc->ReleaseDC(), result);
  EXPECT_EQ(dc->Create({-3, 7, 7, 17}), S_OK);
  EXPECT_EQ(Field<HBITMAP>(dc.get(), 16), bitmap);
  EXPECT_EQ(std::pair(Field<int>(dc.get(), 96), Field<int>(dc.get(), 100)), std::pair(3, -7));
  EXPECT_NE(Field<HDC>(dc.get(), 104), nullptr);
  int x, y;
  xrect2d clip;
  POINT viewport = {};
  GetViewportOrgEx(dc->memoryDC, &viewport);
  ExpectEach(S_OK, {dc->GetOrigin(x, y), dc->GetClip(clip)});
  EXPECT_EQ((Ints{viewport.x, viewport.y, x, y, clip.right, clip.bottom}), (Ints{3, -7, 3, -7, 10, 10}));
  for (auto const& [w, h, hasAlpha] : {std::tuple{9, 10, false}, {9, 8, false}, {9, 8, true}}) {
    dc->hasAlpha = hasAlpha;
    EXPECT_EQ(dc->Create(w, h), S_OK);
    EXPECT_EQ(dc->stride, hasAlpha ? 36 : 28);
  }
  // a surface for which there is no memory leaves a context that paints nothing
  ExpectEach(E_FAIL, {dc->Create(INT_MAX, INT_MAX), dc->Clear(WHITE)});
}

// What the next two tests pass.
static point2df const TRIANGLE[] = {{0, 0}, {8, 0}, {0, 8}}, &A = TRIANGLE[0], &B = TRIANGLE[1];
static POINT const EXTREMES[] = {{0, 0}, {8, 0}, {0, 8}, {INT_MIN, 0}, {0, INT_MAX}, {INT_MIN, INT_MAX}};
static rect2d const OVAL = {0, 0, 8, 8};
static unsigned White(int, int, void*) { return WHITE; }
static void KeepPixel(unsigned char*, unsigned char const*, void*) {}

TEST(DeviceContext, PaintsNothingWhereNothingIs) {
  Ref<Image2d> const image = NewImage(IMG_BGR24, 2, 2);
  xrect2d r(0, 0, 8, 8);
  IADJUSTMENT table;
  unsigned char bits[64] = {};
  Ref<IDC> dc;
  // the targets: no surface; images of endless rows without pixels, or no rows; narrow clips
  for (int i = 0; i < 5; ++i) {
    dc = i ? MakeSurface(9, 9, true) : Own(IDC::Create());
    if (i == 1 || i == 2) {
      dc->bits = bits + 32, dc->stride = 4;
      (i == 1 ? dc->width : dc->height) = 0, (i == 1 ? dc->height : dc->width) = INT_MAX;
      EXPECT_EQ(dc->Clear(WHITE), S_OK);
    }
    dc->SetClip(i < 3 ? xrect2d(0, 0, INT_MAX, INT_MAX) : i < 4 ? xrect2d(2, 5, 9, 5) : xrect2d(5, 2, 5, 9));
    SCOPED_TRACE(i);
    ExpectEach(S_FALSE, {dc->FillRect(r), dc->FillRect(r, White, nullptr), dc->FillGradientV(r, 1, 2),
                         dc->FillGradientH(r, 1, 2), dc->FrameBevel(r, 1, 2, 1), dc->FillEllipse(OVAL),
                         dc->DrawImage(image.get(), 0, 0, nullptr, KeepPixel, nullptr), dc->DrawLine(A, B),
                         dc->DrawPolyline(TRIANGLE, 3, true), dc->FillPolygon(TRIANGLE, 3, 0),
                         dc->DrawPolygon(EXTREMES, 3, ~0u, ~0u, 1), dc->DrawText(L"x", 1, &r, 0),
                         dc->Adjust(nullptr, 9, 9, &table)});
    ExpectEach(i ? S_FALSE : YK_E_EMPTY, {dc->SetAlpha(r, 1), dc->PremultiplyAlpha(r), dc->WhitenOpaque(r)});
    EXPECT_EQ(dc->GetPixel(5, 5), 0u);
    EXPECT_EQ(dc->GetPixelAddress(0, 0) == nullptr, i == 0);
  }
  for (unsigned char byte : bits) EXPECT_EQ(byte, 0);
}

TEST(DeviceContext, SaysWhyItPaintsNothing) {
  Ref<Image2d> const image = NewImage(IMG_BGR24, 2, 2), empty = Own(Image2d::Create());
  xrect2d r(0, 0, 8, 8), outside(20, 0, 40, 20);
  Ref<IDC> const dc = MakeSurface(9, 9, true);
  dc->SetLinePattern(0xFFFF);
  ExpectEach(S_FALSE,
             {dc->DrawPolyline(TRIANGLE, 1, true), dc->FillPolygon(TRIANGLE, 2, 0),
              dc->DrawPolygon(EXTREMES, 1, 1, 1, 1), dc->DrawPolygon(EXTREMES + 3, 3, ~0u, ~0u, 1),
              dc->DrawText(L"", 0, &r, 0), dc->DrawText(L"x", -1, &outside, 0), dc->FrameBevel(r, 1, 2, 0),
              dc->DrawImage(image.get(), 0, 0, &outside, KeepPixel, nullptr),
              dc->DrawImage(empty.get(), 0, 0, nullptr, KeepPixel, nullptr), dc->DrawLine(A, A)});
  ExpectEach(S_FALSE, {dc->DrawLine({-5, 3}, {-0.7, 3}), dc->DrawLine({-5, -0.9}, {-0.8, -0.9}),
                       dc->DrawLine(A, {3, INFINITY}), dc->DrawLine({NAN, 3}, A),
                       dc->FillEllipse({20, 20, 30, 30}), dc->FillEllipse(OVAL, NAN),
                       dc->FillEllipse({0, 0, 8, NAN}), dc->FillEllipse({1e300, 0, 1.7e308, 0.5}),
                       dc->FillEllipse({0, 0, 0, 5}), dc->FillEllipse({0, 1e101, 5, 1e101})});
  ExpectEach(E_INVALIDARG,
             {dc->FillRect(r, nullptr, nullptr), dc->DrawImage(nullptr, 0, 0, nullptr, KeepPixel, nullptr),
              dc->DrawPolyline(TRIANGLE, -1, true), dc->FillPolygon(TRIANGLE, -1, 0),
              dc->FillPolygon(TRIANGLE, 3, 2), dc->DrawPolygon(EXTREMES, -1, 1, 1, 1),
              dc->DrawPolygon(EXTREMES, 3, 1, 1, -1), dc->DrawText(L"x", 1, nullptr, 0),
              dc->DrawText(L"x", -2, &r, 0), dc->Adjust(&r, 1, 1, nullptr), dc->Attach(nullptr, image.get()),
              dc->Attach(dc->memoryDC, empty.get()), dc->Create(0, 5), dc->Create(5, 0)});
  dc->SetMode(77);
  ExpectEach(E_NOTIMPL,
             {dc->FillRect(r), dc->FrameBevel(r, 1, 2, 1), dc->DrawLine(A, B),
              dc->DrawPolyline(TRIANGLE, 3, true), dc->FillPolygon(TRIANGLE, 3, 0), dc->FillEllipse(OVAL),
              dc->DrawPolygon(EXTREMES, 3, 1, 1, 1), dc->DrawText(L"x", 1, &r, 0)});
  EXPECT_EQ(dc->linePhase, 0u);
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
  unsigned rows[][3] = {{0x00000064, 200, 200}, {0x01000064, 255, 254}, {0x80000064, 200, 149},
                        {0xFE0000FF, 3, 254},   {0xFF000064, 9, 100},   {0xFF000000, 9, 0}};
  auto const same = [](int x, int y, void* row) { return *static_cast<unsigned*>(row) + unsigned(x + y); };
  for (auto& row : rows) {
    auto const [colour, before, after] = row;
    Ref<IDC> const dc = MakeSurface(3, 2, true);
    dc->Clear(before | 0x09000000);
    dc->SetOrigin(1, 1);
    EXPECT_TRUE(dc->BlendPixel(-1, -1, colour) && !dc->BlendPixel(INT_MAX, INT_MIN, WHITE));
    EXPECT_EQ(dc->FillRect({0, 0, 1, 9}, same, row), S_OK);  // the callback gets positions without the origin
    for (auto const& [x, y] : {std::pair{0, 0}, {1, 1}})
      EXPECT_EQ(PixelAt(*dc, x, y), (Pixel{0, 0, int(after), 9})) << before;
    EXPECT_EQ(PixelAt(*dc, 2, 1).red, int(before));
  }
}

TEST(DeviceContext, IsHeldWhileItCallsBack) {
  auto const letGo = [](int, int, void* held) { return static_cast<Ref<IDC>*>(held)->Reset(), WHITE; };
  for (int i = 0; i < 2; ++i) {
    Ref<IDC> dc = MakeSurface(9, 9, false);
    IDC& lent = *dc;
    EXPECT_EQ(i ? lent.FrameRect(0, 0, 9, 9, letGo, &dc) : lent.FillRect({0, 0, 9, 9}, letGo, &dc), S_OK);
  }
}

TEST(DeviceContext, GradientsAreTakenOverTheUnclippedRectangle) {
  for (bool vertical : {true, false}) {
    Ref<IDC> const dc = MakeSurface(30, 20, false);
    dc->SetOrigin(2, 1);
    auto const gradient = vertical ? &IDC::FillGradientV : &IDC::FillGradientH;
    EXPECT_EQ(((*dc).*gradient)({-7, -9, 40, 33}, 0xFF102030, 0xFFF0E0D0), S_OK);
    ExpectRed(*dc, 0, vertical ? "V" : "H", [=](int x, int y) {
      double const t = vertical ? (y - 1 + 9) / 42.0 : (x - 2 + 7) / 47.0;
      return BlendColor(0xFFF0E0D0, 0xFF102030, static_cast<float>(t)) & 255;
    });
  }
}

TEST(DeviceContext, FramesPaintEachPixelOnceAndBevelsAreMitred) {
  struct {
    xrect2d r;
    int width;            // of a bevel; 0: a frame
    char const* painted;  // by a bevel 1 light, 2 dark
  } const rows[] = {{{1, 1, 5, 4}, 0, "000000/011110/010010/011110/000000"},
                    {{4, 3, 9, 9}, 0, "000000/000000/000000/000011/000010"},
                    {{2, 2, 2, 2}, 0, "000000/000000/000000/000000/000000"},
                    {{0, 0, 6, 5}, 2, "111112/111122/110022/122222/222222"},
                    {{0, 0, 6, 5}, INT_MAX, "111112/111122/112222/122222/222222"},
                    {{1, 1, 4, 9}, 2, "000000/011200/012200/012200/012200"},
                    {{-9, 1, 4, 2}, 1, "000000/222200/000000/000000/000000"},
                    {{INT_MIN, INT_MIN, INT_MAX, 4}, 1, "000000/000000/000000/222222/000000"}};
  for (auto const& [r, width, painted] : rows)
    EXPECT_EQ(Counts([&](IDC& dc) { width ? dc.FrameBevel(r, 1, 2, width) : dc.FrameRect(r); }), painted);
  auto const one = [](int, int, void*) { return 0xFF000001u; };
  EXPECT_EQ(Counts([&](IDC& dc) { dc.FrameRect({1, 1, 5, 4}, one, nullptr); }), rows[0].painted);
  auto const round = [](IDC& dc) {
    dc.SetMode(IDC::MODE_PAINT), dc.SetColor(0xFF00000F), dc.FrameRoundRect({0, 0, 5, 5});
  };
  EXPECT_EQ(Counts(round), "3???30/?505?0/?000?0/?505?0/3???30");
}

TEST(DeviceContext, KeepsAStackOfColours) {
  Ref<IDC> const dc = Own(IDC::Create());
  for (unsigned c : {3u, 7u, 9u}) ExpectEach(S_OK, {dc->PushColor(), dc->SetColor(c)});
  for (unsigned c : {7u, 3u, 0u}) EXPECT_EQ((dc->PopColor(), dc->colour), c);
  EXPECT_EQ(dc->PopColor(), YK_E_EMPTY);
}

TEST(DeviceContext, ChangesAlphaOnAlphaSurfacesOnly) {
  for (unsigned alpha : {0u, 1u, 128u, 255u}) {
    Ref<IDC> const dc = MakeSurface(4, 1, true);
    dc->Clear(alpha << 24 | 0xC80064);
    dc->SetOrigin(1, 0);
    ExpectEach(S_OK, {dc->PremultiplyAlpha({-9, -9, 0, 9}), dc->WhitenOpaque({0, -9, 1, 99}),
                      dc->SetAlpha({1, -9, 2, 99}, 7)});
    int const a = int(alpha);
    Pixel const plain = {200, 0, 100, a}, white = a ? Pixel{255, 255, 255, a} : plain;
    EXPECT_EQ(Pixels(*dc),
              (std::vector<Pixel>{{200 * a / 255, 0, 100 * a / 255, a}, white, {200, 0, 100, 7}, plain}));
  }
  Ref<IDC> const plain = MakeSurface(2, 2, false);
  plain->hasAlpha = true;  // for the next surface
  EXPECT_EQ(plain->WhitenOpaque({0, 0, 2, 2}), YK_E_EMPTY);
}

TEST(DeviceContext, AdjustsThroughTheTable) {
  Ref<IDC> const dc = MakeSurface(4, 1, true);
  dc->Clear(0x50403020);
  IADJUSTMENT adjustment, identity;
  unsigned const mapped = IADJUSTMENT(25, -10).TranslateColor(0xFF403020);
  xrect2d const r(1, 0, 3, 1);
  EXPECT_EQ(dc->Adjust(&r, 25, -10, &adjustment), S_OK);
  EXPECT_EQ(dc->GetPixel(0, 0), 0xFF403020);
  memcpy(adjustment.table, identity.table, 256);  // the same settings: the table is used unchanged
  EXPECT_EQ(dc->Adjust(nullptr, 25, -10, &adjustment), S_OK);
  for (int x : {1, 2}) EXPECT_EQ(dc->GetPixel(x, 0), mapped);
  EXPECT_EQ(PixelAt(*dc, 1, 0).alpha, 0x50);
}

TEST(DeviceContext, BlitsWithAndWithoutItsMemoryDC) {
  for (bool hasAlpha : {false, true}) {
    Ref<IDC> const from = MakeSurface(12, 10, hasAlpha), to = MakeBlack(12, 10), bare = Own(IDC::Create());
    from->FillGradientH({0, 0, 12, 10}, BLACK, WHITE);
    from->SetOrigin(5, 5);  // Blit resets it on the memory device context
    xrect2d const part(2, 3, 8, 9);
    EXPECT_EQ(from->Blit(to->memoryDC, 4, 1, &part), S_OK);
    to->SetClip({4, 1, 10, 7});
    ExpectRed(*to, 0, "blit", [&](int x, int y) { return PixelAt(*from, x - 2, y + 2).red; });
    from->ReleaseDC();
    for (xrect2d const& r : {xrect2d(0, 0, 12, 99), {5, 5, 5, 9}, {5, 9, 8, 9}})
      ExpectEach(E_FAIL, {from->Blit(to->memoryDC, 0, 0, &r), bare->Blit(to->memoryDC, 0, 0, &r)});
    EXPECT_EQ(from->Blit(to->memoryDC, 0, 0, nullptr), S_OK);
    EXPECT_EQ(Pixels(*to) == Pixels(*from), !hasAlpha) << "the bytes are used as 24-bit pixels";
  }
}

TEST(Attached, DrawsIntoTheImage) {
  Ref<IDC> const memory = MakeSurface(1, 1, false);
  for (IMG_FORMAT format : {IMG_BGR24, IMG_BGRA32}) {
    Ref<Image2d> const image = NewImage(format, 9, 5);
    Ref<IDC> const dc = MakeSurface(3, 3, false);
    dc->SetMode(IDC::MODE_INVERT);
    EXPECT_EQ(dc->Attach(memory->memoryDC, image.get()), S_OK);
    EXPECT_EQ(dc->hasAlpha, format == IMG_BGRA32);
    EXPECT_EQ(dc->clip, xrect2d(0, 0, 9, 5));
    dc->SetColor(0xFF030201);
    ExpectEach(S_OK, {dc->FillRect(2, 1, 1, 1), dc->Detach()});
    EXPECT_EQ(memcmp(image->GetLineEx(1, 2), "\3\2\1", 3), 0);
    ExpectEach<void*>(nullptr, {dc->surfaceBitmap, dc->memoryDC});
    EXPECT_EQ(dc->FillRect(0, 0, 9, 9), S_FALSE);
  }
  HDC const own = memory->memoryDC;
  EXPECT_EQ(memory->Attach(own, NewImage(IMG_BGR24, 2, 2).get()), S_OK);
  EXPECT_EQ(GetObjectType(own), static_cast<DWORD>(OBJ_MEMDC));
}

TEST(Attached, SaysThatTheImageIsGone) {
  Ref<IDC> const memory = MakeSurface(1, 1, false);
  std::function<void(Ref<Image2d>&)> const endings[] = {[](auto& image) { image.Reset(); },
                                                        [](auto& image) { image->Free(); },
                                                        [](auto& image) { image->Create(IMG_BGR24, 2, 2); }};
  xrect2d r(0, 0, 8, 8);
  IADJUSTMENT table;
  for (auto const& end : endings) {
    Ref<Image2d> image = NewImage(IMG_BGRA32, 9, 9), other = NewImage(IMG_BGRA32, 9, 9);
    Ref<IDC> const dc = Own(IDC::Create()), detached = Own(IDC::Create()), second = Own(IDC::Create());
    for (IDC* each : {dc.get(), detached.get(), second.get()})
      ExpectEach(S_OK,
                 {each->Attach(memory->memoryDC, other.get()), each->Attach(memory->memoryDC, image.get())});
    detached->Detach();
    other.Reset();
    EXPECT_EQ(dc->FillRect(r), S_OK);
    end(image);
    ExpectEach(E_FAIL, {second->Clear(WHITE), dc->FillRect(r), dc->FillRect(r, White, nullptr),
                        dc->FillGradientV(r, 1, 2), dc->FillGradientH(r, 1, 2), dc->FrameBevel(r, 1, 2, 1),
                        dc->FillEllipse(OVAL), dc->DrawLine(A, B), dc->DrawPolyline(TRIANGLE, 3, true),
                        dc->FillPolygon(TRIANGLE, 3, 0), dc->DrawPolygon(EXTREMES, 3, ~0u, ~0u, 1),
                        dc->DrawText(L"x", 1, &r, 0), dc->Adjust(nullptr, 9, 9, &table), dc->SetAlpha(r, 1)});
    EXPECT_EQ(LastMessage(), L"the attached image was released, freed or created anew");
    EXPECT_TRUE(!dc->BlendPixel(1, 1, WHITE) && !dc->GetPixelAddress(1, 1) && dc->GetPixel(1, 1) == 0);
    ExpectEach(S_FALSE, {detached->FillRect(r), (dc->Detach(), dc->FillRect(r))});
    ExpectEach(S_OK, {second->Create(9, 9), second->FillRect(r)});
  }
}

TEST(Attached, DrawsImagesThroughACallback) {
  auto const sum = [](unsigned char* to, unsigned char const* from, void* calls) {
    to[0] = from[0], ++*static_cast<int*>(calls);
  };
  Ref<Image2d> const image = NewImage(IMG_BGR48, 8, 6);
  for (int i = 0; i < 48; ++i) image->GetLineEx(i / 8, i % 8)[0] = static_cast<unsigned char>(i + 1);
  struct {
    xrect2d r;
    int left, top, calls, x, y, first;  // the position of the first pixel, and its value
  } const rows[] = {{{3, 1, 7, 4}, -4, 6, 3, 1, 7, 15},
                    {{-2, -2, 99, 99}, 0, 0, 7 * 6, 4, 3, 1},
                    {{0, 0, 8, 6}, 9, 0, 0, 0, 0, 0},
                    {{INT_MIN, INT_MIN, INT_MAX, INT_MAX}, INT_MIN, INT_MIN, 8 * 6, 2, 1, 1}};
  for (auto const& [r, left, top, expected, x, y, first] : rows) {
    Ref<IDC> const dc = MakeSurface(11, 10, true);
    dc->SetClip({1, 0, 11, 10});
    dc->SetOrigin(2, 1);
    int calls = 0;
    EXPECT_EQ(dc->DrawImage(image.get(), left, top, &r, sum, &calls), expected ? S_OK : S_FALSE);
    EXPECT_EQ(calls, expected) << left;
    EXPECT_EQ(PixelAt(*dc, x, y).blue, first) << left;
  }
}

TEST(Attached, DrawsImagesPixelByPixelInEachMode) {
  Ref<System> const system = Own(System::Create());  // knows the conversions
  for (IMG_FORMAT format : {IMG_GRAY8, IMG_PAL8, IMG_BGR24, IMG_BGRA32, IMG_BGRAF}) {
    Ref<Image2d> const source = Noise(format, 13, 9), target = NewImage(IMG_BGRA32, 20, 10);
    for (unsigned mode = IDC::MODE_PAINT; mode <= IDC::MODE_COMPOSITE; ++mode) {
      Ref<IDC> const dc = Own(IDC::Create()), expected = MakeSurface(20, 10, true);
      EXPECT_EQ(dc->Attach(target.get()), S_OK);
      for (IDC* each : {dc.get(), expected.get()})
        each->Clear(0x80604020), each->SetOrigin(2, 1), each->SetMode(mode);
      xrect2d const part(1, 1, 12, 8);
      EXPECT_EQ(dc->DrawImage(source.get(), 11, -3, &part), S_OK);
      for (int i = 0; i < 11 * 7; ++i) {
        unsigned char row[13 * 4];
        EXPECT_EQ(source->ConvertLine(1 + i / 11, IMG_BGRA32, row, sizeof row), S_OK);
        unsigned char const* const p = row + 4 * (1 + i % 11);
        expected->SetColor(Rgba(p[2], p[1], p[0], format == IMG_GRAY8 ? 255 : p[3]));
        if (mode == IDC::MODE_PAINT)
          expected->BlendPixel(11 + i % 11, -3 + i / 11, expected->colour);
        else
          expected->FillRect(11 + i % 11, -3 + i / 11, 1, 1);
      }
      EXPECT_TRUE(Pixels(*dc) == Pixels(*expected)) << format << " in mode " << mode;
    }
  }
  for (IMG_FORMAT format : {IMG_PAL1, IMG_PAL4}) {
    Ref<Image2d> const source = Noise(format, 13, 2), target = NewImage(IMG_BGRA32, 20, 10);
    Ref<IDC> const dc = Own(IDC::Create());
    dc->Attach(target.get()), dc->Clear(0), dc->SetMode(IDC::MODE_COPY);
    xrect2d const part(3, 1, 13, 2);
    EXPECT_EQ(dc->DrawImage(source.get(), 0, 0, &part), S_OK);
    for (int x = 3; x < 13; ++x) {
      int const bits = source->bitsPerPixel, byte = source->GetLine(1)[x * bits / 8];
      IMG_PALENTRY const& entry = source->palette[byte >> (8 - bits - x * bits % 8) & ((1 << bits) - 1)];
      EXPECT_EQ(PixelAt(*dc, x - 3, 0), (Pixel{entry.blue, entry.green, entry.red, entry.alpha})) << x;
    }
  }
  Ref<Image2d> const image = NewImage(IMG_BGR24, 9, 9), other = NewImage(IMG_MONO32, 2, 2);
  Ref<IDC> const dc = Own(IDC::Create());
  xrect2d r(0, 0, 9, 9);
  ExpectEach(E_INVALIDARG, {dc->Attach(nullptr), dc->Attach(other.get()), dc->DrawImage(nullptr, 0, 0)});
  ExpectEach(S_OK, {dc->Attach(image.get()), dc->DrawText(L"x", 1, &r, 0)});
  EXPECT_EQ(dc->DrawImage(other.get(), 9, 0), S_FALSE);
  ExpectFailures(
      {{E_INVALIDARG, L"mono32 pixels cannot be painted", [&] { return dc->DrawImage(other.get(), 0, 0); }},
       {E_FAIL, L"there is no device context", [&] { return dc->ReleaseDC(); }}});
}

TEST(Attached, LeavesNoGdiObjectsBehind) {
  for (int i = 0; i < 420; ++i) {
    Ref<Image2d> const image = NewImage(i & 1 ? IMG_BGR24 : IMG_BGRA32, 6, 6);
    Ref<IDC> const memory = MakeSurface(1, 1, false), dc = MakeSurface(4, 4, i & 2);
    POINT const triangle[] = {{0, 0}, {3, 0}, {0, 3}};
    xrect2d r(0, 0, 4, 4);
    if (i % 5 < 2) i % 5 ? dc->DrawPolygon(triangle, 3, ~0u, ~0u, 1) : dc->DrawText(L"x", 1, &r, 0);
    if (i % 7 < 3) i % 7 == 0 ? dc->Create(5, 5) : i % 7 == 1 ? dc->ReleaseDC() : dc->Detach();
    if (i % 3 == 0) dc->Attach(dc->memoryDC, image.get());
    dc->Attach(i % 7 == 3 ? dc->memoryDC : memory->memoryDC, image.get());
    if (i % 4 == 0) dc->Detach();
    for (int k = i % 7; k < 3; ++k) {  // those created in place of an image's
      dc->Attach(CreateCompatibleDC(nullptr), image.get());
      for (int times = k; times < 3; ++times) EXPECT_EQ(dc->ReleaseDC(), times == k ? S_OK : E_FAIL);
      EXPECT_EQ(dc->Create(6, 6), S_OK);
      EXPECT_NE(dc->memoryDC, nullptr);
    }
  }
}

TEST(Failures, OfDrawingSayWhatIsMissing) {
  Ref<IDC> const dc = MakeSurface(4, 3, false), empty = Own(IDC::Create());
  Ref<Image2d> const words = NewImage(IMG_BGR48, 2, 2);
  wchar_t const nothing[] = L"there is no surface: none was created and no image is attached";
  dc->SetMode(9);
  ExpectFailures({
      {E_FAIL, nothing, [&] { return empty->Clear(0); }},
      {E_FAIL, L"not enough memory for a surface of 60000 \u00D7 60000 pixels",
       [&] { return empty->Create(60000, 60000); }},
      {E_INVALIDARG, L"the image is bgr48, not bgr24 or bgra32",
       [&] { return empty->Attach(dc->memoryDC, words.get()); }},
      {E_NOTIMPL, L"this surface cannot be painted in mode 9", [&] { return dc->FillRect(0, 0, 2, 2); }},
      {YK_E_EMPTY, L"the surface has no alpha",
       [&] {
         return dc->WhitenOpaque({0, 0, 2, 2});
       }},
  });
}
