// The options of the formats: rows of tables, offered to hosts and handed to encoders.
#pragma once

#include <qecore/image/filter_option.h>
#include <qecore/values/map.h>

#include <wtypes.h>

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
  wchar_t const* property = nullptr;  ///< the encoder's name for it; null: not an option of the encoder
  uint8_t const* encoded = nullptr;   ///< the encoder's value for each choice
};

/// An option of an encoder of the Imaging Component.
struct EncoderSetting {
  wchar_t const* property;
  VARTYPE type;  ///< VT_BOOL or VT_UI1
  unsigned value;
};

// The options of each format that has any.
extern Option const PNG_OPTIONS[2], JPEG_OPTIONS[1], GIF_OPTIONS[2], TIFF_OPTIONS[3];

/// The body of ykFlt2dEx::GetOption.
HRESULT DescribeOption(std::span<Option const> options, yk::FilterUse use, unsigned index,
                       yk::FilterOption& description) noexcept;

/// The value under `key`, or `standard`.
int ValueOf(yk::Map* options, unsigned key, int standard) noexcept;

/// The encoder's options among `options` that are set in `values`, in the first elements of `settings`, which
/// is shortened to them. E_INVALIDARG: a value is not the index of a choice.
HRESULT CollectSettings(std::span<Option const> options, yk::Map* values,
                        std::span<EncoderSetting>& settings) noexcept;

}  // namespace qewic
