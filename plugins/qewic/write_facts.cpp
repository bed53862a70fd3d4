#include "write_facts.h"

#include <qecore/image/file_info.h>
#include <qecore/io/mem_stream.h>
#include <qecore/values/string.h>
#include <string.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <new>

#include "deflate.h"
#include "failure.h"
#include "file_facts.h"

namespace qewic {

using namespace yk;

namespace {

/// Writes numbers and bytes until a write fails.
class Out {
 public:
  explicit Out(Stream& target, bool highestFirst = true) noexcept : stream(target), bigEndian(highestFirst) {}

  void Put(void const* bytes, size_t size) noexcept {
    if (Succeeded(result) && size) result = WriteAll(stream, bytes, static_cast<unsigned>(size));
  }
  void Put(uint32_t number, unsigned size) noexcept {
    uint8_t bytes[4];
    for (unsigned i = 0; i < size; ++i)
      bytes[bigEndian ? size - 1 - i : i] = static_cast<uint8_t>(number >> 8 * i);
    Put(bytes, size);
  }

  static void Take(void* out, uint8_t const* bytes, size_t size) noexcept {
    static_cast<Out*>(out)->Put(bytes, size);
  }

  Stream& stream;
  bool bigEndian;
  HRESULT result = S_OK;
};

/// Bytes in memory.
struct Bytes {
  std::unique_ptr<uint8_t[]> data;
  uint32_t size = 0;

  bool Make(size_t length) noexcept {
    data.reset(new (std::nothrow) uint8_t[length + 1]);
    size = data ? static_cast<uint32_t>(length) : 0;
    return data != nullptr;
  }
  bool Read(Stream& stream) noexcept {
    return Make(stream.GetSize()) && Succeeded(stream.Seek(0, Stream::FROM_START)) &&
           (size == 0 || Succeeded(stream.Read(data.get(), size)));
  }
};

bool IsText(Variant const& value) noexcept {
  return value.type == Variant::NARROW_STRING || value.type == Variant::WIDE_STRING;
}

/// What an image says of itself.
class Facts {
 public:
  explicit Facts(Image2d& of) noexcept : image(of) {}

  /// Whether memory was missing for any part.
  bool lost = false;

  bool Keep(bool isMade) noexcept {
    lost |= !isMade;
    return isMade;
  }
  bool Get(img::FileInfoKey key, Variant& value) noexcept {
    HRESULT const result = image.GetValue(key, value);
    lost |= result == E_OUTOFMEMORY;
    return Succeeded(result);
  }
  bool Any() noexcept {
    return std::any_of(std::begin(img::FILE_INFO), std::end(img::FILE_INFO),
                       [&](img::FileInfoFacts const& row) {
                         Variant value;
                         return row.key >= img::INFO_ORIENTATION && (Get(row.key, value) || lost);
                       });
  }
  /// 0: it is not known.
  unsigned Orientation() noexcept {
    Variant value;
    unsigned number = 0;
    bool const isKnown = Get(img::INFO_ORIENTATION, value) && value.Get(number);
    return isKnown && number <= 8 ? number : 0;
  }
  double Resolution(img::FileInfoKey key) noexcept {
    Variant value;
    double inch = 0;
    bool const isKnown = Get(key, value) && value.Get(inch);
    return isKnown && inch > 0 && inch < 1e6 ? inch : 0;
  }
  void Text(img::FileInfoKey key, Bytes& utf8) noexcept {
    Variant value;
    String text;
    utf8.size = 0;
    if (!Get(key, value) || !IsText(value) || !Keep(value.Get(text))) return;
    if (text.IsEmpty() || text.Length() > 20000) return;
    int const room = 3 * static_cast<int>(text.Length());
    if (!Keep(utf8.Make(static_cast<size_t>(room)))) return;
    int const length = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), static_cast<int>(text.Length()),
                                           reinterpret_cast<char*>(utf8.data.get()), room, nullptr, nullptr);
    utf8.size = static_cast<uint32_t>(std::max(length, 0));
    utf8.data[utf8.size] = 0;
  }
  /// The profile, if it is one for the image's kind of pixels.
  void Profile(Bytes& profile) noexcept {
    Variant value;
    profile.size = 0;
    if (!Get(img::INFO_COLOR_PROFILE, value) || value.type != Variant::BLOB) return;
    if (!Keep(profile.Make(value.size))) return;
    value.Get(profile.data.get(), profile.size);
    char const* const kind = img::GetFacts(image.format).channels == 1 ? "GRAY" : "RGB ";
    if (profile.size < 128 || memcmp(profile.data.get() + 16, kind, 4) != 0) profile.size = 0;
  }

  Image2d& image;
};

// ---- tags, for TIFF and EXIF

struct TagValue {
  Tag tag;
  uint16_t type;
  uint32_t count;
  Bytes bytes;     // in the file's byte order
  uint8_t raw[4];  // of a tag that the file had: its value or where that is
  bool isRaw;
};

class Tags {
 public:
  /// Whether the resolution is among the tags.
  enum class Resolution { INCLUDED, APART };

  Tags(Facts& of, bool highestFirst) noexcept : facts(of), bigEndian(highestFirst) {}

  void Collect(Resolution resolution) noexcept;
  void AddProfile() noexcept;
  void AddRaw(Tag tag, uint16_t type, uint32_t length, uint8_t const* value) noexcept;
  void Write(Out& out, uint32_t at) noexcept;
  unsigned Count() const noexcept { return count; }

 private:
  enum Type : uint16_t { ASCII = 2, SHORT = 3, RATIONAL = 5, UNDEFINED = 7 };
  static constexpr unsigned MOST = 64;

  TagValue* New(Tag tag, uint16_t type, uint32_t length) noexcept;
  void AddShort(Tag tag, unsigned number) noexcept;
  void AddFraction(Tag tag, double number) noexcept;
  void Store(uint8_t* at, uint32_t number, unsigned size) const noexcept {
    for (unsigned i = 0; i < size; ++i)
      at[bigEndian ? size - 1 - i : i] = static_cast<uint8_t>(number >> 8 * i);
  }

  Facts& facts;
  bool const bigEndian;
  unsigned count = 0;
  TagValue values[MOST] = {};
};

/// Replaces a tag of the same number.
TagValue* Tags::New(Tag tag, uint16_t type, uint32_t length) noexcept {
  TagValue* const end = values + count;
  TagValue* value = std::find_if(values, end, [=](TagValue const& each) { return each.tag == tag; });
  if (value == end && count == MOST) return nullptr;
  if (value == end) ++count;
  value->tag = tag, value->type = type, value->count = length, value->isRaw = false;
  return value;
}

void Tags::AddRaw(Tag tag, uint16_t type, uint32_t length, uint8_t const* value) noexcept {
  if (TagValue* const made = New(tag, type, length)) {
    std::copy_n(value, 4, made->raw);
    made->isRaw = true;
  }
}

void Tags::AddShort(Tag tag, unsigned number) noexcept {
  TagValue* const made = New(tag, SHORT, 1);
  if (made && facts.Keep(made->bytes.Make(2))) Store(made->bytes.data.get(), number, 2);
}

void Tags::AddFraction(Tag tag, double number) noexcept {
  constexpr uint32_t PARTS = 1000;
  TagValue* const made = New(tag, RATIONAL, 1);
  if (!made || !facts.Keep(made->bytes.Make(8))) return;
  Store(made->bytes.data.get(), static_cast<uint32_t>(number * PARTS + 0.5), 4);
  Store(made->bytes.data.get() + 4, PARTS, 4);
}

void Tags::Collect(Resolution resolution) noexcept {
  for (auto const& [tag, key] : TEXT_TAGS) {
    Bytes text;
    facts.Text(key, text);
    TagValue* const made = text.size ? New(tag, ASCII, text.size + 1) : nullptr;
    if (!made) continue;
    made->bytes = std::move(text);
    ++made->bytes.size;  // the zero
  }
  if (unsigned const orientation = facts.Orientation()) AddShort(Tag::ORIENTATION, orientation);
  double const across = facts.Resolution(img::INFO_RESOLUTION_X),
               down = facts.Resolution(img::INFO_RESOLUTION_Y);
  if (resolution == Resolution::APART || across == 0 || down == 0) return;
  AddFraction(Tag::X_RESOLUTION, across);
  AddFraction(Tag::Y_RESOLUTION, down);
  AddShort(Tag::RESOLUTION_UNIT, 2);  // inches
}

void Tags::AddProfile() noexcept {
  Bytes profile;
  facts.Profile(profile);
  TagValue* const made = profile.size ? New(Tag::PROFILE, UNDEFINED, profile.size) : nullptr;
  if (made) made->bytes = std::move(profile);
}

/// Writes the directory, which begins `at` bytes after the place that offsets count from, and its values.
void Tags::Write(Out& out, uint32_t at) noexcept {
  std::sort(values, values + count, [](TagValue const& a, TagValue const& b) { return a.tag < b.tag; });
  uint32_t place = at + 2 + 12 * count + 4;
  out.Put(count, 2);
  for (unsigned i = 0; i < count; ++i) {
    TagValue const& value = values[i];
    uint8_t field[4] = {};
    uint32_t const size = value.isRaw ? 0 : value.bytes.size;
    if (value.isRaw) std::copy_n(value.raw, 4, field);
    if (size > 4) Store(field, place, 4);
    if (size > 0 && size <= 4) std::copy_n(value.bytes.data.get(), size, field);
    if (size > 4) place += (size + 1) & ~1u;
    out.Put(static_cast<uint32_t>(value.tag), 2);
    out.Put(value.type, 2);
    out.Put(value.count, 4);
    out.Put(field, 4);
  }
  out.Put(0u, 4);
  for (unsigned i = 0; i < count; ++i) {
    if (values[i].isRaw || values[i].bytes.size <= 4) continue;
    out.Put(values[i].bytes.data.get(), values[i].bytes.size);
    out.Put("", values[i].bytes.size % 2);
  }
}

/// The block of tags that PNG and JPEG files can have; empty without any.
void MakeExif(Facts& facts, Tags& tags, Bytes& exif) noexcept {
  Ref<Stream> memory;
  exif.size = 0;
  if (tags.Count() == 0 || !facts.Keep(Succeeded(MemStream::Create(memory.Receive())))) return;
  Out out(*memory);
  out.Put("MM\0*\0\0\0\x8", 8);
  tags.Write(out, 8);
  if (!facts.Keep(Succeeded(out.result) && exif.Read(*memory))) exif.size = 0;
}

// ---- PNG

void PutChunk(Out& out, char const* kind, uint8_t const* data, uint32_t size) noexcept {
  out.Put(size, 4);
  out.Put(kind, 4);
  out.Put(data, size);
  out.Put(Crc(data, size, Crc(reinterpret_cast<uint8_t const*>(kind), 4)), 4);
}

void PutPngTexts(Out& out, Facts& facts) noexcept {
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

void PutPngProfile(Out& out, Facts& facts, Bytes const& profile) noexcept {
  Ref<Stream> memory;
  if (!profile.size || !facts.Keep(Succeeded(MemStream::Create(memory.Receive())))) return;
  Out packed(*memory);
  Deflater deflater(Out::Take, &packed);
  if (!facts.Keep(deflater.Open(Z_BEST_COMPRESSION, false))) return;
  packed.Put("ICC\0", 5);  // its name, and how it is compressed
  deflater.Add(profile.data.get(), profile.size);
  deflater.Finish();
  Bytes chunk;
  if (facts.Keep(Succeeded(packed.result) && chunk.Read(*memory)))
    PutChunk(out, "iCCP", chunk.data.get(), chunk.size);
}

void WritePng(Out& out, Bytes const& file, Facts& facts) noexcept {
  constexpr uint32_t HEAD = 33;  // signature and header
  double const across = facts.Resolution(img::INFO_RESOLUTION_X),
               down = facts.Resolution(img::INFO_RESOLUTION_Y);
  bool const hasResolution = across > 0 && down > 0;
  if (file.size < HEAD) return out.Put(file.data.get(), file.size);
  Bytes profile, exif;
  facts.Profile(profile);
  out.Put(file.data.get(), HEAD);
  PutPngProfile(out, facts, profile);
  if (hasResolution) {
    uint32_t const sides[] = {static_cast<uint32_t>(across / INCH + 0.5),
                              static_cast<uint32_t>(down / INCH + 0.5)};
    uint8_t bytes[9] = {};
    for (unsigned i = 0; i < 8; ++i) bytes[i] = static_cast<uint8_t>(sides[i / 4] >> (24 - i % 4 * 8));
    bytes[8] = 1;  // metres
    PutChunk(out, "pHYs", bytes, sizeof bytes);
  }
  Tags tags(facts, true);
  if (facts.Orientation() > 1) tags.Collect(Tags::Resolution::APART);
  MakeExif(facts, tags, exif);
  if (exif.size) PutChunk(out, "eXIf", exif.data.get(), exif.size);
  PutPngTexts(out, facts);
  for (uint32_t at = HEAD; at + 12 <= file.size;) {
    uint8_t const* const chunk = file.data.get() + at;
    uint32_t const size = std::min(Big(chunk, 4), file.size - at - 12) + 12;
    auto const is = [=](char const* kind) { return memcmp(chunk + 4, kind, 4) == 0; };
    bool const isReplaced = (hasResolution && is("pHYs")) ||
                            (profile.size && (is("iCCP") || is("sRGB") || is("gAMA") || is("cHRM")));
    if (!isReplaced) out.Put(chunk, size);
    at += size;
  }
}

// ---- BMP

void StorePerMetre(uint8_t* at, double perInch) noexcept {
  uint32_t const number = static_cast<uint32_t>(perInch / INCH + 0.5);
  for (unsigned i = 0; i < 4; ++i) at[i] = static_cast<uint8_t>(number >> 8 * i);
}

void WriteBmp(Out& out, Bytes& file, Facts& facts) noexcept {
  constexpr uint32_t HEAD = 54;
  uint8_t* const bytes = file.data.get();
  double const across = facts.Resolution(img::INFO_RESOLUTION_X),
               down = facts.Resolution(img::INFO_RESOLUTION_Y);
  if (across > 0 && down > 0 && file.size >= HEAD && Little(bytes + 14, 4) >= 40) {
    StorePerMetre(bytes + 38, across);
    StorePerMetre(bytes + 42, down);
  }
  out.Put(bytes, file.size);
}

// ---- JPEG

constexpr uint32_t MOST_OF_SEGMENT = 65533;

void PutSegment(Out& out, uint8_t kind, void const* head, uint32_t headSize, void const* data,
                uint32_t size) noexcept {
  out.Put(0xFF00u | kind, 2);
  out.Put(2 + headSize + size, 2);
  out.Put(head, headSize);
  out.Put(data, size);
}

void PutJpegProfile(Out& out, Bytes const& profile) noexcept {
  constexpr uint32_t HEAD = 14, MOST = MOST_OF_SEGMENT - HEAD;
  uint32_t const parts = (profile.size + MOST - 1) / MOST;
  for (uint32_t i = 0; i < parts && parts < 256; ++i) {
    uint8_t head[HEAD] = "ICC_PROFILE";
    head[12] = static_cast<uint8_t>(i + 1);
    head[13] = static_cast<uint8_t>(parts);
    PutSegment(out, 0xE2, head, HEAD, profile.data.get() + i * MOST, std::min(MOST, profile.size - i * MOST));
  }
}

void WriteJpegFile(Out& out, Bytes& file, Facts& facts) noexcept {
  uint8_t* const bytes = file.data.get();
  bool const hasJfif = file.size > 20 && Big(bytes, 4) == 0xFFD8FFE0 && memcmp(bytes + 6, "JFIF", 5) == 0;
  uint32_t const head = hasJfif ? 4 + Big(bytes + 4, 2) : 2;
  if (file.size < head + 2) return out.Put(bytes, file.size);
  double const across = facts.Resolution(img::INFO_RESOLUTION_X),
               down = facts.Resolution(img::INFO_RESOLUTION_Y);
  bool const fits = across >= 1 && down >= 1 && across < 65535 && down < 65535;
  if (hasJfif && fits) {
    uint32_t const sides[] = {static_cast<uint32_t>(across + 0.5), static_cast<uint32_t>(down + 0.5)};
    bytes[13] = 1;  // inches
    for (unsigned i = 0; i < 4; ++i) bytes[14 + i] = static_cast<uint8_t>(sides[i / 2] >> (i % 2 ? 0 : 8));
  }
  out.Put(bytes, head);
  Tags tags(facts, true);
  tags.Collect(Tags::Resolution::INCLUDED);
  Bytes exif, profile, comment;
  MakeExif(facts, tags, exif);
  if (exif.size && exif.size + 6 <= MOST_OF_SEGMENT)
    PutSegment(out, 0xE1, "Exif\0\0", 6, exif.data.get(), exif.size);
  facts.Profile(profile);
  PutJpegProfile(out, profile);
  facts.Text(img::INFO_COMMENT, comment);
  if (comment.size) PutSegment(out, 0xFE, "", 0, comment.data.get(), comment.size);
  out.Put(bytes + head, file.size - head);
}

// ---- TIFF

/// A new directory after the file, with what the old one has.
void WriteTiff(Out& out, Bytes& file, Facts& facts) noexcept {
  uint8_t* const bytes = file.data.get();
  out.bigEndian = file.size && bytes[0] == 'M';
  auto const number = [&](uint32_t at, unsigned size) {
    return out.bigEndian ? Big(bytes + at, size) : Little(bytes + at, size);
  };
  uint32_t const old = file.size > 14 ? number(4, 4) : 0;
  uint32_t const count = old && old < file.size - 2 ? number(old, 2) : 0;
  if (count == 0 || count > 48 || (file.size - old - 2) / 12 < count) return out.Put(bytes, file.size);
  Tags tags(facts, out.bigEndian);
  for (uint32_t i = 0, at = old + 2; i < count; ++i, at += 12)
    tags.AddRaw(Tag(number(at, 2)), static_cast<uint16_t>(number(at + 2, 2)), number(at + 4, 4),
                bytes + at + 8);
  tags.Collect(Tags::Resolution::INCLUDED);
  tags.AddProfile();
  uint32_t const at = (file.size + 1) & ~1u;
  out.Put(bytes, 4);
  out.Put(at, 4);
  out.Put(bytes + 8, file.size - 8);
  out.Put("", at - file.size);
  tags.Write(out, at);
}

}  // namespace

struct FactsJob {
  Out& out;
  Bytes& file;
  Facts& facts;
};

void WritePngFacts(FactsJob& job) noexcept { WritePng(job.out, job.file, job.facts); }

void WriteJpegFacts(FactsJob& job) noexcept { WriteJpegFile(job.out, job.file, job.facts); }

void WriteBmpFacts(FactsJob& job) noexcept { WriteBmp(job.out, job.file, job.facts); }

void WriteTiffFacts(FactsJob& job) noexcept { WriteTiff(job.out, job.file, job.facts); }

FactsWriter::FactsWriter(Function function, Stream* target, Image2d& of) noexcept
    : write(function), stream(target), image(of), adds(function && Facts(of).Any()) {}

Stream* FactsWriter::Target() noexcept {
  if (!adds) return stream;
  return Succeeded(MemStream::Create(encoded.Receive())) ? encoded.get() : nullptr;
}

HRESULT FactsWriter::Finish(HRESULT result) noexcept {
  if (!encoded || yk::Failed(result)) return result;
  unsigned const before = ErrorCount();
  Bytes file;
  if (!file.Read(*encoded)) return Fail(E_OUTOFMEMORY, WRITE, L"not enough memory for a copy of the file");
  Out out(*stream);
  Facts facts(image);
  FactsJob job = {out, file, facts};
  write(job);
  HRESULT written = out.result;
  if (facts.lost) return Fail(E_OUTOFMEMORY, WRITE, L"not enough memory for what the image says of itself");
  if (Succeeded(written)) written = stream->GetState();  // bytes may be refused later
  return yk::Failed(written) ? FailSince(before, written, WRITE, L"it could not be written completely")
                             : S_OK;
}

}  // namespace qewic
