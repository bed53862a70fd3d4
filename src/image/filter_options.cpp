// Options of filters are checked here, and not by each filter.
#include <qecore/image/filter_option.h>

#include <limits.h>
#include <qecore/core/error.h>
#include <qecore/image/image_file.h>

#include <iterator>

#include "core/error_p.h"
#include "filters_p.h"

namespace yk {

namespace {

constexpr unsigned MOST_OPTIONS = 256;  // so that a filter with an endless list cannot hang the caller
constexpr unsigned MOST_CHOICES = 256;

struct SwitchText {
  wchar_t const* text;
  bool value;
};

constexpr SwitchText SWITCH_TEXTS[] = {{L"yes", true},  {L"no", false},    {L"on", true}, {L"off", false},
                                       {L"true", true}, {L"false", false}, {L"1", true},  {L"0", false}};

/// The whole text as a number without an exponent. The C runtime's function is larger than this file.
bool ParseNumber(String const& text, double& number) noexcept {
  wchar_t const* at = text.c_str();
  bool const isNegative = *at == L'-';
  double scale = 1;
  unsigned digits = 0;
  bool isFraction = false;
  number = 0;
  for (at += isNegative; *at; ++at) {
    bool const isDigit = *at >= L'0' && *at <= L'9';
    if (!isDigit && (isFraction || *at != L'.')) return false;
    isFraction = isFraction || !isDigit;
    if (isDigit) number = number * 10 + (*at - L'0'), ++digits;
    if (isDigit && isFraction) scale *= 10;
  }
  number = (isNegative ? -number : number) / scale;
  return digits > 0;
}

bool ToNumber(Variant const& value, double& number) noexcept {
  String text;
  if (value.Get(text)) return ParseNumber(text, number);
  unsigned wide = 0;
  bool const isWide = value.type == Variant::UINT32 && value.Get(wide);  // as a double it would lose bits
  if (!isWide) return value.Get(number);
  number = wide;
  return true;
}

bool IsInRange(FilterOption const& option, double number) noexcept {
  return number >= option.least && number <= option.most;  // not true for NaN
}

// One function for each kind: the value in the type of its kind, or false.

bool ToSwitch(FilterOption const&, Variant const& value, Variant& out) noexcept {
  String text;
  bool isOn = false;
  if (!value.Get(text)) {
    if (!value.Get(isOn)) return false;
    out.Init(isOn);
    return true;
  }
  for (SwitchText const& known : SWITCH_TEXTS) {
    if (text.CompareNoCase(known.text) == 0) return out.Init(known.value), true;
  }
  return false;
}

bool ToInteger(FilterOption const& option, Variant const& value, Variant& out) noexcept {
  double number = 0;
  if (!ToNumber(value, number) || !IsInRange(option, number)) return false;
  if (number < INT_MIN || number > INT_MAX || number != static_cast<int>(number)) return false;
  out.Init(static_cast<int>(number));
  return true;
}

bool ToDouble(FilterOption const& option, Variant const& value, Variant& out) noexcept {
  double number = 0;
  if (!ToNumber(value, number) || !IsInRange(option, number)) return false;
  out.Init(number);
  return true;
}

bool ToText(FilterOption const& option, Variant const& value, Variant& out) noexcept {
  String text;
  if (!value.Get(text) || (option.most > 0 && static_cast<double>(text.Length()) > option.most)) return false;
  out.Init(text.c_str(), Variant::KEEP_EMPTY);
  return true;
}

int CountChoices(FilterOption const& option) noexcept {
  int count = 0;
  while (option.choices && count < static_cast<int>(MOST_CHOICES) && option.choices[count]) ++count;
  return count;
}

bool ToChoice(FilterOption const& option, Variant const& value, Variant& out) noexcept {
  int const count = CountChoices(option);
  String text;
  int index = -1;
  if (!value.Get(text)) {
    if (!value.Get(index) || index < 0 || index >= count) return false;
    out.Init(index);
    return true;
  }
  for (index = 0; index < count; ++index) {
    if (text.CompareNoCase(option.choices[index]) == 0) return out.Init(index), true;
  }
  return false;
}

// What a value must be, for messages.

void AddSwitch(FilterOption const&, FailureText& text) noexcept { text.Add(L"yes or no"); }

void AddInteger(FilterOption const& option, FailureText& text) noexcept {
  text.Add(L"a whole number from %.0f to %.0f", option.least, option.most);
}

void AddNumber(FilterOption const& option, FailureText& text) noexcept {
  text.Add(L"a number from %g to %g", option.least, option.most);
}

void AddText(FilterOption const& option, FailureText& text) noexcept {
  text.Add(L"a text");
  if (option.most > 0) text.Add(L" of at most %.0f characters", option.most);
}

void AddChoice(FilterOption const& option, FailureText& text) noexcept {
  for (int i = 0, count = CountChoices(option); i < count; ++i)
    text.Add(L"%s%s", i > 0 ? L", " : L"one of ", option.choices[i]);
}

struct KindFacts {
  bool (*convert)(FilterOption const& option, Variant const& value, Variant& out) noexcept;
  void (*addNeed)(FilterOption const& option, FailureText& text) noexcept;
};

constexpr KindFacts KINDS[] = {{ToSwitch, AddSwitch},
                               {ToInteger, AddInteger},
                               {ToDouble, AddNumber},
                               {ToText, AddText},
                               {ToChoice, AddChoice}};
static_assert(std::size(KINDS) == FilterOption::CHOICE + 1);

HRESULT Convert(FilterOption const& option, Variant const& value, char const* operation,
                Variant& out) noexcept {
  bool const isKnown = option.kind < std::size(KINDS);
  if (isKnown && KINDS[option.kind].convert(option, value, out)) return S_OK;
  FailureText need;
  if (isKnown) {
    KINDS[option.kind].addNeed(option, need);
  } else {
    need.Add(L"of a known kind");
  }
  return Fail(E_INVALIDARG, operation, L"the option %s must be %s", option.name ? option.name : L"",
              need.c_str());
}

/// Moves the value of an option, if there is one. \return S_FALSE: no value
HRESULT CheckOption(FilterOption const& option, Map& options, char const* operation, Map& checked) noexcept {
  Variant value, converted;
  HRESULT const found = options.GetValue(option.key, value);
  if (found == E_FAIL) return S_FALSE;
  HRESULT const result = found == E_OUTOFMEMORY ? found : Convert(option, value, operation, converted);
  return Failed(result) ? result : checked.SetValue(option.key, converted);
}

/// By their keys: only a filter that has an option knows its name.
HRESULT FailUnknown(Map const& options, Map& known, char const* operation) noexcept {
  FailureText keys;
  Variant value;
  for (Map::Entry const& entry : options) {
    if (known.GetValue(entry.key, value) == E_FAIL) keys.Add(keys.IsEmpty() ? L"%u" : L", %u", entry.key);
  }
  return Fail(E_INVALIDARG, operation, L"the filter has no options with these keys: %s", keys.c_str());
}

}  // namespace

HRESULT CheckOptions(ykFlt2dEx* filter, FilterUse use, Map* options, char const* operation,
                     Ref<Map>& checked) noexcept {
  checked.Reset();
  if (!options || options->Count() == 0) return S_OK;
  Ref<Map> const result = Ref<Map>::Adopt(Map::Create());
  if (!result) return E_OUTOFMEMORY;
  unsigned known = 0;
  FilterOption option;
  for (unsigned i = 0; filter && i < MOST_OPTIONS; ++i, option = {}) {
    if (filter->GetOption(use, i, option) != S_OK) break;
    HRESULT const found = CheckOption(option, *options, operation, *result);
    if (Failed(found)) return found;
    known += found == S_OK;
  }
  checked = result;
  return known == options->Count() ? S_OK : FailUnknown(*options, *result, operation);
}

HRESULT img::SetOption(Guid const& type, FilterUse use, wchar_t const* name, wchar_t const* value,
                       Map* options) noexcept {
  constexpr char OPERATION[] = "img::SetOption";
  if (!name || !value || !options) return Fail(E_INVALIDARG, OPERATION, L"name, value or options is null");
  Ref<ykFlt2d> filter;
  HRESULT const created = CreateFilter(type, OPERATION, filter);
  if (Failed(created)) return created;
  Ref<ykFlt2dEx> const extended = ExtendedOf(*filter);
  Variant given, converted;
  given.Init(value, Variant::KEEP_EMPTY);
  FilterOption option;
  for (unsigned i = 0; extended && i < MOST_OPTIONS; ++i, option = {}) {
    if (extended->GetOption(use, i, option) != S_OK) break;
    if (!option.name || String(option.name).CompareNoCase(name) != 0) continue;
    HRESULT const result = Convert(option, given, OPERATION, converted);
    return Failed(result) ? result : options->SetValue(option.key, converted);
  }
  return Fail(E_INVALIDARG, OPERATION, L"%s files have no option %s when they are %s", LabelOf(type).c_str(),
              name, use == FILTER_READ ? L"read" : L"written");
}

}  // namespace yk
