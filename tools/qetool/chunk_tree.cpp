#include "chunk_tree.h"

#include <qecore/core/guid.h>
#include <qecore/io/chunk.h>

#include <algorithm>
#include <optional>

#include "text.h"

namespace qetool {

using namespace yk;

namespace {

// Deeper than any object of the library, and no deeper than the stack takes.
constexpr int DEEPEST = 1024;

// As much plain data as the library itself puts before chunks in one payload.
constexpr size_t LONGEST_PREFIX = 16;

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

// All zero when too few bytes are left for one.
Header ReadHeader(Bytes bytes) {
  if (bytes.size() < chunk::HEADER_SIZE) return {};
  return {static_cast<unsigned>(Number(bytes.first(2))), Number(bytes.subspan(2, 4))};
}

bool IsSound(Header const& header, Bytes bytes) {
  return header.tag && header.size >= chunk::HEADER_SIZE && header.size <= bytes.size();
}

// True when sound chunks, at least one, fill the bytes exactly.
bool AreChunks(Bytes bytes) {
  if (bytes.empty()) return false;
  while (!bytes.empty()) {
    Header const header = ReadHeader(bytes);
    if (!IsSound(header, bytes)) return false;
    bytes = bytes.subspan(header.size);
  }
  return true;
}

class Parser {
 public:
  explicit Parser(Bytes bytes) : file(bytes) {}

  // Chunks that stand one behind the other; stops at the first that is none.
  std::vector<ChunkNode> Siblings(Bytes bytes, int depth) {
    std::vector<ChunkNode> nodes;
    while (!bytes.empty()) {
      Header const header = ReadHeader(bytes);
      if (!IsSound(header, bytes)) {
        Damaged(header, bytes);
        break;
      }
      nodes.push_back(Node(header, bytes.first(header.size), depth));
      bytes = bytes.subspan(header.size);
    }
    return nodes;
  }

  // A frame that claims more than there is: what there is of it is looked into all the same.
  std::vector<ChunkNode> Roots() {
    Header const header = ReadHeader(file);
    if (header.tag != chunk::FILE_FRAME || header.size <= file.size()) return Siblings(file, 0);
    Damaged(header, file);
    ChunkNode frame;
    frame.tag = header.tag;
    frame.payload = file.subspan(chunk::HEADER_SIZE);
    frame.plain = frame.payload.first(0);
    frame.children = Siblings(frame.payload, 1);
    std::vector<ChunkNode> roots;
    roots.push_back(std::move(frame));
    return roots;
  }

  std::string damage;

 private:
  size_t OffsetOf(Bytes bytes) const { return static_cast<size_t>(bytes.data() - file.data()); }

  ChunkNode Node(Header const& header, Bytes whole, int depth) {
    ChunkNode node;
    node.tag = header.tag;
    node.offset = OffsetOf(whole);
    node.payload = node.plain = whole.subspan(chunk::HEADER_SIZE);
    if (depth == DEEPEST) {
      if (AreChunks(node.payload)) Note(Format("chunks at offset %zu nest too deep", node.offset));
      return node;
    }
    size_t const longest = std::min(LONGEST_PREFIX, node.payload.size());
    for (size_t prefix = 0; prefix <= longest; ++prefix) {
      if (!AreChunks(node.payload.subspan(prefix))) continue;
      node.plain = node.payload.first(prefix);
      node.children = Siblings(node.payload.subspan(prefix), depth + 1);
      break;
    }
    return node;
  }

  void Note(std::string text) {
    if (damage.empty()) damage = std::move(text);  // the first is the cause
  }

  void Damaged(Header const& header, Bytes bytes) {
    size_t const offset = OffsetOf(bytes);
    if (bytes.size() < chunk::HEADER_SIZE) {
      Note(Format("%zu bytes at offset %zu are no chunk", bytes.size(), offset));
    } else {
      Note(Format("the chunk at offset %zu (tag %u) claims %zu bytes, and %zu are there", offset, header.tag,
                  header.size, bytes.size()));
    }
  }

  Bytes file;
};

// What the library itself writes: the format's own tags stand beside the body, the others anywhere.
struct TagName {
  unsigned tag;
  char const* name;
  bool onlyInFrame;
};

constexpr TagName TAG_NAMES[] = {
    {chunk::FILE_FRAME, "file", true},
    {chunk::VERSION, "version", true},
    {chunk::BANNER, "banner", true},
    {chunk::CLASS_TABLE, "class table", true},
    {chunk::OBJECT_TABLE, "object table", true},
    {chunk::CLASS_TABLE_OFFSET, "offset of the class table", true},
    {chunk::OBJECT_TABLE_OFFSET, "offset of the object table", true},
    {chunk::BODY, "body", true},
    {chunk::FIRST_OCCURRENCE, "first occurrence", false},
    {1000, "map entry", false},
    {PLUGIN_LIST, "plug-ins", false},
    {0x1001, "plug-in", false},
    {274, "file name", false},
    {0x1003, "file time", false},
    {0x1004, "file size", false},
    {0x1002, "class", false},
    {0x1007, "class identifier", false},
    {0x1006, "interface identifier", false},
    {0x1005, "filter information", false},
};

bool IsText(unsigned unit) {
  return (unit >= ' ' && unit != 0x7F && unit < 0xD800) || unit == '\n' || unit == '\t';
}

// Narrow or UTF-16 text, quoted; nothing for what is neither.
std::optional<std::string> AsText(Bytes bytes) {
  auto const quoted = [](std::string text) {
    for (size_t at = 0; (at = text.find_first_of("\n\t", at)) != std::string::npos; at += 2) {
      text.replace(at, 1, text[at] == '\n' ? "\\n" : "\\t");
    }
    return "\"" + text + "\"";
  };
  if (std::all_of(bytes.begin(), bytes.end(), [](unsigned c) { return c < 0x80 && IsText(c); })) {
    return quoted(std::string(bytes.begin(), bytes.end()));
  }
  if (bytes.size() % 2) return {};
  std::wstring wide;
  for (size_t i = 0; i < bytes.size(); i += 2) {
    wide += static_cast<wchar_t>(bytes[i] | bytes[i + 1] << 8);
    if (!IsText(wide.back())) return {};
  }
  return quoted(ToUtf8(wide.c_str()));
}

}  // namespace

ChunkTree ParseChunks(Bytes file) {
  Parser parser(file);
  ChunkTree tree = {parser.Roots(), {}};
  tree.damage = parser.damage;
  return tree;
}

char const* ChunkName(ChunkNode const& node, ChunkNode const* parent) {
  bool const inFrame = !parent || parent->tag == chunk::FILE_FRAME;
  for (TagName const& row : TAG_NAMES) {
    if (row.tag == node.tag && (inFrame || !row.onlyInFrame)) return row.name;
  }
  return nullptr;
}

std::string DescribePlain(ChunkNode const& node) {
  Bytes const bytes = node.plain;
  if (bytes.empty()) return {};
  if (node.tag == 0x1006 || node.tag == 0x1007) {
    Guid id;
    if (bytes.size() == sizeof id) {
      std::copy(bytes.begin(), bytes.end(), reinterpret_cast<unsigned char*>(&id));
      return ToText(id);
    }
  }
  if (bytes.size() == 4 || bytes.size() == 8) {
    uint64_t const number = Number(bytes);
    return Format("%llu (0x%llX)", static_cast<unsigned long long>(number),
                  static_cast<unsigned long long>(number));
  }
  if (auto const text = AsText(bytes)) return *text;
  std::string hex;
  size_t const shown = std::min<size_t>(bytes.size(), 16);
  for (size_t i = 0; i < shown; ++i) hex += Format(i ? " %02X" : "%02X", bytes[i]);
  return hex + (shown < bytes.size() ? " ..." : "");
}

}  // namespace qetool
