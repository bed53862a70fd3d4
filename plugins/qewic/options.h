// The options of the formats: rows of tables, offered to hosts and handed to encoders.
#pragma once

#include <qecore/image/filter_option.h>
#include <qecore/values/map.h>

#include <span>

#include "codec.h"

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
  wchar_t const* property = nullptr;       ///< the encoder's name for it; null: not an option of the encoder
  unsigned char const* encoded = nullptr;  ///< the encoder's value for each choice
};

/// The options of the format `type`.
std::span<Option const> OptionsOf(yk::Guid const& type) noexcept;

/// The body of ykFlt2dEx::GetOption.
HRESULT DescribeOption(yk::Guid const& type, yk::FilterUse use, unsigned index,
                       yk::FilterOption& description) noexcept;

/// The value under `key`, or `standard`.
int ValueOf(yk::Map* options, unsigned key, int standard) noexcept;

/// The encoder's options that are set in `options`, in the elements of `settings`. \return how many
size_t CollectSettings(yk::Guid const& type, yk::Map* options, std::span<EncoderSetting> settings) noexcept;

}  // namespace qewic
