#include <qecore/values/str.h>

#include <wchar.h>

#include "core/format_p.h"

namespace yk {

namespace {

// Characters of the formatted arguments, marks and terminator included.
constexpr size_t ARGUMENT_ROOM = 4096;
constexpr size_t FORMAT_ROOM = 8192;  // characters of an argument format, marks included
constexpr size_t MOST_PIECES = 9;     // %1 to %9
constexpr wchar_t MARK = 1;           // separates the pieces
constexpr wchar_t const* NO_PIECE = L"$ERROR$";

constexpr bool IsPieceDigit(wchar_t c) noexcept { return c >= L'1' && c <= L'9'; }

// Whether every `%` is doubled or numbered.
bool IsPositional(wchar_t const* format) noexcept {
  for (; *format; ++format) {
    if (*format != L'%') continue;
    ++format;
    if (*format != L'%' && !IsPieceDigit(*format)) return false;
  }
  return true;
}

// Whether a directive may continue after this character: a flag, a width, a precision or a size.
bool IsInDirective(wchar_t c) noexcept { return wcschr(L"-+ #.*0123456789hlLwIjzt", c) != nullptr; }

// An argument format with a mark inserted before every `%` but the first.
struct MarkedFormat {
  explicit MarkedFormat(wchar_t const* argfmt) noexcept {
    size_t end = 0;
    size_t whole = 0;  // where it ends without an unfinished directive
    bool inside = false;
    for (; *argfmt; ++argfmt) {
      bool const directive = *argfmt == L'%';
      bool const mark = directive && directives > 0;
      if (directive) ++directives;
      if (end + mark + 1 >= FORMAT_ROOM) isTruncated = true;
      if (isTruncated) continue;
      if (mark) text[end++] = MARK;
      text[end++] = *argfmt;
      inside = directive || (inside && IsInDirective(*argfmt));
      if (!inside) whole = end;
    }
    text[isTruncated ? whole : end] = 0;
  }

  wchar_t text[FORMAT_ROOM];
  size_t directives = 0;  // including truncated ones
  bool isTruncated = false;
};

// The pieces of the formatted arguments, each terminated where its mark was.
struct Pieces {
  Pieces(wchar_t* text, size_t number) noexcept : count(number) {
    for (wchar_t const*& piece : start) piece = L"";
    start[0] = text;
    for (size_t next = 1; *text; ++text) {
      if (*text != MARK) continue;
      *text = 0;
      if (next < MOST_PIECES) start[next++] = text + 1;
    }
  }

  wchar_t const* Numbered(wchar_t digit) const noexcept {
    size_t const number = static_cast<size_t>(digit - L'0');
    return number <= count ? start[number - 1] : NO_PIECE;
  }

  wchar_t const* start[MOST_PIECES];
  size_t count;
};

// Appends to a buffer, truncates at its end, and terminates.
class BoundedText {
 public:
  BoundedText(wchar_t* buffer, size_t characters) noexcept
      : next(buffer), room(buffer && characters ? characters - 1 : 0) {
    if (buffer && characters) *buffer = 0;
  }

  void Put(wchar_t c) noexcept {
    if (room == 0) return;
    *next++ = c;
    *next = 0;
    --room;
  }

  void Put(wchar_t const* text) noexcept {
    while (*text) Put(*text++);
  }

 private:
  wchar_t* next;
  size_t room;
};

int FormatPositional(wchar_t* dst, size_t size, wchar_t const* format, wchar_t const* argfmt,
                     va_list arguments) noexcept {
  MarkedFormat const marked(argfmt ? argfmt : L"");
  wchar_t text[ARGUMENT_ROOM] = {};  // zeroed: a failed conversion leaves the text without a terminator
  int const length = str::vprintf(text, ARGUMENT_ROOM, marked.text, arguments);
  text[ARGUMENT_ROOM - 1] = 0;
  Pieces const pieces(text, marked.directives);

  BoundedText out(dst, size);
  for (; *format; ++format) {
    bool const directive = *format == L'%';
    if (directive) ++format;
    if (directive && IsPieceDigit(*format)) {
      out.Put(pieces.Numbered(*format));
    } else {
      out.Put(*format);
    }
  }
  return marked.isTruncated ? -1 : length;
}

}  // namespace

int str::printf(wchar_t* buffer, size_t size, wchar_t const* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  int const length = vprintf(buffer, size, format, arguments);
  va_end(arguments);
  return length;
}

int str::vprintf(wchar_t* buffer, size_t size, wchar_t const* format, va_list arguments) noexcept {
  return FormatText(buffer, size, format, arguments);
}

int str::printf(char* buffer, size_t size, char const* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  int const length = vprintf(buffer, size, format, arguments);
  va_end(arguments);
  return length;
}

int str::vprintf(char* buffer, size_t size, char const* format, va_list arguments) noexcept {
  return FormatText(buffer, size, format, arguments);
}

int qeprintf2(wchar_t* dst, size_t size, wchar_t const* format, wchar_t const* argfmt, ...) noexcept {
  if (!format) format = L"";
  va_list arguments;
  va_start(arguments, argfmt);
  int const length = IsPositional(format) ? FormatPositional(dst, size, format, argfmt, arguments)
                                          : str::vprintf(dst, size, format, arguments);
  va_end(arguments);
  return length;
}

int qescanf(char*, char const*, ...) noexcept { return 0; }

}  // namespace yk
