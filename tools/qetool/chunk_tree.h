// The chunks of an object file as a tree, made from bytes that nobody vouches for.
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
  Bytes plain;        // the bytes of the payload before the first child; all of it when there is none
  size_t parent = 0;  // index of the node around it; ChunkTree::NONE at the top
  int depth = 0;      // 0 at the top
};

struct ChunkTree {
  static constexpr size_t NONE = SIZE_MAX;

  ChunkNode const* ParentOf(ChunkNode const& node) const {
    return node.parent == NONE ? nullptr : &nodes[node.parent];
  }

  /// Each before its children: chunks nest as deep as the file has bytes, and nobody needs a stack to walk
  /// them.
  std::vector<ChunkNode> nodes;
  /// What is wrong, with its offset; empty for a sound file. The nodes are what could be read all the same.
  std::string damage;
};

/// Payloads do not say whether they hold chunks: one does when chunks fill it exactly, after at most a few
/// bytes of plain data. The time is linear: once a file has cost more tries than any honest one, its payloads
/// count as plain.
ChunkTree ParseChunks(Bytes file);

/// "body", "class", ... for the tags that the library itself writes; null for others. `parent` is null at the
/// top.
char const* ChunkName(ChunkNode const& node, ChunkNode const* parent);

/// The plain bytes for a person: a number, a text, an identifier, or bytes.
std::string DescribePlain(ChunkNode const& node);

}  // namespace qetool
