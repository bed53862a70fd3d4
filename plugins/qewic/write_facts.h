// Files with what an image's properties say of it: see image/file_info.h.
#pragma once

#include <qecore/core/ref.h>
#include <qecore/image/image.h>
#include <qecore/io/stream.h>

namespace qewic {

/// A written file to which facts are added.
struct FactsJob;

// Add facts to a file of one format: see Codec::writeFacts.
void WriteJpegFacts(FactsJob& job) noexcept;
void WriteBmpFacts(FactsJob& job) noexcept;

/// Adds resolution, orientation, colour profile and texts to a JPEG file that an encoder writes, and the
/// resolution to a BMP file, in the way in which readers of these formats find them. Encoders differ in what
/// of this they can write.
///
///   FactsWriter facts(codec.writeFacts, stream, image);
///   if (yk::Stream* to = facts.Target()) return facts.Finish(WritePicture(codec, to, image));
class FactsWriter {
 public:
  using Function = void (*)(FactsJob& job) noexcept;

  /// `function` is one of those above, or null.
  FactsWriter(Function function, yk::Stream* stream, yk::Image2d& image) noexcept;

  /// Where the encoder has to write: the stream itself when there is nothing to add. Null: no memory.
  yk::Stream* Target() noexcept;
  /// Writes the file to the stream. \return the encoder's `result` if that is a failure
  HRESULT Finish(HRESULT result) noexcept;

 private:
  Function const write;
  yk::Stream* stream;
  yk::Image2d& image;
  bool adds = false;
  yk::Ref<yk::Stream> encoded;
};

}  // namespace qewic
