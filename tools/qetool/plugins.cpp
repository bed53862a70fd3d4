// qetool plugins: the modules of a folder and their classes.
#include <qecore/core/module.h>
#include <qecore/io/file_find.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <memory>

#include "commands.h"
#include "json.h"
#include "text.h"
#include "watch.h"

namespace qetool {

using namespace yk;

namespace {

std::string Joined(std::vector<std::string> const& texts) {
  std::string joined;
  for (std::string const& text : texts) joined += (joined.empty() ? "" : ", ") + text;
  return joined;
}

void PrintClass(ClassInfo const& info) {
  bool const isFilter = info.flags & ClassInfo::FILTER;
  printf("  %s  %s%s\n", ToText(info.classId).c_str(), info.name ? info.name : "(no name)",
         info.flags & ClassInfo::RIVAL ? ", second to the same class of another plug-in" : "");
  if (!isFilter) return;
  FilterInfo const filter = Describe(info);
  printf("      %s: %s\n", filter.name.c_str(), Joined(filter.extensions).c_str());
}

bool ByName(ClassInfo const* a, ClassInfo const* b) {
  return strcmp(a->name ? a->name : "", b->name ? b->name : "") < 0;
}

// Why a plug-in does not load, or should not have been: the library loads those of other versions, too. Empty
// if nothing is wrong.
std::string FailureOf(Module& module) {
  HRESULT const result = module.Load();
  if (Failed(result)) return Reason(result);
  auto const version = module.entry ? module.entry(MODULE_VERSION_QUERY, KTZ_VERSION, nullptr) : KTZ_VERSION;
  if (version == KTZ_VERSION) return {};
  return Format("it has version %lld of the entry point's interface, not %lld",
                static_cast<long long>(version), static_cast<long long>(KTZ_VERSION));
}

// Sorted: the order of the chain depends on where it was read from.
std::vector<ClassInfo const*> ClassesOf(Module const& module) {
  std::vector<ClassInfo const*> classes;
  for (ClassInfo const* info = module.classes; info; info = info->next) classes.push_back(info);
  std::sort(classes.begin(), classes.end(), ByName);
  return classes;
}

// A module that did not load or has no classes has none in the cache either. A library without the entry
// point is no plug-in, though the system has loaded it.
char const* OriginOf(Module const& module) {
  return module.library && module.entry ? "loaded" : module.classes ? "from the cache" : "not loaded";
}

void AddClass(Json& json, ClassInfo const& info) {
  json.BeginObject();
  json.AddText("id", ToText(info.classId));
  json.AddText("name", info.name ? info.name : "");
  json.AddTruth("rival", info.flags & ClassInfo::RIVAL);
  if (info.flags & ClassInfo::FILTER) {
    FilterInfo const filter = Describe(info);
    json.AddText("format", filter.name);
    json.BeginList("extensions");
    for (std::string const& extension : filter.extensions) json.AddText({}, extension);
    json.End();
  }
  json.End();
}

void AddModule(Json& json, Module const& module, std::string const& failure) {
  json.BeginObject();
  json.AddText("file", ToUtf8(module.fileName));
  json.AddNumber("bytes", module.fileSize);
  json.AddText("state", OriginOf(module));
  if (!failure.empty()) json.AddText("error", failure);
  json.BeginList("classes");
  for (ClassInfo const* info : ClassesOf(module)) AddClass(json, *info);
  json.End();
  json.End();
}

void PrintModule(Module const& module, std::string const& failure) {
  std::vector<ClassInfo const*> const classes = ClassesOf(module);
  printf("%s: %s bytes, %zu class%s, %s\n", ToUtf8(module.fileName).c_str(), Grouped(module.fileSize).c_str(),
         classes.size(), classes.size() == 1 ? "" : "es", OriginOf(module));
  if (!failure.empty()) printf("  %s\n", failure.c_str());
  for (ClassInfo const* info : classes) PrintClass(*info);
}

struct Options {
  std::string folder;
  bool isVerbose = false, isJson = false;
};

void Run(Options const& options, Host& host) {
  Watch watch;
  host.Start(watch, options.folder);
  watch.Clear();
  unsigned count = 0;
  Json json;
  json.BeginList();
  FileFind find(ToWide(host.PluginFolder()), L"*.qem", FileFind::FILES);
  while (find.GetNext()) {
    Ref<Module> const module = Ref<Module>::Adopt(System::ptr()->FindModule(find.name));
    if (!module) continue;
    std::string const failure = options.isVerbose ? FailureOf(*module) : std::string();
    options.isJson ? AddModule(json, *module, failure) : PrintModule(*module, failure);
    ++count;
  }
  json.End();
  if (options.isJson) return json.Print();
  if (!count) printf("no plug-ins in %s\n", host.PluginFolder().c_str());
}

}  // namespace

void AddPlugins(CLI::App& app, Host& host) {
  CLI::App& command = *app.add_subcommand(
      "plugins", "List the plug-ins of a folder, their classes, and whether these come from the cache");
  auto const options = std::make_shared<Options>();
  command.add_option("folder", options->folder, "Folder of *.qem files; by default that of the program")
      ->type_name("FOLDER");
  host.AddCacheOption(command);
  command.add_flag("-v,--verbose", options->isVerbose, "Load every plug-in, and say why one does not load");
  command.add_flag("--json", options->isJson, "Write a JSON document");
  command.callback([options, &host] { Run(*options, host); });
}

}  // namespace qetool
