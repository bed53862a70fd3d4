#include <qecore/values/str.h>

#include <string.h>
#include <windows.h>

#include <new>

#include "core/conversions_p.h"
#include "core/error_p.h"
#include "text_kernels_p.h"

namespace yk {

namespace {

using text::IsBlank;

template <class Char>
Char* NewCopy(Char const* text) noexcept {
  size_t const length = str::Length(text);
  if (length == 0) return nullptr;
  size_t const bytes = (length + 1) * sizeof(Char);
  void* const copy = ::operator new(bytes, std::nothrow);
  if (!copy) return FailMemory("str::New", bytes), nullptr;
  return static_cast<Char*>(memcpy(copy, text, bytes));
}

template <class Char>
size_t ConcatTo(Char* dst, size_t size, Char const* src) noexcept {
  if (!dst || size == 0) return 0;
  size_t end = 0;
  while (end < size && dst[end]) ++end;
  while (end < size && src && *src) dst[end++] = *src++;
  dst[end < size ? end : size - 1] = 0;  // Contract: a text that fills the buffer loses its last character
  return end;                            // to the terminator, but not from the count
}

template <class Char>
void TrimInPlace(Char* text) noexcept {
  if (!text) return;
  size_t lead = 0;
  while (IsBlank(text[lead])) ++lead;
  size_t const length = str::Length(text + lead);
  if (lead) memmove(text, text + lead, (length + 1) * sizeof(Char));
  for (size_t end = length; end > 1 && IsBlank(text[end - 1]); --end) text[end - 1] = 0;
}

// The character for the escape `\c` in preprocess_C; 0 when it is not an escape.
constexpr char Unescaped(char c) noexcept {
  if (c == 'n') return '\n';
  if (c == 'r') return '\r';
  return c == 't' ? '\t' : '\0';
}

}  // namespace

size_t str::Length(wchar_t const* s) noexcept { return s ? text::Length(s) : 0; }
size_t str::Length(char const* text) noexcept { return text ? strlen(text) : 0; }

char* str::New(char const* text) noexcept { return NewCopy(text); }
wchar_t* str::New(wchar_t const* text) noexcept { return NewCopy(text); }

size_t str::Concat(wchar_t* dst, size_t size, wchar_t const* src) noexcept {
  return ConcatTo(dst, size, src);
}
size_t str::Concat(char* dst, size_t size, char const* src) noexcept { return ConcatTo(dst, size, src); }

void str::AllTrim(char* text) noexcept { TrimInPlace(text); }
void str::AllTrim(wchar_t* text) noexcept { TrimInPlace(text); }

void str::TerminatePath(wchar_t* path) noexcept {
  size_t const length = Length(path);
  if (length == 0 || path[length - 1] == L'\\') return;
  path[length] = L'\\';
  path[length + 1] = 0;
}

size_t GetDirLen(wchar_t const* path) noexcept {
  size_t directory = 0;
  for (size_t i = 0; path && path[i]; ++i) {
    if (path[i] == L'\\' || path[i] == L'/' || path[i] == L':') directory = i + 1;
  }
  return directory;
}

int wtoa(wchar_t const* src, char* dst, size_t size) noexcept {
  return WideCharToMultiByte(CP_ACP, 0, src, -1, dst, AsCount(size), nullptr, nullptr);
}

int wtoa_BufSize(wchar_t const* src) noexcept { return wtoa(src, nullptr, 0); }

int atow(char const* src, wchar_t* dst, size_t size) noexcept {
  return MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, src, -1, dst, AsCount(size));
}

void preprocess_C(char* text) noexcept {
  if (!text) return;
  char* out = text;
  for (char const* in = text; *in; ++in, ++out) {
    if (in[0] != '\\' || in[1] == 0) {
      *out = *in;
      continue;
    }
    ++in;
    // Contract: an unknown escape writes nothing but takes its place in the output.
    if (char const c = Unescaped(*in)) *out = c;
  }
  *out = 0;
}

}  // namespace yk
