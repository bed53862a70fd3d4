#include "host.h"

#include <qecore/core/module_cache.h>
#include <qecore/image/image_file.h>
#include <qecore/io/deserializer.h>
#include <qecore/io/file.h>
#include <qecore/io/file_find.h>
#include <qecore/io/file_stream.h>
#include <qecore/values/array.h>
#include <qecore/values/map.h>
#include <windows.h>

#include <algorithm>

#include "existing.h"
#include "input.h"
#include "text.h"

namespace qetool {

using namespace yk;

namespace {

String ProgramFolder() {
  wchar_t path[4096];
  DWORD const length = GetModuleFileNameW(nullptr, path, std::size(path));
  return length && length < std::size(path) ? String(path).FilePath() : String(L".");
}

// One cache per plug-in folder, in the temporary folder: listing a folder must not create a file in it.
String DefaultCache(String const& folder) {
  wchar_t full[4096], temp[MAX_PATH + 1];
  DWORD const length = GetFullPathNameW(folder.c_str(), std::size(full), full, nullptr);
  String whole(length && length < std::size(full) ? full : folder.c_str());
  whole.MakeLower();
  uint64_t hash = 0xCBF29CE484222325u;  // FNV-1a
  for (size_t i = 0; i < whole.Length(); ++i) hash = (hash ^ whole.At(i)) * 0x100000001B3u;
  String cache;
  cache.printf(L"%sqetool-%016I64x.cache", file::GetTempFolder(std::size(temp), temp) ? temp : L"", hash);
  return cache;
}

// The size of a stream has 32 bits: for a file of a multiple of 4 GiB it is 0.
bool IsEmpty(Stream& file) {
  char first;
  unsigned done = 0;
  bool const isEmpty = Succeeded(file.Read(&first, 1, &done)) && done == 0;
  file.Seek(0, Stream::FROM_START, nullptr);
  return isEmpty;
}

bool IsCache(Stream& file) {
  Ref<Deserializer> const reader = Ref<Deserializer>::Adopt(Deserializer::Create());
  if (!reader || Failed(reader->Open(&file, 0))) return false;
  return reader->IsInChunk() && reader->BeginChunk() == cache::MODULE_LIST;
}

// A scan replaces the cache: another file, named by mistake, would be lost. An empty file has no content to
// lose.
void CheckCache(std::string const& path) {
  CheckPlace(path);
  Ref<Stream> file;
  HRESULT const result = FileStream::Create(ToWide(path), FileStream::READ, file.Receive());
  if (result == YK_E_NOTFOUND) return;
  if (Failed(result)) throw Failure{"cannot open the cache " + Reason(result)};
  if (!IsEmpty(*file) && !IsCache(*file)) {
    throw Failure{"cannot replace " + path + ": it is not a plug-in cache"};
  }
}

std::string TextOf(Map* map, unsigned key) {
  Variant value;
  String text;
  return map && Succeeded(map->GetValue(key, value)) && value.Get(text) ? ToUtf8(text) : std::string();
}

}  // namespace

void Host::AddOptions(CLI::App& command) {
  command
      .add_option("--plugins", pluginFolder, "Folder of the plug-ins (*.qem); by default that of the program")
      ->type_name("FOLDER");
  AddCacheOption(command);
}

void Host::AddCacheOption(CLI::App& command) {
  command
      .add_option("--cache", cacheFile,
                  "Cache file for the classes of the plug-ins; by default a temporary one")
      ->type_name("FILE");
}

void Host::Start(Watch& watch, std::string const& folder) {
  system = Ref<System>::Adopt(System::Create());
  if (!system) throw Failure{"cannot start the library: " + LastReason()};
  if (!folder.empty()) pluginFolder = folder;
  String const path = pluginFolder.empty() ? ProgramFolder() : ToWide(pluginFolder);
  pluginFolder = ToUtf8(path);
  if (!IsFolder(pluginFolder)) {
    throw Failure{"cannot look for plug-ins in " + pluginFolder +
                  (Exists(pluginFolder) ? ": it is a file" : ": the folder does not exist")};
  }
  if (!cacheFile.empty()) CheckCache(cacheFile);
  HRESULT const result =
      system->ScanModules(path, cacheFile.empty() ? DefaultCache(path) : ToWide(cacheFile), &watch);
  watch.Check();
  if (Failed(result)) throw Failure{"cannot look for plug-ins in " + pluginFolder + ": " + Reason(result)};
}

std::vector<FilterInfo> Host::Filters() const {
  std::vector<FilterInfo> filters;
  Ref<Array> classes;
  if (Failed(img::FindFilters(nullptr, classes.Receive()))) return filters;
  for (int i = 0; i < classes->Count(); ++i) {
    filters.push_back(Describe(*static_cast<ClassInfo const*>(classes->At(i))));
  }
  return filters;
}

unsigned NumberOf(Map* map, unsigned key) {
  Variant value;
  unsigned number = 0;
  return map && Succeeded(map->GetValue(key, value)) && value.Get(number) ? number : 0;
}

namespace {

// As the library reads them: a cache may state any number of patterns, few of which may be empty.
std::vector<std::string> ExtensionsOf(ClassInfo const& info) {
  constexpr unsigned MOST_PATTERNS = 4096, MOST_EMPTY = 16;
  unsigned const count = std::min(NumberOf(info.info, ClassInfo::INFO_PATTERN_COUNT), MOST_PATTERNS);
  std::vector<std::string> extensions;
  for (unsigned i = 0, empty = 0; i < count && empty < MOST_EMPTY; ++i) {
    std::string const pattern = TextOf(info.info, ClassInfo::INFO_PATTERN + i);  // "png" or "*.png"
    empty = pattern.empty() ? empty + 1 : 0;
    if (empty == 0) extensions.push_back(pattern.substr(pattern.rfind('.') + 1));
  }
  return extensions;
}

}  // namespace

FilterInfo Describe(ClassInfo const& info) {
  FilterInfo filter = {info.classId, TextOf(info.info, ClassInfo::INFO_NAME), ExtensionsOf(info), 0};
  filter.flags = NumberOf(info.info, ClassInfo::INFO_FLAGS);
  if (filter.name.empty() && info.name) filter.name = info.name;
  return filter;
}

std::vector<std::string> ExpandWildcards(std::vector<std::string> const& arguments) {
  std::vector<std::string> files;
  for (std::string const& argument : arguments) {
    size_t const slash = argument.find_last_of("\\/:");
    size_t const name = slash == std::string::npos ? 0 : slash + 1;
    if (argument.find_first_of("*?", name) == std::string::npos) {
      files.push_back(argument);
      continue;
    }
    std::string const folder = argument.substr(0, name);
    std::vector<std::string> found;
    FileFind find(ToWide(folder.empty() ? "." : folder), ToWide(argument.substr(name)), FileFind::FILES);
    while (find.GetNext()) found.push_back(folder + ToUtf8(find.name));
    if (found.empty()) throw Failure{"cannot find " + argument + ": no file matches"};
    std::sort(found.begin(), found.end());
    files.insert(files.end(), found.begin(), found.end());
  }
  return files;
}

}  // namespace qetool
