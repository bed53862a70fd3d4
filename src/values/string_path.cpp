#include <qecore/values/string.h>

#include <qecore/values/str.h>
#include <wchar.h>

namespace yk {

namespace {

// Characters that are used, including the terminator, of a relative path and of the base.
constexpr size_t RELATIVE_ROOM = 256;
constexpr size_t BASE_ROOM = 510;
// The longest base, a separator, the longest relative path, the terminator.
constexpr size_t PATH_ROOM = (BASE_ROOM - 1) + 1 + RELATIVE_ROOM;

constexpr bool IsSeparator(wchar_t c) noexcept { return c == L'\\' || c == L'/'; }

void ReplaceAll(wchar_t* text, wchar_t old, wchar_t by) noexcept {
  for (; *text; ++text) {
    if (*text == old) *text = by;
  }
}

// Removes the last folder of a path with a trailing separator, which is kept. A path without another
// separator is unchanged.
void RemoveLastFolder(wchar_t* path) noexcept {
  for (size_t i = str::Length(path); i-- > 1;) {
    if (path[i - 1] != L'\\') continue;
    path[i] = 0;
    return;
  }
}

}  // namespace

wchar_t const* String::Extension() const noexcept {
  wchar_t const* const dot = wcsrchr(c_str(), L'.');
  return dot ? dot + 1 : nullptr;
}

void String::RemoveExtension() noexcept {
  wchar_t const* const dot = wcsrchr(c_str(), L'.');
  if (dot) Terminate(static_cast<size_t>(dot - c_str()));
}

void String::TerminatePath() noexcept {
  if (block && !IsSeparator(At(Length() - 1))) *this += L"\\";
}

void String::UnterminatePath() noexcept {
  if (block && IsSeparator(At(Length() - 1))) Terminate(Length() - 1);
}

bool String::FileConcatePaths(String const& base, String const& rel) noexcept {
  if (rel.IsEmpty()) return false;
  wchar_t relative[RELATIVE_ROOM];
  rel.Get(relative, RELATIVE_ROOM);
  ReplaceAll(relative, L'/', L'\\');
  wchar_t path[PATH_ROOM];
  base.Get(path, BASE_ROOM);
  str::TerminatePath(path);

  wchar_t const* rest = relative;
  while (wcsncmp(rest, L"..\\", 3) == 0) {
    rest += 3;
    RemoveLastFolder(path);
  }
  str::Concat(path, PATH_ROOM, rest);
  *this = path;
  return true;
}

// The last `\`; the last `/` only in a text without any `\`.
size_t String::Separator() const noexcept {
  wchar_t const* const text = c_str();
  wchar_t const* separator = wcsrchr(text, L'\\');
  if (!separator) separator = wcsrchr(text, L'/');
  return separator ? static_cast<size_t>(separator - text) : npos;
}

}  // namespace yk
