// The C library's functions for wide characters, with characters of 16 bits: objcopy redirects the library's
// calls here.
namespace {

wchar_t Lower(wchar_t c) { return c >= 'A' && c <= 'Z' ? static_cast<wchar_t>(c + 32) : c; }

// Numbers are ASCII; any other character ends them.
struct Narrow {
  explicit Narrow(wchar_t const* wide) {
    size_t length = 0;
    for (; length + 1 < sizeof text && wide[length]; ++length) {
      text[length] = wide[length] < 128 ? static_cast<char>(wide[length]) : '?';
    }
    text[length] = 0;
  }
  char text[400];
};

}  // namespace

extern "C" {

size_t harness_wcslen(wchar_t const* text) {
  size_t length = 0;
  while (text[length]) ++length;
  return length;
}

size_t harness_wcsnlen(wchar_t const* text, size_t most) {
  size_t length = 0;
  while (length < most && text[length]) ++length;
  return length;
}

int harness_wcscmp(wchar_t const* a, wchar_t const* b) {
  for (; *a && *a == *b; ++a) ++b;
  return *a < *b ? -1 : *a > *b;
}

int harness_wcsncmp(wchar_t const* a, wchar_t const* b, size_t count) {
  for (; count; --count, ++a, ++b) {
    if (*a != *b) return *a < *b ? -1 : 1;
    if (!*a) break;
  }
  return 0;
}

int _wcsicmp(wchar_t const* a, wchar_t const* b) {
  for (; *a && Lower(*a) == Lower(*b); ++a) ++b;
  return Lower(*a) - Lower(*b);
}

wchar_t* harness_wcschr(wchar_t const* text, wchar_t c) {
  for (; *text != c; ++text) {
    if (!*text) return nullptr;
  }
  return const_cast<wchar_t*>(text);
}

wchar_t* harness_wcsrchr(wchar_t const* text, wchar_t c) {
  wchar_t const* last = nullptr;
  for (;; ++text) {
    if (*text == c) last = text;
    if (!*text) return const_cast<wchar_t*>(last);
  }
}

wchar_t* harness_wcsstr(wchar_t const* text, wchar_t const* part) {
  size_t const length = harness_wcslen(part);
  for (; harness_wcsncmp(text, part, length) != 0; ++text) {
    if (!*text) return nullptr;
  }
  return const_cast<wchar_t*>(text);
}

wchar_t* harness_wcspbrk(wchar_t const* text, wchar_t const* set) {
  for (; *text; ++text) {
    if (harness_wcschr(set, *text)) return const_cast<wchar_t*>(text);
  }
  return nullptr;
}

wchar_t* harness_wcscpy(wchar_t* to, wchar_t const* from) {
  size_t i = 0;
  do to[i] = from[i];
  while (from[i++]);
  return to;
}

wchar_t* harness_wcscat(wchar_t* to, wchar_t const* from) {
  harness_wcscpy(to + harness_wcslen(to), from);
  return to;
}

wchar_t* harness_wcsncpy(wchar_t* to, wchar_t const* from, size_t count) {
  size_t i = 0;
  for (; i < count && from[i]; ++i) to[i] = from[i];
  for (; i < count; ++i) to[i] = 0;
  return to;
}

int harness_wmemcmp(wchar_t const* a, wchar_t const* b, size_t count) {
  for (; count; --count, ++a, ++b) {
    if (*a != *b) return *a < *b ? -1 : 1;
  }
  return 0;
}

wchar_t* harness_wmemchr(wchar_t const* text, wchar_t c, size_t count) {
  for (; count; --count, ++text) {
    if (*text == c) return const_cast<wchar_t*>(text);
  }
  return nullptr;
}

wchar_t* harness_wmemcpy(wchar_t* to, wchar_t const* from, size_t count) {
  return static_cast<wchar_t*>(memcpy(to, from, count * sizeof *to));
}

wchar_t* harness_wmemmove(wchar_t* to, wchar_t const* from, size_t count) {
  return static_cast<wchar_t*>(memmove(to, from, count * sizeof *to));
}

wchar_t* harness_wmemset(wchar_t* to, wchar_t c, size_t count) {
  for (size_t i = 0; i < count; ++i) to[i] = c;
  return to;
}

// ASCII and Latin-1, which the tests use.
wint_t harness_towupper(wint_t c) {
  bool const small = (c >= 'a' && c <= 'z') || (c >= 0xE0 && c <= 0xFE && c != 0xF7);
  return small ? c - 32 : c;
}

wint_t harness_towlower(wint_t c) {
  bool const capital = (c >= 'A' && c <= 'Z') || (c >= 0xC0 && c <= 0xDE && c != 0xD7);
  return capital ? c + 32 : c;
}

int _wtol(wchar_t const* text) {
  long const value = strtol(Narrow(text).text, nullptr, 10);
  return value > INT_MAX ? INT_MAX : value < INT_MIN ? INT_MIN : static_cast<int>(value);
}

int _wtoi(wchar_t const* text) { return _wtol(text); }

double _wtof(wchar_t const* text) { return strtod(Narrow(text).text, nullptr); }

size_t _msize(void* block) { return malloc_usable_size(block); }

}  // extern "C"
