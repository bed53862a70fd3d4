// The object file: chunks that nest.
//
//   offset  0        2              6                    size
//           +--------+--------------+--------------------+
//           | tag    | size         | payload            |      size includes these 6 bytes;
//           +--------+--------------+--------------------+      the payload is bytes, chunks, or both
//
//   FILE_FRAME ── VERSION              2, in 32 bits
//              ├─ BANNER               text for people who look into the file
//              ├─ CLASS_TABLE_OFFSET   offset of the chunk CLASS_TABLE from the start of the frame;
//              ├─ OBJECT_TABLE_OFFSET  likewise; the writer makes neither table and writes 0
//              └─ BODY                 the data of the objects
//
// Chunks nest to any depth that the bytes allow: walk through files from elsewhere in a loop, not by
// recursion.
//
// A reference to an object is a signed 32-bit number: an index into the objects so far or, at the object's
// first occurrence, -(index + 1) followed by an empty chunk FIRST_OCCURRENCE. All numbers are little-endian.
#pragma once

#include <stddef.h>

namespace yk::chunk {

/// The tags of the format itself. Objects choose the tags of their own chunks.
inline constexpr unsigned short BODY = 1;
inline constexpr unsigned short VERSION = 2;
inline constexpr unsigned short CLASS_TABLE = 3;
inline constexpr unsigned short OBJECT_TABLE = 4;
inline constexpr unsigned short CLASS_TABLE_OFFSET = 5;
inline constexpr unsigned short OBJECT_TABLE_OFFSET = 6;
inline constexpr unsigned short FILE_FRAME = 9;
inline constexpr unsigned short FIRST_OCCURRENCE = 10;
inline constexpr unsigned short BANNER = 11;

/// The tag of an entry of a Map.
inline constexpr unsigned short MAP_ENTRY = 1000;

inline constexpr unsigned HEADER_SIZE = 6;   ///< bytes of a tag and a size
inline constexpr unsigned FILE_VERSION = 2;  ///< the payload of VERSION

// flags of Open
inline constexpr unsigned NO_TABLES = 1;  ///< omit the two offsets
inline constexpr unsigned RAW = 2;        ///< no frame, only the objects' data

// flags of BeginChunk
inline constexpr unsigned short DROP_IF_EMPTY = 1;  ///< a chunk without payload is removed again

/// The chunks that a writer or a reader has open; freed together with it. For the library only.
template <class OpenChunk>
struct Stack {
  Stack() noexcept = default;
  ~Stack();
  Stack(Stack const&) = delete;
  Stack& operator=(Stack const&) = delete;
  /// The chunk at this depth.
  OpenChunk& operator[](int i) noexcept { return items[i]; }

  OpenChunk* items = nullptr;  ///< the outermost first
  size_t capacity = 0;         ///< how many there is room for
};

}  // namespace yk::chunk
