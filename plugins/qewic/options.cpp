#include "options.h"

#include <limits.h>
#include <wincodec.h>

#include "failure.h"

namespace qewic {

using namespace yk;

namespace {

using Kind = FilterOption;

constexpr wchar_t const* PNG_FILTERS[] = {L"none", L"sub", L"up", L"average", L"paeth", L"adaptive", nullptr};
constexpr uint8_t WIC_PNG_FILTERS[] = {WICPngFilterNone,    WICPngFilterSub,   WICPngFilterUp,
                                       WICPngFilterAverage, WICPngFilterPaeth, WICPngFilterAdaptive};

constexpr wchar_t const* TIFF_METHODS[] = {L"none", L"lzw", L"zip", nullptr};
constexpr uint8_t WIC_TIFF_METHODS[] = {WICTiffCompressionNone, WICTiffCompressionLZW, WICTiffCompressionZIP};

constexpr unsigned PNG_FILTER = FilterOption::FIRST_OWN, PNG_INTERLACE = FilterOption::FIRST_OWN + 1;

// The file tells how many there are.
constexpr Option FRAME = {.use = FILTER_READ,
                          .key = FilterOption::FRAME,
                          .kind = Kind::INTEGER,
                          .name = L"frame",
                          .help = L"The picture to read of those in the file; 0 is the first",
                          .most = INT_MAX,
                          .standard = 0};

constexpr Option EVERY_FRAME = {
    .use = FILTER_READ,
    .key = FilterOption::EVERY_FRAME,
    .kind = Kind::SWITCH,
    .name = L"every-frame",
    .help = L"Decode all pictures before it, too, so that damage to any of them is found in one pass",
    .standard = 0};

void SetValue(Variant& value, Option const& option, int number) noexcept {
  option.kind == Kind::SWITCH ? value.Init(number != 0) : value.Init(number);
}

int CountChoices(Option const& option) noexcept {
  int count = 0;
  while (option.choices[count]) ++count;
  return count;
}

}  // namespace

constinit Option const PNG_OPTIONS[2] = {
    {.use = FILTER_WRITE,
     .key = PNG_FILTER,
     .kind = Kind::CHOICE,
     .name = L"filter",
     .help = L"What is done to each row before it is compressed; adaptive is slow and compresses best",
     .choices = PNG_FILTERS,
     .property = L"FilterOption",
     .encoded = WIC_PNG_FILTERS},
    {.use = FILTER_WRITE,
     .key = PNG_INTERLACE,
     .kind = Kind::SWITCH,
     .name = L"interlace",
     .help = L"Store a coarse picture first, which browsers show while the rest is loading",
     .standard = 0,
     .property = L"InterlaceOption"},
};

constinit Option const JPEG_OPTIONS[1] = {
    {.use = FILTER_WRITE,
     .key = FilterOption::QUALITY,
     .kind = Kind::INTEGER,
     .name = L"quality",
     .help = L"100 is the best; below 50, blocks of 8 pixels become visible",
     .least = 1,
     .most = 100},
};

constinit Option const GIF_OPTIONS[2] = {FRAME, EVERY_FRAME};

constinit Option const TIFF_OPTIONS[3] = {
    FRAME,
    EVERY_FRAME,
    {.use = FILTER_WRITE,
     .key = FilterOption::COMPRESSION,
     .kind = Kind::CHOICE,
     .name = L"compression",
     .help = L"Lossless method; some systems ignore it and do not compress",
     .choices = TIFF_METHODS,
     .property = L"TiffCompressionMethod",
     .encoded = WIC_TIFF_METHODS},
};

HRESULT DescribeOption(std::span<Option const> options, FilterUse use, unsigned index,
                       FilterOption& description) noexcept {
  for (Option const& option : options) {
    if (option.use != use || index-- > 0) continue;
    description.key = option.key;
    description.kind = option.kind;
    description.name = option.name;
    description.help = option.help;
    description.choices = option.choices;
    description.least = option.least;
    description.most = option.most;
    if (option.standard != Option::NO_STANDARD) SetValue(description.standard, option, option.standard);
    return S_OK;
  }
  return S_FALSE;
}

int ValueOf(Map* options, unsigned key, int standard) noexcept {
  Variant value;
  int number = 0;
  return options && Succeeded(options->GetValue(key, value)) && value.Get(number) ? number : standard;
}

HRESULT CollectSettings(std::span<Option const> options, Map* values,
                        std::span<EncoderSetting>& settings) noexcept {
  size_t count = 0;
  for (Option const& option : options) {
    int const value = ValueOf(values, option.key, Option::NO_STANDARD);
    if (!option.property || value == Option::NO_STANDARD || count == settings.size()) continue;
    if (option.encoded && (value < 0 || value >= CountChoices(option)))
      return Fail(E_INVALIDARG, WRITE, L"the option %s has no choice %d", option.name, value);
    settings[count++] = option.encoded ? EncoderSetting{option.property, VT_UI1, option.encoded[value]}
                                       : EncoderSetting{option.property, VT_BOOL, value ? 0xFFFFu : 0u};
  }
  settings = settings.first(count);
  return S_OK;
}

}  // namespace qewic
