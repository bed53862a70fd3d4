#include <gtest/gtest.h>
#include <qecore/io/file_find.h>
#include <windows.h>

#include <random>
#include <set>

#include "support/temp_folder.h"

namespace {

using namespace yk;

wchar_t Up(wchar_t c) { return static_cast<wchar_t>(towupper(c)); }

bool DirectClass(wchar_t const* at, wchar_t const* close, wchar_t c) {
  for (bool range; at < close; at += range ? 3 : 1) {
    range = at + 2 < close && at[1] == L'-';
    if (Up(*at) <= c && c <= Up(range ? at[2] : *at)) return true;
  }
  return false;
}

/// The matcher's rules, one by one, as a recursion that may take very long.
bool Direct(wchar_t const* p, wchar_t const* n) {
  for (; *p; ++p) {
    if (*p == L'*') {
      std::wstring const rest = p + 1;
      wchar_t const* const dot = wcschr(n, L'.');
      if (rest.empty() || rest == L".*") return true;
      if (rest == L".") return !dot || !dot[1];
      if (rest[0] == L'.' && dot) {
        n = dot;
        bool const plain = rest.find_first_of(L"*?[") == std::wstring::npos;
        if (plain && !wcschr(dot + 1, L'.')) return _wcsicmp(rest.c_str() + 1, dot + 1) == 0;
      }
      for (; *n; ++n) {
        if (Direct(p + 1, n)) return true;
      }
      return false;
    }
    wchar_t const* const close = *p == L'[' ? wcschr(p, L']') : nullptr;
    if (*p == L'.' && !*n) continue;
    if (!*n) return false;
    if (close ? !DirectClass(p + 1, close, Up(*n)) : *p != L'?' && Up(*p) != Up(*n)) return false;
    if (close) p = close;
    ++n;
  }
  return !*n;
}

TEST(RegularCompare, AnswersAsTheRulesDo) {
  std::mt19937 random(3);
  auto const text = [&](std::wstring const& letters, size_t longest) {
    std::wstring made(random() % (longest + 1), L' ');
    for (wchar_t& c : made) c = letters[random() % letters.size()];
    return made;
  };
  for (int i = 0; i < 200000; ++i) {
    std::wstring const pattern = text(L"aB.**?[-]", 9), name = text(L"Aab..-]", 8);
    bool const expected = Direct(pattern.c_str(), name.c_str());
    ASSERT_EQ(RegularCompare(pattern.c_str(), name.c_str()), expected) << pattern << " " << name;
  }
}

TEST(RegularCompare, ManyStarsOnALongName) {
  std::wstring pattern;
  for (int i = 0; i < 60; ++i) pattern += L"*a?";
  std::wstring const name(5000, L'a');
  EXPECT_TRUE(RegularCompare(pattern.c_str(), name.c_str()));
  EXPECT_FALSE(RegularCompare((pattern + L"b").c_str(), name.c_str()));
}

std::set<std::wstring> Find(std::wstring const& folder, unsigned flags) {
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
  EXPECT_EQ(Find(path, FileFind::FOLDERS), std::set<std::wstring>{L".hidden"}) << "the pattern is for files";
  EXPECT_TRUE(Find(path + L"\\missing", 3).empty());
  EXPECT_TRUE(Find(std::wstring(70000, L'x'), 3).empty());
}

}  // namespace
