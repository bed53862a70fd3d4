#include <qecore/core/guid.h>

#include <stdio.h>
#include <wchar.h>
#include <windows.h>

namespace yk {

namespace {

// {FFFFFFFF-SSSS-TTTT-0011-223344556677}
constexpr char TEXT_FORMAT[] = "{%08X-%04X-%04X-%04X-%02X%02X%02X%02X%02X%02X}";
constexpr int GROUPS = 10;
constexpr int WIDE_LIMIT = 255;  // characters of a wide text that are read

// Writes `digits` hexadecimal digits in upper case.
template <class Char>
Char* WriteHex(Char* to, unsigned value, int digits) noexcept {
  for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4) {
    *to++ = static_cast<Char>("0123456789ABCDEF"[value >> shift & 0xF]);
  }
  return to;
}

template <class Char>
void WriteText(Guid const& id, Char* to) noexcept {
  *to++ = '{';
  to = WriteHex(to, id.first, 8);
  *to++ = '-';
  to = WriteHex(to, id.second, 4);
  *to++ = '-';
  to = WriteHex(to, id.third, 4);
  *to++ = '-';
  to = WriteHex(to, id.fourth[0], 2);
  to = WriteHex(to, id.fourth[1], 2);
  *to++ = '-';
  for (int i = 2; i < 8; ++i) to = WriteHex(to, id.fourth[i], 2);
  *to++ = '}';
  *to = 0;
}

}  // namespace

void Guid::Empty() noexcept { *this = {}; }

void Guid::toString(char* buffer) const noexcept { WriteText(*this, buffer); }

void Guid::toString(wchar_t* buffer) const noexcept { WriteText(*this, buffer); }

// The C runtime decides what a group of digits is: white space or a sign before it is accepted.
bool Guid::Init(char const* text) noexcept {
  Empty();
  if (!text) return false;
  unsigned v[GROUPS] = {};
  int const found = _snscanf(text, strlen(text), TEXT_FORMAT, &v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6],
                             &v[7], &v[8], &v[9]);
  first = v[0];
  second = static_cast<uint16_t>(v[1]);
  third = static_cast<uint16_t>(v[2]);
  fourth[0] = static_cast<uint8_t>(v[3] >> 8);
  fourth[1] = static_cast<uint8_t>(v[3]);
  for (int i = 2; i < 8; ++i) fourth[i] = static_cast<uint8_t>(v[i + 2]);
  return found == GROUPS;
}

bool Guid::Init(wchar_t const* text) noexcept {
  char narrow[WIDE_LIMIT * 4 + 1];  // a character has at most 4 bytes in any code page
  int const length = text ? static_cast<int>(wcsnlen(text, WIDE_LIMIT)) : 0;
  int const bytes =
      length ? WideCharToMultiByte(CP_ACP, 0, text, length, narrow, sizeof narrow - 1, nullptr, nullptr) : 0;
  narrow[bytes < WIDE_LIMIT ? bytes : WIDE_LIMIT] = 0;
  return Init(narrow);
}

}  // namespace yk
