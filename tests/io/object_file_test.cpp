#include <qecore/io/buffered_stream.h>
#include <qecore/io/deserializer.h>
#include <qecore/io/serializer.h>
#include <qecore/values/array.h>
#include <qecore/values/map.h>
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

/// The golden file: everything that the format has, every byte but the date.
std::string Golden(std::string const& date) {
  return "\x09\0\xAB\0\0\0"
         "\x02\0\x0A\0\0\0\x02\0\0\0"
         "\x0B\0\x53\0\0\0"
         "\nObject file format [version 0x2]\nProduced by System compiled on "s +
         date +
         "\n"
         "\x05\0\x0A\0\0\0\0\0\0\0"
         "\x06\0\x0A\0\0\0\0\0\0\0"
         "\x01\0\x34\0\0\0"
         "\x34\x12\x08\0\0\0\xAA\xBB"
         "\xFF\xFF\xFF\xFF\x0A\0\x06\0\0\0"
         "\0\0\0\0"
         "\x07\0\x0A\0\0\0h\0\xE9\0"
         "\x30\0\x0E\0\0\0\x31\0\x08\0\0\0ab"s;
}

std::string WriteGolden(unsigned flags) {
  Ref<Stream> const stream = Memory();
  Ref<Array> const object = Ref<Array>::Adopt(Array::Create(0));
  Ref<Serializer> writer = Writer(*stream, flags);
  writer->WriteChunk(0x1234, "\xAA\xBB", 2);
  for (int i = 0; i < 2; ++i) writer->WriteReference(object.get());
  EXPECT_EQ(writer->WriteChunk(8, "", 0), S_FALSE);
  String(L"h\u00E9").Save(writer.get(), 0x70007);  // 16 bits of the tag count
  String().Save(writer.get(), 7);
  writer->BeginChunk(0x20, chunk::DROP_IF_EMPTY);
  writer->EndChunk();
  Slot<HRESULT (*)(void*, unsigned short)>(writer.get(), 11)(writer.get(), 0x30);
  writer->WriteStringChunk(0x31, "ab");
  writer->EndChunk();
  writer.Reset();  // closes
  EXPECT_EQ(References(stream.get()) + References(object.get()), 2u);
  return Content(*stream);
}

TEST(Serializer, WritesTheGoldenFile) {
  std::string const written = WriteGolden(0), date = written.substr(0x57, 11), golden = Golden(date);
  EXPECT_EQ(written, golden);
  EXPECT_EQ(date[3] + date.substr(6, 3), "  20");
  EXPECT_EQ(WriteGolden(chunk::RAW), golden.substr(0x7D));
  EXPECT_EQ(WriteGolden(chunk::NO_TABLES), "\x09\0\x97\0\0\0"s + golden.substr(6, 93) + golden.substr(0x77));
}

TEST(ObjectFile, WorksBehindTwoGigabytes) {
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
  EXPECT_EQ(reader->GetChunkSize(), 2u);
  EXPECT_TRUE(reader->EndChunk());
  Ref<Unknown> object, made = Ref<Unknown>::Adopt(Array::Create(0));
  EXPECT_EQ(reader->ReadReference(object.Receive()), E_INVALIDARG) << "a first occurrence";
  EXPECT_EQ(reader->BeginChunk(), chunk::FIRST_OCCURRENCE);
  EXPECT_TRUE(reader->EndChunk());
  EXPECT_EQ(reader->AddReference(made.get()), S_OK);
  EXPECT_EQ(reader->ReadReference(object.Receive()), S_OK);
  EXPECT_EQ(object.get(), made.get());
  EXPECT_EQ(reader->GetRemaining(), 24u);
  String text;
  EXPECT_EQ(reader->BeginChunk(), 7);
  EXPECT_TRUE(text.Load(reader.get()));
  EXPECT_TRUE(reader->EndChunk());
  EXPECT_EQ(text, L"h\u00E9");
  EXPECT_EQ(reader->BeginChunk(), 0x30);
  EXPECT_TRUE(reader->EndChunk());
  EXPECT_FALSE(reader->IsInChunk());
  EXPECT_EQ(reader->Close(), S_OK);
  EXPECT_EQ(stream->GetPosition(), stream->GetSize());
  EXPECT_EQ(References(stream.get()) + References(made.get()), 3u);
}

TEST(Deserializer, OpensOnlySoundFrames) {
  std::string const body = Chunk(1, ""), table = Chunk(3);  // which stands at 16
  std::tuple<char const*, std::string, HRESULT> const rows[] = {
      {"sound", Chunk(9, Chunk(2, Le(2)) + body), S_OK},
      {"frame too long", "\x09\0\x0D\0\0\0"s + body, YK_E_BADFILE},
      {"frame that wraps", "\x09\0\xFF\xFF\xFF\xFF"s + body, YK_E_BADFILE},
      {"nothing in the frame", Chunk(9), E_FAIL},
      {"never closed", "\x09\0\0\0\0\0"s + body, E_FAIL},
      {"no frame, never closed", "\x08\0\0\0\0\0"s + body, YK_E_BADFILE},
      {"a child longer than the frame", "\x09\0\x0C\0\0\0\x01\0\x07\0\0\0?"s, YK_E_BADFILE},
      {"half a version", Chunk(9, Chunk(2, "\2") + body), YK_E_BADFILE},
      {"a table in its place", Chunk(9, Chunk(5, Le(16)) + table + body), S_OK},
      {"another table", Chunk(9, Chunk(6, Le(16)) + table + body), YK_E_BADFILE},
      {"a table that wraps", Chunk(9, Chunk(5, Le(-6)) + body), YK_E_BADFILE}};
  Ref<Deserializer> const reader = Ref<Deserializer>::Adopt(Deserializer::Create());
  for (auto const& [name, bytes, result] : rows) {
    EXPECT_EQ(reader->Open(Memory(bytes).get(), 0), result) << name;
    EXPECT_EQ(reader->GetFailure(), result) << name;
  }
}

/// A client that goes into every chunk but texts and values, which it loads. \return chunks that it began
size_t Walk(Deserializer& reader) {
  size_t count = 0;
  for (int depth = 0; depth >= 0;) {
    if (!reader.IsInChunk()) {
      reader.EndChunk();
      --depth;
      continue;
    }
    unsigned short const tag = reader.BeginChunk();
    ++count, ++depth;
    EXPECT_LE(reader.GetChunkSize(), reader.GetStream()->GetSize());
    if (tag == 20) String().Load(&reader);
    if (tag == 21) Variant().Load(&reader, nullptr);
    if (count > 1000000) break;
  }
  return count;
}

size_t ReadAnyway(Stream& stream, unsigned flags) {
  Ref<Deserializer> const reader = Ref<Deserializer>::Adopt(Deserializer::Create());
  stream.Seek(0, Stream::FROM_START);
  reader->Open(&stream, flags);
  if (flags & chunk::RAW) reader->BeginChunk();
  return Walk(*reader);
}

TEST(Deserializer, DamagedFilesEnd) {
  std::string const values = Chunk(20, "t\0e\0x\0t\0"s) + Chunk(21, "\x0F\0\6\0\0\0a\0b\0"s);
  std::string const body = values + Chunk(22, values + Chunk(23, values + values)) + values;
  std::string const sound = Chunk(9, Chunk(2, Le(2)) + Chunk(11, "banner") + Chunk(1, body));
  std::mt19937 random(11);
  for (unsigned i = 0; i < 20000; ++i) {
    SpyStream damaged(i < sound.size() ? sound.substr(0, i) : sound);  // first, cut at every byte
    char const odd[] = {0, 1, 5, 6, 7, 0x7F, '\x80', '\xFF', static_cast<char>(random())};
    for (unsigned n = random() % 4; i >= sound.size() && n < 4; ++n) {
      damaged.bytes[random() % sound.size()] = odd[random() % 9];
    }
    damaged.seekable = i % 3 != 0;
    ASSERT_LT(ReadAnyway(damaged, i % 2 ? chunk::RAW : 0), sound.size()) << i;
  }
}

TEST(ObjectFile, NestsFreely) {
  constexpr unsigned DEPTH = 100000;
  Ref<Stream> const stream = Memory();
  Ref<Serializer> const writer = Writer(*stream, chunk::RAW);
  for (unsigned i = 0; i < DEPTH; ++i) ASSERT_EQ(writer->BeginChunk(9), S_OK);
  for (unsigned i = 0; i < DEPTH; ++i) ASSERT_EQ(writer->EndChunk(), S_OK);
  EXPECT_EQ(writer->EndChunk(), E_FAIL);
  std::string bytes;
  for (unsigned i = DEPTH; i > 0; --i) bytes += Le<uint16_t>(9) + Le(i * 6);
  EXPECT_TRUE(Content(*stream) == bytes);
  EXPECT_EQ(ReadAnyway(*stream, chunk::RAW), DEPTH - 1);
}

/// Writes what the library itself writes. \return the writer, closed
Ref<Serializer> WriteAll(SpyStream& stream) {
  Ref<Serializer> const writer = Writer(stream, 0);
  Variant value;
  value.Init(L"text");
  Ref<Map> const map = Ref<Map>::Adopt(Map::Create());
  map->SetValue(1, value);
  EXPECT_EQ(map->Save(writer.get(), nullptr), S_OK);
  writer->BeginChunk(6);
  writer->WriteReference(map.get());
  writer->EndChunk();
  String(L"text").Save(writer.get(), 7);
  writer->BeginChunk(8, chunk::DROP_IF_EMPTY);
  writer->EndChunk();
  EXPECT_EQ(writer->Close(), S_OK);
  return writer;
}

HRESULT ReadAll(SpyStream& stream) {
  Ref<Deserializer> const reader = Ref<Deserializer>::Adopt(Deserializer::Create());
  stream.position = 0;
  if (Failed(reader->Open(&stream, 0))) return reader->GetFailure();
  Ref<Map> const map = Ref<Map>::Adopt(Map::Create());
  map->Load(reader.get(), nullptr);
  reader->Close();
  return reader->GetFailure();
}

TEST(ObjectFile, KeepsTheFirstFailure) {
  SpyStream whole;
  WriteAll(whole);
  for (auto const fault :
       {SpyStream::WRITE, SpyStream::SHORT, SpyStream::SEEK, SpyStream::STATE, SpyStream::READ}) {
    HRESULT const expected = fault == SpyStream::WRITE || fault == SpyStream::READ ? YK_E_ACCESS : E_FAIL;
    for (int call = 0, failed = true; failed; ++call) {
      SpyStream stream(fault == SpyStream::READ ? whole.bytes : "");
      stream.fault = fault;
      stream.left = call;
      HRESULT const failure = fault == SpyStream::READ ? ReadAll(stream) : WriteAll(stream)->GetFailure();
      failed = stream.failed;
      EXPECT_EQ(failure, failed ? expected : S_OK) << fault << " " << call;
    }
  }
}

/// Calls an object whose stream drops the last reference to it meanwhile.
template <class Object>
void ExpectSurvives(SpyStream& stream, Ref<Object> object, void (*call)(Object&)) {
  bool survived = false;
  Object& called = *object;
  stream.onCall = [&] {
    object.Reset();
    survived = References(&stream) > 1;  // one of them is the object's
  };
  call(called);
  EXPECT_TRUE(survived);
  EXPECT_EQ(References(&stream), 1u);
}

TEST(ObjectFile, OutlivesTheCallsOfAStream) {
  void (*const writing[])(Serializer&) = {[](Serializer& writer) { writer.BeginChunk(1); },
                                          [](Serializer& writer) { writer.EndChunk(); },
                                          [](Serializer& writer) { writer.Write("x", 1); },
                                          [](Serializer& writer) { writer.WriteChunk(1, "x", 1); },
                                          [](Serializer& writer) { writer.Close(); },
                                          [](Serializer& writer) { writer.GetFailure(); },
                                          [](Serializer& writer) { writer.WriteReference(nullptr); }};
  for (auto const call : writing) {
    SpyStream stream;
    ExpectSurvives(stream, Writer(stream, 0), call);
  }
  void (*const reading[])(Deserializer&) = {[](Deserializer& reader) { reader.BeginChunk(); },
                                            [](Deserializer& reader) { reader.EndChunk(); },
                                            [](Deserializer& reader) { reader.Close(); }};
  for (auto const call : reading) {
    SpyStream stream(Golden("Oct 10 2019"));
    Ref<Deserializer> reader = Ref<Deserializer>::Adopt(Deserializer::Create());
    ASSERT_EQ(reader->Open(&stream, 0), S_OK);
    ExpectSurvives(stream, std::move(reader), call);
  }
  SpyStream stream("x");
  Ref<Stream> buffered;
  ASSERT_EQ(ykCreateBufferedStream(&stream, buffered.Receive()), S_OK);
  ExpectSurvives<Stream>(stream, std::move(buffered), [](Stream& reader) {
    char byte;
    (void)reader.Read(&byte, 1);
  });
}

}  // namespace
