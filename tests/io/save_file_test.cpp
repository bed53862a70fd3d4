#include <qecore/io/file_find.h>
#include <qecore/io/save_file.h>

#include "streams.h"
#include "support/temp_folder.h"

using namespace yk;

static int FilesIn(TempFolder const& folder) {
  int count = 0;
  for (FileFind find(folder.Path().c_str(), L"*", FileFind::FILES); find.GetNext();) ++count;
  return count;
}

enum How { COMMITTED, DISCARDED, LEFT, UNWRITTEN, HELD };

static HRESULT Save(std::wstring const& target, How how) {
  Ref<Stream> reader;
  SaveFile file;
  EXPECT_EQ(file.Open(target.c_str()), S_OK) << how;
  Ref<Stream> const kept = Ref<Stream>::Share(file.GetStream());
  String path;
  EXPECT_EQ(static_cast<FileStream*>(kept.get())->GetFileName(path), S_OK);
  EXPECT_EQ(path.c_str(), target) << how;
  if (how == UNWRITTEN) {
    (void)kept->Write(reinterpret_cast<void*>(1), 1 << 20);
  } else {
    (void)kept->Write("new", 3);
  }
  if (how == DISCARDED) file.Discard();
  if (how == HELD) FileStream::Create(path, FileStream::READ, reader.Receive());
  if (how == LEFT) return S_FALSE;
  HRESULT const result = file.Commit();
  EXPECT_EQ(file.GetStream(), nullptr);
  EXPECT_EQ(kept->Write("more", 4), E_FAIL) << "closed, even if others hold it";
  return result;
}

TEST(SaveFile, ReplacesWholeOrNotAtAll) {
  std::tuple<wchar_t const*, How, HRESULT, std::string> const rows[] = {
      {L"f", COMMITTED, S_OK, "new"},         {L"old", COMMITTED, S_OK, "new"},
      {L"f", DISCARDED, E_FAIL, ""},          {L"old", LEFT, S_FALSE, "content"},
      {L"old", UNWRITTEN, E_FAIL, "content"}, {L"old", HELD, YK_E_ACCESS, "content"}};
  for (auto const& [name, how, result, bytes] : rows) {
    TempFolder const folder;
    folder.Write(L"old", "content");
    EXPECT_EQ(Save(folder.Path(name), how), result) << name << how;
    EXPECT_EQ(folder.Read(name), bytes) << name << how;
    EXPECT_EQ(FilesIn(folder), name == L"f"s && how == COMMITTED ? 2 : 1) << name << how;
  }
}

TEST(SaveFile, OpensWhereAFileCanBeMade) {
  TempFolder const folder;
  folder.Write(L"held", "content");
  Ref<Stream> holder;
  ASSERT_EQ(FileStream::Create(folder.Path(L"held").c_str(), FileStream::READ_WRITE, holder.Receive()), S_OK);
  std::pair<std::wstring, HRESULT> const rows[] = {{folder.Path(L"held"), YK_E_ACCESS},
                                                   {folder.Path(), YK_E_ACCESS},
                                                   {folder.Path(L"no\\folder"), YK_E_NOTFOUND},
                                                   {folder.Path(L"a<b"), E_FAIL},
                                                   {folder.Path(L"a\\"), E_FAIL},
                                                   {L"", YK_E_NOTFOUND},
                                                   {L"$(module)io_test.exe:LOGO.PICTURE", YK_E_ACCESS},
                                                   {L"NUL", S_OK}};
  for (auto const& [path, result] : rows) {
    SaveFile file;
    EXPECT_EQ(file.Open(path.c_str()), result) << path;
    EXPECT_EQ(file.GetStream() != nullptr, Succeeded(result)) << path;
    EXPECT_EQ(FilesIn(folder), 1) << path;
    EXPECT_EQ(file.Commit(), Succeeded(result) ? S_OK : E_FAIL) << path;
  }
}
