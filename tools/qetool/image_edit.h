// The operations of convert, implemented by the library. Each replaces a picture by a new one, or throws
// Failure or Stopped and leaves it unchanged.
#pragma once

#include <qecore/core/ref.h>
#include <qecore/image/image.h>

#include <string>

#include "watch.h"

namespace qetool {

using ImageRef = yk::Ref<yk::Image2d>;

/// The format with this name ("bgr24"). Throws Failure, listing TargetFormats.
yk::IMG_FORMAT FormatByName(std::string const& name);

/// The names of the formats that pictures can be converted to: "gray8, bgr24, ...".
std::string TargetFormats();

/// The format that every filter accepts and every operation supports: BGRA32 for a picture with alpha,
/// otherwise BGR24.
yk::IMG_FORMAT PlainFormat(yk::Image2d const& image);

/// Converts to another pixel format, in as few steps as the library's converters allow. Grey becomes opaque:
/// paths on which grey would turn into alpha are excluded.
void ChangeFormat(ImageRef& image, yk::IMG_FORMAT format, Listener& listener);

/// A new picture without content.
ImageRef NewImage(yk::IMG_FORMAT format, int width, int height);

/// A new picture of this size and format, resampled by the library.
ImageRef Rescaled(yk::Image2d& image, int width, int height, yk::IMG_FORMAT format, Listener& listener);

/// Columns and rows, counted from 0; `right` and `bottom` are the first outside.
struct Edges {
  int left, top, right, bottom;
};

/// Keeps what is inside the edges.
void Crop(ImageRef& image, Edges const& edges, Listener& listener);

/// Turns the picture as its file asks.
void MakeUpright(ImageRef& image);

/// How to turn the picture (see INFO_ORIENTATION): 1 if it is upright.
unsigned OrientationOf(yk::Image2d& image);

enum class FileInfo { KEPT, DROPPED };

/// Copies what the file said of the picture `from` to `to`, which was made of it; or removes it, except
/// how to turn a picture that is not upright.
void KeepFileInfo(yk::Image2d& from, yk::Image2d& to, FileInfo info);

void FlipHorizontally(ImageRef& image, Listener& listener);
void FlipVertically(ImageRef& image, Listener& listener);

}  // namespace qetool
