// A plug-in: reads and writes the pictures of Netpbm, *.ppm and *.pgm.
//
//   P6 640 480 255 ......      colour; then bytes red, green, blue, from the top left; two for each, the
//                              higher one first, if the greatest value, here 255, is above 255
//   P3 2 1 255 0 0 0 9 9 9     colour; then decimal numbers
//   P5, P2                     the same in grey
//   # ...                      a comment, up to the end of the line, before any number
//
// Put example.qem next to a host. EXAMPLE_ID belongs to this plug-in alone.
#include "example.h"

#include <qecore/core/error.h>
#include <qecore/core/filter.h>
#include <qecore/core/module.h>
#include <qecore/core/ref.h>
#include <qecore/image/image.h>
#include <qecore/io/stream.h>
#include <qecore/values/str.h>

#include <new>

using namespace yk;

namespace {

constexpr char READ[] = "ExampleFilter::Read", WRITE[] = "ExampleFilter::Write";
constexpr unsigned NO_NUMBER = ~0u, LIMIT = 1 << 24;

/// How pixels are written.
struct Layout {
  bool isColour, isText;
  unsigned top;  ///< the greatest value

  unsigned Channels() const noexcept { return isColour ? 3 : 1; }
  IMG_FORMAT Format() const noexcept { return isColour ? IMG_BGR24 : IMG_GRAY8; }
  /// The number of bytes, at least, of so many channels.
  uint64_t LeastSize(uint64_t count) const noexcept { return isText || top > 255 ? count * 2 - 1 : count; }
  /// Where the channel `i` of a row of the file is in memory: there, blue comes first.
  unsigned Place(unsigned i) const noexcept { return isColour ? i + 2 - i % 3 * 2 : i; }
};

/// Reads bytes and numbers of a stream, in blocks.
class Input {
 public:
  explicit Input(Stream& from) noexcept : stream(from) {}
  bool IsPastEnd() const noexcept { return isPastEnd; }

  /// 0 after the end.
  unsigned Byte() noexcept {
    if (at == count) {
      at = count = 0;
      stream.Read(buffer, sizeof buffer, &count);
    }
    if (at < count) return buffer[at++];
    isPastEnd = true;
    return 0;
  }

  /// A decimal number, and the character after it. NO_NUMBER: something else is there, or it reaches LIMIT.
  unsigned Number() noexcept {
    unsigned c = Byte(), number = 0;
    for (bool comment = false; !isPastEnd && (comment || c == '#' || IsSpace(c)); c = Byte())
      comment = (comment || c == '#') && c != '\n';
    if (!IsDigit(c)) return NO_NUMBER;
    for (; IsDigit(c) && number < LIMIT; c = Byte()) number = number * 10 + (c - '0');
    return number < LIMIT && (IsSpace(c) || isPastEnd) ? number : NO_NUMBER;
  }

  unsigned Channel(Layout const& layout) noexcept {
    if (layout.isText) return Number();
    unsigned const first = Byte();
    return layout.top > 255 ? first << 8 | Byte() : first;
  }

 private:
  static bool IsSpace(unsigned c) noexcept { return c == ' ' || (c >= '\t' && c <= '\r'); }
  static bool IsDigit(unsigned c) noexcept { return c >= '0' && c <= '9'; }

  Stream& stream;
  unsigned at = 0, count = 0;
  bool isPastEnd = false;
  unsigned char buffer[4096];
};

/// Writes bytes and numbers, in blocks.
class Output {
 public:
  explicit Output(Stream& to) noexcept : stream(to) {}

  void Byte(unsigned byte) noexcept {
    if (count == sizeof buffer) Flush();
    buffer[count++] = static_cast<unsigned char>(byte);
  }
  void Number(unsigned number, char after) noexcept {
    char text[12];
    int const length = str::printf(text, sizeof text, "%u%c", number, after);
    for (int i = 0; i < length; ++i) Byte(static_cast<unsigned char>(text[i]));
  }
  /// \return the first failure
  HRESULT Flush() noexcept {
    if (Succeeded(result)) result = stream.Write(buffer, count);
    count = 0;
    return result;
  }

 private:
  Stream& stream;
  HRESULT result = S_OK;
  unsigned count = 0;
  unsigned char buffer[4096];
};

class ExampleFilter final : public Implements<ExampleFilter, ykFlt2d> {
 public:
  static Guid const& Id() noexcept { return EXAMPLE_ID; }
  wchar_t const* GetName() noexcept override { return L"Netpbm"; }
  wchar_t const* GetPattern(unsigned index) noexcept override {
    return index < 2 ? (index == 0 ? L"ppm" : L"pgm") : nullptr;
  }

  HRESULT Read(Stream* stream, AbstractImage** image, unsigned) noexcept override {
    *image = nullptr;
    Input in(*stream);
    unsigned const letter = in.Byte(), kind = in.Byte() - '0';
    if (letter != 'P' || kind < 2 || kind > 6 || kind == 4)
      return Fail(YK_E_FORMAT, READ, L"not a PPM or PGM file");
    unsigned const width = in.Number(), height = in.Number(), top = in.Number();
    Layout const layout = {kind % 3 == 0, kind < 4, top};
    if (width - 1 >= LIMIT || height - 1 >= LIMIT || top - 1 >= 0xFFFF)
      return Fail(YK_E_BADFILE, READ, L"no valid size");
    // Nothing is allocated for pixels that the file is too short to hold.
    if (layout.LeastSize(uint64_t{width} * height * layout.Channels()) > stream->GetSize())
      return Fail(YK_E_BADFILE, READ, L"the file is too short for %u \u00D7 %u pixels", width, height);
    Ref<Image2d> picture = Ref<Image2d>::Adopt(Image2d::Create());
    if (!picture) return E_OUTOFMEMORY;
    HRESULT const result =
        picture->Create(layout.Format(), static_cast<int>(width), static_cast<int>(height));
    if (Failed(result)) return result;
    for (unsigned y = 0; y < height; ++y) {
      unsigned char* const row = picture->GetLine(static_cast<int>(y));
      for (unsigned i = 0; i < width * layout.Channels(); ++i) {
        unsigned const value = in.Channel(layout);
        if (value > top || (in.IsPastEnd() && !layout.isText))
          return Fail(YK_E_BADFILE, READ, L"row %u of %u is damaged or missing", y + 1, height);
        row[layout.Place(i)] = static_cast<unsigned char>((value * 255 + top / 2) / top);
      }
    }
    *image = picture.Detach();
    return S_OK;
  }

  HRESULT Write(Stream* stream, AbstractImage* image, unsigned options) noexcept override {
    if (!image->IsTypeOf(ids::IMAGE_2D)) return Fail(YK_E_FORMAT, WRITE, L"not an image of pixels");
    Image2d& picture = static_cast<Image2d&>(*image);
    if (!picture.bits) return Fail(YK_E_EMPTY, WRITE, L"the image has no pixels");
    Layout const layout = {img::GetFacts(picture.format).channels != 1, options == EXAMPLE_TEXT, 255};
    Ref<Image2d> const row = Ref<Image2d>::Adopt(Image2d::Create());
    if (!row) return E_OUTOFMEMORY;
    HRESULT result = row->Create(layout.Format(), picture.width, 1);
    Output out(*stream);
    out.Byte('P');
    out.Number(2u + layout.isColour + (layout.isText ? 0 : 3), '\n');
    out.Number(static_cast<unsigned>(picture.width), ' ');
    out.Number(static_cast<unsigned>(picture.height), '\n');
    out.Number(layout.top, '\n');
    for (int y = 0; y < picture.height && Succeeded(result); ++y) {
      result = picture.ConvertLine(y, layout.Format(), row->bits, row->stride);
      for (unsigned i = 0; Succeeded(result) && i < picture.width * layout.Channels(); ++i) {
        if (layout.isText)
          out.Number(row->bits[layout.Place(i)], ' ');
        else
          out.Byte(row->bits[layout.Place(i)]);
      }
    }
    HRESULT const written = out.Flush();
    return Failed(result) ? result : written;
  }
};

HRESULT Make(ClassInfo const*, void** out) noexcept {
  *out = new (std::nothrow) ExampleFilter;
  return *out ? S_OK : E_OUTOFMEMORY;
}

}  // namespace

extern "C" __declspec(dllexport) intptr_t
    qe_entrypoint(unsigned message, uintptr_t first, void* second) noexcept {
  if (message == MODULE_VERSION_QUERY) return KTZ_VERSION;
  if (message != MODULE_CLASS || first != 0) return 0;  // one class
  ClassInfo* const info = static_cast<ClassInfo*>(second);
  info->classId = EXAMPLE_ID;
  info->interfaceId = ids::FLT_2D;
  info->name = "ExampleFilter";
  info->create = Make;
  return 1;
}
