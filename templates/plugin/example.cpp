// A plug-in: reads and writes the pictures of Netpbm, *.ppm and *.pgm.
//
//   P6 640 480 255 ......      colour; then bytes red, green, blue, from the top left; two for each, the
//                              higher one first, if the greatest value, here 255, is above 255
//   P3 2 1 255 0 0 0 9 9 9     colour; then decimal numbers
//   P5, P2                     the same in grey
//   # ...                      a comment, up to the end of the line, before any number
//
// The picture decides what is written, and not the extension: one with colours makes a P6 or P3 file.
#include "example.h"

#include <qecore/core/error.h>
#include <qecore/core/module.h>
#include <qecore/core/ref.h>
#include <qecore/image/filter_option.h>
#include <qecore/image/image.h>
#include <qecore/image/image_limits.h>
#include <qecore/io/stream.h>
#include <qecore/values/map.h>
#include <qecore/values/str.h>

#include <new>

using namespace yk;

namespace {

constexpr char READ[] = "ExampleFilter::Read", WRITE[] = "ExampleFilter::Write";
constexpr unsigned NO_NUMBER = ~0u, LIMIT = 1 << 24, TEXT = FilterOption::FIRST_OWN;  // TEXT: an option's key

/// How pixels are written.
struct Layout {
  bool isColour, isText;
  unsigned top;  ///< the greatest value

  unsigned Channels() const noexcept { return isColour ? 3 : 1; }
  IMG_FORMAT Format() const noexcept { return isColour ? IMG_BGR24 : IMG_GRAY8; }
  /// Where the channel `i` of a row of the file is in memory: there, blue comes first.
  unsigned Place(unsigned i) const noexcept { return isColour ? i + 2 - i % 3 * 2 : i; }
};

/// Nothing is allocated for pixels that the file is too short to hold, or that are more than the host allows.
HRESULT CheckSize(Layout const& layout, unsigned width, unsigned height, unsigned fileSize) noexcept {
  uint64_t const count = uint64_t{width} * height * layout.Channels();
  if ((layout.isText || layout.top > 255 ? count * 2 - 1 : count) > fileSize)
    return Fail(YK_E_BADFILE, READ, L"the file is too short for %u \u00D7 %u pixels", width, height);
  int64_t const row = img::GetRowSize(layout.Format(), static_cast<int>(width));
  if (static_cast<uint64_t>(row) * height > img::GetReadLimit())
    return Fail(E_OUTOFMEMORY, READ, L"%u \u00D7 %u pixels are beyond the limit", width, height);
  return S_OK;
}

bool IsKind(unsigned digit) noexcept { return digit - 2 < 5 && digit != 4; }

/// Reads bytes and numbers of a stream, in blocks.
class Input {
 public:
  explicit Input(Stream& from) noexcept : stream(from) {}
  bool isPastEnd = false;

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
  unsigned char buffer[4096];
};

/// Writes decimal numbers. The library collects small writes.
HRESULT WriteNumbers(Stream& stream, unsigned char const* values, unsigned count) noexcept {
  HRESULT result = S_OK;
  for (unsigned i = 0; i < count && Succeeded(result); ++i) {
    char text[8];
    result = stream.Write(text,
                          static_cast<unsigned>(str::printf(text, sizeof text, "%u\n", unsigned{values[i]})));
  }
  return result;
}

class ExampleFilter final : public Implements<ExampleFilter, ykFlt2dEx> {
 public:
  static Guid const& Id() noexcept { return EXAMPLE_ID; }
  wchar_t const* GetName() noexcept override { return L"Netpbm"; }
  wchar_t const* GetPattern(unsigned index) noexcept override {
    return index < 2 ? (index == 0 ? L"ppm" : L"pgm") : nullptr;
  }

  HRESULT GetOption(FilterUse use, unsigned index, FilterOption& option) noexcept override {
    if (use != FILTER_WRITE || index != 0) return S_FALSE;
    option.key = TEXT, option.kind = FilterOption::SWITCH;
    option.name = L"text", option.help = L"Write numbers instead of bytes";
    option.standard.Init(false);
    return S_OK;
  }

  HRESULT CanRead(Stream* stream) noexcept override {
    unsigned const start = stream->GetPosition();
    char head[2] = {};
    stream->Read(head, sizeof head);
    stream->Seek(static_cast<long>(start), Stream::FROM_START);
    return head[0] == 'P' && IsKind(head[1] - '0') ? S_OK : S_FALSE;
  }

  HRESULT Read(Stream* stream, AbstractImage** image, unsigned) noexcept override {
    *image = nullptr;
    Input in(*stream);
    unsigned const letter = in.Byte(), kind = in.Byte() - '0';
    if (letter != 'P' || !IsKind(kind)) return Fail(YK_E_FORMAT, READ, L"not a PPM or PGM file");
    unsigned const width = in.Number(), height = in.Number(), top = in.Number();
    Layout const layout = {kind % 3 == 0, kind < 4, top};
    if (width - 1 >= LIMIT || height - 1 >= LIMIT || top - 1 >= 0xFFFF)
      return Fail(YK_E_BADFILE, READ, L"no valid size");
    HRESULT result = CheckSize(layout, width, height, stream->GetSize());
    if (Failed(result)) return result;
    Ref<Image2d> picture = Ref<Image2d>::Adopt(Image2d::Create());
    if (!picture) return E_OUTOFMEMORY;
    result = picture->Create(layout.Format(), static_cast<int>(width), static_cast<int>(height));
    if (Failed(result)) return result;
    for (unsigned y = 0; y < height; ++y) {
      unsigned char* const row = picture->GetLine(static_cast<int>(y));
      for (unsigned i = 0; i < width * layout.Channels(); ++i) {
        unsigned const value = in.Channel(layout);
        if (value > top || (in.isPastEnd && !layout.isText))
          return Fail(YK_E_BADFILE, READ, L"row %u of %u is damaged or missing", y + 1, height);
        row[layout.Place(i)] = static_cast<unsigned char>((value * 255 + top / 2) / top);
      }
    }
    *image = picture.Detach();
    return S_OK;
  }

  HRESULT Write(Stream* stream, AbstractImage* image, unsigned) noexcept override {
    return WriteEx(stream, image, nullptr, nullptr);
  }

  HRESULT WriteEx(Stream* stream, AbstractImage* image, Map* options, ExecutionContext*) noexcept override {
    if (!image->IsTypeOf(ids::IMAGE_2D)) return Fail(YK_E_FORMAT, WRITE, L"not an image of pixels");
    Image2d& picture = static_cast<Image2d&>(*image);
    if (!picture.bits) return Fail(YK_E_EMPTY, WRITE, L"the image has no pixels");
    Layout layout = {img::GetFacts(picture.format).channels != 1, false, 255};
    Variant value;
    if (options && Succeeded(options->GetValue(TEXT, value))) value.Get(layout.isText);
    Ref<Image2d> const row = Ref<Image2d>::Adopt(Image2d::Create());
    if (!row) return E_OUTOFMEMORY;
    HRESULT result = row->Create(layout.Format(), picture.width, 1);
    char head[48];
    int const kind = 2 + layout.isColour + (layout.isText ? 0 : 3), width = picture.width;
    int const length = str::printf(head, sizeof head, "P%d\n%d %d\n255\n", kind, width, picture.height);
    if (Succeeded(result)) result = stream->Write(head, static_cast<unsigned>(length));
    unsigned const count = static_cast<unsigned>(width) * layout.Channels();
    for (int y = 0; y < picture.height && Succeeded(result); ++y) {
      unsigned char* const bytes = row->bits;
      result = picture.ConvertLine(y, layout.Format(), bytes, row->stride);
      for (unsigned i = 0; layout.isColour && i < count; i += 3) {
        unsigned char const blue = bytes[i];
        bytes[i] = bytes[i + 2], bytes[i + 2] = blue;
      }
      if (Succeeded(result))
        result = layout.isText ? WriteNumbers(*stream, bytes, count) : stream->Write(bytes, count);
    }
    return result;
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
