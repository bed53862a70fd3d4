// Files with what an image's properties say of it: see image/file_info.h.
#pragma once

#include <qecore/core/ref.h>
#include <qecore/image/image.h>
#include <qecore/io/stream.h>
#include <wincodec.h>

namespace qewic {

/// Adds resolution, orientation, colour profile and texts to a PNG, JPEG or TIFF file that an encoder writes,
/// in the way in which readers of these formats find them. Encoders differ in what of this they can write.
///
///   FactsWriter facts(container, stream, image);
///   if (yk::Stream* to = facts.Target()) return facts.Finish(WritePicture(container, to, image));
class FactsWriter {
 public:
  FactsWriter(GUID const& container, yk::Stream* stream, yk::Image2d& image) noexcept;

  /// Where the encoder has to write: the stream itself when there is nothing to add. Null: no memory.
  yk::Stream* Target() noexcept;
  /// Writes the file to the stream. \return the encoder's `result` if that is a failure
  HRESULT Finish(HRESULT result) noexcept;

 private:
  GUID const& container;
  yk::Stream* stream;
  yk::Image2d& image;
  bool adds = false;
  yk::Ref<yk::Stream> encoded;
};

}  // namespace qewic
