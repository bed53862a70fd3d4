#include <qecore/io/file_find.h>
#include <windows.h>

#include <set>

#include "support/failure.h"
#include "support/prelude.h"
#include "support/temp_folder.h"

using namespace yk;

TEST(RegularCompare, MatchesNames) {
  // a pattern; the names that it matches, then others, each followed by a bar
  std::tuple<wchar_t const*, std::wstring, std::wstring> const rows[] = {
      {L"", L"|", L"a|"},
      {L"*.*", L"|a|a.b|", L""},
      {L"a*.*", L"a|ab|a.b|", L"b|"},
      {L"a*.", L"a|ab|ab.|", L"b|ab.c|ab..|"},
      {L"?b", L"ab|.B|", L"b|aab|"},
      {L"*.txt", L"a.txt|.TXT|a.b.txt|", L"a|a.txt.b|a.txtx|txt|"},
      {L"*.t?t", L"a.txt|a.b.txt|", L"a.tt|"},
      {L"a.b.", L"a.b|a.b.|", L"a.b..|a|"},
      {L"*a*b", L"ab|aab|acbb|", L"ba|a|abc|"},
      {L"[a-cx]", L"A|c|x|", L"-|d||"},
      {L"[a-]", L"a|-|", L"b|"},
      {L"[ab-]", L"b|-|", L"c|"},
      {L"[a", L"[a|", L"a|"},
      {L"*[.]b", L"a.b|", L"ab|"}};
  for (auto const& [pattern, good, bad] : rows) {
    for (bool const matches : {true, false}) {
      for (std::wstring names = matches ? good : bad; !names.empty(); names.erase(0, names.find(L'|') + 1)) {
        std::wstring const name = names.substr(0, names.find(L'|'));
        EXPECT_EQ(RegularCompare(pattern, name.c_str()), matches) << pattern << " " << name;
      }
    }
  }
}

TEST(RegularCompare, ManyStarsOnALongName) {
  ExpectEach(false, {RegularCompare(nullptr, L"a"), RegularCompare(L"*", nullptr)});
  std::wstring pattern;
  for (int i = 0; i < 60; ++i) pattern += L"*a?";
  std::wstring const name(5000, L'a');
  EXPECT_TRUE(RegularCompare(pattern.c_str(), name.c_str()));
  EXPECT_FALSE(RegularCompare((pattern + L"b").c_str(), name.c_str()));
}

static std::set<std::wstring> Find(std::wstring const& folder, unsigned flags) {
  std::set<std::wstring> names;
  FileFind find(folder.c_str(), L"*.txt", flags);
  for (String full; find.GetNext() && find.GetFullName(full);) {
    EXPECT_EQ(full.c_str(), folder + L"\\" + find.name.c_str());
    EXPECT_EQ(find.size, find.IsFolder() ? 0u : 3u);
    names.insert(find.name.c_str());
  }
  return names;
}

TEST(FileFind, WalksAFolder) {
  TempFolder const folder;
  for (wchar_t const* name : {L"a.txt", L"b.TXT", L"c.png"}) folder.Write(name, "abc");
  CreateDirectoryW(folder.Path(L".hidden").c_str(), nullptr);
  std::wstring const path = folder.Path().substr(0, folder.Path().size() - 1);
  EXPECT_EQ(Find(path, FileFind::FILES), (std::set<std::wstring>{L"a.txt", L"b.TXT"}));
  EXPECT_EQ(Find(path, FileFind::FOLDERS), std::set<std::wstring>{L".hidden"})
      << "the pattern applies to files only";
  EXPECT_TRUE(Find(path + L"\\missing", 3).empty());
  EXPECT_EQ(LastMessage(), path + L"\\missing\\: the folder does not exist");
  EXPECT_TRUE(Find(std::wstring(70000, L'x'), 3).empty());
}
