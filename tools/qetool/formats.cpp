// qetool formats: the file formats that plug-ins read and write, and their options.
#include "formats.h"

#include <limits.h>
#include <qecore/core/filter.h>
#include <qecore/core/module.h>
#include <qecore/image/filter_option.h>
#include <qecore/image/image_file.h>
#include <qecore/io/file_formats.h>
#include <qecore/values/array.h>
#include <stdio.h>

#include <algorithm>
#include <memory>

#include "commands.h"
#include "pictures.h"
#include "text.h"

namespace qetool {

using namespace yk;

namespace {

std::string PatternsOf(FilterInfo const& filter) {
  std::string all;
  for (std::string const& extension : filter.extensions) all += (all.empty() ? "*." : ", *.") + extension;
  return all;
}

std::string OriginOf(ClassInfo const& info) {
  return info.module ? ToUtf8(info.module->fileName) : "the program";
}

Ref<ykFlt2dEx> MakeFilter(Guid const& id) {
  Ref<ykFlt2d> filter;
  if (Failed(CreateInterface(id, filter.ReceiveVoid()))) return {};
  return filter.Query<ykFlt2dEx>();
}

std::string ChoicesOf(FilterOption const& option) {
  std::string all;
  for (wchar_t const* const* choice = option.choices; choice && *choice; ++choice)
    all += (all.empty() ? "" : "|") + ToUtf8(*choice);
  return all;
}

std::string ValuesOf(FilterOption const& option) {
  switch (option.kind) {
    case FilterOption::SWITCH:
      return "yes|no";
    case FilterOption::CHOICE:
      return ChoicesOf(option);
    case FilterOption::STRING:
      return option.most > 0 ? Format("TEXT of at most %.0f characters", option.most) : "TEXT";
    case FilterOption::INTEGER:
      return Format(option.most < INT_MAX ? "%.0f..%.0f" : "%.0f or more", option.least, option.most);
    default:
      return Format("%g..%g", option.least, option.most);
  }
}

std::string StandardOf(FilterOption const& option) {
  String text;
  double number = 0;
  if (option.standard.type == Variant::EMPTY) return {};
  if (option.kind == FilterOption::SWITCH) {
    bool isOn = false;
    option.standard.Get(isOn);
    return isOn ? "yes" : "no";
  }
  if (option.standard.Get(text)) return ToUtf8(text);
  option.standard.Get(number);
  bool const isChoice = option.kind == FilterOption::CHOICE && option.choices;
  return isChoice ? ToUtf8(option.choices[static_cast<int>(number)]) : Format("%g", number);
}

std::vector<FilterOption> OptionsOf(ykFlt2dEx* filter, FilterUse use) {
  constexpr unsigned MOST = 256;  // as many as the library asks for
  std::vector<FilterOption> options;
  FilterOption option;
  for (unsigned i = 0; filter && i < MOST && filter->GetOption(use, i, option) == S_OK; ++i, option = {}) {
    options.push_back(option);
  }
  return options;
}

// Filters without options know only the quality, and only those of formats that the library knows.
bool TakesPlainQuality(Guid const& filter) {
  FileFormat const* const format = FindFileFormat(filter);
  return format && format->hasQuality && !MakeFilter(filter);
}

bool HasQuality(Guid const& filter) {
  return TakesPlainQuality(filter) || HasOption(filter, FILTER_WRITE, FilterOption::QUALITY);
}

struct UseFacts {
  FilterUse use;
  char const *flag, *doing, *help;
};

constexpr UseFacts USES[] = {
    {FILTER_READ, "--read-option", "reading",
     "Set an option of the file type read, once for each; qetool formats EXT lists them"},
    {FILTER_WRITE, "--option", "writing",
     "Set an option of the file type written, once for each; qetool formats EXT lists them"}};

UseFacts const& FactsOf(FilterUse use) { return USES[use == FILTER_WRITE]; }

std::string NameIn(std::string const& setting) { return setting.substr(0, setting.find('=')); }

// Of two values for one option, one would be ignored.
void CheckUnique(std::vector<std::string> const& settings, UseFacts const& facts) {
  for (size_t i = 0; i < settings.size(); ++i) {
    for (size_t j = 0; j < i; ++j) {
      if (EqualNoCase(NameIn(settings[i]), NameIn(settings[j])))
        throw Failure{
            Format("%s %s: %s is set already", facts.flag, settings[i].c_str(), settings[j].c_str())};
    }
  }
}

// Returns whether there are any.
bool PrintOptions(ykFlt2dEx* filter, UseFacts const& facts) {
  std::vector<FilterOption> const options = OptionsOf(filter, facts.use);
  if (!options.empty()) printf("  options of %s (%s NAME=VALUE):\n", facts.doing, facts.flag);
  for (FilterOption const& option : options) {
    std::string const standard = StandardOf(option);
    printf("    %s=%s%s%s%s\n        %s\n", ToUtf8(option.name).c_str(), ValuesOf(option).c_str(),
           standard.empty() ? "" : " (", standard.c_str(), standard.empty() ? "" : ")",
           ToUtf8(option.help).c_str());
  }
  return !options.empty();
}

// Why another filter comes first for a pattern.
std::string ReasonOf(ClassInfo const& info, ClassInfo const& first) {
  bool const isRival = info.flags & ClassInfo::RIVAL;
  return Format(
      isRival ? "second to %s, which has the same class" : "second to %s, which was registered first",
      OriginOf(first).c_str());
}

void PrintFilter(ClassInfo const& info) {
  FilterInfo const filter = Describe(info);
  std::string line =
      Format("%-28s %-22s %s", filter.name.c_str(), PatternsOf(filter).c_str(), OriginOf(info).c_str());
  if (!filter.extensions.empty()) {
    ClassInfo const& first = *FiltersFor("a." + filter.extensions[0]).front();
    if (&first != &info) line += ", " + ReasonOf(info, first);
  }
  printf("%s\n", line.c_str());
}

void Run(std::string const& format, Host& host) {
  Watch watch;
  host.Start(watch);
  watch.Clear();
  if (!format.empty()) {
    if (!PrintFormat(format)) throw Failure{"no plug-in has the format " + format + " (see qetool formats)"};
    return;
  }
  std::vector<ClassInfo const*> const filters = FiltersFor();
  for (ClassInfo const* filter : filters) PrintFilter(*filter);
  if (filters.empty()) printf("no plug-ins in %s\n", host.PluginFolder().c_str());
}

}  // namespace

std::vector<ClassInfo const*> FiltersFor(std::string const& path) {
  Ref<Array> found;
  String const wide = ToWide(path);
  HRESULT const result = img::FindFilters(path.empty() ? nullptr : wide.c_str(), found.Receive());
  if (Failed(result)) throw Failure{"cannot list the filters: " + Reason(result)};
  std::vector<ClassInfo const*> filters;
  filters.reserve(static_cast<size_t>(found->Count()));
  for (int i = 0; i < found->Count(); ++i) filters.push_back(static_cast<ClassInfo const*>(found->At(i)));
  return filters;
}

bool PrintFormat(std::string const& extension) {
  std::vector<ClassInfo const*> const filters = FiltersFor("a." + extension.substr(extension.rfind('.') + 1));
  for (ClassInfo const* info : filters) {
    Guid const id = info->classId;
    PrintFilter(*info);
    Ref<ykFlt2dEx> const filter = MakeFilter(id);
    bool hasOptions = TakesPlainQuality(id);  // by --quality
    for (UseFacts const& facts : USES) hasOptions |= PrintOptions(filter.get(), facts);
    if (!hasOptions) printf("  no options\n");
  }
  return !filters.empty();
}

bool HasOption(Guid const& filter, FilterUse use, unsigned key) {
  std::vector<FilterOption> const options = OptionsOf(MakeFilter(filter).get(), use);
  return std::any_of(options.begin(), options.end(), [=](FilterOption const& one) { return one.key == key; });
}

void AddSettings(CLI::App& command, FilterUse use, std::vector<std::string>& settings) {
  command.add_option(FactsOf(use).flag, settings, FactsOf(use).help)
      ->type_name("NAME=VALUE")
      ->allow_extra_args(false)
      ->check([](std::string const& setting) {
        bool const isValid = setting.find('=') != std::string::npos;
        return isValid ? std::string() : setting + " must be NAME=VALUE";
      });
}

Ref<Map> NewOptions() {
  Ref<Map> options = Ref<Map>::Adopt(Map::Create());
  if (!options) throw Failure{"cannot set options: " + LastReason()};
  return options;
}

void SetOptions(Guid const& filter, FilterUse use, std::vector<std::string> const& settings, Map& options) {
  CheckUnique(settings, FactsOf(use));
  for (std::string const& setting : settings) {
    std::string const text = NameIn(setting);
    String const name = ToWide(text), value = ToWide(setting.substr(text.size() + 1));
    HRESULT const result = img::SetOption(filter, use, name.c_str(), value.c_str(), &options);
    if (Failed(result)) throw Failure{FactsOf(use).flag + (" " + setting) + ": " + Reason(result)};
  }
}

WriteOptions ParseOptions(Guid const& filter, std::vector<std::string> const& settings, unsigned quality) {
  bool const isPlain = quality && TakesPlainQuality(filter);
  WriteOptions options = {NewOptions(), isPlain ? quality : 0};
  SetOptions(filter, FILTER_WRITE, settings, *options.values);
  if (isPlain || !quality || !HasQuality(filter)) return options;
  Variant value;
  if (Succeeded(options.values->GetValue(FilterOption::QUALITY, value)))
    throw Failure{Format("--quality %u: --option sets the quality, too", quality)};
  options.values->SetValue(FilterOption::QUALITY, Variant(quality));
  return options;
}

void CheckQuality(unsigned quality, std::vector<Guid> const& filters) {
  if (!quality || filters.empty() || std::any_of(filters.begin(), filters.end(), HasQuality)) return;
  Guid const& filter = filters[0];
  throw Failure{Format(MakeFilter(filter) ? "--quality %u: %s files have no option quality"
                                          : "--quality %u: the plug-in that writes %s files takes no options",
                       quality, TypeName(filter).c_str())};
}

void AddFormats(CLI::App& app, Host& host) {
  CLI::App& command =
      *app.add_subcommand("formats", "List the file formats that plug-ins read and write, and their options");
  auto const format = std::make_shared<std::string>();
  command.add_option("format", *format, "Extension, such as jpg: show the options of this format")
      ->type_name("FORMAT");
  host.AddOptions(command);
  command.callback([format, &host] { Run(*format, host); });
}

}  // namespace qetool
