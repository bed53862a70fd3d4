#include <gtest/gtest.h>
#include <qecore/core/ref.h>
#include <qecore/io/file.h>
#include <qecore/io/file_stream.h>
#include <windows.h>

#include "streams.h"
#include "support/binary.h"
#include "support/temp_folder.h"

namespace {

using namespace yk;

HRESULT Open(std::wstring const& path, unsigned flags, Ref<Stream>& stream) {
  return FileStream::Create(path.c_str(), flags, stream.Receive());
}

TEST(FileStream, OpensByMode) {
  TempFolder const folder;
  folder.Write(L"here", "content");
  CreateDirectoryW(folder.Path(L"folder").c_str(), nullptr);
  folder.Write(L"held", "content");
  HANDLE const held =
      CreateFileW(folder.Path(L"held").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  struct {
    wchar_t const* name;
    unsigned flags;
    HRESULT result;
  } const rows[] = {{L"here", 1, S_OK},
                    {L"here", 2, S_OK},
                    {L"here", 3, S_OK},
                    {L"here", 4, S_OK},
                    {L"here", 0, E_FAIL},
                    {L"here", 5, E_FAIL},
                    {L"here", 15, E_FAIL},
                    {L"missing", 1, YK_E_NOTFOUND},
                    {L"missing", 3, YK_E_NOTFOUND},
                    {L"no\\folder", 4, YK_E_NOTFOUND},
                    {L"held", 1, YK_E_ACCESS},
                    {L"folder", 1, YK_E_ACCESS},
                    {L"a<b", 4, E_FAIL}};
  for (auto const& row : rows) {
    Ref<Stream> stream;
    EXPECT_EQ(Open(folder.Path(row.name), row.flags, stream), row.result) << row.name << row.flags;
    EXPECT_EQ(static_cast<bool>(stream), Succeeded(row.result)) << row.name << row.flags;
  }
  EXPECT_EQ(FileStream::Create(L"x", 1, nullptr), E_INVALIDARG);
  CloseHandle(held);
  RemoveDirectoryW(folder.Path(L"folder").c_str());
}

TEST(FileStream, SharesAsItSays) {
  TempFolder const folder;
  folder.Write(L"file", "content");
  Ref<Stream> first, second;
  ASSERT_EQ(Open(folder.Path(L"file"), FileStream::READ, first), S_OK);
  EXPECT_EQ(Open(folder.Path(L"file"), FileStream::READ, second), S_OK);
  EXPECT_EQ(Open(folder.Path(L"file"), FileStream::READ_WRITE, second), S_OK) << "readers let others write";
  first.Reset();
  EXPECT_EQ(Open(folder.Path(L"file"), FileStream::WRITE, first), YK_E_ACCESS) << "writers do not";
  EXPECT_EQ(Open(folder.Path(L"file"), FileStream::READ, first), S_OK);
}

TEST(FileStream, ReadsWritesAndTellsItsName) {
  TempFolder const folder;
  Ref<Stream> stream;
  ASSERT_EQ(Open(folder.Path(L"file"), FileStream::CREATE, stream), S_OK);
  auto* const file = static_cast<FileStream*>(stream.get());
  unsigned count = 0;
  EXPECT_EQ(stream->Write("abcdef", 6, &count), S_OK);
  EXPECT_EQ(count, 6u);
  EXPECT_EQ(stream->Seek(-2, Stream::FROM_END, &count), S_OK);
  EXPECT_EQ(count, 4u);
  char buffer[4] = {'?', '?', '?', '?'};
  EXPECT_EQ(stream->Read(buffer, 4, &count), S_OK);
  EXPECT_EQ(std::string(buffer, 4), Bytes("ef\0\0"));
  EXPECT_EQ(count, 2u);
  EXPECT_EQ(stream->Read(buffer, 4, &count), S_OK) << "the end of a file is no failure";
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(stream->Seek(-1, Stream::FROM_START), E_FAIL);
  EXPECT_EQ(stream->SetSize(3), S_OK);
  EXPECT_EQ(stream->GetSize(), 3u);
  String name;
  EXPECT_EQ(file->GetFileName(name), S_OK);
  EXPECT_EQ(name.c_str(), folder.Path(L"file"));
  unsigned long long const time = 0x01D0000000000000;
  unsigned long long read = 0;
  EXPECT_EQ(Slot<HRESULT (*)(void*, unsigned long long const*)>(file, 19)(file, &time), S_OK);
  EXPECT_EQ(Slot<HRESULT (*)(void*, unsigned long long*)>(file, 18)(file, &read), S_OK);
  EXPECT_EQ(read, time);
  EXPECT_EQ(Field<HRESULT>(file, 32), S_OK);
  stream.Reset();
  EXPECT_EQ(folder.Read(L"file"), "abc");
  ASSERT_EQ(Open(folder.Path(L"file"), FileStream::READ, stream), S_OK);
  EXPECT_EQ(stream->Write("x", 1), E_FAIL);
}

TEST(FileStream, TemporaryFilesGo) {
  Ref<Stream> stream;
  String name;
  ASSERT_EQ(FileStream::CreateTemp(stream.Receive()), S_OK);
  EXPECT_EQ(static_cast<FileStream*>(stream.get())->GetFileName(name), S_OK);
  EXPECT_EQ(name.FileShortName().Left(2).CompareNoCase(L"qe"), 0);
  EXPECT_NE(GetFileAttributesW(name.c_str()), INVALID_FILE_ATTRIBUTES);
  stream.Reset();
  EXPECT_EQ(GetFileAttributesW(name.c_str()), INVALID_FILE_ATTRIBUTES);
}

TEST(FileStream, OpensResourcesByPath) {
  TempFolder const folder;
  folder.Write(L"$(other)name", "a file");
  wchar_t before[MAX_PATH];
  GetCurrentDirectoryW(MAX_PATH, before);
  SetCurrentDirectoryW(folder.Path().c_str());
  struct {
    wchar_t const* path;
    HRESULT result;
    char const* content;
  } const rows[] = {{L"$(module)io_test.exe:LOGO.PICTURE", S_OK, "resource bytes"},
                    {L"$(MODULE)io_test.exe:logo.picture", S_OK, "resource bytes"},
                    {L"$(module)io_test.exe:OTHER.PICTURE", E_INVALIDARG, ""},
                    {L"$(module)not_loaded:LOGO.PICTURE", E_FAIL, ""},
                    {L"$(module):.", E_FAIL, ""},
                    {L"$(other)name", S_OK, "a file"},
                    {L"$(module", YK_E_NOTFOUND, ""},
                    {L"$(module)", YK_E_NOTFOUND, ""},
                    {L"$(module)name.type", YK_E_NOTFOUND, ""},
                    {L"$(", YK_E_NOTFOUND, ""}};
  for (auto const& row : rows) {
    Ref<Stream> stream;
    EXPECT_EQ(Open(row.path, FileStream::READ, stream), row.result) << row.path;
    if (!stream) continue;
    EXPECT_EQ(Content(*stream), row.content) << row.path;
  }
  SetCurrentDirectoryW(before);
}

TEST(File, FoldersAndFiles) {
  TempFolder const folder;
  folder.Write(L"file", "content");
  std::wstring const deep = folder.Path(L"a\\b\\c");
  EXPECT_EQ(file::NewFolder(deep.c_str()), E_FAIL);
  EXPECT_EQ(file::NewFolderEx(deep.c_str()), S_OK);
  EXPECT_TRUE(file::IsFolder(deep.c_str()));
  EXPECT_EQ(file::NewFolderEx(deep.c_str()), S_OK) << "it is there";
  EXPECT_EQ(file::NewFolderEx(folder.Path(L"file\\x\\y").c_str()), E_FAIL) << "a file in the way";
  std::wstring names;
  for (int i = 0; i < 100; ++i) names += L"?\\";
  EXPECT_EQ(file::NewFolderEx(names.c_str()), E_FAIL);
  EXPECT_EQ(file::NewFolderEx(std::wstring(40000, L'\\').c_str()), E_FAIL) << "longer than any path";
  EXPECT_EQ(file::NewFolder(nullptr), E_FAIL);
  EXPECT_FALSE(file::IsFolder(nullptr) || file::IsFolder(folder.Path(L"file").c_str()));
  EXPECT_TRUE(file::IsFileExist(folder.Path(L"file").c_str()));
  EXPECT_FALSE(file::IsFileExist(deep.c_str()) || file::IsFileExist(L""));
  for (std::wstring const sub : {L"a\\b\\c", L"a\\b", L"a"}) RemoveDirectoryW(folder.Path(sub).c_str());
  wchar_t small[2] = {L'?', L'?'};
  EXPECT_TRUE(file::GetTempFolder(2, small));
  EXPECT_EQ(small[0], 0);
}

}  // namespace
