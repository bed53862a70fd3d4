// GIF files: one frame, on the whole screen that the file defines.
//
//   +-- screen ---------+     Pixels outside of the first frame are transparent, as browsers show them. They
//   |    +-- frame --+  |     have the frame's transparent index, or else one that no pixel uses; only where
//   |    |           |  |     there is no such index, it becomes one of BGRA32. A first frame that leaves its
//   |    +-----------+  |     screen enlarges it.
//   +-------------------+
//
// Later frames are put on what the frames before them leave of themselves: all, nothing, or what was there
// before. They may have palettes of their own, so they are always BGRA32.
#include <string.h>

#include <algorithm>
#include <memory>
#include <new>

#include "failure.h"
#include "headers.h"
#include "lzw.h"
#include "reading.h"

namespace qewic {

using namespace yk;

namespace {

constexpr unsigned SCREEN_HEADER = 13, FRAME_HEADER = 9, MOST_ENTRIES = 256;
constexpr uint8_t EXTENSION = 0x21, FRAME = 0x2C, GRAPHIC_CONTROL = 0xF9;

/// What a frame leaves of itself; other values leave all.
enum Disposal : unsigned { CLEARED = 2, UNDONE = 3 };

/// A palette in the file.
struct Colours {
  uint64_t at = 0;
  unsigned count = 0;
};

struct Frame {
  uint64_t at = 0;    // where it begins, with its extensions
  uint64_t data = 0;  // its code size, before the compressed pixels
  uint32_t left = 0, top = 0, width = 0, height = 0;
  Colours colours;
  unsigned transparent = MOST_ENTRIES;  // an index; MOST_ENTRIES: none
  unsigned disposal = 0;
  bool interlaced = false;
};

class Reader {
 public:
  explicit Reader(StreamAdapter& from, bool decodesAll = false) noexcept : file(from), every(decodesAll) {}
  HRESULT Describe(Header& header) noexcept;
  HRESULT Read(unsigned index, Ref<Image2d>& image) noexcept;

 private:
  enum class Next { FOUND, NONE, TRUNCATED };

  HRESULT Open() noexcept;
  Next FindFrame() noexcept;
  bool ReadFrame() noexcept;
  bool Place(unsigned flags, Colours& colours) noexcept;
  bool SkipExtension() noexcept;
  bool SkipBlocks(uint64_t& size) noexcept;
  void SkipPixels() noexcept;
  bool GatherBlocks(uint64_t from, uint8_t* to, uint64_t size) noexcept;
  HRESULT ReadPalette() noexcept;
  HRESULT ReadIndices() noexcept;
  unsigned ChooseOutside() noexcept;
  bool MayUseAllIndices() noexcept;
  bool CoversScreen() const noexcept;
  bool HidesAll(bool isLast) const noexcept;
  HRESULT ReadFirst(Ref<Image2d>& image) noexcept;
  HRESULT FindStart(unsigned index, unsigned& start) noexcept;
  HRESULT Compose(unsigned index, Ref<Image2d>& image) noexcept;
  HRESULT PutFrame(bool isLast, Image2d& image) noexcept;
  void PutIndices(Image2d& image, unsigned outside) noexcept;
  void PutColours(Image2d& image) noexcept;
  HRESULT CountWork() noexcept;
  void Clear(Image2d& image) noexcept;
  uint32_t RowOf(uint32_t line) const noexcept;
  uint32_t VisibleColumns() const noexcept {
    return frame.left < width ? std::min(frame.width, width - frame.left) : 0;
  }

  StreamAdapter& file;
  bool const every;  // frames of which nothing shows are decoded as well
  uint64_t at = 0;
  uint32_t width = 0, height = 0;
  Colours common;
  Frame frame;
  double work = 0;  // pixels that were put or cleared
  IMG_PALENTRY palette[MOST_ENTRIES] = {};
  std::unique_ptr<uint8_t[]> indices;
};

// ---- the file's structure; nothing is recorded

bool Reader::Place(unsigned flags, Colours& colours) noexcept {
  if (!(flags & 0x80)) return true;
  colours = {at, 2u << (flags & 7)};
  at += 3 * colours.count;
  return at <= file.Extent();
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

bool Reader::SkipExtension() noexcept {
  uint8_t head[6] = {};  // label, length, flags, delay, transparent index
  if (!file.ReadAt(at, head, 2)) return false;
  if (head[0] == GRAPHIC_CONTROL && head[1] >= 4) {
    if (!file.ReadAt(at, head, sizeof head)) return false;
    frame.transparent = head[2] & 1 ? head[5] : MOST_ENTRIES;
    frame.disposal = head[2] >> 2 & 7;
  }
  at += 1;
  uint64_t size = 0;
  return SkipBlocks(size);
}

bool Reader::ReadFrame() noexcept {
  uint8_t head[FRAME_HEADER];
  if (!file.ReadAt(at, head, sizeof head)) return false;
  at += sizeof head;
  frame.left = Little(head, 2), frame.top = Little(head + 2, 2);
  frame.width = Little(head + 4, 2), frame.height = Little(head + 6, 2);
  frame.interlaced = head[8] & 0x40;
  frame.colours = common;
  if (!Place(head[8], frame.colours)) return false;
  frame.data = at;
  return true;
}

Reader::Next Reader::FindFrame() noexcept {
  frame = {};
  frame.at = at;
  for (uint8_t kind = 0; file.ReadAt(at, &kind, 1);) {
    ++at;
    if (kind == FRAME) return ReadFrame() ? Next::FOUND : Next::TRUNCATED;
    if (kind != EXTENSION) return Next::NONE;
    if (!SkipExtension()) return Next::TRUNCATED;
  }
  return Next::TRUNCATED;
}

void Reader::SkipPixels() noexcept {
  uint64_t size = 0;
  at = frame.data + 1;
  SkipBlocks(size);
}

HRESULT Reader::Open() noexcept {
  uint8_t head[SCREEN_HEADER];
  if (!HasSignature(file, ids::FILE_GIF) || !file.ReadAt(0, head, sizeof head))
    return FailDamaged(L"the header is invalid");
  width = Little(head + 6, 2);
  height = Little(head + 8, 2);
  at = sizeof head;
  if (!Place(head[10], common)) return FailTruncated();
  Next const found = FindFrame();
  if (found == Next::NONE) return FailDamaged(L"it contains no picture");
  if (found == Next::TRUNCATED) return FailTruncated();
  width = std::max(width, frame.left + frame.width);
  height = std::max(height, frame.top + frame.height);
  return S_OK;
}

// ---- one frame

HRESULT Reader::ReadPalette() noexcept {
  unsigned const count = frame.colours.count;
  uint8_t bytes[3 * MOST_ENTRIES];
  if (count == 0) return FailDamaged(L"it has no colours");
  if (!file.ReadAt(frame.colours.at, bytes, 3 * count)) return FailTruncated();
  for (unsigned i = 0; i < count; ++i) palette[i] = {bytes[3 * i], bytes[3 * i + 1], bytes[3 * i + 2], 255};
  FillBlack(std::span(palette).subspan(count));
  if (frame.transparent < MOST_ENTRIES) palette[frame.transparent].alpha = 0;
  return S_OK;
}

/// Reads the `size` bytes of the blocks, no more even if the stream has changed since they were counted.
bool Reader::GatherBlocks(uint64_t from, uint8_t* to, uint64_t size) noexcept {
  for (uint8_t length = 0; size > 0; size -= length, to += length, from += 1u + length)
    if (!file.ReadAt(from, &length, 1) || length == 0 || length > size || !file.ReadAt(from + 1, to, length))
      return false;
  return true;
}

HRESULT Reader::ReadIndices() noexcept {
  uint8_t bits = 0;
  if (!file.ReadAt(frame.data, &bits, 1)) return FailTruncated();
  if (bits < 1 || bits > 8) return FailDamaged(L"its code size is invalid");
  HRESULT const checked = CheckClaim(file, {frame.width, frame.height, 8});
  if (yk::Failed(checked)) return checked;
  uint64_t size = 0;
  at = frame.data + 1;
  SkipBlocks(size);  // the last blocks may be missing after all pixels
  size_t const count = size_t{frame.width} * frame.height;
  std::unique_ptr<uint8_t[]> const data(new (std::nothrow) uint8_t[static_cast<size_t>(size) + 1]);
  indices.reset(new (std::nothrow) uint8_t[count]);
  if (!data || !indices) return E_OUTOFMEMORY;
  if (!GatherBlocks(frame.data + 1, data.get(), size)) return FailTruncated();
  LzwKind const kind = {.rootBits = bits, .highestFirst = false, .early = false};
  size_t const done = DecodeLzw(kind, data.get(), static_cast<size_t>(size), indices.get(), count);
  return done == count ? S_OK : FailTruncated();
}

/// The row of the frame's line `line`, in the order of the file.
uint32_t Reader::RowOf(uint32_t line) const noexcept {
  static constexpr struct { uint32_t first, step; } PASSES[] = {{0, 8}, {4, 8}, {2, 4}, {1, 2}};
  if (!frame.interlaced) return line;
  for (auto const& [first, step] : PASSES) {
    uint32_t const lines = frame.height > first ? (frame.height - first + step - 1) / step : 0;
    if (line < lines) return first + line * step;
    line -= lines;
  }
  return 0;
}

/// Leaves out transparent pixels and those outside of the screen.
void Reader::PutColours(Image2d& image) noexcept {
  uint32_t const columns = VisibleColumns();
  for (uint32_t line = 0; columns > 0 && line < frame.height; ++line) {
    uint32_t const y = frame.top + RowOf(line);
    if (y >= height) continue;
    uint8_t* to = image.GetLine(static_cast<int>(y)) + 4 * size_t{frame.left};
    uint8_t const* from = &indices[size_t{line} * frame.width];
    for (uint32_t x = 0; x < columns; ++x, to += 4, ++from) {
      IMG_PALENTRY const& entry = palette[*from];
      if (entry.alpha) to[0] = entry.blue, to[1] = entry.green, to[2] = entry.red, to[3] = entry.alpha;
    }
  }
}

// ---- the first frame

bool Reader::CoversScreen() const noexcept {
  return frame.left == 0 && frame.top == 0 && frame.width >= width && frame.height >= height;
}

/// The index for pixels outside of the frame; MOST_ENTRIES: no index is free.
unsigned Reader::ChooseOutside() noexcept {
  if (frame.transparent < MOST_ENTRIES) return frame.transparent;
  bool used[MOST_ENTRIES] = {};
  size_t const count = size_t{frame.width} * frame.height;
  for (size_t i = 0; i < count; ++i) used[indices[i]] = true;
  for (unsigned i = 0; i < MOST_ENTRIES; ++i) {
    unsigned const index = (frame.colours.count + i) % MOST_ENTRIES;  // first those that have no colour
    if (!used[index]) return index;
  }
  return MOST_ENTRIES;
}

/// Whether ChooseOutside may find none, which only the pixels tell.
bool Reader::MayUseAllIndices() noexcept {
  uint8_t bits = 0;
  return !CoversScreen() && frame.transparent == MOST_ENTRIES && file.ReadAt(frame.data, &bits, 1) &&
         bits == 8 && frame.width * frame.height >= MOST_ENTRIES;
}

void Reader::PutIndices(Image2d& image, unsigned outside) noexcept {
  if (!CoversScreen()) memset(image.bits, static_cast<int>(outside), size_t(image.stride) * height);
  for (uint32_t line = 0; line < frame.height; ++line) {
    uint8_t* const row = image.GetLine(static_cast<int>(frame.top + RowOf(line)));
    std::copy_n(&indices[size_t{line} * frame.width], frame.width, row + frame.left);
  }
  std::copy_n(palette, MOST_ENTRIES, image.palette);
  if (!CoversScreen()) image.palette[outside].alpha = 0;
}

HRESULT Reader::ReadFirst(Ref<Image2d>& image) noexcept {
  HRESULT result = ReadPalette();
  if (Succeeded(result)) result = ReadIndices();
  if (yk::Failed(result)) return result;
  unsigned const outside = CoversScreen() ? 0 : ChooseOutside();
  result = MakePicture(file, outside < MOST_ENTRIES ? IMG_PAL8 : IMG_BGRA32, width, height, image);
  if (yk::Failed(result)) return result;
  outside < MOST_ENTRIES ? PutIndices(*image, outside) : PutColours(*image);
  return S_OK;
}

// ---- later frames

/// Whether nothing shows through of the frames before this one.
bool Reader::HidesAll(bool isLast) const noexcept {
  if (!CoversScreen() || (!isLast && frame.disposal == UNDONE)) return false;
  return frame.transparent == MOST_ENTRIES || (!isLast && frame.disposal == CLEARED);
}

/// Finds the frame to begin with, and moves there.
HRESULT Reader::FindStart(unsigned index, unsigned& start) noexcept {
  uint64_t begin = frame.at;
  start = 0;
  for (unsigned i = 1; i <= index; ++i) {
    SkipPixels();
    if (FindFrame() != Next::FOUND) return FailNoFrame(index, i);
    if (!every && HidesAll(i == index)) start = i, begin = frame.at;
  }
  at = begin;
  return S_OK;
}

void Reader::Clear(Image2d& image) noexcept {
  uint32_t const columns = VisibleColumns(), bottom = std::min(frame.top + frame.height, height);
  for (uint32_t y = frame.top; columns > 0 && y < bottom; ++y)
    memset(image.GetLine(static_cast<int>(y)) + 4 * size_t{frame.left}, 0, 4 * size_t{columns});
}

/// A few bytes of the file can clear the whole screen, but the compressed pixels of a frame are never as few
/// as CanBack allows.
HRESULT Reader::CountWork() noexcept {
  work += static_cast<double>(frame.width) * frame.height;
  return CanBack(file, work) ? S_OK : FailDamaged(L"the file is too small for its frames");
}

/// Puts the last frame, or what an earlier one leaves of itself.
HRESULT Reader::PutFrame(bool isLast, Image2d& image) noexcept {
  bool const isUndone = !isLast && frame.disposal == UNDONE, isCleared = !isLast && frame.disposal == CLEARED;
  bool const isSeen = !isUndone && !isCleared, isDecoded = isSeen || every;
  if (isUndone && !isDecoded) return S_OK;
  HRESULT result = CountWork();
  if (Succeeded(result) && isDecoded) result = ReadPalette();
  if (Succeeded(result) && isDecoded) result = ReadIndices();
  if (yk::Failed(result)) return result;
  if (isCleared) Clear(image);
  if (isSeen) PutColours(image);
  return S_OK;
}

HRESULT Reader::Compose(unsigned index, Ref<Image2d>& image) noexcept {
  unsigned i = 0;
  HRESULT result = FindStart(index, i);
  if (Succeeded(result)) result = MakePicture(file, IMG_BGRA32, width, height, image);
  for (; Succeeded(result) && i <= index; ++i) {
    unsigned const before = ErrorCount();
    FindFrame();
    result = PutFrame(i == index, *image);
    if (every && yk::Failed(result)) return ReportFrame(i, before, result);
    SkipPixels();
  }
  return result;
}

HRESULT Reader::Read(unsigned index, Ref<Image2d>& image) noexcept {
  HRESULT result = Open();
  if (Succeeded(result)) result = CheckClaim(file, {width, height, 8});
  if (yk::Failed(result)) return result;
  return index == 0 ? ReadFirst(image) : Compose(index, image);
}

HRESULT Reader::Describe(Header& header) noexcept {
  HRESULT const result = Open();
  if (yk::Failed(result)) return result;
  header.claim = {width, height, 8};
  header.format = MayUseAllIndices() ? IMG_NONE : IMG_PAL8;
  for (SkipPixels(); FindFrame() == Next::FOUND; SkipPixels()) ++header.frames;
  return S_OK;
}

}  // namespace

HRESULT DescribeGif(StreamAdapter& file, Header& header) noexcept { return Reader(file).Describe(header); }

HRESULT ReadGif(StreamAdapter& file, unsigned frame, Ref<Image2d>& image) noexcept {
  return Reader(file).Read(frame, image);
}

HRESULT ReadEveryGif(StreamAdapter& file, unsigned frame, Ref<Image2d>& image) noexcept {
  return Reader(file, true).Read(frame, image);
}

}  // namespace qewic
