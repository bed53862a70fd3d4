// yk::IDC: a software drawing surface with an alpha channel, over its own pixels or over an image's.
//
//   Ref<IDC> dc = Ref<IDC>::Adopt(IDC::Create());
//   dc->Create(320, 200);                                  // a DIB section of its own, 24 bits deep
//   dc->Clear(0xFFFFFFFF);
//   dc->SetColor(0x80FF0000);                              // blue, half transparent
//   dc->FillRect(10, 10, 100, 50);
//   dc->DrawLine(point2df{10, 80}, point2df{300.5f, 120});
//   dc->DrawImage(icon, 200, 20);                          // with its alpha
//   dc->Blit(windowDC, 0, 0, nullptr);
//
//   colours   bits 31..24 alpha (255 opaque), 23..16 blue, 15..8 green, 7..0 red: a COLORREF plus alpha
//   pixels    bytes blue, green, red and, on an alpha surface, alpha; rows bottom-up unless topDown is set
//
//   slot    8 Attach       20 SetColor       32 IsVisible         44 DrawPolygon
//           9 Detach       21 FillGradientV  33 FillRectWith      45 SetAlpha
//          10 Create       22 FillGradientH  34 FillRectWith      46 PaintText (DrawText)
//          11 Create       23 FillRect       35 GetPixel          47 PaintText (DrawText)
//          12 ReleaseDC    24 FillRect       36 BlendPixel        48 PremultiplyAlpha
//          13 Blit         25 FrameRect      37 PushColor         49 WhitenOpaque
//          14 Clear        26 FrameRect      38 PopColor          50 SetLinePattern
//          15 SetOrigin    27 FrameRectWith  39 SetTextColor      51 Adjust
//          16 GetOrigin    28 FrameRectWith  40 DrawLine          52 GetPixelAddress
//          17 SetClip      29 FrameRoundRect 41 DrawPolyline
//          18 GetClip      30 FrameBevel     42 FillPolygon
//          19 SetMode      31 DrawImage      43 FillEllipse
//
// Positions: every operation adds the origin to its positions and paints only inside the clip.
// Areas (rectangles, polygons, ellipses) lie between pixels: the pixel (x, y) is the square from (x, y) to
// (x + 1, y + 1). Lines run through pixels: the point (x, y) is the centre of the pixel (x, y).
//
// Results: S_OK; S_FALSE (1) when nothing lies inside the clip or there is no surface; E_INVALIDARG for a
// null pointer; others where an operation documents them. LastError() says why it failed (error.h). Infinite
// and NaN coordinates paint nothing.
//
// Ownership: a surface made by Create belongs to the context. Attach borrows the image's pixels and the
// device context, which must stay valid until the next Detach or the end of the context. When the pixels are
// freed before (the image was released or freed, or created anew), the context has no surface any more, and
// operations that would paint return E_FAIL instead of S_FALSE. Threads: one at a time, and the same for the
// context and its image.
//
// Contract: operations that only read have slots like all others, and are not const.
#pragma once

#include <qecore/draw/geometry.h>

#include <qecore/core/implements.h>
#include <qecore/core/ref.h>
#include <qecore/values/array.h>

namespace yk {

class Image2d;
class String;
struct IADJUSTMENT;

class IDC : public Destroys<IDC, Unknown> {
 public:
  /// How filling with the current colour changes a pixel, weighted by coverage at the edges of shapes.
  enum Mode : unsigned {
    MODE_PAINT = 0,      ///< blends the colour in by its alpha; the pixel's alpha is unchanged
    MODE_INVERT = 1,     ///< complements blue, green and red; the colour is not used
    MODE_ADD = 2,        ///< adds the channels, clamped to 255; the colour's alpha is not used
    MODE_SUBTRACT = 3,   ///< subtracts the channels, clamped to 0; the colour's alpha is not used
    MODE_COPY = 4,       ///< replaces the pixel, including alpha; alpha surfaces only
    MODE_COMPOSITE = 5,  ///< composites the colour over the pixel, including alpha; alpha surfaces only
  };

  /// How FillPolygon decides which points are inside.
  enum FillRule : unsigned { EVEN_ODD = 0, NON_ZERO = 1 };

  // A callback must not change the surface. It may release the context and the source, both of which are kept
  // alive until the operation returns.

  /// Paints one pixel of an image, given the addresses of both pixels. See DrawImage.
  using PixelCallback = void (*)(unsigned char* destination, unsigned char const* source, void* context);
  /// Returns the colour of the pixel at a position, to which the origin has not been added.
  using ColorCallback = unsigned (*)(int x, int y, void* context);

  static Guid const& Id() noexcept { return ids::DEVICE_CONTEXT; }

  /// E_NOINTERFACE for every identifier, its own included: contexts are used by pointer (contract).
  YK_API HRESULT QueryInterface(Guid const& id, void** out) noexcept override;
  /// A no-op on a null object.
  YK_API void Destroy() noexcept override;
  YK_API bool IsTypeOf(Guid const& id) noexcept override;

  // ---- the surface

  /// From now on, draws into the pixels of an image of format IMG_BGR24 or IMG_BGRA32 (else E_INVALIDARG).
  /// `dc` becomes the memory device context and may be the present one; an owned surface is freed. The mode
  /// becomes MODE_PAINT, the origin 0 and the clip the whole image. topDown is unchanged: it must be clear
  /// for an image, whose rows are bottom-up.
  YK_API virtual HRESULT Attach(HDC dc, Image2d* image) noexcept;
  /// Resets the pixels, the device context, the clip and the origin without freeing anything.
  YK_API virtual HRESULT Detach() noexcept;
  /// Creates an owned surface: of the rectangle's size, with the origin moved so that the rectangle's top
  /// left corner is the first pixel; or of w by h pixels. 32 bits per pixel when hasAlpha is set, else 24. A
  /// surface that has this size and depth already is kept, with its contents. E_INVALIDARG for a size below
  /// 1, E_FAIL when the system cannot allocate it.
  YK_SLOT_PAIR(YK_API virtual HRESULT Create(xrect2d const& r) noexcept,
               YK_API virtual HRESULT Create(int w, int h) noexcept);
  /// Deletes the memory device context, even one passed to Attach, and keeps the pixels. E_FAIL when there is
  /// none; `foreignDC` is deleted in that case.
  YK_API virtual HRESULT ReleaseDC() noexcept;
  /// Copies the surface, or its part `source`, to (x, y) of a Windows device context. Resets the memory
  /// device context's viewport origin. Works without a memory device context for 24-bit surfaces.
  YK_API virtual HRESULT Blit(HDC target, int x, int y, xrect2d const* source) noexcept;
  /// Sets every pixel, including alpha; clip, origin and mode are ignored. E_FAIL without a surface.
  YK_API virtual HRESULT Clear(unsigned fill) noexcept;

  // ---- state

  /// What is added to the positions of every operation, (0, 0) at first. SetOrigin also moves the viewport of
  /// the memory device context.
  YK_API virtual HRESULT SetOrigin(int x, int y) noexcept;
  YK_API virtual HRESULT GetOrigin(int& x, int& y) noexcept;
  /// In surface coordinates: the origin is not added. Clipped to the surface.
  YK_API virtual HRESULT SetClip(xrect2d const& r) noexcept;
  YK_API virtual HRESULT GetClip(xrect2d& r) noexcept;
  /// See Mode. The two modes that need an alpha surface become MODE_PAINT on any other. Filling in an unknown
  /// mode returns E_NOTIMPL and paints nothing. \return the previous mode
  YK_API virtual unsigned SetMode(unsigned mode) noexcept;
  YK_API virtual HRESULT SetColor(unsigned newColour) noexcept;

  // ---- rectangles

  /// Rows, or columns, from `first` at the top, or left, toward `second`, which would be reached at the row
  /// or column after the last. Columns are always blended; rows are filled in the current mode.
  YK_API virtual HRESULT FillGradientV(xrect2d const& r, unsigned first, unsigned second) noexcept;
  YK_API virtual HRESULT FillGradientH(xrect2d const& r, unsigned first, unsigned second) noexcept;
  /// Fills with the current colour in the current mode. MODE_COPY and MODE_COMPOSITE return S_FALSE even
  /// though they paint (contract).
  YK_SLOT_PAIR(YK_API virtual HRESULT FillRect(int x, int y, int w, int h) noexcept,
               YK_API virtual HRESULT FillRect(xrect2d const& r) noexcept);
  /// The edge pixels of a rectangle, each painted once, but twice when the frame is one pixel wide or high.
  /// Always S_OK.
  YK_SLOT_PAIR(YK_API virtual HRESULT FrameRect(xrect2d const& r) noexcept,
               YK_API virtual HRESULT FrameRect(int x, int y, int w, int h) noexcept);
  /// The same, each pixel blended with the colour that the callback returns for it. See FrameRect.
  YK_SLOT_PAIR(YK_API virtual HRESULT FrameRectWith(int x, int y, int w, int h, ColorCallback callback,
                                                    void* context) noexcept,
               YK_API virtual HRESULT FrameRectWith(xrect2d const& r, ColorCallback callback,
                                                    void* context) noexcept);
  /// A frame with faded corners: the corner pixels get a fifth of the colour's alpha, and the pixels
  /// diagonally inside get a third. Always S_OK.
  YK_API virtual HRESULT FrameRoundRect(xrect2d const& r) noexcept;
  /// A frame of `width` pixels, inside the rectangle, in the current mode: left and top in the colour
  /// `light`, right and bottom in `dark`, with mitred corners whose diagonal is dark. A width of more than
  /// half the rectangle fills it.
  YK_API virtual HRESULT FrameBevel(xrect2d const& r, unsigned light, unsigned dark, int width) noexcept;
  /// Calls back for each pixel of an image, or of its part `sourceRect`, that falls inside the clip when the
  /// first one is placed at (x, y). Positions outside the image are skipped.
  YK_API virtual HRESULT DrawImage(Image2d* source, int x, int y, xrect2d const* sourceRect,
                                   PixelCallback callback, void* context) noexcept;
  YK_API virtual bool IsVisible(xrect2d const& r) noexcept;
  /// Blends into each pixel the colour that the callback returns for it. See FillRect.
  YK_SLOT_PAIR(YK_API virtual HRESULT FillRectWith(int x, int y, int w, int h, ColorCallback callback,
                                                   void* context) noexcept,
               YK_API virtual HRESULT FillRectWith(xrect2d const& r, ColorCallback callback,
                                                   void* context) noexcept);

  // ---- pixels and colour

  /// The colour at a position, always with alpha 255; 0 outside the clip.
  YK_API virtual unsigned GetPixel(int x, int y) noexcept;
  /// Blends a colour into one pixel. \return false outside the clip
  YK_API virtual bool BlendPixel(int x, int y, unsigned tint) noexcept;
  /// Saves the current colour. E_OUTOFMEMORY when there is no memory.
  YK_API virtual HRESULT PushColor() noexcept;
  /// Restores the colour saved last. YK_E_EMPTY when none is saved.
  YK_API virtual HRESULT PopColor() noexcept;
  /// Sets the text colour of the memory device context, for GDI's own text. \return the previous one
  YK_API virtual unsigned SetTextColor(unsigned newColour) noexcept;

  // ---- lines and shapes, anti-aliased, in the current colour and mode

  /// A line one pixel wide, both ends included: each step along the longer axis paints two pixels, weighted
  /// by their distance from the line. With a line pattern, only the steps that are set in the pattern are
  /// painted. S_FALSE, without advancing the pattern, for a line of no length or wholly outside the clip.
  YK_API virtual HRESULT DrawLine(point2df const& a, point2df const& b) noexcept;
  /// Connected lines. Every pixel is painted once, even where lines meet or cross; the pattern continues
  /// through the joints and outside the clip. `closed` connects the last point with the first.
  YK_API virtual HRESULT DrawPolyline(point2df const* points, int count, bool closed) noexcept;
  /// Fills a polygon, which may intersect itself, by exact coverage. See FillRule; another rule is
  /// E_INVALIDARG. A polygon along pixel edges is filled exactly as FillRect fills it.
  YK_API virtual HRESULT FillPolygon(point2df const* points, int count, unsigned rule) noexcept;
  /// Fills the ellipse inscribed in the rectangle or, for an outline above 0, the band of that width inside
  /// its edge.
  YK_API virtual HRESULT FillEllipse(rect2d const& r, double outline = 0) noexcept;
  /// GDI's polygon: whole pixels, no anti-aliasing, even-odd. Fills with `fill`, then draws the closed
  /// outline in `outline` with a pen of `penWidth` pixels (0 means 1). Each colour is blended by its alpha (0
  /// paints nothing), and the fill leaves out the pixels of the outline.
  YK_API virtual HRESULT DrawPolygon(POINT const* points, int count, unsigned fill, unsigned outline,
                                     int penWidth) noexcept;

  // ---- alpha and text

  /// Sets the alpha of every pixel in the rectangle. YK_E_EMPTY on a surface without alpha.
  YK_API virtual HRESULT SetAlpha(xrect2d const& r, unsigned char alpha) noexcept;
  /// Text in the current colour, alpha included, and in the font selected into the memory device context.
  /// `format` is DrawTextW's; with DT_CALCRECT the rectangle receives the text's size and nothing is painted.
  /// Coverage does not depend on the colour, whereas GDI's own light text is bolder and its dark text
  /// thinner. `length` -1: up to the terminator. E_FAIL when the system fails. Call it as DrawText.
  YK_SLOT_PAIR(YK_API virtual HRESULT PaintText(String const& text, xrect2d* r, unsigned format) noexcept,
               YK_API virtual HRESULT PaintText(wchar_t const* text, int length, xrect2d* r,
                                                unsigned format) noexcept);
  /// Multiplies blue, green and red by the pixel's alpha. YK_E_EMPTY on a surface without alpha.
  YK_API virtual HRESULT PremultiplyAlpha(xrect2d const& r) noexcept;
  /// Makes every pixel whose alpha is not 0 white; alpha is unchanged. YK_E_EMPTY on a surface without alpha.
  YK_API virtual HRESULT WhitenOpaque(xrect2d const& r) noexcept;
  /// The low 16 bits select the steps of a line that are painted; 0 paints all. The next step uses bit 1,
  /// since the counter is advanced before each step.
  YK_API virtual HRESULT SetLinePattern(unsigned pattern) noexcept;
  /// Maps the colour channels of the rectangle, or of the whole clip, through the adjustment, which is first
  /// initialised with (a, b) if it has other settings.
  YK_API virtual HRESULT Adjust(xrect2d const* r, int a, int b, IADJUSTMENT* adjustment) noexcept;
  /// The address of a pixel in surface coordinates, unchecked: origin and clip are ignored. Null without a
  /// surface. Note the order: y comes first.
  YK_API virtual unsigned char* GetPixelAddress(int y, int x) noexcept;

  // ---- beside the slots (Declared after those of the same name: Microsoft's compiler lays these out where
  // the name first appears.)

  /// Attach without a device context, for drawing that does not need the system: DrawText uses the system's
  /// font, Blit works for 24-bit surfaces, and ReleaseDC returns E_FAIL.
  YK_API HRESULT Attach(Image2d* image) noexcept;
  /// Paints an image, or its part `sourceRect`, with the first pixel at (x, y), in the current mode and each
  /// pixel's own colour and, if it has one, alpha: as BlendPixel would in MODE_PAINT, and as FillRect in any
  /// other. S_FALSE: nothing of it is inside the clip, or it has no pixels. E_INVALIDARG: its format cannot
  /// be converted to IMG_BGRA32 (or there is no System, which has the conversions of all but that format,
  /// IMG_PAL1 and IMG_PAL4). E_NOTIMPL: an unknown mode. E_OUTOFMEMORY. The source may be the surface's own
  /// image: rows are read from top to bottom, each before it is painted.
  YK_API HRESULT DrawImage(Image2d* source, int x, int y, xrect2d const* sourceRect = nullptr) noexcept;

  /// An empty context with one reference, or null.
  YK_API static IDC* Create() noexcept;
  /// Adds the class to the registry as "RGBA device context". \return the registry's result
  YK_API static HRESULT Register() noexcept;

  // ---- the overloaded names of operations whose slots are not neighbours

  /// FrameRectWith.
  HRESULT FrameRect(int x, int y, int w, int h, ColorCallback callback, void* context) noexcept {
    return FrameRectWith(x, y, w, h, callback, context);
  }
  HRESULT FrameRect(xrect2d const& r, ColorCallback callback, void* context) noexcept {
    return FrameRectWith(r, callback, context);
  }
  /// FillRectWith.
  HRESULT FillRect(int x, int y, int w, int h, ColorCallback callback, void* context) noexcept {
    return FillRectWith(x, y, w, h, callback, context);
  }
  HRESULT FillRect(xrect2d const& r, ColorCallback callback, void* context) noexcept {
    return FillRectWith(r, callback, context);
  }

  // DrawText in each spelling that a macro of <windows.h> may turn it into, so that callers need not care.
#pragma push_macro("DrawText")
#undef DrawText
  /// PaintText.
  HRESULT DrawText(String const& text, xrect2d* r, unsigned format) noexcept {
    return PaintText(text, r, format);
  }
  HRESULT DrawText(wchar_t const* text, int length, xrect2d* r, unsigned format) noexcept {
    return PaintText(text, length, r, format);
  }
#pragma pop_macro("DrawText")
  /// PaintText.
  HRESULT DrawTextW(String const& text, xrect2d* r, unsigned format) noexcept {
    return PaintText(text, r, format);
  }
  HRESULT DrawTextW(wchar_t const* text, int length, xrect2d* r, unsigned format) noexcept {
    return PaintText(text, length, r, format);
  }
  HRESULT DrawTextA(String const& text, xrect2d* r, unsigned format) noexcept {
    return PaintText(text, r, format);
  }
  HRESULT DrawTextA(wchar_t const* text, int length, xrect2d* r, unsigned format) noexcept {
    return PaintText(text, length, r, format);
  }

  // ---- fields; contract: their offsets never change. Read them, change them through the operations

  unsigned colour = 0;               ///< 12: the current colour
  HBITMAP surfaceBitmap = nullptr;   ///< 16: the DIB section of an owned surface; null on an image's pixels
  HGDIOBJ previousObject = nullptr;  ///< 24: the memory device context's object before the surface's bitmap
  unsigned char* bits = nullptr;     ///< 32: the pixels
  int width = 0;                     ///< 40
  int height = 0;                    ///< 44
  int stride = 0;                    ///< 48: bytes from row to row
  xrect2d clip;                      ///< 52: in surface coordinates
  unsigned mode = MODE_PAINT;        ///< 68: see Mode
  unsigned linePattern = 0;          ///< 72: see SetLinePattern
  unsigned linePhase = 0;            ///< 76: steps since the pattern was set
  Ref<Array> colourStack;            ///< 80: saved colours; null until the first is pushed
  HDC foreignDC = nullptr;           ///< 88: a device context that ReleaseDC deletes when there is no other
  int originX = 0;                   ///< 96: added to every position
  int originY = 0;                   ///< 100
  HDC memoryDC = nullptr;            ///< 104: holds the surface's bitmap, or the one passed to Attach
  unsigned char hasAlpha = 0;        ///< 112: whether the surface has, and Create makes, an alpha channel
  unsigned char topDown = 0;         ///< 113: whether the first row in memory is the top one
  unsigned char bytesPerPixel = 0;   ///< 114: 3 or 4

 private:
  friend Destroys;
  friend class Attachments;

  unsigned char attachment = 0;  // to an image: see Attachments

  IDC() noexcept = default;
  ~IDC();
};

}  // namespace yk
