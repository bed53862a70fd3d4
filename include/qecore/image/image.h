// Raster images: yk::AbstractImage, the interface of filters and drawing, and yk::Image2d, the implementation
// that holds pixels.
//
//   Ref<Image2d> image = Ref<Image2d>::Adopt(Image2d::Create());
//   if (Failed(image->Create(IMG_BGR24, 640, 480))) return;
//   for (int y = 0; y < image->height; ++y) memset(image->GetLine(y), 0xFF, 3 * image->width);
//   image->Save(L"white.png");                                     // through a filter plug-in
//
//   Unknown        0 QueryInterface  1 AddRef      2 Release    3 Destroy
//                  4 IsTypeOf        5 GetTypeId   6 GetValue   7 SetValue
//   qe_Streamable  8 Save(Serializer)              9 Load(Deserializer)
//   AbstractImage  10 DeleteThis     11 GetPixel   12 ClearColor(unsigned)   13 ClearColor(point4df)  14 Free
//   Image2d        15 Create         16 GetLine    17 GetLineEx              18 FlipH        19 FlipV
//                  20 Rescale        21 Crop       22 RescaleTo              23 ConvertLine
//                  24 PremultiplyAlpha             25 IsGrayScalePalette     26 IsGrayScaleContent
//                  27 Save(path)
//
//   offset  0       8      12         16     24        32           40      (Image2d is packed to 2 bytes)
//           +-------+------+----------+------+---------+------------+
//           | table | refs | (private)| name | drivers | properties |
//           +-------+------+----------+------+---------+------------+
//           40       48     56        64       68      72       76       80
//           +--------+------+---------+--------+-------+--------+--------+
//           | handle | bits | palette | format | width | height | stride |
//           +--------+------+---------+--------+-------+--------+--------+
//           80             82             84              85      86
//           +--------------+--------------+---------------+-------+
//           | paletteCount | bitsPerPixel | bytesPerPixel | flags |
//           +--------------+--------------+---------------+-------+
//
//   bits -> | bottom row, padded to 4 bytes | ... | top row = GetLine(0) | palette, for the palette formats |
//
// Failures: result codes and null, and LastError() says why, with sizes and formats (error.h).
// The image owns its pixels; the palette is stored in the same block. One thread at a time; the reference
// count is atomic. Images are used by pointer: QueryInterface supports no identifier, not even their own.
#pragma once

#include <qecore/core/driver_data.h>
#include <qecore/core/implements.h>
#include <qecore/core/ref.h>
#include <qecore/core/streamable.h>
#include <qecore/image/format.h>
#include <qecore/values/map.h>
#include <qecore/values/string.h>

namespace yk {

struct point3df;
struct point4df;

namespace img {
enum class Memory : uint32_t;  // which allocator owns the pixels: private to the library
struct Attached;               // contexts that draw on the pixels: private to the library
}  // namespace img

/// A bit of Image2d::flags, for the caller to set before Create: the pixels always come from the heap, never
/// from the system. Create and Free keep it.
inline constexpr unsigned char IMG_HEAP_MEMORY = 0x01;

/// Any kind of image.
class AbstractImage : public qe_Streamable {
 public:
  static Guid const& Id() noexcept { return ids::ABSTRACT_IMAGE; }

  /// Reads the file at `path` through the filter for its type, which is detected from its first bytes.
  /// \return a new image with one reference, owned by the caller; null when any step fails.
  YK_API static AbstractImage* Load(wchar_t const* path) noexcept;
  using qe_Streamable::Load;

  bool IsTypeOf(Guid const& id) noexcept override { return id == Id() || qe_Streamable::IsTypeOf(id); }

  /// A property set earlier; callers choose the numbers. YK_E_NOTFOUND, with `value` unchanged, when none was
  /// ever set; else the result of Map::GetValue.
  HRESULT GetValue(unsigned id, Variant& value) noexcept override { return GetProperty(id, value); }
  /// Sets a property; an empty `value` removes it. E_OUTOFMEMORY, or the result of Map::SetValue.
  HRESULT SetValue(unsigned id, Variant const& value) noexcept override { return SetProperty(id, value); }
  /// All properties, borrowed, to be enumerated; null when none was ever set.
  Map* GetProperties() const noexcept { return properties.get(); }

  /// The slot of a deleting destructor: destroys the image; frees its memory if bit 0 of `flags` is set.
  virtual void* DeleteThis(unsigned flags) noexcept = 0;

  /// The colour of the pixel at `at`, whose x and y range from 0.0 to 1.0 across the image.
  virtual bool GetPixel(point3df const& at, point4df& colour) noexcept = 0;
  /// Fills the image.
  YK_SLOT_PAIR(virtual HRESULT ClearColor(unsigned colour) noexcept = 0,
               virtual HRESULT ClearColor(point4df const& colour) noexcept = 0);
  /// Frees the pixels.
  virtual HRESULT Free() noexcept = 0;
  using Unknown::Free;

 private:
  friend class Image2d;  // the fields are its own, in bytes that would otherwise be padding
  friend img::Attached;
  img::Memory memory : 2 = {};     // the allocator to which Free returns the pixels
  uint32_t isAttached : 1 = 0;     // a context may draw on the pixels
  uint32_t freedPalette : 29 = 0;  // marks a palette that was freed with its pixels, for IsGrayScalePalette

 public:
  String name;         ///< for callers; the library never sets it
  drvDataPtr drivers;  ///< data that drawing back ends attach to this image

 protected:
  YK_API_INLINE AbstractImage() noexcept {}
  YK_API ~AbstractImage();

 private:
  YK_API HRESULT GetProperty(unsigned id, Variant& value) noexcept;
  YK_API HRESULT SetProperty(unsigned id, Variant const& value) noexcept;

  Ref<Map> properties;  // null until the first SetValue
};

#pragma pack(push, 2)  // Contract: callers read the fields at these offsets

/// Pixels in memory.
class Image2d : public Destroys<Image2d, AbstractImage> {
 public:
  static Guid const& Id() noexcept { return ids::IMAGE_2D; }

  /// A new empty image with one reference, or null.
  YK_API static Image2d* Create() noexcept;

  YK_API HRESULT QueryInterface(Guid const& id, void** out) noexcept override;  ///< always E_NOINTERFACE
  YK_API void Destroy() noexcept override;                                      ///< through slot 10
  YK_API bool IsTypeOf(Guid const& id) noexcept override;
  YK_API void* DeleteThis(unsigned flags) noexcept override;

  /// The nearest pixel to (width * at.x, height * at.y), clamped to the image, as floats blue, green, red,
  /// alpha; `at.z` is ignored. Always true; `colour` is unchanged when the image is empty or its format
  /// cannot be converted to BGRAF.
  YK_API bool GetPixel(point3df const& at, point4df& colour) noexcept override;

  /// Fills the image with the low three bytes of `colour`; YK_E_EMPTY without pixels. BGR24: red, green, blue
  /// from the lowest byte up; S_OK. GRAY8: their mean. BGRA32: `colour` is the pixel, blue lowest. These
  /// two return E_NOTIMPL although they fill (contract). Other formats: E_NOTIMPL, and nothing is written.
  YK_API HRESULT ClearColor(unsigned colour) noexcept override;
  YK_API HRESULT ClearColor(point4df const& colour) noexcept override;  ///< E_NOTIMPL; a no-op

  /// Frees the pixels; the image is empty afterwards. S_FALSE: it was empty already. `flags` stays, and so do
  /// the address and the count of the freed palette (contract).
  YK_API HRESULT Free() noexcept override;
  using AbstractImage::Free;

  /// Replaces the pixels by new, uninitialised ones. Row 0 is the top row. A negative height makes a bitmap
  /// (the formats GRAY8, BGR24 and BGRA32 without IMG_HEAP_MEMORY) of as many rows; elsewhere it is refused.
  /// S_OK. E_INVALIDARG: unknown format; the image is unchanged except for `bitsPerPixel`, which is 0.
  /// E_OUTOFMEMORY (global memory), E_FAIL (bitmap or heap): no memory, a negative size, or more bytes than
  /// fit 31 bits; the old pixels are freed and GetLine returns null. Outside the heap, E_FAIL also for a size
  /// of no bytes; on the heap such images exist, and may have 2^31 rows. After either failure `stride` and,
  /// for a palette format, `paletteCount` are set; after E_FAIL also the requested size.
  YK_API virtual HRESULT Create(IMG_FORMAT format, int width, int height) noexcept;

  /// The start of row `y`, counted from the top; null when it is out of range.
  YK_API virtual unsigned char* GetLine(int y) noexcept;
  /// The address of pixel `x` of row `y`; `x` is not checked. For formats of less than a byte per pixel, the
  /// start of the row.
  YK_API virtual unsigned char* GetLineEx(int y, int x) noexcept;

  /// Mirrors left to right. A no-op for formats of less than a byte per pixel. S_OK, even when empty.
  YK_API virtual HRESULT FlipH() noexcept;
  /// Mirrors top to bottom, whole bytes of pixels only. YK_E_EMPTY without pixels.
  YK_API virtual HRESULT FlipV() noexcept;

  /// A new image of this size and format, with this one resampled into it. Where RescaleTo would write
  /// nothing, it gets averages (16-bit channels) or the nearest pixels (palettes, MONO32, RGB555), converted
  /// to another format if conversions lead to it, else zeros. Fails with the result of Create or RescaleTo;
  /// the new image is released then, and `*result` is a dangling pointer: check the result code, not the
  /// pointer (contract).
  YK_API virtual HRESULT Rescale(int width, int height, IMG_FORMAT format, Image2d** result) noexcept;
  /// The same with progress; E_ABORT if the host stops it: the new image is released.
  YK_API HRESULT Rescale(int width, int height, IMG_FORMAT format, Image2d** result,
                         ExecutionContext* context) noexcept;
  /// A new image with the columns `left` to `right` - 1 and the rows `top` to `bottom` - 1. E_INVALIDARG: not
  /// inside the image; YK_E_EMPTY: no pixels; in both cases `*result` is unchanged. When Create fails, its
  /// code is returned and `*result` is a dangling pointer.
  YK_API virtual HRESULT Crop(int left, int top, int right, int bottom, Image2d** result) noexcept;
  /// Resamples this image, by area averaging, into the pixels of `target`. YK_E_EMPTY when `target` is null
  /// or either image has no pixels. E_OUTOFMEMORY: no memory for the rows of floats. Otherwise S_OK, and rows
  /// that cannot be converted are unchanged. Sources are GRAY8, PAL8, BGR24, BGRA32, BGR48, BGRA64, GRAYF,
  /// BGRF and BGRAF, targets GRAY8, BGR24, BGRA32, GRAYF, BGRF and BGRAF; at equal size, any pair that
  /// ConvertPixels supports.
  YK_API virtual HRESULT RescaleTo(Image2d* target) noexcept;
  /// The same with progress; E_ABORT if the host stops it: some rows of `target` may have been written.
  YK_API HRESULT RescaleTo(Image2d* target, ExecutionContext* context) noexcept;

  /// A new image with the same pixels, palette, name, properties (objects are shared) and memory of the same
  /// kind; of an empty image, an empty one. The data of drivers is not copied. The result of Create, or
  /// E_OUTOFMEMORY; `*result` is then null.
  YK_API HRESULT Clone(Image2d** result) noexcept;

  /// Converts row `y` into a buffer of `dstSize` bytes, which must hold a padded row of `dstFormat`.
  /// E_INVALIDARG, with nothing written: null, too small, no such row, unsupported pair.
  YK_API virtual HRESULT ConvertLine(int y, IMG_FORMAT dstFormat, void* dst, int dstSize) noexcept;

  /// Multiplies blue, green and red by alpha / 255, truncating. YK_E_FORMAT: not BGRA32.
  YK_API virtual HRESULT PremultiplyAlpha() noexcept;

  /// True when every entry i of `palette` is the grey i, in any format. False for a black and white
  /// palette (contract), without a palette, and while `palette` still points to one freed with its pixels.
  YK_API virtual bool IsGrayScalePalette() noexcept;
  /// The number of grey levels in a BGR24 image without colour; 0 for any other image.
  YK_API virtual int IsGrayScaleContent() noexcept;

  /// Writes the image through the filter for "jpeg", "jpg" or "png": the extension of the path, in lower
  /// case. The file is replaced atomically: after any failure an existing one is unchanged. E_FAIL: another
  /// extension, or the file cannot be written; E_NOINTERFACE: another kind of class is registered under the
  /// filter's identifier; else the result of the registry or the filter.
  YK_API virtual HRESULT Save(wchar_t const* path) noexcept;
  using AbstractImage::Save;

  void* handle = nullptr;           ///< the owner of the pixels: a bitmap, global memory, null for the heap
  unsigned char* bits = nullptr;    ///< the bottom row; null when empty
  IMG_PALENTRY* palette = nullptr;  ///< of a palette format; may be dangling in any other (see Free)
  IMG_FORMAT format = IMG_NONE;     ///< of the pixels
  int32_t width = 0;                ///< pixels
  int32_t height = 0;               ///< rows, never negative
  int32_t stride = 0;               ///< bytes from one row to the next
  uint16_t paletteCount = 0;        ///< entries of the palette; 0 without one
  uint16_t bitsPerPixel = 0;        ///< 1 to 128; 0 after a Create of an unknown format
  unsigned char bytesPerPixel = 0;  ///< 0 for formats of less than a byte per pixel
  unsigned char flags = 0;          ///< IMG_HEAP_MEMORY

 protected:
  friend Destroys;

  YK_API_INLINE Image2d() noexcept {}
  YK_API ~Image2d();
};

#pragma pack(pop)

static_assert(sizeof(AbstractImage) == 40 && sizeof(Image2d) == 86 && alignof(Image2d) == 2);

}  // namespace yk
