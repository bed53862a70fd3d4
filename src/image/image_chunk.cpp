#include <qecore/image/image_chunk.h>

#include <qecore/core/compressor.h>
#include <qecore/core/registry.h>
#include <qecore/image/image_limits.h>
#include <qecore/io/deserializer.h>
#include <qecore/io/serializer.h>
#include <qecore/io/stream.h>
#include <string.h>

#include <algorithm>

#include "core/buffer_p.h"
#include "core/error_p.h"
#include "core/progress_p.h"
#include "core/registry_p.h"
#include "io/records_p.h"
#include "properties_p.h"

namespace yk {
namespace {

using Bytes = Buffer<unsigned char>;

constexpr char SAVE[] = "img::SaveTo";
constexpr char LOAD[] = "img::LoadFrom";

struct Header {
  IMG_FORMAT format = IMG_NONE;
  int32_t width = 0, height = 0;

  bool operator==(Header const&) const noexcept = default;
};

/// The pixels of an image as blocks of rows without padding. Rows are counted as in memory.
class Blocks {
 public:
  Blocks(IMG_FORMAT format, int width, int height) noexcept
      : rowBytes(img::PackedBytes(int64_t{img::GetFacts(format).bits} * width)),
        rows(static_cast<int>(std::max<int64_t>(img::BLOCK_BYTES / rowBytes, 1))),
        height(height) {}

  int64_t Total() const noexcept { return rowBytes * height; }
  int Rows() const noexcept { return height; }
  /// Whether each block is a row, which may be a large one.
  bool AreRows() const noexcept { return rows == 1; }
  int64_t Count() const noexcept { return (int64_t{height} + rows - 1) / rows; }
  /// Where the block after the one at `first` begins.
  int After(int first) const noexcept { return first + RowsFrom(first); }
  int RowsFrom(int first) const noexcept { return std::min(rows, height - first); }
  unsigned BytesFrom(int first) const noexcept { return static_cast<unsigned>(rowBytes * RowsFrom(first)); }

  /// Room for any block. False when there is no memory.
  bool Reserve(Bytes& buffer) const noexcept { return buffer.Resize(BytesFrom(0)); }

  void Gather(Image2d const& image, int first, unsigned char* to) const noexcept {
    for (int i = 0; i < RowsFrom(first); ++i) memcpy(to + rowBytes * i, RowOf(image, first + i), Row());
  }

  void Scatter(unsigned char const* from, Image2d const& image, int first) const noexcept {
    for (int i = 0; i < RowsFrom(first); ++i) {
      unsigned char* const row = RowOf(image, first + i);
      if (!AreRows()) memcpy(row, from + rowBytes * i, Row());
      memset(row + rowBytes, 0, static_cast<size_t>(image.stride) - Row());
    }
  }

  static unsigned char* RowOf(Image2d const& image, int row) noexcept {
    return image.bits + ptrdiff_t{image.stride} * row;
  }

 private:
  size_t Row() const noexcept { return static_cast<size_t>(rowBytes); }

  int64_t rowBytes;
  int rows, height;  // of a block but the last, and of all
};

Header HeaderOf(Image2d const& image) noexcept { return {image.format, image.width, image.height}; }

bool HasPixels(Image2d const& image) noexcept { return image.bits && image.width > 0 && image.height > 0; }

/// The plug-in's implementation of a method, or null.
Ref<ykCompressor> MakeCompressor(Guid const& method) noexcept {
  Ref<Unknown> made;
  CreateInterface(method, made.ReceiveVoid());
  return Cast<ykCompressor>(static_cast<Ref<Unknown>&&>(made));
}

// ---- saving

/// The same; pixels are stored as they are without it.
Ref<ykCompressor> TryCompressor(Guid const& method) noexcept {
  if (!FindClass(method)) return {};
  Attempt const attempt;
  return MakeCompressor(method);
}

HRESULT SaveBlock(Serializer& writer, ykCompressor* method, Bytes const& rows, unsigned size,
                  Bytes& packed) noexcept {
  unsigned room = size;
  bool const isPacked =
      method && method->Compress(rows.begin(), size, packed.begin(), room) == S_OK && room < size;
  unsigned const stored = isPacked ? room : size;
  writer.Write(&stored, sizeof stored);
  return writer.Write(isPacked ? packed.begin() : rows.begin(), stored);
}

/// The stream and the host may change the image meanwhile.
HRESULT SavePixels(Serializer& writer, Image2d const& image, ykCompressor* method,
                   ProgressMeter& meter) noexcept {
  Header const header = HeaderOf(image);
  unsigned char const* const bits = image.bits;
  Blocks const blocks(image.format, image.width, image.height);
  Bytes rows, packed;
  if (!blocks.Reserve(rows) || (method && !blocks.Reserve(packed)))
    return FailMemory(SAVE, blocks.BytesFrom(0));
  for (int first = 0; first < blocks.Rows(); first = blocks.After(first)) {
    if (image.bits != bits || HeaderOf(image) != header)
      return Fail(E_FAIL, SAVE, L"the image was changed while it was saved");
    blocks.Gather(image, first, rows.begin());
    HRESULT const saved = SaveBlock(writer, method, rows, blocks.BytesFrom(first), packed);
    if (Failed(saved)) return saved;
    if (!meter.Reach(static_cast<unsigned>(blocks.After(first)))) return meter.Result(S_OK);
  }
  return S_OK;
}

// The bytes that a Map does not save. Copies, since the stream may change the properties meanwhile.
HRESULT SaveBlobs(Serializer& writer, Map& properties) noexcept {
  for (unsigned i = 0; i < properties.Count(); ++i) {
    Map::Entry const& entry = properties.begin()[i];
    unsigned const key = entry.key, size = entry.value.size;
    bool const isSaved = entry.value.type == Variant::BLOB && !(entry.value.flags & Variant::TRANSIENT);
    if (!isSaved || !entry.value.value.pointer) continue;
    Bytes copy;
    if (!copy.Resize(size)) return FailMemory(SAVE, size);
    entry.value.Get(copy.begin(), size);
    writer.BeginChunk(img::CHUNK_BLOB);
    writer.Write(&key, sizeof key);
    writer.Write(copy.begin(), size);
    writer.EndChunk();
  }
  return S_OK;
}

HRESULT SaveProperties(Serializer& writer, Image2d& image, ExecutionContext* context) noexcept {
  Map* const properties = image.GetProperties();
  if (!properties || properties->Count() == 0) return S_OK;
  writer.BeginChunk(img::CHUNK_PROPERTIES);
  Ref<Map> const held = Ref<Map>::Share(properties);
  HRESULT const saved = properties->Save(&writer, context);
  writer.EndChunk();
  return Failed(saved) ? saved : SaveBlobs(writer, *properties);
}

HRESULT SaveParts(Serializer& writer, Image2d& image, Guid const& method,
                  ExecutionContext* context) noexcept {
  bool const hasPixels = HasPixels(image);
  Ref<ykCompressor> const compressor = hasPixels ? TryCompressor(method) : Ref<ykCompressor>();
  Header const header = hasPixels ? HeaderOf(image) : Header{};
  writer.WriteChunk(img::CHUNK_HEADER, &header, sizeof header);
  if (compressor) writer.WriteChunk(img::CHUNK_METHOD, &method, sizeof method);
  image.name.Save(&writer, img::CHUNK_NAME);
  HRESULT const saved = SaveProperties(writer, image, context);
  if (Failed(saved) || !hasPixels) return saved;
  if (img::GetFacts(image.format).paletteEntries)
    writer.WriteChunk(img::CHUNK_PALETTE, image.palette, image.paletteCount * sizeof(IMG_PALENTRY));
  ProgressMeter meter(context, SAVE, static_cast<uint64_t>(image.height), ProgressMeter::Unit::ROWS);
  writer.BeginChunk(img::CHUNK_PIXELS);
  HRESULT const result = SavePixels(writer, image, compressor.get(), meter);
  writer.EndChunk();
  return result;
}

// ---- loading

/// An image whose parts are being read.
class Loading {
 public:
  Loading(Deserializer& source, ExecutionContext* host) noexcept : reader(source), context(host) {}

  HRESULT Run() noexcept;
  Image2d* Detach() noexcept { return image.Detach(); }

 private:
  struct Part {
    unsigned short tag;
    HRESULT (Loading::*load)() noexcept;
  };
  static Part const PARTS[];

  HRESULT LoadPart(unsigned short tag) noexcept;
  HRESULT LoadHeader() noexcept;
  HRESULT LoadMethod() noexcept;
  HRESULT LoadName() noexcept;
  HRESULT LoadPalette() noexcept;
  HRESULT LoadProperties() noexcept;
  HRESULT LoadBlob() noexcept;
  HRESULT LoadPixels() noexcept;
  HRESULT LoadBlocks(Blocks const& blocks) noexcept;
  HRESULT LoadBlock(unsigned char* to, unsigned size) noexcept;
  HRESULT CheckSize(Blocks const& blocks) noexcept;
  bool Read(void* to, size_t size) noexcept;

  Deserializer& reader;
  ExecutionContext* context;
  Ref<Image2d> image;
  Ref<ykCompressor> compressor;
  Header header;
  bool hasHeader = false;
  IMG_PALENTRY palette[256] = {};
  Bytes rows, packed;
};

HRESULT FailDamaged() noexcept { return Fail(YK_E_BADFILE, LOAD, L"the image is damaged"); }

bool Loading::Read(void* to, size_t size) noexcept {
  return ReadBytes(reader, to, static_cast<unsigned>(size));
}

HRESULT Loading::LoadHeader() noexcept {
  hasHeader = Read(&header, sizeof header);
  if (!hasHeader) return FailDamaged();
  if (header.format == IMG_NONE) return S_OK;
  bool const isKnown = img::GetFacts(header.format).format != IMG_NONE;
  if (!isKnown) return Fail(YK_E_BADFILE, LOAD, L"no pixel format has the number %d", header.format);
  bool const isPossible =
      header.width > 0 && header.height > 0 && img::GetRowSize(header.format, header.width) <= INT32_MAX;
  return isPossible ? S_OK : FailDamaged();
}

HRESULT Loading::LoadMethod() noexcept {
  Guid method;
  if (!Read(&method, sizeof method)) return FailDamaged();
  unsigned const before = ErrorCount();
  compressor = MakeCompressor(method);
  if (compressor) return S_OK;
  String const name(method);
  return FailSince(before, YK_E_NOTFOUND, LOAD, L"there is no plug-in for the image's compression, %s",
                   method == ids::COMPRESSION_ZLIB ? L"zlib" : name.c_str());
}

HRESULT Loading::LoadName() noexcept {
  unsigned const characters = reader.GetRemaining() / sizeof(wchar_t);
  image->name.Load(&reader);
  return image->name.Length() == characters ? S_OK : FailMemory(LOAD, characters * sizeof(wchar_t));
}

HRESULT Loading::LoadPalette() noexcept {
  return Read(palette, std::min<size_t>(reader.GetRemaining(), sizeof palette)) ? S_OK : FailDamaged();
}

HRESULT Loading::LoadProperties() noexcept {
  Ref<Map> const properties = Ref<Map>::Adopt(Map::Create());
  if (!properties) return E_OUTOFMEMORY;
  HRESULT const loaded = properties->Load(&reader, context);
  if (Failed(loaded)) return loaded;
  return img::CopyProperties(properties.get(), *image) ? S_OK : FailMemory(LOAD, sizeof *properties);
}

HRESULT Loading::LoadBlob() noexcept {
  unsigned key = 0;
  if (!Read(&key, sizeof key)) return FailDamaged();
  unsigned const size = reader.GetRemaining();
  Variant value;
  Bytes bytes;
  if (!bytes.Resize(size)) return FailMemory(LOAD, size);
  if (!Read(bytes.begin(), size)) return FailDamaged();
  value.Init(bytes.begin(), size, false);
  bool const isHeld = size == 0 || value.type == Variant::BLOB;
  return isHeld && image->SetValue(key, value) != E_OUTOFMEMORY ? S_OK : FailMemory(LOAD, size);
}

/// Nothing is allocated that the file's bytes, or the host's limit, do not justify.
HRESULT Loading::CheckSize(Blocks const& blocks) noexcept {
  int64_t const least = compressor ? blocks.Count() * int64_t{sizeof(unsigned) + 1} : blocks.Total();
  if (least > reader.GetRemaining()) return FailDamaged();
  uint64_t const limit = img::GetReadLimit();
  int64_t const size = img::GetRowSize(header.format, header.width) * header.height;
  if (static_cast<uint64_t>(size) <= limit) return S_OK;
  return Fail(E_OUTOFMEMORY, LOAD, L"the image needs %lld bytes, more than the limit of %llu", size, limit);
}

HRESULT Loading::LoadPixels() noexcept {
  if (header.format == IMG_NONE || image->bits) return FailDamaged();
  Blocks const blocks(header.format, header.width, header.height);
  HRESULT const checked = CheckSize(blocks);
  if (Failed(checked)) return checked;
  unsigned const before = ErrorCount();
  if (Failed(image->Create(header.format, header.width, header.height)))
    return FailSince(before, E_OUTOFMEMORY, LOAD, L"there is no room for the image");
  if (img::GetFacts(header.format).paletteEntries)
    memcpy(image->palette, palette, image->paletteCount * sizeof(IMG_PALENTRY));
  unsigned const block = blocks.BytesFrom(0), most = std::min(block, reader.GetRemaining());
  if ((!blocks.AreRows() && !rows.Resize(block)) || (compressor && !packed.Resize(most)))
    return FailMemory(LOAD, block);
  return LoadBlocks(blocks);
}

HRESULT Loading::LoadBlocks(Blocks const& blocks) noexcept {
  ProgressMeter meter(context, LOAD, static_cast<uint64_t>(header.height), ProgressMeter::Unit::ROWS);
  for (int first = 0; first < header.height; first = blocks.After(first)) {
    unsigned char* const to = blocks.AreRows() ? Blocks::RowOf(*image, first) : rows.begin();
    HRESULT const loaded = LoadBlock(to, blocks.BytesFrom(first));
    if (Failed(loaded)) return loaded;
    blocks.Scatter(rows.begin(), *image, first);
    if (!meter.Reach(static_cast<unsigned>(blocks.After(first)))) return meter.Result(S_OK);
  }
  return S_OK;
}

/// Reads a block of `size` bytes of rows.
HRESULT Loading::LoadBlock(unsigned char* to, unsigned size) noexcept {
  unsigned stored = 0;
  if (!Read(&stored, sizeof stored) || stored > size) return FailDamaged();
  if (stored == size) return Read(to, size) ? S_OK : FailDamaged();
  if (!compressor || stored > packed.Count() || !Read(packed.begin(), stored)) return FailDamaged();
  unsigned const before = ErrorCount();
  HRESULT const result = compressor->Decompress(packed.begin(), stored, to, size);
  return Succeeded(result) ? S_OK : FailSince(before, result, LOAD, L"the image cannot be decompressed");
}

Loading::Part const Loading::PARTS[] = {
    {img::CHUNK_HEADER, &Loading::LoadHeader},   {img::CHUNK_METHOD, &Loading::LoadMethod},
    {img::CHUNK_NAME, &Loading::LoadName},       {img::CHUNK_PROPERTIES, &Loading::LoadProperties},
    {img::CHUNK_PALETTE, &Loading::LoadPalette}, {img::CHUNK_PIXELS, &Loading::LoadPixels},
    {img::CHUNK_BLOB, &Loading::LoadBlob}};

HRESULT Loading::LoadPart(unsigned short tag) noexcept {
  for (Part const& part : PARTS) {
    if (part.tag == tag) return (this->*part.load)();
  }
  return tag == 0 ? FailDamaged() : S_OK;  // 0: the chunk is corrupt
}

HRESULT Loading::Run() noexcept {
  image = Ref<Image2d>::Adopt(Image2d::Create());
  if (!image) return E_OUTOFMEMORY;
  while (reader.IsInChunk()) {
    HRESULT const result = LoadPart(reader.BeginChunk());
    reader.EndChunk();
    if (Failed(result)) return result;
  }
  bool const isComplete = hasHeader && (header.format == IMG_NONE || image->bits);
  return isComplete ? S_OK : FailDamaged();
}

}  // namespace

HRESULT img::SaveTo(Serializer& writer, Image2d& image, unsigned short tag, Guid const& method,
                    ExecutionContext* context) noexcept {
  if (!writer.GetStream()) return Fail(E_FAIL, SAVE, L"no file is open");
  Ref<Image2d> const held = Ref<Image2d>::Share(&image);
  Ref<Serializer> const heldWriter = Ref<Serializer>::Share(&writer);
  writer.BeginChunk(tag);
  HRESULT const saved = SaveParts(writer, image, method, context);
  writer.EndChunk();
  return Failed(saved) ? NoteFailure(writer, saved) : writer.GetFailure();
}

HRESULT img::LoadFrom(Deserializer& reader, Image2d** result, ExecutionContext* context) noexcept {
  if (!result) return FailNull(LOAD, L"result");
  *result = nullptr;
  if (!reader.GetStream()) return Fail(E_FAIL, LOAD, L"no file is open");
  Ref<Deserializer> const held = Ref<Deserializer>::Share(&reader);
  bool const wasSound = Succeeded(reader.GetFailure());
  Loading loading(reader, context);
  HRESULT const loaded = loading.Run();
  if (Failed(loaded)) return NoteFailure(reader, loaded);
  // Values of the properties that there was no memory for are known to the reader alone.
  if (wasSound && Failed(reader.GetFailure())) return reader.GetFailure();
  *result = loading.Detach();
  return S_OK;
}

}  // namespace yk
