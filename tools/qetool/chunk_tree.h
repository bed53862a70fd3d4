// The chunks of an object file as a tree, parsed from bytes that are not trusted.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <span>
#include <string>
#include <vector>

namespace qetool {

using Bytes = std::span<unsigned char const>;

struct ChunkNode {
  unsigned tag = 0;
  size_t offset = 0;  // of the header, from the start of the file
  Bytes payload;      // without the header
  Bytes plain;        // the bytes of the payload before the first child; the whole payload without children
  size_t parent = 0;  // index of the enclosing node; ChunkTree::NONE at the top
  int depth = 0;      // 0 at the top
};

struct ChunkTree {
  static constexpr size_t NONE = SIZE_MAX;

  ChunkNode const* ParentOf(ChunkNode const& node) const {
    return node.parent == NONE ? nullptr : &nodes[node.parent];
  }

  /// Each node precedes its children, so that nesting of any depth is traversed without recursion.
  std::vector<ChunkNode> nodes;
  /// What is wrong, with its offset; empty for a sound file. The nodes contain all that could be read.
  std::string damage;
};

/// The format does not mark payloads that contain chunks: one does if chunks fill it exactly, after at most a
/// few bytes of plain data. The time is linear: after more attempts than an ordinary file needs, the
/// remaining payloads count as plain.
ChunkTree ParseChunks(Bytes file);

/// "body", "class", ... for the tags that the library itself writes; null for others. `parent` is null at the
/// top.
char const* ChunkName(ChunkNode const& node, ChunkNode const* parent);

/// What the plain bytes of a chunk mean.
struct PlainValue {
  enum class Kind { NONE, NUMBER, IDENTIFIER, TEXT, BYTES };

  Kind kind = Kind::NONE;
  uint64_t number = 0;
  std::wstring text;  // of an identifier or a text, the whole one
  Bytes bytes;        // all of them
};

PlainValue ReadPlain(ChunkNode const& node);

/// The first bytes in hexadecimal form: "FF FE FD".
std::string ToHex(Bytes bytes);

/// The plain bytes in readable form: a number, the beginning of a text, an identifier, or hexadecimal bytes.
std::string DescribePlain(ChunkNode const& node);

}  // namespace qetool
