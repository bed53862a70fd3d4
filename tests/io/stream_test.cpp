#include <qecore/io/buffered_stream.h>
#include <qecore/io/file.h>
#include <qecore/io/file_type.h>
#include <qecore/io/save_file.h>
#include <qecore/io/xml.h>
#include <qecore/values/string.h>
#include <windows.h>

#include <random>

#include "streams.h"
#include "support/failure.h"
#include "support/temp_folder.h"

using namespace yk;

TEST(Stream, ReadsCountedUtf16) {
  std::tuple<std::string, std::wstring> const rows[] = {
      {"\0\0"s, L""}, {"\2\0A\0\xE9\0z"s, L"A\u00E9"}, {"", L""}, {"\4\0A\0B"s, std::wstring(L"AB\0\0", 4)}};
  for (auto const& [bytes, expected] : rows) {
    SpyStream careless(bytes);  // which does not clear the rest of a buffer
    String text(L"before");
    EXPECT_EQ(Slot<HRESULT (*)(void*, String&)>(&careless, 8)(&careless, text), S_OK);
    EXPECT_EQ(std::wstring(text.c_str(), text.Length()), expected);
  }
}

TEST(Stream, WritesCountedUtf8) {
  std::wstring const tooLong(600, L'\u00E9');
  std::string cut = Le<uint16_t>(526);
  while (cut.size() < 528) cut += "\xC3\xA9";
  std::tuple<wchar_t const*, bool, std::string> const rows[] = {{nullptr, false, "\0\0"s},
                                                                {L"A", true, "\1\0\5"s},
                                                                {L"\u00E9", true, "\2\0\x0F\xA6"s},
                                                                {tooLong.c_str(), false, cut}};
  for (auto const& [text, scramble, bytes] : rows) {
    Ref<Stream> const stream = Memory();
    EXPECT_EQ(stream->WriteStringAsUTF8(text, scramble), S_OK);
    EXPECT_EQ(Content(*stream), bytes);
  }
}

TEST(CopyStream, CopiesAndStops) {
  std::string bytes(60000, '\0');
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 7);
  std::string const end = bytes.substr(59990);
  // start, count; result, the copied bytes, the source's position afterwards
  std::tuple<int, int, HRESULT, std::string, unsigned> const rows[] = {
      {0, 0, S_FALSE, "", 5},
      {0, -1, S_OK, bytes, 5},
      {100, 30000, S_OK, bytes.substr(100, 30000), 5},
      {59990, 24577, E_FAIL, end + std::string(24566, '\0'), 60000},  // a piece is written at full length
      {60001, 1, E_INVALIDARG, "", 5}};
  for (auto const& [start, count, result, copied, position] : rows) {
    Ref<Stream> const source = Memory(bytes), target = Memory();
    source->Seek(5, Stream::FROM_START);
    EXPECT_EQ(CopyStream(source.get(), target.get(), start, count), result);
    EXPECT_EQ(source->GetPosition(), position);
    EXPECT_TRUE(Content(*target) == copied) << start;
  }
}

TEST(Stream, SeeksFromEachOrigin) {
  Ref<Stream> const memory = Memory("resource bytes");
  Ref<Stream> buffered;
  ASSERT_EQ(ykCreateBufferedStream(memory.get(), buffered.Receive()), S_OK);
  for (Stream* stream : {memory.get(), buffered.get()}) CheckSeeks(*stream);
  EXPECT_EQ(ykCreateBufferedStream(nullptr, buffered.Receive()), E_INVALIDARG);
}

// ---- in memory

static MemStream* AsMem(Ref<Stream> const& stream) { return static_cast<MemStream*>(stream.get()); }

TEST(MemStream, ShrunkBlockIsNeverOverrun) {
  Ref<Stream> const stream = Memory(std::string(1000, 'a'));
  EXPECT_EQ(stream->SetSize(10), S_OK);
  EXPECT_EQ(Field<uint64_t>(stream.get(), 40), 0x10000u) << "contract";
  EXPECT_EQ(stream->Seek(11, Stream::FROM_START), E_INVALIDARG);
  stream->Seek(0, Stream::FROM_END);
  EXPECT_EQ(stream->Write(std::string(5000, 'b').data(), 5000), S_OK);
  EXPECT_GE(GlobalSize(AsMem(stream)->GetHandle(true)), 5010u);
  EXPECT_EQ(Content(*stream), std::string(10, 'a') + std::string(5000, 'b'));
  char c;
  EXPECT_EQ(stream->Read(&c, 1), E_FAIL) << "reading at the very end fails";
}

TEST(MemStream, RefusesNull) {
  Ref<Stream> const stream = Memory("text");
  unsigned done = 7;
  ExpectFailures({{E_INVALIDARG, L"buffer is null", [&] { return stream->Write(nullptr, 10, &done); }},
                  {E_INVALIDARG, L"buffer is null", [&] { return stream->Read(nullptr, 1, &done); }}});
  EXPECT_TRUE(done == 0 && AsMem(stream)->GetFailure() == E_INVALIDARG && Content(*stream) == "text");
  EXPECT_EQ(stream->Write(nullptr, 0, nullptr), S_OK);
}

TEST(MemStream, ShowsABlockOfTheStatedSize) {
  std::string const piece(5000, 'a');
  for (unsigned const shownAt : {0u, 30u, 99u}) {
    Ref<Stream> const stream = Memory();
    std::string written;
    for (unsigned i = 0; i < 100; ++i) {
      EXPECT_EQ(stream->Write(piece.data(), 5000), S_OK);
      written += piece;
      if (i < shownAt) continue;
      void* data = nullptr;
      AsMem(stream)->GetBuffer(&data);
      HGLOBAL const block = AsMem(stream)->GetHandle(true);
      ASSERT_EQ(GlobalSize(block), Field<uint64_t>(stream.get(), 40)) << i;
      EXPECT_EQ(Field<uint64_t>(stream.get(), 40), (written.size() / 0x10000 + 1) * 0x10000);
      EXPECT_EQ(Field<void*>(stream.get(), 48), data) << "cut where it is";
    }
    ExpectEach(S_OK, {stream->SetSize(600000), stream->SetSize(600001)});
    EXPECT_TRUE(Content(*stream) == written + std::string(600001 - written.size(), '\0'));
    EXPECT_EQ(GlobalSize(AsMem(stream)->GetHandle(true)), 600001u);
  }
}

TEST(MemStream, StorageOfOthers) {
  char buffer[] = "caller's";
  void* data = nullptr;
  Ref<Stream> stream = Memory();
  EXPECT_EQ(AsMem(stream)->AttachBuffer(nullptr, 1), E_INVALIDARG);
  EXPECT_EQ(AsMem(stream)->GetHandle(true), nullptr);
  ExpectEach(S_OK, {AsMem(stream)->AttachBuffer(nullptr, 0), AsMem(stream)->AttachBuffer(buffer, 8)});
  EXPECT_EQ(AsMem(stream)->AttachBuffer(buffer, 8), YK_E_EMPTY);
  stream->Write("CALLER'S!", 9);
  EXPECT_EQ(Content(*stream), "CALLER'S!") << "in a new block";
  EXPECT_EQ(AsMem(stream)->AttachBuffer(buffer, 8), YK_E_EMPTY);
  EXPECT_STREQ(buffer, "caller's");
  stream = Memory();
  EXPECT_TRUE(AsMem(stream)->Attach(nullptr) == S_OK && stream->GetSize() == 0);
  HGLOBAL const block = GlobalAlloc(GMEM_MOVEABLE, 100);
  EXPECT_EQ(AsMem(stream)->Attach(block), E_FAIL);
  stream = Memory();
  AsMem(stream)->AttachBuffer(buffer, 8);
  ExpectEach(S_OK, {stream->Seek(8, Stream::FROM_START), AsMem(stream)->Attach(block)});
  EXPECT_EQ(stream->GetSize(), GlobalSize(block));
  EXPECT_TRUE(AsMem(stream)->GetBuffer(&data) == S_OK && data == GlobalLock(block));
  GlobalUnlock(block);
  stream = Memory();
  EXPECT_EQ(GlobalFlags(block) & GMEM_LOCKCOUNT, 0u) << "must exist and be unlocked";
  GlobalFree(block);
}

// ---- buffered

TEST(BufferedStream, ReadsBlocksWithoutSeeking) {
  std::mt19937 random(7);
  SpyStream inner(std::string(50000, '\0'));
  for (char& byte : inner.bytes) byte = static_cast<char>(random() | 1);
  inner.position = 100;
  Ref<Stream> stream;
  ASSERT_EQ(ykCreateBufferedStream(&inner, stream.Receive()), S_OK);
  EXPECT_EQ(std::tuple(stream->GetPosition(), stream->GetSize(), stream->GetState()),
            std::tuple(100u, 50000u, S_OK));
  EXPECT_EQ(stream->IsTypeOf(ids::MEM_STREAM), inner.IsTypeOf(ids::MEM_STREAM));
  EXPECT_EQ(ReadAt(*stream, 4090, 10), inner.bytes.substr(4090, 10));
  EXPECT_EQ(inner.seeks, 1) << "only before the first block, which starts at 0";
  EXPECT_EQ(stream->Write("x", 1), E_NOTIMPL);
  for (int i = 0; i < 2000; ++i) {
    unsigned const position = random() % 50001, size = random() % (i % 10 ? 100 : 20000);
    ASSERT_TRUE(ReadAt(*stream, position, size) == inner.bytes.substr(position, size)) << i;
  }
  EXPECT_EQ(ReadAt(*stream, ~0u, 1), "") << "out of range means the end";
  ASSERT_EQ(ykCreateBufferedStream(&inner, stream.Receive()), S_OK);
  inner.bytes.resize(5000);
  EXPECT_EQ(ReadAt(*stream, 0, 9000), inner.bytes) << "no more than the inner stream has";
  inner.fault = SpyStream::SEEK;
  EXPECT_EQ(ReadAt(*stream, 0, 10), "") << "nothing rather than bytes of another block";
}

static HRESULT Open(std::wstring const& path, unsigned mode, Ref<Stream>& stream) {
  return FileStream::Create(path.c_str(), mode, stream.Receive());
}

TEST(Failures, OfFilesAndStreamsSayWhichAndWhy) {
  TempFolder const folder;
  folder.Write(L"f", "some bytes");
  std::wstring const file = folder.Path(L"f");
  Ref<Stream> opened, held, none, memory = Memory("12345");
  ASSERT_EQ(Open(file, FileStream::READ, opened), S_OK);
  folder.Write(L"held", "");
  ASSERT_EQ(Open(folder.Path(L"held"), FileStream::WRITE, held), S_OK);
  ASSERT_EQ(opened->Write("x", 1), E_FAIL);
  Ref<Serializer> const writer = Writer(*opened, chunk::RAW);
  Guid type;
  SaveFile save;
  ExpectFailures({
      {YK_E_NOTFOUND, folder.Path(L"no") + L": the file does not exist",
       [&] { return Open(folder.Path(L"no"), FileStream::READ, none); }},
      {YK_E_NOTFOUND, folder.Path(L"no\\f") + L": the folder does not exist",
       [&] { return save.Open(folder.Path(L"no\\f").c_str()); }},
      {YK_E_ACCESS, folder.Path(L"held") + L": in use by another program",
       [&] { return save.Open(folder.Path(L"held").c_str()); }},
      {E_FAIL, file + L": access is denied", [&] { return opened->Write("x", 1); }},
      {E_FAIL, L"cannot write 3 bytes at 0: " + file + L": access is denied",
       [&] { return writer->Write("abc", 3); }},
      {E_FAIL, file + L": the position is before its start", [&] { return opened->Seek(-1, 0); }},
      {YK_E_NOTFOUND, file + L": not a file of a known type",
       [&] { return opened->Seek(0, 0), qe_DetectFileType(opened.get(), type); }},
      {YK_E_TOOSHORT, L"too short to determine its type",
       [&] { return qe_DetectFileType(memory.get(), type); }},
      {E_INVALIDARG, L"the source has no byte 9: byte 9 is outside the stream of 5 bytes",
       [&] { return CopyStream(memory.get(), opened.get(), 9, 1); }},
  });
}

TEST(Failures, OfObjectFilesAndXmlSayWhere) {
  Ref<XmlHelper> const xml = Own(XmlHelper::Create());
  Ref<Serializer> const writer = Own(Serializer::Create());
  Ref<Deserializer> const reader = Own(Deserializer::Create());
  SpyStream spy;
  spy.fault = SpyStream::WRITE;
  spy.isForGood = true;
  SpyStream unreadable("<a/>");
  unreadable.fault = SpyStream::READ;
  unreadable.isForGood = true;
  XmlNode *const document = xml->CreateNode(XML_ELEMENT, L"a"), *loaded;
  auto const open = [&](std::string const& bytes) { return reader->Open(Memory(bytes).get(), 0); };
  EXPECT_EQ(writer->Open(&spy, chunk::RAW), S_OK);
  ExpectFailures({
      {YK_E_BADFILE, L"not an object file: damaged at byte 0: a chunk of 67305985 bytes, but only 8 are left",
       [&] { return open("??\1\2\3\4.."); }},
      {YK_E_BADFILE, L"damaged: the version is missing",
       [&] { return open(Chunk(chunk::FILE_FRAME, Chunk(chunk::VERSION))); }},
      {YK_E_BADFILE, L"damaged before its body: damaged at byte 6: a chunk of 0 bytes, but only 6 are left",
       [&] { return open(Chunk(chunk::FILE_FRAME, "\1\0\0\0\0\0"s)); }},
      {YK_E_ACCESS, L"cannot write 3 bytes at 0", [&] { return writer->Write("abc", 3); }},
      {E_FAIL, L"the reader is not open",
       [&] { return Own(Deserializer::Create())->BeginChunk(), HRESULT{E_FAIL}; }},
      {YK_E_BADFILE, L"line 2, column 3: unexpected end of document",
       [&] { return xml->Load(Memory("<a>\n<b").get(), &loaded, nullptr); }},
      {E_FAIL, L"stream cannot be read", [&] { return xml->Load(&unreadable, &loaded, nullptr); }},
      {YK_E_ACCESS, L"the document could not be written",
       [&] { return xml->Save(document, &spy, 0), xml->GetFailure(); }},
  });
  xml->FreeNode(document);
  writer->Close();
}

TEST(Failures, AreNotWhatIsOnlyAnAnswer) {
  TempFolder const folder;
  folder.Write(L"x.tif", "shorter");
  Ref<Stream> stream;
  ASSERT_EQ(Open(folder.Path(L"x.tif"), FileStream::READ, stream), S_OK);
  unsigned const before = ErrorCount();
  Guid type;
  char byte;
  Ref<Serializer> const writer = Own(Serializer::Create());
  EXPECT_EQ(qe_DetectFileType(stream.get(), type), S_OK) << "by its extension, though it has no footer";
  EXPECT_EQ(Memory()->Read(&byte, 1), E_FAIL) << "at its end";
  ExpectEach(S_OK, {writer->Open(Memory().get(), 0), writer->Close()});
  EXPECT_EQ(ErrorCount(), before);
}
