// Images in object files, beside the data of a program: without loss, with palette, name and properties.
//
//   img::SaveTo(*writer, *picture, PICTURE_TAG);                  // one chunk
//
//   Ref<Image2d> picture;
//   while (reader->IsInChunk()) {
//     if (reader->BeginChunk() == PICTURE_TAG) img::LoadFrom(*reader, picture.Receive());
//     reader->EndChunk();
//   }
//
//   the caller's tag ── HEADER      format, width, height: 12 bytes; zeros for an image without pixels
//                    ├─ METHOD      the identifier of the compression; absent: none
//                    ├─ NAME        characters (String)
//                    ├─ PALETTE     entries, of the palette formats
//                    ├─ PROPERTIES  the entries of a Map
//                    ├─ BLOB        one for each property of bytes, such as a colour profile: key, bytes
//                    └─ PIXELS      rows without padding, the bottom one first, in blocks
//
//   a block   0          4
//             +----------+---------+      as many rows as fit BLOCK_BYTES, at least one; stored as they are
//             | size     | bytes   |      when the size is that of the rows, else compressed
//             +----------+---------+
//
// Parts of unknown tags are skipped. The two persistence slots of an image stay E_NOTIMPL: these functions
// are beside the class. Not saved: the data of drivers, properties that are transient or objects' own, and
// the other values that a Map does not save (map.h).
//
// Pixels are compressed by the plug-in for a method (core/compressor.h), such as qezip; without it they are
// stored as they are. To read them, the same plug-in is needed.
//
// Failure: result codes, and the writer's or reader's GetFailure; LastError() says why (error.h). One thread
// at a time.
#pragma once

#include <qecore/image/image.h>

namespace yk {

class Deserializer;
class Serializer;

namespace img {

/// The tags of the parts.
enum ChunkTag : unsigned short {
  CHUNK_HEADER = 1100,
  CHUNK_METHOD = 1101,
  CHUNK_NAME = 1102,
  CHUNK_PALETTE = 1103,
  CHUNK_PROPERTIES = 1104,
  CHUNK_PIXELS = 1105,
  CHUNK_BLOB = 1106,
};

/// Rows are put in blocks of up to so many bytes; a larger row has its own.
inline constexpr unsigned BLOCK_BYTES = 0x40000;

/// Writes the image as a chunk with this tag, inside the writer's open one. `method` names the compression;
/// Guid() stores the pixels as they are. E_ABORT: the host stopped it; E_OUTOFMEMORY; otherwise the writer's
/// failure. The chunk is then incomplete, and so is the file.
YK_API HRESULT SaveTo(Serializer& writer, Image2d& image, unsigned short tag,
                      Guid const& method = ids::COMPRESSION_ZLIB,
                      ExecutionContext* context = nullptr) noexcept;

/// Reads an image from the reader's current chunk. `*result` is a new image with one reference, the caller's;
/// null after every failure. YK_E_BADFILE: the chunk is damaged; YK_E_NOTFOUND: there is no plug-in for the
/// compression; E_OUTOFMEMORY: also for a picture beyond the limit for reading (image_limits.h); E_ABORT.
YK_API HRESULT LoadFrom(Deserializer& reader, Image2d** result, ExecutionContext* context = nullptr) noexcept;

}  // namespace img
}  // namespace yk
