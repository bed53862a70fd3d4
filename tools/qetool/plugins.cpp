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
  printf("  %s  %s\n", ToText(info.classId).c_str(), info.name ? info.name : "(no name)");
  if (!isFilter) return;
  FilterInfo const filter = Describe(info);
  printf("      %s: %s\n", filter.name.c_str(), Joined(filter.extensions).c_str());
}

bool ByName(ClassInfo const* a, ClassInfo const* b) {
  return strcmp(a->name ? a->name : "", b->name ? b->name : "") < 0;
}

// Sorted: the order of the chain depends on where it was read from.
std::vector<ClassInfo const*> ClassesOf(Module const& module) {
  std::vector<ClassInfo const*> classes;
  for (ClassInfo const* info = module.classes; info; info = info->next) classes.push_back(info);
  std::sort(classes.begin(), classes.end(), ByName);
  return classes;
}

// A module that did not load or has no classes has none in the cache either.
char const* OriginOf(Module const& module) {
  return module.library ? "loaded" : module.classes ? "from the cache" : "not loaded";
}

void AddClass(Json& json, ClassInfo const& info) {
  json.BeginObject();
  json.AddText("id", ToText(info.classId));
  json.AddText("name", info.name ? info.name : "");
  if (info.flags & ClassInfo::FILTER) {
    FilterInfo const filter = Describe(info);
    json.AddText("format", filter.name);
    json.BeginList("extensions");
    for (std::string const& extension : filter.extensions) json.AddText({}, extension);
    json.End();
  }
  json.End();
}

void AddModule(Json& json, Module const& module) {
  json.BeginObject();
  json.AddText("file", ToUtf8(module.fileName));
  json.AddNumber("bytes", module.fileSize);
  json.AddText("state", OriginOf(module));
  json.BeginList("classes");
  for (ClassInfo const* info : ClassesOf(module)) AddClass(json, *info);
  json.End();
  json.End();
}

void PrintModule(Module const& module) {
  std::vector<ClassInfo const*> const classes = ClassesOf(module);
  printf("%s: %s bytes, %zu class%s, %s\n", ToUtf8(module.fileName).c_str(), Grouped(module.fileSize).c_str(),
         classes.size(), classes.size() == 1 ? "" : "es", OriginOf(module));
  for (ClassInfo const* info : classes) PrintClass(*info);
}

enum class Form { LINES, JSON };

void Run(std::string const& folder, Form form, Host& host) {
  Watch watch;
  host.Start(watch, folder);
  watch.Clear();
  unsigned count = 0;
  Json json;
  json.BeginList();
  FileFind find(ToWide(host.PluginFolder()), L"*.qem", FileFind::FILES);
  while (find.GetNext()) {
    Ref<Module> const module = Ref<Module>::Adopt(System::ptr()->FindModule(find.name));
    if (!module) continue;
    form == Form::JSON ? AddModule(json, *module) : PrintModule(*module);
    ++count;
  }
  json.End();
  if (form == Form::JSON) return json.Print();
  if (!count) printf("no plug-ins in %s\n", host.PluginFolder().c_str());
}

}  // namespace

void AddPlugins(CLI::App& app, Host& host) {
  CLI::App& command = *app.add_subcommand(
      "plugins", "List the plug-ins of a folder, their classes, and whether these come from the cache");
  auto const folder = std::make_shared<std::string>();
  command.add_option("folder", *folder, "Folder of *.qem files; by default that of the program")
      ->type_name("FOLDER");
  host.AddCacheOption(command);
  auto const form = std::make_shared<Form>(Form::LINES);
  command.add_flag_callback(
      "--json", [form] { *form = Form::JSON; }, "Write a JSON document");
  command.callback([folder, form, &host] { Run(*folder, *form, host); });
}

}  // namespace qetool
