// GIF files: the first frame, on the whole screen that the file defines.
//
//   +-- screen ---------+     Pixels outside of the frame are transparent, as browsers show them. They have
//   |    +-- frame --+  |     the frame's transparent index, or else one that no pixel uses; only where there
//   |    |           |  |     is no such index, it becomes one of BGRA32. A frame that leaves its screen
//   |    +-----------+  |     enlarges it.
//   +-------------------+
#include <string.h>

#include <algorithm>
#include <memory>
#include <new>

#include "headers.h"
#include "lzw.h"
#include "reading.h"

namespace qewic {

using namespace yk;

namespace {

constexpr unsigned SCREEN_HEADER = 13, FRAME_HEADER = 9, MOST_ENTRIES = 256;
constexpr uint8_t EXTENSION = 0x21, FRAME = 0x2C, GRAPHIC_CONTROL = 0xF9;

struct Area {
  uint32_t left = 0, top = 0, width = 0, height = 0;
};

struct Colours {
  unsigned count = 0;
  IMG_PALENTRY entries[MOST_ENTRIES] = {};
};

class Reader {
 public:
  explicit Reader(StreamAdapter& from) noexcept : file(from) {}
  HRESULT ReadHeaders() noexcept;
  HRESULT Read(Ref<Image2d>& image) noexcept;
  Claim Size() const noexcept { return {width, height, 8}; }

 private:
  HRESULT ReadScreen() noexcept;
  HRESULT FindFrame() noexcept;
  HRESULT ReadFrame() noexcept;
  HRESULT ReadIndices() noexcept;
  bool ReadColours(unsigned flags) noexcept;
  HRESULT SkipExtension() noexcept;
  bool SkipBlocks(uint64_t& size) noexcept;
  bool GatherBlocks(uint64_t from, uint8_t* to) noexcept;
  unsigned ChooseOutside() noexcept;
  bool CoversScreen() const noexcept { return frame.width == width && frame.height == height; }
  void PutIndices(Image2d& image, unsigned outside) noexcept;
  void PutColours(Image2d& image) noexcept;
  uint32_t RowOf(uint32_t line) const noexcept;

  StreamAdapter& file;
  uint64_t at = 0;
  uint32_t width = 0, height = 0;
  Area frame;
  Colours colours;
  unsigned transparent = MOST_ENTRIES;
  bool interlaced = false;
  std::unique_ptr<uint8_t[]> indices;
};

bool Reader::ReadColours(unsigned flags) noexcept {
  if (!(flags & 0x80)) return true;
  colours.count = 2u << (flags & 7);
  uint8_t bytes[3 * MOST_ENTRIES];
  if (!file.ReadAt(at, bytes, colours.count * 3)) return false;
  at += colours.count * 3;
  for (unsigned i = 0; i < colours.count; ++i)
    colours.entries[i] = {bytes[3 * i], bytes[3 * i + 1], bytes[3 * i + 2], 255};
  return true;
}

HRESULT Reader::ReadScreen() noexcept {
  uint8_t head[SCREEN_HEADER];
  if (!HasSignature(file, ids::FILE_GIF) || !file.ReadAt(0, head, sizeof head))
    return FailDamaged(L"the header is invalid");
  width = Little(head + 6, 2);
  height = Little(head + 8, 2);
  at = sizeof head;
  return ReadColours(head[10]) ? S_OK : FailTruncated();
}

/// Moves past blocks, up to and including the empty one.
bool Reader::SkipBlocks(uint64_t& size) noexcept {
  for (uint8_t length = 0; file.ReadAt(at, &length, 1);) {
    at += 1u + length;
    if (length == 0) return true;
    size += length;
  }
  return false;
}

bool Reader::GatherBlocks(uint64_t from, uint8_t* to) noexcept {
  for (uint8_t length = 0; file.ReadAt(from, &length, 1) && length != 0;) {
    if (!file.ReadAt(from + 1, to, length)) return false;
    from += 1u + length;
    to += length;
  }
  return true;
}

HRESULT Reader::SkipExtension() noexcept {
  uint8_t head[6] = {};  // label, length, flags, delay, transparent index
  if (!file.ReadAt(at, head, 2)) return FailTruncated();
  if (head[0] == GRAPHIC_CONTROL && head[1] >= 4) {
    if (!file.ReadAt(at, head, sizeof head)) return FailTruncated();
    transparent = head[2] & 1 ? head[5] : MOST_ENTRIES;
  }
  at += 1;
  uint64_t size = 0;
  return SkipBlocks(size) ? S_OK : FailTruncated();
}

HRESULT Reader::FindFrame() noexcept {
  for (uint8_t kind = 0; file.ReadAt(at, &kind, 1);) {
    ++at;
    if (kind == FRAME) return S_OK;
    if (kind != EXTENSION) return FailDamaged(L"it contains no picture");
    HRESULT const skipped = SkipExtension();
    if (yk::Failed(skipped)) return skipped;
  }
  return FailTruncated();
}

HRESULT Reader::ReadFrame() noexcept {
  uint8_t head[FRAME_HEADER];
  if (!file.ReadAt(at, head, sizeof head)) return FailTruncated();
  at += sizeof head;
  frame = {Little(head, 2), Little(head + 2, 2), Little(head + 4, 2), Little(head + 6, 2)};
  interlaced = head[8] & 0x40;
  width = std::max(width, frame.left + frame.width);
  height = std::max(height, frame.top + frame.height);
  if (!ReadColours(head[8])) return FailTruncated();
  if (colours.count == 0) return FailDamaged(L"it has no colours");
  return CheckClaim(file, {width, height, 8});
}

HRESULT Reader::ReadIndices() noexcept {
  uint8_t bits = 0;
  if (!file.ReadAt(at++, &bits, 1)) return FailTruncated();
  if (bits < 1 || bits > 8) return FailDamaged(L"its code size is invalid");
  uint64_t const from = at;
  uint64_t size = 0;
  SkipBlocks(size);  // the last blocks may be missing after all pixels
  size_t const count = size_t{frame.width} * frame.height;
  if (count == 0) return FailDamaged(L"the picture has no pixels");
  std::unique_ptr<uint8_t[]> const data(new (std::nothrow) uint8_t[static_cast<size_t>(size) + 1]);
  indices.reset(new (std::nothrow) uint8_t[count]);
  if (!data || !indices) return E_OUTOFMEMORY;
  if (!GatherBlocks(from, data.get())) return FailTruncated();
  size_t const done = DecodeLzw({.rootBits = bits, .highestFirst = false, .early = false}, data.get(),
                                static_cast<size_t>(size), indices.get(), count);
  return done == count ? S_OK : FailTruncated();
}

/// The index for pixels outside of the frame; MOST_ENTRIES: no index is free.
unsigned Reader::ChooseOutside() noexcept {
  if (transparent < MOST_ENTRIES) return transparent;
  bool used[MOST_ENTRIES] = {};
  size_t const count = size_t{frame.width} * frame.height;
  for (size_t i = 0; i < count; ++i) used[indices[i]] = true;
  for (unsigned i = 0; i < MOST_ENTRIES; ++i) {
    unsigned const index = (colours.count + i) % MOST_ENTRIES;  // first those that have no colour
    if (!used[index]) return index;
  }
  return MOST_ENTRIES;
}

/// The row of the frame's line `line`, in the order of the file.
uint32_t Reader::RowOf(uint32_t line) const noexcept {
  static constexpr struct { uint32_t first, step; } PASSES[] = {{0, 8}, {4, 8}, {2, 4}, {1, 2}};
  if (!interlaced) return line;
  for (auto const& [first, step] : PASSES) {
    uint32_t const lines = frame.height > first ? (frame.height - first + step - 1) / step : 0;
    if (line < lines) return first + line * step;
    line -= lines;
  }
  return 0;
}

void Reader::PutIndices(Image2d& image, unsigned outside) noexcept {
  if (!CoversScreen()) memset(image.bits, static_cast<int>(outside), size_t(image.stride) * height);
  for (uint32_t line = 0; line < frame.height; ++line) {
    uint8_t* const row = image.GetLine(static_cast<int>(frame.top + RowOf(line)));
    std::copy_n(&indices[size_t{line} * frame.width], frame.width, row + frame.left);
  }
  std::copy_n(colours.entries, MOST_ENTRIES, image.palette);
}

// The image is transparent where nothing is put.
void Reader::PutColours(Image2d& image) noexcept {
  for (uint32_t line = 0; line < frame.height; ++line) {
    uint8_t* to = image.GetLine(static_cast<int>(frame.top + RowOf(line))) + 4 * size_t{frame.left};
    uint8_t const* from = &indices[size_t{line} * frame.width];
    for (uint32_t x = 0; x < frame.width; ++x, to += 4) {
      IMG_PALENTRY const& entry = colours.entries[*from++];
      to[0] = entry.blue, to[1] = entry.green, to[2] = entry.red, to[3] = entry.alpha;
    }
  }
}

HRESULT Reader::ReadHeaders() noexcept {
  HRESULT result = ReadScreen();
  if (Succeeded(result)) result = FindFrame();
  return Succeeded(result) ? ReadFrame() : result;
}

HRESULT Reader::Read(Ref<Image2d>& image) noexcept {
  HRESULT result = ReadHeaders();
  if (Succeeded(result)) result = ReadIndices();
  if (yk::Failed(result)) return result;
  FillBlack(std::span(colours.entries).subspan(colours.count));
  if (transparent < MOST_ENTRIES) colours.entries[transparent].alpha = 0;
  unsigned const outside = CoversScreen() ? 0 : ChooseOutside();
  result = MakePicture(file, outside < MOST_ENTRIES ? IMG_PAL8 : IMG_BGRA32, width, height, image);
  if (yk::Failed(result)) return result;
  if (outside == MOST_ENTRIES) return PutColours(*image), S_OK;
  if (!CoversScreen()) colours.entries[outside].alpha = 0;
  PutIndices(*image, outside);
  return S_OK;
}

}  // namespace

// Decoders know the frame, but not the screen.
HRESULT DescribeGif(StreamAdapter& file, Header& header) noexcept {
  Reader reader(file);
  if (Succeeded(reader.ReadHeaders())) header.claim = reader.Size();
  return S_FALSE;
}

HRESULT ReadGif(StreamAdapter& file, Ref<Image2d>& image) noexcept { return Reader(file).Read(image); }

}  // namespace qewic
