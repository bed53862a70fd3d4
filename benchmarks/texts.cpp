// Strings, UTF-8 and the arena.
#include <qecore/core/memory.h>
#include <qecore/core/ref.h>
#include <qecore/values/str.h>
#include <qecore/values/string.h>
#include <stdio.h>
#include <stdlib.h>
#include <wchar.h>

#include <memory>

#include "bench.h"

namespace bench {

using namespace yk;

namespace {

constexpr size_t LENGTH = 65536;
constexpr char STRINGS[] = "strings", MEMORY[] = "memory";
constexpr wchar_t NEEDLE[] = L"needle z";
constexpr size_t NEEDLE_LENGTH = 8;

/// Letters without z, and NEEDLE at the end.
std::wstring Haystack() {
  Numbers numbers(4);
  std::wstring text;
  while (text.size() < LENGTH) text += static_cast<wchar_t>(L'a' + numbers.Below(25));
  return text.replace(LENGTH - NEEDLE_LENGTH, NEEDLE_LENGTH, NEEDLE);
}

size_t PlainFind(wchar_t const* text, wchar_t wanted) {
  size_t at = 0;
  while (text[at] && text[at] != wanted) ++at;
  return at;
}

size_t PlainFind(wchar_t const* text, wchar_t const* wanted, size_t length) {
  size_t at = 0;
  while (text[at] && (text[at] != *wanted || wcsncmp(text + at, wanted, length) != 0)) ++at;
  return at;
}

bool PlainEqual(wchar_t const* a, wchar_t const* b) {
  while (*a && *a == *b) ++a, ++b;
  return *a == *b;
}

void AddSearches() {
  AddRow(STRINGS, "find a character", LENGTH, "plain loop", [] {
    auto const text = std::make_shared<String>(Haystack().c_str());
    return Pair{[=] { Keep(text->Find(L'z')); }, [=] { Keep(PlainFind(text->c_str(), L'z')); }};
  });
  AddRow(STRINGS, "find a text", LENGTH, "plain loop", [] {
    auto const text = std::make_shared<String>(Haystack().c_str());
    return Pair{[=] { Keep(text->Find(NEEDLE)); },
                [=] { Keep(PlainFind(text->c_str(), NEEDLE, NEEDLE_LENGTH)); }};
  });
  AddRow(STRINGS, "compare 256 characters", 256, "plain loop", [] {
    auto const a = std::make_shared<String>(std::wstring(256, L'q').c_str());
    auto const b = std::make_shared<String>(*a);
    return Pair{[=] { Keep(*a == *b); }, [=] { Keep(PlainEqual(a->c_str(), b->c_str())); }};
  });
}

void AddMaking() {
  AddRow(STRINGS, "make and copy 24 characters", 1, "malloc and memcpy", [] {
    static wchar_t const* volatile text = L"abcdefghijklmnopqrstuvwx";
    Work const ours = [] {
      String const made(text);
      String const copy(made);
      Keep(copy);
    };
    return Pair{ours, [] {
                  wchar_t const* const from = text;
                  size_t const bytes = (wcslen(from) + 1) * sizeof *from;
                  void* const made = memcpy(malloc(bytes), from, bytes);
                  void* const copy = memcpy(malloc(bytes), made, bytes);
                  Keep(copy);
                  free(copy);
                  free(made);
                }};
  });
  AddRow(STRINGS, "printf", 1, "_snwprintf", [] {
    auto const text = std::make_shared<String>();
    Work const ours = [=] { text->printf(L"%d files in %s, %.2f", 17, L"folder", 2.5); };
    return Pair{ours, [] {
                  wchar_t buffer[128];
                  _snwprintf(buffer, 128, L"%d files in %s, %.2f", 17, L"folder", 2.5);
                  Keep(buffer);
                }};
  });
}

void AddUtf() {
  AddRow(STRINGS, "UTF-8 to UTF-16, ASCII", LENGTH, "plain loop", [] {
    auto const from = std::make_shared<std::string>(LENGTH, 'u');
    auto const to = std::make_shared<std::wstring>(LENGTH + 1, L' ');
    Work const ours = [=] { str::UTF8ToW(from->c_str(), to->data(), LENGTH + 1); };
    return Pair{ours, [=] {
                  for (size_t i = 0; i <= LENGTH; ++i)
                    (*to)[i] = static_cast<unsigned char>(from->c_str()[i]);
                  Keep((*to)[0]);
                }};
  });
  AddRow(STRINGS, "UTF-16 to UTF-8, ASCII", LENGTH, "plain loop", [] {
    auto const from = std::make_shared<std::wstring>(LENGTH, L'u');
    auto const to = std::make_shared<std::string>(3 * LENGTH + 1, ' ');
    Work const ours = [=] { str::WToUTF8(from->c_str(), to->data(), 3 * LENGTH + 1); };
    return Pair{ours, [=] {
                  for (size_t i = 0; i <= LENGTH; ++i) (*to)[i] = static_cast<char>(from->c_str()[i]);
                  Keep((*to)[0]);
                }};
  });
}

constexpr int BLOCKS = 10000;
constexpr size_t BLOCK_SIZES[8] = {16, 24, 16, 32, 16, 24, 48, 16};

void AddArena() {
  AddRow(MEMORY, "blocks of an arena", BLOCKS, "bump of a pointer", [] {
    auto const arena = Ref<Malloc>::Adopt(Malloc::Create(1 << 20));
    auto const room = std::make_shared<std::vector<char>>(1 << 20);
    Work const ours = [=] {
      arena->Reset();
      for (int i = 0; i < BLOCKS; ++i) *static_cast<int*>(arena->Alloc(BLOCK_SIZES[i & 7])) = i;
    };
    return Pair{ours, [=] {
                  char* at = room->data();
                  for (int i = 0; i < BLOCKS; ++i) {
                    char* volatile block = at;
                    memcpy(block, &i, sizeof i);
                    at += BLOCK_SIZES[i & 7];
                  }
                }};
  });
  AddRow(MEMORY, "yk_new and yk_delete of 32 bytes", 1, "malloc and free", [] {
    auto const pair = [](auto take, auto give) {
      return [=] {
        void* const block = take(32);
        Keep(block);
        give(block);
      };
    };
    return Pair{pair(yk_new, yk_delete), pair(malloc, free)};
  });
}

}  // namespace

void AddTexts() {
  AddSearches();
  AddMaking();
  AddUtf();
  AddArena();
  AddGrowth("String += 8 characters", 2, {10000, 100000, 1000000}, [](size_t size, double&) -> Work {
    return [=] {
      String text;
      for (size_t i = 0; i < size; ++i) text += L"abcdefgh";
      Keep(text);
    };
  });
}

}  // namespace bench
