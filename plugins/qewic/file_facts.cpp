#include "file_facts.h"

#include <string.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <new>
#include <utility>

#include "deflate.h"
#include "tiff_directory.h"

namespace qewic {

using namespace yk;

namespace {

constexpr uint32_t MOST_TEXT = 1 << 16, MOST_PROFILE = 1 << 23;

/// Bytes of the file.
struct Block {
  std::unique_ptr<uint8_t[]> bytes;
  uint32_t size = 0;

  bool Read(StreamAdapter& file, uint64_t at, uint32_t length, uint32_t most) noexcept {
    if (length < 1 || length > most || at + length > file.Extent()) return false;
    bytes.reset(new (std::nothrow) uint8_t[length]);
    size = bytes ? length : 0;
    return size && file.ReadAt(at, bytes.get(), length);
  }
};

class Facts {
 public:
  Facts(StreamAdapter& from, Map& to) noexcept : file(from), info(to) {}

  HRESULT Result() const noexcept { return result; }

  void ReadPng() noexcept;
  void ReadJpeg() noexcept;
  void ReadBmp() noexcept;
  void ReadTags(uint64_t base, unsigned page = 0) noexcept;

 private:
  void Set(img::FileInfoKey key, Variant const& value) noexcept {
    HRESULT const set = Succeeded(result) ? info.SetValue(key, value) : result;
    if (yk::Failed(set)) result = set;
  }
  void SetResolution(double across, double down) noexcept;
  void SetText(img::FileInfoKey key, char const* text, size_t size, UINT codePage) noexcept;
  void SetProfile(void const* bytes, uint32_t size) noexcept;
  void ReadPngText(Block const& block, bool isUnicode) noexcept;
  void ReadPngProfile(Block const& block) noexcept;
  void ReadPngChunk(char const* kind, uint64_t at, uint32_t size) noexcept;
  void ReadSegment(uint8_t kind, uint64_t at, uint32_t size) noexcept;
  void AddProfile(Block const& block) noexcept;

  StreamAdapter& file;
  Map& info;
  HRESULT result = S_OK;
  Block profile;       // of a JPEG file, put together
  unsigned parts = 0;  // of the profile
  // A file that repeats them would be read for long: each may refer to all of the file, or be compressed.
  bool hasTags = false, hasProfile = false;
};

void Facts::SetResolution(double across, double down) noexcept {
  if (!(across > 0 && down > 0 && across < 1e6 && down < 1e6)) return;
  Variant value;
  value.Init(across);
  Set(img::INFO_RESOLUTION_X, value);
  value.Init(down);
  Set(img::INFO_RESOLUTION_Y, value);
}

void Facts::SetText(img::FileInfoKey key, char const* text, size_t size, UINT codePage) noexcept {
  size = std::find(text, text + std::min<size_t>(size, MOST_TEXT), '\0') - text;
  while (size > 0 && text[size - 1] == ' ') --size;
  if (size == 0) return;
  std::unique_ptr<wchar_t[]> const wide(new (std::nothrow) wchar_t[size + 1]);
  if (!wide) return void(result = E_OUTOFMEMORY);
  int const length =
      MultiByteToWideChar(codePage, 0, text, static_cast<int>(size), wide.get(), static_cast<int>(size));
  wide[static_cast<size_t>(std::max(length, 0))] = 0;
  Variant value;
  value.Init(wide.get());
  Set(key, value);
}

void Facts::SetProfile(void const* bytes, uint32_t size) noexcept {
  constexpr uint32_t ICC_HEADER = 128;
  if (size < ICC_HEADER || memcmp(static_cast<char const*>(bytes) + 36, "acsp", 4) != 0) return;
  Variant value;
  value.Init(bytes, size, false);
  Set(img::INFO_COLOR_PROFILE, value);
}

// ---- TIFF, and EXIF in others

void Facts::ReadTags(uint64_t base, unsigned page) noexcept {
  enum : uint32_t { CENTIMETRES = 3 };
  TiffDirectory directory;
  if (std::exchange(hasTags, true)) return;
  if (directory.Open(file, base, page) != TiffDirectory::Opened::SOUND) return;
  uint32_t const orientation = directory.Number(Tag::ORIENTATION, 0);
  if (orientation >= 1 && orientation <= 8) {
    Variant value;
    value.Init(orientation);
    Set(img::INFO_ORIENTATION, value);
  }
  double const unit = directory.Number(Tag::RESOLUTION_UNIT, 2) == CENTIMETRES ? 2.54 : 1;
  if (directory.Number(Tag::RESOLUTION_UNIT, 2) != 1)
    SetResolution(directory.Fraction(Tag::X_RESOLUTION, 0) * unit,
                  directory.Fraction(Tag::Y_RESOLUTION, 0) * unit);
  Block block;
  uint64_t at = 0;
  for (TextTag const& row : TEXT_TAGS) {
    uint32_t const size = directory.Place(row.tag, at);
    if (size && block.Read(file, at, size, MOST_TEXT))
      SetText(row.key, reinterpret_cast<char const*>(block.bytes.get()), size, CP_UTF8);
  }
  uint32_t const size = directory.Place(Tag::PROFILE, at);
  if (size && block.Read(file, at, size, MOST_PROFILE)) SetProfile(block.bytes.get(), size);
}

// ---- PNG

constexpr UINT LATIN_1 = 28591;

void Facts::ReadPngText(Block const& block, bool isUnicode) noexcept {
  char const* at = reinterpret_cast<char const*>(block.bytes.get());
  char const* const end = at + block.size;
  char const* const keyword = at;
  at = std::find(at, end, '\0');
  if (at == end) return;
  ++at;
  if (isUnicode) {  // whether compressed, how, language, translated keyword
    if (end - at < 2 || *at != 0) return;
    for (int i = 0; i < 2; ++i) {
      at = std::find(i ? at : at + 2, end, '\0');
      if (at == end) return;
      ++at;
    }
  }
  for (Keyword const& row : KEYWORDS)
    if (strcmp(row.text, keyword) == 0)
      SetText(row.key, at, static_cast<size_t>(end - at), isUnicode ? CP_UTF8 : LATIN_1);
}

void Facts::ReadPngProfile(Block const& block) noexcept {
  uint8_t const* const end = block.bytes.get() + block.size;
  uint8_t const* const at = std::find(end - block.size, end, uint8_t{0});
  if (end - at < 3 || std::exchange(hasProfile, true)) return;
  size_t const packed = static_cast<size_t>(end - at - 2);
  for (uint32_t room = 1 << 12; room <= MOST_PROFILE; room *= 8) {
    std::unique_ptr<uint8_t[]> const bytes(new (std::nothrow) uint8_t[room]);
    if (!bytes) return void(result = E_OUTOFMEMORY);
    size_t size = 0;
    HRESULT const inflated = InflateUpTo(at + 2, packed, bytes.get(), room, size);
    if (inflated == E_OUTOFMEMORY) return void(result = inflated);
    if (Succeeded(inflated)) return SetProfile(bytes.get(), static_cast<uint32_t>(size));
  }
}

void Facts::ReadPngChunk(char const* kind, uint64_t at, uint32_t size) noexcept {
  Block block;
  if (memcmp(kind, "eXIf", 4) == 0) return ReadTags(at);
  bool const isText = memcmp(kind, "tEXt", 4) == 0, isUnicode = memcmp(kind, "iTXt", 4) == 0;
  if ((isText || isUnicode) && block.Read(file, at, size, MOST_TEXT)) ReadPngText(block, isUnicode);
  if (memcmp(kind, "iCCP", 4) == 0 && block.Read(file, at, size, MOST_PROFILE)) ReadPngProfile(block);
  if (memcmp(kind, "pHYs", 4) == 0 && size == 9 && block.Read(file, at, size, size) && block.bytes[8] == 1)
    SetResolution(Big(block.bytes.get(), 4) * INCH, Big(block.bytes.get() + 4, 4) * INCH);
}

void Facts::ReadPng() noexcept {
  uint8_t head[8];
  for (uint64_t at = 8; file.ReadAt(at, head, sizeof head) && memcmp(head + 4, "IEND", 4) != 0;) {
    uint32_t const size = Big(head, 4);
    ReadPngChunk(reinterpret_cast<char const*>(head + 4), at + 8, size);
    at += uint64_t{size} + 12;
  }
}

// ---- JPEG

// A profile comes in numbered parts, of which writers keep the order.
void Facts::AddProfile(Block const& block) noexcept {
  constexpr uint32_t HEAD = 14, MOST_PARTS = 255;
  if (++parts > MOST_PARTS) return;
  if (block.size <= HEAD || profile.size + (block.size - HEAD) > MOST_PROFILE) return;
  Block longer;
  longer.size = profile.size + block.size - HEAD;
  longer.bytes.reset(new (std::nothrow) uint8_t[longer.size]);
  if (!longer.bytes) return void(result = E_OUTOFMEMORY);
  std::copy_n(profile.bytes.get(), profile.size, longer.bytes.get());
  std::copy_n(block.bytes.get() + HEAD, block.size - HEAD, longer.bytes.get() + profile.size);
  profile = std::move(longer);
  if (block.bytes[12] == block.bytes[13]) SetProfile(profile.bytes.get(), profile.size);
}

void Facts::ReadSegment(uint8_t kind, uint64_t at, uint32_t size) noexcept {
  constexpr uint8_t JFIF = 0xE0, EXIF = 0xE1, PROFILE = 0xE2, COMMENT = 0xFE;
  Block block;
  if ((kind < JFIF || kind > PROFILE) && kind != COMMENT) return;
  if (!block.Read(file, at, size, MOST_TEXT)) return;
  uint8_t const* const bytes = block.bytes.get();
  auto const begins = [&](char const* text, size_t length) {
    return size > length && memcmp(bytes, text, length) == 0;
  };
  if (kind == COMMENT) SetText(img::INFO_COMMENT, reinterpret_cast<char const*>(bytes), size, CP_UTF8);
  if (kind == EXIF && begins("Exif", 5)) ReadTags(at + 6);
  if (kind == PROFILE && begins("ICC_PROFILE", 12)) AddProfile(block);
  if (kind == JFIF && begins("JFIF", 5) && size >= 12 && (bytes[7] == 1 || bytes[7] == 2)) {
    double const unit = bytes[7] == 2 ? 2.54 : 1;
    SetResolution(Big(bytes + 8, 2) * unit, Big(bytes + 10, 2) * unit);
  }
}

void Facts::ReadJpeg() noexcept {
  constexpr uint8_t SCAN = 0xDA;
  uint8_t head[4];
  for (uint64_t at = 2; file.ReadAt(at, head, sizeof head) && head[0] == 0xFF && head[1] != SCAN;) {
    uint32_t const size = Big(head + 2, 2);
    if (size < 2) return;
    ReadSegment(head[1], at + 4, size - 2);
    at += 2u + size;
  }
}

void Facts::ReadBmp() noexcept {
  uint8_t head[46];
  if (file.ReadAt(0, head, sizeof head) && Little(head + 14, 4) >= 40)
    SetResolution(Little(head + 38, 4) * INCH, Little(head + 42, 4) * INCH);
}

template <class Function>
HRESULT ReadWith(StreamAdapter& file, Map& info, Function read) noexcept {
  Facts facts(file, info);
  read(facts);
  return facts.Result();
}

}  // namespace

HRESULT ReadPngFacts(StreamAdapter& file, unsigned, Map& info) noexcept {
  return ReadWith(file, info, [](Facts& facts) { facts.ReadPng(); });
}

HRESULT ReadJpegFacts(StreamAdapter& file, unsigned, Map& info) noexcept {
  return ReadWith(file, info, [](Facts& facts) { facts.ReadJpeg(); });
}

HRESULT ReadBmpFacts(StreamAdapter& file, unsigned, Map& info) noexcept {
  return ReadWith(file, info, [](Facts& facts) { facts.ReadBmp(); });
}

HRESULT ReadTiffFacts(StreamAdapter& file, unsigned frame, Map& info) noexcept {
  return ReadWith(file, info, [=](Facts& facts) { facts.ReadTags(0, frame); });
}

HRESULT ReadFacts(FactsFunction read, StreamAdapter& file, unsigned frame, AbstractImage& image) noexcept {
  if (!read) return S_OK;
  Ref<Map> const info = Ref<Map>::Adopt(Map::Create());
  if (!info) return E_OUTOFMEMORY;
  HRESULT result = read(file, frame, *info);
  for (img::FileInfoFacts const& facts : img::FILE_INFO) {
    Variant value;
    if (yk::Failed(result) || facts.key < img::INFO_ORIENTATION) continue;
    if (Succeeded(info->GetValue(facts.key, value))) result = image.SetValue(facts.key, value);
  }
  return result;
}

}  // namespace qewic
