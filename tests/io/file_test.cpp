#include <qecore/io/file.h>
#include <qecore/io/file_system.h>
#include <windows.h>

#include "streams.h"
#include "support/failure.h"
#include "support/temp_folder.h"

using namespace yk;

TEST(File, MakesAndFindsFolders) {
  TempFolder const folder;
  folder.Write(L"file", "content");
  std::tuple<wchar_t const*, HRESULT, HRESULT> const rows[] = {
      // by NewFolder, then by NewFolderEx
      {L"a", S_OK, S_OK},        {L"b\\c\\d", E_FAIL, S_OK},   {L"b", E_FAIL, S_OK},
      {L"file", E_FAIL, E_FAIL}, {L"file\\e", E_FAIL, E_FAIL}, {L"f\\g\\", E_FAIL, E_FAIL}};
  for (auto const& [name, one, all] : rows) {
    std::wstring const path = folder.Path(name);
    EXPECT_EQ(file::NewFolder(path.c_str()), one) << name;
    EXPECT_EQ(file::NewFolderEx(path.c_str()), all) << name;
    EXPECT_EQ(file::IsFolder(path.c_str()), Succeeded(all) || name == L"f\\g\\"s) << name;
  }
  std::wstring const tooLong(40000, L'x');
  ExpectEach(E_FAIL, {file::NewFolderEx(L"\\a<b"), file::NewFolderEx(tooLong.c_str())});
  for (auto name : {L"a", L"file"}) EXPECT_EQ(file::IsFileExist(folder.Path(name).c_str()), name == L"file"s);
}

TEST(File, NamesTemporaryFiles) {
  wchar_t buffer[MAX_PATH] = L"x";
  for (unsigned room : {0u, 1u}) EXPECT_TRUE(file::GetTempFolder(room, buffer));
  EXPECT_STREQ(buffer, L"") << "the buffer is too short";
  EXPECT_TRUE(file::GetTempFolder(MAX_PATH, buffer) && file::IsFolder(buffer));
  String name;
  EXPECT_TRUE(name.TempFile());
  EXPECT_EQ(std::wstring(name.c_str()).rfind(std::wstring(buffer) + L"hwu", 0), 0u) << name.c_str();
  EXPECT_TRUE(DeleteFileW(name.c_str())) << "the file exists";
}

/// A host's files: one entry, named "a".
struct HostFiles final : ykFS {
  struct Entry final : ykFSEntry {
    HRESULT OpenStream(Stream** out, unsigned) noexcept override {
      return isLocked ? YK_E_ACCESS : MemStream::Create(out);
    }
    void Destroy() noexcept override {}
    bool isLocked = false;
  };
  HRESULT FindEntry(wchar_t const* name, ykFSEntry** out) noexcept override {
    *out = &entry;
    if (*name == L'c') return *out = nullptr, S_OK;
    entry.isLocked = name[1];
    return *name == L'a' ? entry.AddRef(), S_OK : YK_E_NOTFOUND;  // then not a reference
  }
  void Destroy() noexcept override {}
  Entry entry;
};

TEST(FileSystem, OpensAnEntrysStream) {
  HostFiles files;
  Ref<Stream> stream;
  EXPECT_EQ(files.GetStream(L"a", stream.Receive()), S_OK);
  EXPECT_TRUE(stream);
  auto const open = [&](wchar_t const* name) { return files.GetStream(name, stream.Receive()); };
  ExpectFailures({{YK_E_NOTFOUND, L"there is no entry b", [&] { return open(L"b"); }},
                  {E_FAIL, L"the entry that was found is null", [&] { return open(L"c"); }},
                  {YK_E_ACCESS, L"the entry ab cannot be opened", [&] { return open(L"ab"); }}});
  EXPECT_FALSE(stream);
  EXPECT_EQ(References(&files.entry), 1u);
}
