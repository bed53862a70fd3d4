// Images in object files, for tests: one chunk in a file of its own.
#pragma once

#include <qecore/image/image_chunk.h>
#include <qecore/io/deserializer.h>
#include <qecore/io/serializer.h>

#include "image/support.h"
#include "io/streams.h"

constexpr unsigned short PICTURE_TAG = 77;

inline yk::Ref<yk::Stream> SavedImage(yk::Image2d& image, yk::Guid const& method) {
  yk::Ref<yk::Stream> file = Memory();
  yk::Ref<yk::Serializer> const writer = Own(yk::Serializer::Create());
  writer->Open(file.get(), 0);
  EXPECT_EQ(yk::img::SaveTo(*writer, image, PICTURE_TAG, method), S_OK);
  writer->Close();
  return file;
}

inline HRESULT LoadResult(yk::Stream& file, yk::ExecutionContext* host = nullptr, ImageRef* image = nullptr) {
  file.Seek(0, yk::Stream::FROM_START);
  yk::Ref<yk::Deserializer> const reader = Own(yk::Deserializer::Create());
  EXPECT_EQ(reader->Open(&file, 0), S_OK);
  EXPECT_EQ(reader->BeginChunk(), PICTURE_TAG);
  ImageRef made;
  HRESULT const result = yk::img::LoadFrom(*reader, made.Receive(), host);
  EXPECT_EQ(bool(made), result == S_OK);
  EXPECT_EQ(reader->GetFailure(), result);
  if (image) *image = made;
  return result;
}

inline ImageRef LoadedImage(yk::Stream& file) {
  ImageRef image;
  EXPECT_EQ(LoadResult(file, nullptr, &image), S_OK);
  return image;
}

/// Pixels without padding, palette, name and properties.
inline void ExpectSameImage(yk::Image2d& image, yk::Image2d& wanted) {
  ASSERT_EQ((Ints{image.format, image.width, image.height}),
            (Ints{wanted.format, wanted.width, wanted.height}));
  size_t const row = (size_t(wanted.bitsPerPixel) * size_t(wanted.width) + 7) / 8;
  for (int y = 0; y < wanted.height; ++y) ASSERT_EQ(memcmp(image.GetLine(y), wanted.GetLine(y), row), 0) << y;
  size_t const palette = yk::img::GetFacts(wanted.format).paletteEntries * sizeof(yk::IMG_PALENTRY);
  EXPECT_TRUE(palette == 0 || !memcmp(image.palette, wanted.palette, palette));
  EXPECT_TRUE(image.name == wanted.name);
  yk::Variant value, expected;
  EXPECT_EQ(image.GetValue(7, value), wanted.GetValue(7, expected));
  EXPECT_TRUE(value.type == expected.type && (value.type == 0 || value.Compare(expected)));
}
