// Records of values as bytes, for tests.
#pragma once

#include <gtest/gtest.h>
#include <qecore/io/deserializer.h>
#include <qecore/io/serializer.h>
#include <qecore/values/variant.h>

#include "streams.h"

namespace yk {

/// A reader that stands in a chunk with this payload; behind it stand bytes that are none of its business.
inline Ref<Deserializer> ReaderOf(std::string const& payload) {
  Ref<Deserializer> const reader = Ref<Deserializer>::Adopt(Deserializer::Create());
  std::string const bytes = Le<uint16_t>(1) + Le(static_cast<unsigned>(payload.size() + 6)) + payload;
  reader->Open(Memory(bytes + std::string(64, '#')).get(), chunk::RAW);
  EXPECT_EQ(reader->BeginChunk(), 1);
  return reader;
}

template <class Value>
std::string Saved(Value const& value) {
  Ref<Stream> const stream = Memory();
  Ref<Serializer> const writer = Ref<Serializer>::Adopt(Serializer::Create());
  writer->Open(stream.get(), chunk::RAW);
  EXPECT_EQ(const_cast<Value&>(value).Save(writer.get(), nullptr), S_OK);
  writer->Close();
  return Content(*stream);
}

template <class... Arguments>
Variant Make(Arguments const&... arguments) {
  Variant v;
  v.Init(arguments...);
  return v;
}

}  // namespace yk
