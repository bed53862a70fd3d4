// PNG files: indices, grey and colours of all depths that images have, filtered and compressed row by row, in
// one pass or in the seven of interlaced files.
#include <qecore/io/mem_stream.h>
#include <string.h>

#include <algorithm>
#include <iterator>
#include <new>

#include "codec.h"
#include "deflate.h"
#include "failure.h"
#include "file_facts.h"
#include "image_facts.h"
#include "out.h"
#include "pixel_layouts.h"
#include "png_filters.h"
#include "rows_to_write.h"

namespace qewic {

using namespace yk;

namespace {

// By the channels of a pixel; indices have none.
constexpr uint8_t COLOUR_KINDS[] = {3, 0, 4, 2, 6};

// ---- chunks

void PutChunk(Out& out, char const* kind, void const* data, size_t size) noexcept {
  out.Put(static_cast<uint32_t>(size), 4);
  out.Put(kind, 4);
  out.Put(data, size);
  out.Put(Crc(data, size, Crc(kind, 4)), 4);
}

void PutTexts(Out& out, ImageFacts& facts) noexcept {
  constexpr size_t ZEROS = 5;  // the keyword's end, not compressed, no language, no translated keyword
  for (auto const& [keyword, key] : KEYWORDS) {
    Bytes text, chunk;
    facts.Text(key, text);
    size_t const head = strlen(keyword);
    if (!text.size || !facts.Keep(chunk.Make(head + ZEROS + text.size))) continue;
    memcpy(chunk.data.get(), keyword, head);
    memset(chunk.data.get() + head, 0, ZEROS);
    memcpy(chunk.data.get() + head + ZEROS, text.data.get(), text.size);
    PutChunk(out, "iTXt", chunk.data.get(), chunk.size);
  }
}

void PutProfile(Out& out, ImageFacts& facts) noexcept {
  Bytes profile, chunk;
  Ref<Stream> memory;
  facts.Profile(profile);
  if (!profile.size || !facts.Keep(Succeeded(MemStream::Create(memory.Receive())))) return;
  Out packed(*memory);
  Deflater deflater(Out::Take, &packed);
  if (!facts.Keep(deflater.Open(Deflater::MOST, false))) return;
  packed.Put("ICC\0", 5);  // its name, and how it is compressed
  deflater.Add(profile.data.get(), profile.size);
  deflater.Finish();
  if (facts.Keep(Succeeded(packed.Flush()) && chunk.Read(*memory)))
    PutChunk(out, "iCCP", chunk.data.get(), chunk.size);
}

void PutResolution(Out& out, ImageFacts& facts) noexcept {
  double across = 0, down = 0;
  if (!facts.Resolution(across, down)) return;
  uint8_t bytes[9] = {};
  StoreNumber(bytes, static_cast<uint32_t>(across / INCH + 0.5), 4, true);
  StoreNumber(bytes + 4, static_cast<uint32_t>(down / INCH + 0.5), 4, true);
  bytes[8] = 1;  // metres
  PutChunk(out, "pHYs", bytes, sizeof bytes);
}

void PutExif(Out& out, ImageFacts& facts) noexcept {
  if (facts.Orientation() <= 1) return;
  Tags tags(facts, true);
  Bytes exif;
  tags.AddFacts();
  MakeExif(facts, tags, exif);
  if (exif.size) PutChunk(out, "eXIf", exif.data.get(), exif.size);
}

/// The chunks with what an image says of itself, in memory: whether there is enough is known before anything
/// is written. False: there is not.
bool MakeFacts(Image2d& image, Bytes& chunks) noexcept {
  Ref<Stream> memory;
  ImageFacts facts(image);
  if (!facts.Any()) return !facts.IsLost();
  if (Failed(MemStream::Create(memory.Receive()))) return false;
  Out out(*memory);
  PutProfile(out, facts);
  PutResolution(out, facts);
  PutExif(out, facts);
  PutTexts(out, facts);
  return Succeeded(out.Flush()) && !facts.IsLost() && chunks.Read(*memory);
}

// ---- pixels

/// The pixels of one pass.
struct Pass {
  int left, top, across, down;

  int Columns(int width) const noexcept { return width > left ? (width - left - 1) / across + 1 : 0; }
};

constexpr Pass WHOLE[] = {{0, 0, 1, 1}};
constexpr Pass INTERLACED[] = {{0, 0, 8, 8}, {4, 0, 8, 8}, {0, 4, 4, 8}, {2, 0, 4, 4},
                               {0, 2, 2, 4}, {1, 0, 2, 2}, {0, 1, 1, 2}};

void PickIndices(uint8_t const* from, unsigned bits, Pass const& pass, int count, uint8_t* to) noexcept {
  memset(to, 0, BytesOf(uint64_t{bits} * static_cast<unsigned>(count)));
  for (int i = 0; i < count; ++i) {
    uint64_t const bit = uint64_t{bits} * static_cast<unsigned>(i);
    to[bit / 8] = static_cast<uint8_t>(to[bit / 8] | IndexAt(from, bits, pass.left + i * pass.across)
                                                         << (8 - bits - bit % 8));
  }
}

void PickPixels(uint8_t const* from, unsigned size, Pass const& pass, int count, uint8_t* to) noexcept {
  from += size_t{size} * static_cast<unsigned>(pass.left);
  for (int i = 0; i < count; ++i, from += size_t{size} * static_cast<unsigned>(pass.across), to += size)
    std::copy_n(from, size, to);
}

/// What the options say, with the picture's own standard where they are silent.
struct PngOptions {
  PngFilter filter = PngFilter::NONE;
  bool isInterlaced = false;
  int level = 0;

  HRESULT Read(Map* values, img::FormatFacts const& pixels) noexcept {
    int chosen[std::size(PNG_OPTIONS)] = {};
    for (size_t i = 0; i < std::size(PNG_OPTIONS); ++i) {
      HRESULT const result = Choose(PNG_OPTIONS[i], values, chosen[i]);
      if (Failed(result)) return result;
    }
    isInterlaced = chosen[PNG_INTERLACE] != 0;
    level = chosen[PNG_COMPRESSION];
    bool const pays = level > 0 && pixels.kind != img::ChannelKind::INDEX;  // to filter
    PngFilter const standard = pays ? PngFilter::ADAPTIVE : PngFilter::NONE;
    filter =
        chosen[PNG_FILTER] == Option::NO_STANDARD ? standard : static_cast<PngFilter>(chosen[PNG_FILTER]);
    return S_OK;
  }
};

class Writer {
 public:
  Writer(Stream& stream, RowsToWrite& image, IMG_FORMAT format, PngOptions const& options) noexcept
      : out(stream), rows(image), facts(img::GetFacts(format)), how(options), deflater(TakePixels, &out) {}

  /// Allocates what is needed.
  HRESULT Prepare(Image2d& image) noexcept;
  HRESULT Write() noexcept;

 private:
  static void TakePixels(void* out, uint8_t const* bytes, size_t size) noexcept {
    PutChunk(*static_cast<Out*>(out), "IDAT", bytes, size);
  }

  void PutHead() noexcept;
  void PutPalette() noexcept;
  HRESULT PutPass(Pass const& pass) noexcept;
  HRESULT Fetch(int y, Pass const& pass, int count) noexcept;

  Out out;
  RowsToWrite& rows;
  img::FormatFacts const& facts;  // of the file's pixels
  PngOptions const how;
  Deflater deflater;
  PngRows filtered;
  std::unique_ptr<uint8_t[]> whole;  // a row of an interlaced picture
  Bytes chunks;
};

HRESULT Writer::Prepare(Image2d& image) noexcept {
  HRESULT const checked = rows.Check();
  if (Failed(checked)) return checked;
  if (facts.paletteEntries) rows.CompletePalette();
  if (!MakeFacts(image, chunks)) return ImageFacts::FailLost();
  size_t const size = BytesOf(uint64_t{facts.bits} * static_cast<unsigned>(rows.Width()));
  if (how.isInterlaced) whole.reset(new (std::nothrow) uint8_t[size]);
  bool const hasRoom =
      (whole || !how.isInterlaced) && filtered.Allocate(size, std::max<unsigned>(facts.bytes, 1));
  return hasRoom && deflater.Open(how.level, how.filter != PngFilter::NONE) ? S_OK : FailMemory(size);
}

void Writer::PutHead() noexcept {
  uint8_t head[13] = {};
  StoreNumber(head, static_cast<uint32_t>(rows.Width()), 4, true);
  StoreNumber(head + 4, static_cast<uint32_t>(rows.Height()), 4, true);
  head[8] = facts.channels ? facts.channelBits : static_cast<uint8_t>(facts.bits);
  head[9] = COLOUR_KINDS[facts.channels];
  head[12] = how.isInterlaced;
  out.Put("\x89PNG\r\n\x1A\n", 8);
  PutChunk(out, "IHDR", head, sizeof head);
  out.Put(chunks.data.get(), chunks.size);
}

void Writer::PutPalette() noexcept {
  uint8_t colours[3 * 256], alphas[256];
  size_t count = 0, transparent = 0;
  for (IMG_PALENTRY const& entry : rows.Palette()) {
    colours[3 * count] = entry.red, colours[3 * count + 1] = entry.green, colours[3 * count + 2] = entry.blue;
    alphas[count++] = entry.alpha;
    if (entry.alpha != 255) transparent = count;
  }
  PutChunk(out, "PLTE", colours, 3 * count);
  if (transparent) PutChunk(out, "tRNS", alphas, transparent);
}

HRESULT Writer::Fetch(int y, Pass const& pass, int count) noexcept {
  uint8_t* const row = whole ? whole.get() : filtered.Row();
  HRESULT const result = rows.Get(y, facts.format, row);
  if (Failed(result)) return result;
  SwapRedBlue(row, rows.Width(), facts.format);
  if (facts.channelBits == 16) SwapBytes(row, size_t{facts.channels} * static_cast<unsigned>(rows.Width()));
  if (!whole) return result;
  facts.bytes ? PickPixels(row, facts.bytes, pass, count, filtered.Row())
              : PickIndices(row, facts.bits, pass, count, filtered.Row());
  return result;
}

HRESULT Writer::PutPass(Pass const& pass) noexcept {
  int const count = pass.Columns(rows.Width());
  if (count == 0) return S_OK;
  size_t const size = BytesOf(uint64_t{facts.bits} * static_cast<unsigned>(count));
  filtered.Begin();
  for (int64_t y = pass.top; y < rows.Height() && Succeeded(out.Result()); y += pass.down) {
    HRESULT const fetched = Fetch(static_cast<int>(y), pass, count);
    if (Failed(fetched)) return fetched;
    deflater.Add(filtered.Filter(how.filter, size), size + 1);
    filtered.Next();
  }
  return S_OK;
}

HRESULT Writer::Write() noexcept {
  unsigned const before = ErrorCount();
  PutHead();
  if (facts.paletteEntries) PutPalette();
  std::span<Pass const> const passes =
      how.isInterlaced ? std::span<Pass const>(INTERLACED) : std::span<Pass const>(WHOLE);
  for (Pass const& pass : passes) {
    HRESULT const result = PutPass(pass);
    if (Failed(result)) return result;
  }
  deflater.Finish();
  PutChunk(out, "IEND", "", 0);
  return out.Finish(before);
}

}  // namespace

HRESULT WritePng(Stream& stream, Image2d& image, Map* options) noexcept {
  RowsToWrite rows(image);
  IMG_FORMAT const format = ClosestFormat(rows.Format(), ENCODED);
  if (format == IMG_NONE) return YK_E_FORMAT;
  PngOptions how;
  HRESULT result = how.Read(options, img::GetFacts(format));
  if (Failed(result)) return result;
  Writer writer(stream, rows, format, how);
  result = writer.Prepare(image);
  return Failed(result) ? result : writer.Write();
}

}  // namespace qewic
