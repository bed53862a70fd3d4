#include "options.h"

#include <limits.h>

#include "failure.h"

namespace qewic {

using namespace yk;

namespace {

using Kind = FilterOption;

constexpr wchar_t const* PNG_FILTERS[] = {L"none", L"sub", L"up", L"average", L"paeth", L"adaptive", nullptr};
constexpr wchar_t const* TIFF_METHODS[] = {L"none", L"lzw", L"zip", nullptr};

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

constexpr Option PNG_OPTIONS[3] = {
    {.use = FILTER_WRITE,
     .key = FilterOption::FIRST_OWN + PNG_FILTER,
     .kind = Kind::CHOICE,
     .name = L"filter",
     .help = L"What is done to each row before it is compressed; adaptive is best for photographs",
     .choices = PNG_FILTERS},
    {.use = FILTER_WRITE,
     .key = FilterOption::FIRST_OWN + PNG_INTERLACE,
     .kind = Kind::SWITCH,
     .name = L"interlace",
     .help = L"Store a coarse picture first, which browsers show while the rest is loading",
     .standard = 0},
    // Not the key of methods: this is how hard one method tries.
    {.use = FILTER_WRITE,
     .key = FilterOption::FIRST_OWN + PNG_COMPRESSION,
     .kind = Kind::INTEGER,
     .name = L"compression",
     .help = L"How much time is spent on a small file: 0 does not compress, 1 is fast, 9 the smallest",
     .least = 0,
     .most = 9,
     .standard = 6},
};

constexpr Option JPEG_OPTIONS[1] = {
    {.use = FILTER_WRITE,
     .key = FilterOption::QUALITY,
     .kind = Kind::INTEGER,
     .name = L"quality",
     .help = L"100 is the best; below 50, blocks of 8 pixels become visible",
     .least = 1,
     .most = 100},
};

constexpr Option GIF_OPTIONS[2] = {FRAME, EVERY_FRAME};

constexpr Option TIFF_OPTIONS[3] = {
    FRAME,
    EVERY_FRAME,
    {.use = FILTER_WRITE,
     .key = FilterOption::COMPRESSION,
     .kind = Kind::CHOICE,
     .name = L"compression",
     .help = L"Lossless method: zip files are smaller than lzw files, which older programs read as well",
     .standard = 0,
     .choices = TIFF_METHODS},
};

static_assert(PNG_OPTIONS[PNG_FILTER].choices == PNG_FILTERS &&
              PNG_OPTIONS[PNG_INTERLACE].kind == Kind::SWITCH && PNG_OPTIONS[PNG_COMPRESSION].most == 9 &&
              TIFF_OPTIONS[TIFF_COMPRESSION].choices == TIFF_METHODS);

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

HRESULT Choose(Option const& option, Map* values, int& chosen) noexcept {
  chosen = ValueOf(values, option.key, option.standard);
  if (chosen == option.standard) return S_OK;
  if (option.kind == Kind::CHOICE && (chosen < 0 || chosen >= CountChoices(option)))
    return Fail(E_INVALIDARG, WRITE, L"the option %s has no choice %d", option.name, chosen);
  if (option.kind == Kind::INTEGER && (chosen < option.least || chosen > option.most))
    return Fail(E_INVALIDARG, WRITE, L"the option %s is %d, not between %d and %d", option.name, chosen,
                option.least, option.most);
  return S_OK;
}

}  // namespace qewic
