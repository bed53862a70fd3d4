#include <qecore/io/file_stream.h>
#include <qecore/io/save_file.h>
#include <qecore/io/write_behind_stream.h>
#include <windows.h>

#include <random>

#include "streams.h"
#include "support/temp_folder.h"

using namespace yk;

static HRESULT Open(std::wstring const& path, unsigned flags, Ref<Stream>& stream) {
  return FileStream::Create(path.c_str(), flags, stream.Receive());
}

TEST(FileStream, OpensByModeAndShares) {
  TempFolder const folder;
  folder.Write(L"here", "content");
  Ref<Stream> writer, stream;
  EXPECT_EQ(Open(folder.Path(L"written"), FileStream::CREATE, writer), S_OK);
  std::tuple<wchar_t const*, unsigned, HRESULT> const rows[] = {
      {L"here", 1, S_OK},   {L"here", 2, S_OK},     {L"here", 3, S_OK},
      {L"here", 0, E_FAIL}, {L"here", 5, E_FAIL},   {L"missing", 3, YK_E_NOTFOUND},
      {L"a<b", 4, E_FAIL},  {L".", 1, YK_E_ACCESS}, {L"written", 3, YK_E_ACCESS}};
  for (auto const& [name, flags, result] : rows) {
    EXPECT_EQ(Open(folder.Path(name), flags, stream), result) << name << flags;
    EXPECT_EQ(static_cast<bool>(stream), Succeeded(result)) << name << flags;
  }
}

TEST(FileStream, ReadsWritesAndTellsItsName) {
  Ref<Stream> stream;
  ASSERT_EQ(FileStream::CreateTemp(stream.Receive()), S_OK);
  unsigned count = 0;
  EXPECT_EQ(stream->Write("abcdef", 6, &count), S_OK);
  EXPECT_EQ(ReadAt(*stream, 4, 4), "ef");
  EXPECT_EQ(stream->Read(&count, 1), S_OK) << "the end of a file is not a failure";
  EXPECT_TRUE(stream->SetSize(3) == S_OK && Content(*stream) == "abc");
  EXPECT_EQ(stream->Write("0123456789z", 11), S_OK);
  CheckSeeks(*stream);
  unsigned long long time = 0x01D0000000000000, read = 0;
  FileStream& file = static_cast<FileStream&>(*stream);
  String name;
  ExpectEach(S_OK, {file.SetFileTime(&time), file.GetFileTime(&read), file.GetFileName(name)});
  EXPECT_EQ(read, time);
  EXPECT_NE(GetFileAttributesW(name.c_str()), INVALID_FILE_ATTRIBUTES);
  stream.Reset();
  EXPECT_EQ(GetFileAttributesW(name.c_str()), INVALID_FILE_ATTRIBUTES) << "a temporary file must be deleted";
}

TEST(FileStream, KeepsItsFirstFailure) {
  TempFolder const folder;
  folder.Write(L"file", "content");
  Ref<Stream> stream;
  ASSERT_EQ(Open(folder.Path(L"file"), FileStream::READ, stream), S_OK);
  EXPECT_EQ(stream->Seek(-1, Stream::FROM_START), E_FAIL);
  EXPECT_EQ(stream->GetState(), S_OK) << "an invalid position is the caller's mistake";
  EXPECT_EQ(stream->Write("x", 1), E_FAIL);
  EXPECT_EQ(ReadAt(*stream, 0, 7), "content");
  ExpectEach(E_FAIL, {stream->GetState(), static_cast<FileStream&>(*stream).GetFailure()});  // permanently
}

/// One call of any kind, the same for equal numbers. \return everything that it says
static std::string Call(Stream& stream, unsigned kind, unsigned number) {
  std::string bytes(number % 7 ? number % 300 : number % 150000, static_cast<char>(number));
  unsigned const size = static_cast<unsigned>(bytes.size());
  unsigned at = 0, done = 0;
  HRESULT result = S_OK;
  switch (kind) {
    case 0:
      result = stream.Read(bytes.data(), size, &done);
      break;
    case 1:
      result = stream.Seek(static_cast<long>(number % 200000) - 10, Stream::FROM_START, &at);
      break;
    case 2:
      result = stream.Seek(static_cast<long>(number % 20) - 10, Stream::FROM_POSITION, &at);
      break;
    case 3:
      result = stream.Seek(-static_cast<long>(number % 1000), Stream::FROM_END, &at);
      break;
    case 4:
      result = number % 50 ? S_OK : stream.SetSize(number % 150000);
      break;
    case 5:
      at = stream.GetSize();
      break;
    default:
      result = stream.Write(bytes.data(), size, &done);
  }
  return bytes + std::to_string(Failed(result)) + " " + std::to_string(at) + " " + std::to_string(done) +
         " " + std::to_string(stream.GetPosition());
}

TEST(FileStream, BehavesTheSameThroughAWindow) {
  TempFolder const folder;
  std::mt19937 random(5);
  SaveFile save;
  Ref<Stream> plain, slow, behind;
  ASSERT_EQ(save.Open(folder.Path(L"saved").c_str()), S_OK);
  ASSERT_EQ(Open(folder.Path(L"plain"), FileStream::CREATE, plain), S_OK);
  ASSERT_EQ(Open(folder.Path(L"behind"), FileStream::CREATE, slow), S_OK);
  ASSERT_EQ(ykCreateWriteBehindStream(slow.get(), behind.Receive()), S_OK);
  for (int i = 0; i < 5000; ++i) {
    unsigned const kind = random() % 10, number = random();
    std::string const said = Call(*plain, kind, number);
    for (Stream* stream : {save.GetStream(), behind.get()})
      ASSERT_TRUE(Call(*stream, kind, number) == said) << i << " " << kind;
  }
  EXPECT_EQ(save.GetStream()->GetState(), plain->GetState());
  EXPECT_EQ(behind->GetState(), slow->GetState());
  for (Ref<Stream>* stream : {&plain, &behind, &slow}) stream->Reset();
  EXPECT_TRUE(folder.Read(L"behind") == folder.Read(L"plain"));
  ASSERT_EQ(save.Commit(), S_OK);
  EXPECT_TRUE(folder.Read(L"saved") == folder.Read(L"plain"));
}

TEST(FileStream, OpensResourcesByPath) {
  std::tuple<wchar_t const*, HRESULT> const rows[] = {{L"$(MODULE)io_test.exe:logo.picture", S_OK},
                                                      {L"$(module)io_test.exe:OTHER.PICTURE", E_INVALIDARG},
                                                      {L"$(module)not_loaded:a.b", E_FAIL},
                                                      {L"$(other)io_test.exe", YK_E_NOTFOUND},
                                                      {L"$(module", YK_E_NOTFOUND},
                                                      {L"$(module)name.type", YK_E_NOTFOUND}};
  for (auto const& [path, result] : rows) {
    Ref<Stream> stream;
    EXPECT_EQ(Open(path, FileStream::READ, stream), result) << path;
    if (!stream) continue;
    EXPECT_EQ(Content(*stream), "resource bytes");
    EXPECT_EQ(stream->GetState(), E_FAIL) << "at the end of a resource";
    CheckSeeks(*stream);
    EXPECT_EQ(stream->Seek(1, Stream::FROM_END), E_FAIL);
    EXPECT_TRUE(*stream->GetTypeId() == ids::RESOURCE_STREAM && stream->IsTypeOf(ids::RESOURCE_STREAM));
  }
}
