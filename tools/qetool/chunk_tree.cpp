#include "chunk_tree.h"

#include <qecore/core/guid.h>
#include <qecore/core/module_cache.h>
#include <qecore/io/chunk.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "text.h"

namespace qetool {

using namespace yk;

namespace {

// The most plain data that the library itself puts before the chunks of a payload.
constexpr size_t LONGEST_PREFIX = 16;

// How many headers may be examined while searching payloads for chunks, for each header that fits into the
// file. Ordinary files need a few. A crafted one, in which every level has a chain that is damaged only at
// the end of the file, would need the square of its size.
constexpr size_t HOPS_PER_HEADER = 64;

// Little-endian.
uint64_t Number(Bytes bytes) {
  uint64_t number = 0;
  for (size_t i = bytes.size(); i-- > 0;) number = number << 8 | bytes[i];
  return number;
}

struct Header {
  unsigned tag;
  size_t size;  // of the whole chunk
};

// All zero when too few bytes are left for a header.
Header ReadHeader(Bytes bytes) {
  if (bytes.size() < chunk::HEADER_SIZE) return {};
  return {static_cast<unsigned>(Number(bytes.first(2))), Number(bytes.subspan(2, 4))};
}

bool IsSound(Header const& header, Bytes bytes) {
  return header.tag && header.size >= chunk::HEADER_SIZE && header.size <= bytes.size();
}

class Parser {
 public:
  explicit Parser(Bytes bytes)
      : file(bytes), hopsLeft((bytes.size() / chunk::HEADER_SIZE + 1) * HOPS_PER_HEADER) {}

  ChunkTree Parse() && {
    Header const header = ReadHeader(file);
    if (header.tag == chunk::FILE_FRAME && header.size > file.size()) {
      // A truncated frame: its remaining bytes are parsed all the same.
      Damaged(header, file);
      Bytes const payload = file.subspan(chunk::HEADER_SIZE);
      Add(header.tag, file, payload);
      open.push_back({payload, 0});
    } else {
      open.push_back({file, ChunkTree::NONE});
    }
    while (!open.empty()) Step();
    return std::move(tree);
  }

 private:
  struct Level {
    Bytes rest;  // consecutive chunks
    size_t parent;
  };

  // True when one or more sound chunks fill the bytes exactly.
  bool AreChunks(Bytes bytes) {
    if (bytes.empty()) return false;
    while (!bytes.empty()) {
      Header const header = ReadHeader(bytes);
      if (hopsLeft == 0 || !IsSound(header, bytes)) return false;
      --hopsLeft;
      bytes = bytes.subspan(header.size);
    }
    return true;
  }

  // The part of a payload that its chunks fill: everything after a short prefix, or nothing.
  Bytes ChunksIn(Bytes payload) {
    size_t const longest = std::min(LONGEST_PREFIX, payload.size());
    for (size_t prefix = 0; prefix <= longest; ++prefix) {
      Bytes const rest = payload.subspan(prefix);
      if (AreChunks(rest)) return rest;
    }
    return payload.last(0);
  }

  // Takes the next chunk of the innermost level. The level ends with its bytes, or at the first that
  // are not a chunk.
  void Step() {
    Level& level = open.back();
    Bytes const rest = level.rest;
    Header const header = ReadHeader(rest);
    if (!IsSound(header, rest)) {
      if (!rest.empty()) Damaged(header, rest);
      open.pop_back();
      return;
    }
    level.rest = rest.subspan(header.size);
    Bytes const whole = rest.first(header.size);
    Bytes const chunks = ChunksIn(whole.subspan(chunk::HEADER_SIZE));
    Add(header.tag, whole, chunks);
    if (!chunks.empty()) open.push_back({chunks, tree.nodes.size() - 1});
  }

  void Add(unsigned tag, Bytes whole, Bytes chunks) {
    ChunkNode node;
    node.tag = tag;
    node.offset = OffsetOf(whole);
    node.payload = whole.subspan(chunk::HEADER_SIZE);
    node.plain = node.payload.first(node.payload.size() - chunks.size());
    node.parent = open.empty() ? ChunkTree::NONE : open.back().parent;
    node.depth = node.parent == ChunkTree::NONE ? 0 : tree.nodes[node.parent].depth + 1;
    tree.nodes.push_back(node);
  }

  size_t OffsetOf(Bytes bytes) const { return static_cast<size_t>(bytes.data() - file.data()); }

  void Damaged(Header const& header, Bytes bytes) {
    if (!tree.damage.empty()) return;  // the first damage is the cause
    size_t const offset = OffsetOf(bytes);
    if (bytes.size() < chunk::HEADER_SIZE) {
      tree.damage = Format("%zu bytes at offset %zu are not a chunk", bytes.size(), offset);
    } else {
      tree.damage = Format("the chunk at offset %zu (tag %u) claims %zu bytes, but only %zu are left", offset,
                           header.tag, header.size, bytes.size());
    }
  }

  Bytes file;
  size_t hopsLeft;
  ChunkTree tree;
  std::vector<Level> open;
};

// Tags of object files: the format's own are valid only outside the body, the others anywhere.
enum class Place { FRAME, ANYWHERE };

struct TagName {
  unsigned tag;
  char const* name;
  Place place;
};

constexpr TagName TAG_NAMES[] = {
    {chunk::FILE_FRAME, "file", Place::FRAME},
    {chunk::VERSION, "version", Place::FRAME},
    {chunk::BANNER, "banner", Place::FRAME},
    {chunk::CLASS_TABLE, "class table", Place::FRAME},
    {chunk::OBJECT_TABLE, "object table", Place::FRAME},
    {chunk::CLASS_TABLE_OFFSET, "offset of the class table", Place::FRAME},
    {chunk::OBJECT_TABLE_OFFSET, "offset of the object table", Place::FRAME},
    {chunk::BODY, "body", Place::FRAME},
    {chunk::FIRST_OCCURRENCE, "first occurrence", Place::ANYWHERE},
    {chunk::MAP_ENTRY, "map entry", Place::ANYWHERE},
};

/// An encoding of texts whose characters all have the same size.
struct Encoding {
  size_t bytes;   // of a character
  unsigned most;  // the first number that is not a character
};

constexpr Encoding ASCII = {1, 0x80}, UTF16 = {2, 0xD800};

bool IsText(unsigned unit, Encoding const& encoding) {
  bool const isPrinted = unit >= ' ' && unit != 0x7F && unit < encoding.most;
  return isPrinted || unit == '\n' || unit == '\t';
}

// Nothing if the bytes are not a text.
std::optional<std::wstring> AsText(Bytes bytes, Encoding const& encoding) {
  if (bytes.size() % encoding.bytes) return {};
  std::wstring text;
  for (size_t i = 0; i < bytes.size(); i += encoding.bytes) {
    auto const unit = static_cast<unsigned>(Number(bytes.subspan(i, encoding.bytes)));
    if (!IsText(unit, encoding)) return {};
    text += static_cast<wchar_t>(unit);
  }
  return text;
}

// The beginning of a text in one line.
std::string Quoted(std::wstring const& text) {
  constexpr size_t MOST_SHOWN = 400;
  std::wstring shown;
  for (wchar_t const c : text.substr(0, MOST_SHOWN))
    shown += c == '\n' ? L"\\n" : c == '\t' ? L"\\t" : std::wstring(1, c);
  return "\"" + ToUtf8(shown.c_str()) + (text.size() <= MOST_SHOWN ? "\"" : "\" ...");
}

// Nothing if the bytes are not one, or the chunk is not for one.
std::optional<Guid> AsIdentifier(ChunkNode const& node) {
  bool const isForOne = node.tag == cache::INTERFACE_ID || node.tag == cache::CLASS_ID;
  Guid id;
  if (!isForOne || node.plain.size() != sizeof id) return {};
  std::copy(node.plain.begin(), node.plain.end(), reinterpret_cast<unsigned char*>(&id));
  return id;
}

constexpr size_t MOST_HEX = 16;

}  // namespace

ChunkTree ParseChunks(Bytes file) { return Parser(file).Parse(); }

char const* ChunkName(ChunkNode const& node, ChunkNode const* parent) {
  bool const inFrame = !parent || parent->tag == chunk::FILE_FRAME;
  for (TagName const& row : TAG_NAMES) {
    if (row.tag == node.tag && (inFrame || row.place == Place::ANYWHERE)) return row.name;
  }
  for (auto const& [tag, name] : cache::TAG_NAMES) {
    if (tag == node.tag) return name;
  }
  return nullptr;
}

PlainValue ReadPlain(ChunkNode const& node) {
  using Kind = PlainValue::Kind;
  Bytes const bytes = node.plain;
  if (bytes.empty()) return {};
  if (auto const id = AsIdentifier(node)) return {Kind::IDENTIFIER, 0, ToWide(ToText(*id)).c_str(), bytes};
  if (bytes.size() == 4 || bytes.size() == 8) return {Kind::NUMBER, Number(bytes), {}, bytes};
  for (Encoding const& encoding : {ASCII, UTF16}) {
    if (auto const text = AsText(bytes, encoding)) return {Kind::TEXT, 0, *text, bytes};
  }
  return {Kind::BYTES, 0, {}, bytes};
}

std::string ToHex(Bytes bytes) {
  std::string hex;
  for (unsigned char const byte : bytes.first(std::min(bytes.size(), MOST_HEX)))
    hex += Format(hex.empty() ? "%02X" : " %02X", byte);
  return hex;
}

std::string DescribePlain(ChunkNode const& node) {
  PlainValue const value = ReadPlain(node);
  unsigned long long const number = value.number;
  switch (value.kind) {
    case PlainValue::Kind::NUMBER:
      return Format("%llu (0x%llX)", number, number);
    case PlainValue::Kind::TEXT:
      return Quoted(value.text);
    case PlainValue::Kind::IDENTIFIER:
      return ToUtf8(value.text.c_str());
    default:
      return ToHex(value.bytes) + (value.bytes.size() > MOST_HEX ? " ..." : "");
  }
}

}  // namespace qetool
