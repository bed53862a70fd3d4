// An option of an image filter: what it is called, which values it takes, and what it is for.
//
//   FilterOption option;
//   for (unsigned i = 0; filter->GetOption(FILTER_WRITE, i, option) == S_OK; ++i, option = {}) Show(option);
//
// A value is kept in a Map under the option's key, and the Map is passed to img::Read or img::Write
// (image_file.h), which refuse what the filter does not describe:
//
//   Variant quality;
//   quality.Init(90);
//   options->SetValue(FilterOption::QUALITY, quality);
//
//   kind       value in the Map              least, most
//   SWITCH     bool
//   INTEGER    int                           the range, both inclusive
//   NUMBER     double                        the range, both inclusive
//   STRING     wide string                   `most` is the longest length; 0: any
//   CHOICE     int, an index of `choices`
//
// A value of another type is accepted if Variant converts it. Ownership: the texts are the filter's and live
// as long as its plug-in is loaded.
#pragma once

#include <qecore/core/filter.h>
#include <qecore/values/variant.h>

namespace yk {

/// One option; see the example.
struct FilterOption {
  /// What a value is.
  enum Kind : unsigned { SWITCH = 0, INTEGER = 1, NUMBER = 2, STRING = 3, CHOICE = 4 };

  /// The keys of options that mean the same in every filter that has them. A filter's other options have keys
  /// from FIRST_OWN. The name does not imply the key: that of L"compression" is COMPRESSION for TIFF, but
  /// PNG's is a level with a key of its own. img::SetOption goes by the name.
  enum Key : unsigned {
    QUALITY = 1,      ///< INTEGER, 1 to 100, of lossy compression: L"quality"
    COMPRESSION = 2,  ///< CHOICE of lossless methods: L"compression"
    FRAME = 3,        ///< INTEGER, from 0, of the pictures in the file: L"frame"
    /// SWITCH: L"every-frame": fail for damage to any picture up to FRAME, even if unseen; the text begins
    /// with "frame " and its number.
    EVERY_FRAME = 4,
    FIRST_OWN = 1000,
  };

  unsigned key = 0;                         ///< in the Map
  Kind kind = SWITCH;                       ///< of the value
  wchar_t const* name = nullptr;            ///< for command lines: lower-case letters, digits and hyphens
  wchar_t const* help = nullptr;            ///< one sentence without a full stop
  wchar_t const* const* choices = nullptr;  ///< of CHOICE: names, like `name`; null after the last
  double least = 0, most = 0;               ///< see above
  Variant standard;                         ///< the value used without one; empty: it depends on the picture
};

static_assert(sizeof(FilterOption) == 64 && offsetof(FilterOption, choices) == 24 &&
              offsetof(FilterOption, standard) == 48);

}  // namespace yk
