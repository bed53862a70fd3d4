#include <qecore/io/file_stream.h>
#include <qecore/io/write_behind_stream.h>
#include <qecore/values/array.h>
#include <qecore/values/string.h>

#include "streams.h"
#include "support/temp_folder.h"

using namespace yk;

/// The golden file: every feature of the format, every byte except the date.
static std::string Golden(std::string const& date) {
  return "\x09\0\xAB\0\0\0"
         "\x02\0\x0A\0\0\0\x02\0\0\0\x0B\0\x53\0\0\0"
         "\nObject file format [version 0x2]\nProduced by System compiled on "s +
         date +
         "\n\x05\0\x0A\0\0\0\0\0\0\0\x06\0\x0A\0\0\0\0\0\0\0"
         "\x01\0\x34\0\0\0\x34\x12\x08\0\0\0\xAA\xBB"
         "\xFF\xFF\xFF\xFF\x0A\0\x06\0\0\0\0\0\0\0"
         "\x07\0\x0A\0\0\0h\0\xE9\0"
         "\x30\0\x0E\0\0\0\x31\0\x08\0\0\0ab"s;
}

/// \return the writer's first failure
static HRESULT WriteGolden(Stream& stream, unsigned flags) {
  Ref<Array> const object = Own(Array::Create(0));
  Ref<Serializer> const writer = Writer(stream, flags);
  writer->WriteChunk(0x1234, "\xAA\xBB", 2);
  for (int i = 0; i < 2; ++i) writer->WriteReference(object.get());
  EXPECT_EQ(writer->WriteChunk(8, "", 0), S_FALSE);
  String(L"h\u00E9").Save(writer.get(), 0x70007);  // 16 bits of the tag are used
  String().Save(writer.get(), 7);
  writer->BeginChunk(0x20, chunk::DROP_IF_EMPTY);
  writer->EndChunk();
  Slot<HRESULT (*)(void*, unsigned short)>(writer.get(), 11)(writer.get(), 0x30);
  writer->WriteStringChunk(0x31, "ab");
  writer->EndChunk();
  EXPECT_EQ(writer->Close(), S_OK);
  return writer->GetFailure();
}

static std::string WrittenGolden(unsigned flags) {
  Ref<Stream> const stream = Memory();
  EXPECT_EQ(WriteGolden(*stream, flags), S_OK);
  return Content(*stream);
}

TEST(Serializer, WritesTheGoldenFile) {
  std::string const written = WrittenGolden(0), date = written.substr(0x57, 11), golden = Golden(date);
  EXPECT_EQ(written, golden);
  EXPECT_EQ(date[3] + date.substr(6, 3), "  20");
  EXPECT_EQ(WrittenGolden(chunk::RAW), golden.substr(0x7D));
  EXPECT_EQ(WrittenGolden(chunk::NO_TABLES), Chunk(9, golden.substr(6, 93) + golden.substr(0x77)));
}

TEST(ObjectFile, WorksBeyondTwoGigabytes) {
  for (size_t const start : {0x7FFFFFFFu, 0x80000000u, 0xFFFF0000u}) {
    SpyStream far({}, start);
    Writer(far, 0)->WriteChunk(77, "x", 1);
    far.position = start;
    Ref<Deserializer> const reader = Reader(far, 0);
    EXPECT_TRUE(reader->BeginChunk() == 77 && reader->GetChunkSize() == 1);
    EXPECT_TRUE(reader->EndChunk() && !reader->IsInChunk());
  }
  for (bool inChunk : {false, true}) {
    SpyStream full({}, 0xFFFFFFFA);
    Ref<Serializer> const writer = Writer(full, chunk::RAW);
    inChunk ? writer->WriteChunk(77, "over the end", 12) : writer->Write("over the end", 12);
    EXPECT_EQ(writer->GetFailure(), E_FAIL);
  }
}

TEST(Deserializer, ReadsTheGoldenFile) {
  Ref<Stream> const stream = Memory("front" + Golden("Oct 10 2019"));
  stream->Seek(5, Stream::FROM_START);
  Ref<Deserializer> const reader = Reader(*stream, 0);
  EXPECT_EQ(reader->GetVersion(), 2u);
  EXPECT_EQ(stream->GetPosition(), 5u + 0x7D);
  EXPECT_EQ(reader->BeginChunk(), 0x1234);
  EXPECT_TRUE(reader->EndChunk());
  Ref<Unknown> object, made = Own(Array::Create(0));
  EXPECT_EQ(reader->ReadReference(object.Receive()), E_INVALIDARG) << "a first occurrence";
  EXPECT_EQ(reader->BeginChunk(), chunk::FIRST_OCCURRENCE);
  EXPECT_TRUE(reader->EndChunk());
  ExpectEach(S_OK, {reader->AddReference(made.get()), reader->ReadReference(object.Receive())});
  EXPECT_EQ(object.get(), made.get());
  EXPECT_EQ(reader->GetRemaining(), 24u);
  String text;
  EXPECT_EQ(reader->BeginChunk(), 7);
  EXPECT_TRUE(text.Load(reader.get()) && text == L"h\u00E9");
  EXPECT_EQ(reader->Close(), S_OK);
  EXPECT_EQ(stream->GetPosition(), stream->GetSize());
  EXPECT_EQ(References(stream.get()) + References(made.get()), 3u);
}

TEST(Serializer, NumbersManyReferences) {
  Ref<Stream> const stream = Memory();
  Ref<Serializer> const writer = Writer(*stream, chunk::RAW);
  std::vector<Ref<Array>> objects(1000);
  std::string expected;
  for (Ref<Array>& object : objects) {
    int const number = static_cast<int>(&object - objects.data());
    if (number != 500) object = Own(Array::Create(0));  // null is an object, too
    for (int i = 0; i < 2; ++i) EXPECT_EQ(writer->WriteReference(object.get()), S_OK);
    expected += Le(~number) + Chunk(chunk::FIRST_OCCURRENCE) + Le(number);
  }
  for (int i : {0, 15, 16, 17, 500, 999}) {
    writer->WriteReference(objects[static_cast<size_t>(i)].get());
    expected += Le(i);
  }
  EXPECT_TRUE(Content(*stream) == expected);
}

TEST(Deserializer, OpensOnlySoundFrames) {
  std::string const body = Chunk(1, ""), table = Chunk(3);  // which is at 16
  std::tuple<char const*, std::string, HRESULT> const rows[] = {
      {"frame that wraps", "\x09\0\xFF\xFF\xFF\xFF"s + body, YK_E_BADFILE},
      {"nothing in the frame", Chunk(9), E_FAIL},
      {"never closed", "\x09\0\0\0\0\0"s + body, E_FAIL},
      {"a child longer than the frame", "\x09\0\x0C\0\0\0\x01\0\x07\0\0\0?"s, YK_E_BADFILE},
      {"half a version", Chunk(9, Chunk(2, "\2") + body), YK_E_BADFILE},
      {"a table in its place", Chunk(9, Chunk(5, Le(16)) + table + body), S_OK},
      {"another table", Chunk(9, Chunk(6, Le(16)) + table + body), YK_E_BADFILE},
      {"a table that wraps", Chunk(9, Chunk(5, Le(-6)) + body), YK_E_BADFILE}};
  Ref<Deserializer> const reader = Own(Deserializer::Create());
  for (auto const& [name, bytes, result] : rows) {
    EXPECT_EQ(reader->Open(Memory(bytes).get(), 0), result) << name;
    EXPECT_EQ(reader->GetFailure(), result) << name;
  }
}

TEST(Deserializer, LeavesDamagedChunksForward) {
  for (std::string const& damaged : {"\1\0\5\0\0\0?"s, "\1\0\x08\0\0\0?"s, "?????"s}) {
    Ref<Deserializer> const reader = Reader(*Memory(Chunk(9, damaged) + Chunk(1)), chunk::RAW);
    for (int const tag : {9, 0, 0}) EXPECT_EQ(reader->BeginChunk(), tag) << "a damaged chunk contains none";
    EXPECT_EQ(reader->GetFailure(), YK_E_BADFILE);
    EXPECT_TRUE(reader->GetChunkSize() == 0 && !reader->IsInChunk());
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(reader->EndChunk());
    EXPECT_EQ(reader->BeginChunk(), 1);
  }
}

// The writer and the host write to the same file in turn, across windows and chunk by chunk.
TEST(ObjectFile, IsTheSameInAFile) {
  auto const write = [](Stream& stream) {
    Ref<Serializer> const writer = Writer(stream, 0);
    for (unsigned i = 0; i < 300; ++i) {
      if (i % 50 == 0) writer->BeginChunk(100);
      writer->BeginChunk(101, chunk::DROP_IF_EMPTY);
      stream.Write(std::string(i * 7 % 2000, 'h').data(), i * 7 % 2000);
      writer->Write("writer", i % 6);
      writer->EndChunk();
      if (i % 50 == 49) writer->EndChunk();
    }
    EXPECT_EQ(writer->Close(), S_OK);
    EXPECT_EQ(writer->GetFailure(), S_OK);
  };
  TempFolder const folder;
  Ref<Stream> file;
  ASSERT_EQ(FileStream::Create(folder.Path(L"f").c_str(), FileStream::CREATE, file.Receive()), S_OK);
  Ref<Stream> const memory = Memory();
  for (Stream* stream : {file.get(), memory.get()}) {
    stream->Write("front", 5);
    write(*stream);
  }
  std::string const content = Content(*memory);
  EXPECT_EQ(file->GetPosition(), memory->GetPosition());
  EXPECT_TRUE(folder.Read(L"f") == content) << "closing the writer leaves nothing behind";
  file->Seek(5, Stream::FROM_START);
  Ref<Deserializer> const reader = Reader(*file, 0);
  while (reader->IsInChunk()) {
    EXPECT_EQ(reader->BeginChunk(), 100);
    EXPECT_TRUE(reader->EndChunk());
  }
  reader->BeginChunk();
  EXPECT_EQ(ReadAt(*file, 3, 4), content.substr(3, 4));
  reader->Close();
  EXPECT_EQ(ReadAt(*file, 10, 200), content.substr(10, 200));
}

TEST(ObjectFile, NestsFreely) {
  constexpr unsigned DEPTH = 100000;
  Ref<Stream> const stream = Memory();
  Ref<Serializer> const writer = Writer(*stream, chunk::RAW);
  for (unsigned i = 0; i < DEPTH; ++i) ASSERT_EQ(writer->BeginChunk(9), S_OK);
  for (unsigned i = 0; i < DEPTH; ++i) ASSERT_EQ(writer->EndChunk(), S_OK);
  EXPECT_EQ(writer->EndChunk(), E_FAIL);
  stream->Seek(0, Stream::FROM_START);
  Ref<Deserializer> const reader = Reader(*stream, chunk::RAW);
  for (unsigned i = 0; i < DEPTH; ++i) ASSERT_EQ(reader->BeginChunk(), 9);
  for (unsigned i = 0; i < DEPTH; ++i) ASSERT_TRUE(reader->EndChunk());
  EXPECT_FALSE(reader->EndChunk());
}

/// Reads every chunk as a text. \return the reader's first failure
static HRESULT ReadAll(SpyStream& stream) {
  Ref<Deserializer> const reader = Reader(stream, 0);
  while (reader->IsInChunk()) {
    reader->BeginChunk();
    String().Load(reader.get());
    reader->EndChunk();
  }
  stream.fault = SpyStream::NONE;  // closing only seeks
  return reader->GetFailure();
}

TEST(ObjectFile, KeepsTheFirstFailure) {
  std::string const texts = Chunk(9, Chunk(2, Le(2)) + Chunk(1, Chunk(7, "text") + Chunk(8, "text")));
  std::tuple<SpyStream::Fault, std::string, HRESULT> const rows[] = {
      {SpyStream::WRITE, "", YK_E_ACCESS},   {SpyStream::SHORT, "", E_FAIL},
      {SpyStream::SEEK, "", E_FAIL},         {SpyStream::STATE, "", E_FAIL},
      {SpyStream::READ, texts, YK_E_ACCESS}, {SpyStream::SEEK, texts, E_FAIL},
      {SpyStream::SHORT_READ, texts, E_FAIL}};
  for (auto const& [fault, content, result] : rows) {
    for (int call = 0, failed = true; failed; ++call) {
      SpyStream stream(content);
      stream.fault = fault;
      stream.left = call;
      HRESULT const failure = content.empty() ? WriteGolden(stream, 0) : ReadAll(stream);
      failed = stream.failed;
      EXPECT_EQ(failure, failed ? result : S_OK) << fault << " " << call;
    }
  }
}

TEST(ObjectFile, NeedsFewCallsThroughAStreamThatWritesBehind) {
  SpyStream slow;
  Ref<Stream> fast;
  EXPECT_EQ(ykCreateWriteBehindStream(nullptr, fast.Receive()), E_INVALIDARG);
  ASSERT_EQ(ykCreateWriteBehindStream(&slow, fast.Receive()), S_OK);
  EXPECT_EQ(WriteGolden(*fast, 0), S_OK);
  EXPECT_TRUE(slow.bytes == WrittenGolden(0) && slow.seeks == 0);
  slow.fault = SpyStream::SHORT;
  EXPECT_EQ(fast->Write("lost", 4), S_OK);
  ExpectEach(E_FAIL, {fast->GetState(), fast->GetState()});
  EXPECT_EQ(fast->Write("later", 5), S_OK);
  fast.Reset();
  EXPECT_EQ(References(&slow), 1u);
  EXPECT_TRUE(slow.bytes.ends_with("later"));
}

TEST(WriteBehindStream, RefusesCallsOfTheStreamItWritesTo) {
  SpyStream slow;
  Ref<Stream> fast;
  ASSERT_EQ(ykCreateWriteBehindStream(&slow, fast.Receive()), S_OK);
  EXPECT_EQ(fast->Write("first", 5), S_OK);
  char byte;
  slow.onCall = [&] {
    ExpectEach(E_FAIL, {fast->Write("again", 5), fast->Read(&byte, 1), fast->SetSize(2),
                        fast->Seek(0, Stream::FROM_START)});
  };
  EXPECT_EQ(fast->GetState(), E_FAIL) << "what was refused is not in the file";
  EXPECT_EQ(fast->Write(", second", 8), S_OK);
  fast.Reset();
  EXPECT_EQ(slow.bytes, "first, second");
}

TEST(ObjectFile, NeedsAStream) {
  SpyStream stream;
  Ref<Serializer> const writer = Own(Serializer::Create());
  Ref<Deserializer> const reader = Own(Deserializer::Create());
  ExpectEach(E_INVALIDARG, {writer->Open(nullptr, 0), reader->Open(nullptr, 0)});
  ExpectEach(E_FAIL, {writer->BeginChunk(1), writer->EndChunk(), writer->Write("x", 1), writer->Close()});
  EXPECT_EQ(reader->BeginChunk() + reader->GetChunkSize() + reader->GetRemaining(), 0u);
  EXPECT_FALSE(reader->EndChunk() || reader->IsInChunk());
  ExpectEach(S_OK, {writer->Open(&stream, chunk::RAW), writer->WriteReference(nullptr),
                    writer->WriteReference(nullptr)});
  EXPECT_EQ(writer->Open(&stream, chunk::RAW), E_FAIL);
  stream.position = 10;
  ExpectEach(S_OK, {reader->Open(&stream, chunk::RAW), reader->AddReference(nullptr)});
  Ref<Unknown> object;
  EXPECT_EQ(reader->ReadReference(object.Receive()), E_NOINTERFACE) << "the object is null";
  stream.onCall = [&] { writer->Close(); };
  EXPECT_EQ(writer->BeginChunk(1), E_FAIL);
}

TEST(ObjectFile, CallsTheTableOfAHookedStream) {
  Ref<Stream> const stream = Memory("enough bytes to move in");
  Ref<Serializer> const writer = Writer(*stream, chunk::RAW);
  auto const write = [&] { writer->WriteChunk(7, "text", 4); };
  EXPECT_EQ(SlotHook::Calls(stream.get(), 22, 10, write), 3) << "a header, the text, the size";
  stream->Seek(0, Stream::FROM_START);
  Ref<Deserializer> const reader = Reader(*stream, chunk::RAW);
  EXPECT_EQ(SlotHook::Calls(stream.get(), 22, 9, [&] { reader->BeginChunk(); }), 1);
}

// The stream releases the last reference to the writer that calls it: every function on the way holds one.
TEST(ObjectFile, OutlivesTheCallsOfAStream) {
  std::pair<HRESULT (Serializer::*)(), unsigned> const rows[] = {
      {&Serializer::EndChunk, 1}, {&Serializer::Close, 2}, {&Serializer::GetFailure, 1}};
  for (auto const& [call, holders] : rows) {
    SpyStream stream;
    Serializer* const writer = Writer(stream, 0).Detach();
    unsigned left = 0;
    stream.onCall = [&] { left = writer->Release(); };
    (writer->*call)();
    EXPECT_EQ(left, holders);
    EXPECT_EQ(References(&stream), 1u);
  }
}
