// yk::Guid: a 128-bit identifier of a class or an interface.
//
//   offset  0          4       6       8                                  16
//           +----------+-------+-------+----------------------------------+
//           | first    |second | third | fourth[8]                        |   the layout of a Windows GUID
//           +----------+-------+-------+----------------------------------+
//   text    {FFFFFFFF-SSSS-TTTT-0011-223344556677}                            always 38 characters
//
// A plain value: copy it, compare it. The all-zero identifier is the empty one.
#pragma once

#include <qecore/core/base.h>
#include <string.h>

namespace yk {

class String;

struct Guid {
  /// The fields of the text form, from the left.
  uint32_t first;
  uint16_t second;
  uint16_t third;
  uint8_t fourth[8];

  /// Characters that toString writes, including the terminator.
  static constexpr size_t TEXT_SIZE = 39;

  /// Sets all 16 bytes to zero.
  YK_API void Empty() noexcept;

  /// Writes the text form, upper case, to a buffer of at least TEXT_SIZE characters.
  YK_API void toString(char* buffer) const noexcept;
  YK_API void toString(wchar_t* buffer) const noexcept;

  /// Parses the text form. The opening brace and the dashes must be at the positions shown above; letters may
  /// have either case; the closing brace and anything after the last digit are ignored. At most 255
  /// characters of a wide text are read. False: not an identifier, and the content of this one is
  /// unspecified.
  YK_API bool Init(char const* text) noexcept;
  YK_API bool Init(wchar_t const* text) noexcept;
  YK_API bool Init(String const& text) noexcept;

  /// Whether all bytes are equal.
  friend bool operator==(Guid const& a, Guid const& b) noexcept { return memcmp(&a, &b, sizeof(Guid)) == 0; }
};

static_assert(sizeof(Guid) == 16 && alignof(Guid) == 4);
static_assert(offsetof(Guid, second) == 4 && offsetof(Guid, third) == 6 && offsetof(Guid, fourth) == 8);

}  // namespace yk
