// The options of the formats: rows of tables, offered to hosts and handed to encoders.
#pragma once

#include <qecore/image/filter_option.h>
#include <qecore/values/map.h>

#include <span>

namespace qewic {

/// One option. A choice's value is the index of its name.
struct Option {
  static constexpr int NO_STANDARD = -1;

  yk::FilterUse use;
  unsigned key;
  yk::FilterOption::Kind kind;
  wchar_t const* name;
  wchar_t const* help;
  int least = 0, most = 0;
  int standard = NO_STANDARD;
  wchar_t const* const* choices = nullptr;
};

// The options of each format that has any, and where in them those of the plug-in's encoders are.
inline constexpr unsigned PNG_FILTER = 0, PNG_INTERLACE = 1, PNG_COMPRESSION = 2, TIFF_COMPRESSION = 2;
extern Option const PNG_OPTIONS[3], JPEG_OPTIONS[1], GIF_OPTIONS[2], TIFF_OPTIONS[3];

/// The body of ykFlt2dEx::GetOption.
HRESULT DescribeOption(std::span<Option const> options, yk::FilterUse use, unsigned index,
                       yk::FilterOption& description) noexcept;

/// The value under `key`, or `standard`.
int ValueOf(yk::Map* options, unsigned key, int standard) noexcept;

/// The value of an option in `values`, or its standard. E_INVALIDARG: it is not the index of a choice, or out
/// of range.
HRESULT Choose(Option const& option, yk::Map* values, int& chosen) noexcept;

}  // namespace qewic
