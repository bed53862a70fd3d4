#include <gtest/gtest.h>
#include <qecore/io/deserializer.h>
#include <qecore/io/serializer.h>
#include <qecore/values/array.h>
#include <qecore/values/string.h>
#include <qecore/values/variant.h>

#include <random>

#include "streams.h"
#include "support/binary.h"

namespace {

using namespace yk;

Ref<Serializer> Writer(Stream& stream, unsigned flags) {
  Ref<Serializer> const writer = Ref<Serializer>::Adopt(Serializer::Create());
  EXPECT_EQ(writer->Open(&stream, flags), S_OK);
  return writer;
}

std::string Chunk(unsigned short tag, std::string const& payload = {}) {
  return Le(tag) + Le(static_cast<unsigned>(payload.size() + 6)) + payload;
}

/// A frame with the version and a body.
std::string File(std::string const& body) {
  return Chunk(9, Chunk(2, Le(2)) + Chunk(11, "banner") + Chunk(1, body));
}

/// The golden file: everything that the format has, every byte but the date.
std::string Golden(std::string const& date) {
  return Bytes(
             "\x09\0\xAB\0\0\0"
             "\x02\0\x0A\0\0\0\x02\0\0\0"
             "\x0B\0\x53\0\0\0"
             "\nObject file format [version 0x2]\nProduced by System compiled on ") +
         date +
         Bytes(
             "\n"
             "\x05\0\x0A\0\0\0\0\0\0\0"
             "\x06\0\x0A\0\0\0\0\0\0\0"
             "\x01\0\x34\0\0\0"
             "\x34\x12\x08\0\0\0\xAA\xBB"
             "\xFF\xFF\xFF\xFF\x0A\0\x06\0\0\0"
             "\0\0\0\0"
             "\x07\0\x0A\0\0\0h\0\xE9\0"
             "\x30\0\x0E\0\0\0\x31\0\x08\0\0\0ab");
}

std::string WriteGolden(unsigned flags) {
  Ref<Stream> const stream = Memory();
  Ref<Array> const object = Ref<Array>::Adopt(Array::Create(0));
  Ref<Serializer> writer = Writer(*stream, flags);
  EXPECT_EQ(writer->Open(stream.get(), 0), E_FAIL) << "it is open";
  EXPECT_EQ(writer->WriteChunk(0x1234, "\xAA\xBB", 2), S_OK);
  EXPECT_EQ(writer->WriteReference(object.get()), S_OK);
  EXPECT_EQ(writer->WriteReference(object.get()), S_OK);
  EXPECT_EQ(writer->WriteChunk(8, "", 0), S_FALSE);
  EXPECT_EQ(String(L"h\u00E9").Save(writer.get(), 0x70007), S_OK) << "16 bits of the tag count";
  EXPECT_EQ(String().Save(writer.get(), 7), S_FALSE);
  EXPECT_EQ(writer->BeginChunk(0x20, chunk::DROP_IF_EMPTY), S_OK);
  EXPECT_EQ(writer->EndChunk(), S_OK);
  EXPECT_EQ(Slot<HRESULT (*)(void*, unsigned short)>(writer.get(), 11)(writer.get(), 0x30), S_OK);
  EXPECT_EQ(writer->WriteStringChunk(0x31, "ab"), S_OK);
  EXPECT_EQ(writer->WriteStringChunk(0x31, ""), S_FALSE);
  EXPECT_EQ(writer->EndChunk(), S_OK);
  writer.Reset();  // closes
  EXPECT_EQ(References(stream.get()), 1u);
  EXPECT_EQ(References(object.get()), 1u);
  return Content(*stream);
}

TEST(Serializer, WritesTheGoldenFile) {
  std::string const written = WriteGolden(0);
  std::string const date = written.substr(0x57, 11);
  EXPECT_EQ(written, Golden(date));
  EXPECT_EQ(date[3], ' ');
  EXPECT_EQ(date.substr(6, 3), " 20");
  EXPECT_EQ(WriteGolden(chunk::RAW), Golden(date).substr(0x7D)) << "no frame";
  std::string const plain = WriteGolden(chunk::NO_TABLES);
  EXPECT_EQ(plain.substr(6), Golden(date).substr(6, 93) + Golden(date).substr(0x77)) << "no offsets";
  EXPECT_EQ(plain.substr(0, 6), Bytes("\x09\0\x97\0\0\0"));
}

TEST(Serializer, RefusesWhatIsNotOpen) {
  Ref<Stream> const stream = Memory();
  Ref<Serializer> const writer = Writer(*stream, chunk::RAW);
  EXPECT_EQ(writer->EndChunk(), E_FAIL);
  EXPECT_EQ(writer->BeginChunk(1, chunk::DROP_IF_EMPTY), S_OK);
  EXPECT_EQ(writer->EndChunk(), S_OK);
  EXPECT_EQ(stream->GetPosition(), 0u);
  EXPECT_EQ(writer->Close(), S_OK);
  EXPECT_EQ(writer->GetStream(), nullptr);
  for (HRESULT const result : {writer->Close(), writer->EndChunk(), writer->BeginChunk(1),
                               writer->WriteReference(nullptr), writer->WriteChunk(1, "x", 1)}) {
    EXPECT_EQ(result, E_FAIL);
  }
  EXPECT_EQ(writer->Open(nullptr, 0), E_INVALIDARG);
  EXPECT_EQ(writer->Open(stream.get(), chunk::RAW), S_OK) << "a second file";
  EXPECT_EQ(writer->EndChunk(), E_FAIL);
  EXPECT_EQ(writer->WriteChunk(1, "x", 1), S_OK);
  EXPECT_EQ(Content(*stream).substr(0, 7), Chunk(1, "x"));
}

TEST(Serializer, WorksBehindTwoGigabytes) {
  for (int64_t const start : {0x7FFFFFFFll, 0x80000000ll, 0xFFFF0000ll}) {
    SpyStream far({}, start);
    Writer(far, 0)->WriteChunk(77, "x", 1);
    Ref<Deserializer> const reader = Ref<Deserializer>::Adopt(Deserializer::Create());
    far.position = start;
    ASSERT_EQ(reader->Open(&far, 0), S_OK);
    EXPECT_EQ(reader->BeginChunk(), 77);
    EXPECT_EQ(reader->GetChunkSize(), 1u);
    EXPECT_TRUE(reader->EndChunk());
    EXPECT_FALSE(reader->IsInChunk());
  }
}

TEST(Deserializer, ReadsTheGoldenFile) {
  Ref<Stream> const stream = Memory("front" + Golden("Oct 10 2019"));
  Ref<Deserializer> const reader = Ref<Deserializer>::Adopt(Deserializer::Create());
  stream->Seek(5, Stream::FROM_START);
  ASSERT_EQ(reader->Open(stream.get(), 0), S_OK);
  EXPECT_EQ(reader->GetVersion(), 2u);
  EXPECT_EQ(stream->GetPosition(), 5u + 0x7D);
  EXPECT_EQ(reader->BeginChunk(), 0x1234);
  EXPECT_TRUE(reader->EndChunk());
  Unknown* object = nullptr;
  EXPECT_EQ(reader->ReadReference(&object), E_INVALIDARG) << "a first occurrence";
  EXPECT_EQ(reader->BeginChunk(), chunk::FIRST_OCCURRENCE);
  EXPECT_TRUE(reader->EndChunk());
  Ref<Array> const made = Ref<Array>::Adopt(Array::Create(0));
  EXPECT_EQ(reader->AddReference(made.get()), S_OK);
  EXPECT_EQ(reader->ReadReference(&object), S_OK);
  EXPECT_EQ(object, made.get());
  object->Release();
  EXPECT_EQ(reader->BeginChunk(), 7);
  String text;
  EXPECT_TRUE(text.Load(reader.get()));
  EXPECT_STREQ(text.c_str(), L"h\u00E9");
  EXPECT_TRUE(reader->EndChunk());
  EXPECT_EQ(reader->BeginChunk(), 0x30);
  EXPECT_EQ(reader->BeginChunk(), 0x31);
  EXPECT_EQ(reader->GetChunkSize(), 2u);
  EXPECT_TRUE(reader->EndChunk() && reader->EndChunk());
  EXPECT_FALSE(reader->IsInChunk());
  EXPECT_EQ(reader->Close(), S_OK);
  EXPECT_EQ(stream->GetPosition(), stream->GetSize());
  EXPECT_EQ(References(stream.get()), 1u);
  EXPECT_EQ(References(made.get()), 1u);
  EXPECT_FALSE(reader->EndChunk() || reader->IsInChunk() || reader->BeginChunk() || reader->GetChunkSize());
}

TEST(Deserializer, OpensOnlySoundFrames) {
  std::string const body = Chunk(1, "");
  std::string const table = Chunk(9, Chunk(5, Le(16)) + Chunk(3) + body);  // the table stands at 16
  struct {
    char const* name;
    std::string bytes;
    HRESULT result;
  } const rows[] = {
      {"sound", File("x"), S_OK},
      {"empty", "", YK_E_BADFILE},
      {"another tag", Chunk(8, body), YK_E_BADFILE},
      {"half a header", Bytes("\x09\0\x0C"), YK_E_BADFILE},
      {"frame too long", Bytes("\x09\0\x0D\0\0\0") + body, YK_E_BADFILE},
      {"frame too short", Bytes("\x09\0\x05\0\0\0") + body, YK_E_BADFILE},
      {"frame that wraps", Bytes("\x09\0\xFF\xFF\xFF\xFF") + body, YK_E_BADFILE},
      {"nothing in the frame", Chunk(9), E_FAIL},
      {"no body", Chunk(9, Chunk(11)), E_FAIL},
      {"a child of no tag", Chunk(9, Chunk(0)), YK_E_BADFILE},
      {"a child longer than the frame", Bytes("\x09\0\x0C\0\0\0\x01\0\x07\0\0\0?"), YK_E_BADFILE},
      {"half a version", Chunk(9, Chunk(2, "\2") + body), YK_E_BADFILE},
      {"unknown parts", Chunk(9, Chunk(99, "x") + Chunk(3) + body), S_OK},
      {"a table in its place", table, S_OK},
      {"a table elsewhere", Chunk(9, Chunk(6, Le(16)) + Chunk(3) + body), YK_E_BADFILE},
      {"a table behind the frame", Chunk(9, Chunk(6, Le(0x1000)) + body), YK_E_BADFILE},
      {"a table that wraps", Chunk(9, Chunk(5, Le(-6)) + body), YK_E_BADFILE}};
  Ref<Deserializer> const reader = Ref<Deserializer>::Adopt(Deserializer::Create());
  EXPECT_EQ(reader->Open(nullptr, 0), E_INVALIDARG);
  for (auto const& row : rows) EXPECT_EQ(reader->Open(Memory(row.bytes).get(), 0), row.result) << row.name;
}

/// A client that takes every chunk for a text, a value, or one with chunks inside, as it comes.
struct Walker {
  Deserializer& reader;
  bool onlyChunks;
  size_t chunks = 0;
  int deepest = 0;

  void Walk(int depth = 1) {
    deepest = std::max(deepest, depth);
    while (reader.IsInChunk() && chunks < 1000000) {
      unsigned const kind = onlyChunks ? 2 : chunks % 5;
      ++chunks;
      reader.BeginChunk();
      EXPECT_LE(reader.GetChunkSize(), reader.GetStream()->GetSize());
      String text;
      Variant value;
      if (kind == 0) text.Load(&reader);
      if (kind == 1) value.Load(&reader, nullptr);
      if (kind > 1) Walk(depth + 1);
      reader.EndChunk();
    }
  }
};

/// Walks through a file, damaged or not. \return chunks that the walk began
size_t ReadAnyway(Stream& stream, unsigned flags, int* deepest = nullptr) {
  Ref<Deserializer> const reader = Ref<Deserializer>::Adopt(Deserializer::Create());
  stream.Seek(0, Stream::FROM_START);
  reader->Open(&stream, flags);
  if (flags & chunk::RAW) reader->BeginChunk();
  Walker walker{*reader, deepest != nullptr};
  walker.Walk();
  if (deepest) *deepest = walker.deepest;
  return walker.chunks;
}

TEST(Deserializer, DamagedFilesEnd) {
  Ref<Stream> const written = Memory();
  Ref<Serializer> writer = Writer(*written, 0);
  Variant value;
  value.Init(L"a value");
  for (int i = 0; i < 6; ++i) {
    writer->BeginChunk(20);
    String(L"some text").Save(writer.get(), 21);
    value.Save(writer.get(), nullptr);
    writer->EndChunk();
  }
  writer.Reset();
  std::string const sound = Content(*written);
  for (size_t cut = 0; cut < sound.size(); ++cut) {
    EXPECT_LT(ReadAnyway(*Memory(sound.substr(0, cut)), 0), sound.size()) << cut;
  }
  std::mt19937 random(11);
  for (int i = 0; i < 20000; ++i) {
    std::string damaged = sound;
    unsigned char const odd[] = {0, 1, 5, 6, 7, 0x7F, 0x80, 0xFF, static_cast<unsigned char>(random())};
    for (unsigned n = random() % 4; n < 4; ++n)
      damaged[random() % damaged.size()] = static_cast<char>(odd[random() % 9]);
    ASSERT_LT(ReadAnyway(*Memory(damaged), i % 2 ? chunk::RAW : 0), damaged.size()) << i;
    SpyStream stuck(damaged);
    stuck.seekable = i % 3 != 0;
    ASSERT_LT(ReadAnyway(stuck, 0), damaged.size()) << i;
  }
}

TEST(Deserializer, DepthHasAnEnd) {
  constexpr unsigned DEPTH = 100000;
  std::string bytes;
  for (unsigned i = 0; i < DEPTH; ++i) bytes += Le<uint16_t>(9) + Le((DEPTH - i) * 6);
  int deepest = 0;
  EXPECT_LT(ReadAnyway(*Memory(bytes), chunk::RAW, &deepest), 2u * chunk::MAX_DEPTH);
  EXPECT_EQ(deepest, chunk::MAX_DEPTH + 1);

  Ref<Stream> const stream = Memory();
  Ref<Serializer> const writer = Writer(*stream, chunk::RAW);
  for (int i = 0; i < chunk::MAX_DEPTH; ++i) ASSERT_EQ(writer->BeginChunk(9), S_OK);
  EXPECT_EQ(writer->BeginChunk(9), E_INVALIDARG);
  EXPECT_EQ(writer->BeginChunk(9), E_INVALIDARG);
  for (int i = 0; i < chunk::MAX_DEPTH + 2; ++i) ASSERT_EQ(writer->EndChunk(), S_OK);
  EXPECT_EQ(writer->EndChunk(), E_FAIL);
  EXPECT_EQ(stream->GetSize(), 6u * chunk::MAX_DEPTH);
  EXPECT_EQ(ReadAnyway(*stream, chunk::RAW, &deepest), chunk::MAX_DEPTH - 1u) << "what is written is read";
}

}  // namespace
