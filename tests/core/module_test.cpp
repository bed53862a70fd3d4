#include <gtest/gtest.h>
#include <qecore/core/module.h>
#include <qecore/core/ref.h>
#include <qecore/core/system.h>
#include <qecore/io/deserializer.h>
#include <qecore/values/array.h>
#include <qecore/values/map.h>
#include <windows.h>

#include <algorithm>
#include <random>
#include <string>

#include "plugins/plugin.h"
#include "support/binary.h"
#include "support/message_box_watcher.h"
#include "support/temp_folder.h"

namespace {

using namespace yk;
using namespace std::string_literals;

class ModuleTest : public testing::Test {
 protected:
  TempFolder folder;
  Ref<System> system = Ref<System>::Adopt(System::Create());

  void SetUp() override { SetEnvironmentVariableW(LOG, nullptr); }

  void Install(std::wstring const& plugin) {
    folder.Copy(ProgramFolder() + L"..\\tests\\plugins\\" + plugin, plugin);
  }
  void Scan() { EXPECT_EQ(system->ScanModules(folder.Path().c_str(), folder.Path(L"cache").c_str()), S_OK); }
  /// As a new start of the program, which knows what the cache says.
  void Restart() {
    system.Reset();
    system = Ref<System>::Adopt(System::Create());
    TakeLog();
    Scan();
  }
  /// The messages that plug-ins were sent since the last call.
  std::wstring TakeLog() {
    wchar_t log[4096] = {};
    GetEnvironmentVariableW(LOG, log, 4096);
    SetEnvironmentVariableW(LOG, nullptr);
    return log;
  }
  ClassInfo* Find(Guid const& id) {
    ClassInfo* info = nullptr;
    return system->FindClass(id, &info) == S_OK ? info : nullptr;
  }
  HRESULT Make(Guid const& id) {
    Ref<Unknown> object;
    return CreateInterface(id, object.ReceiveVoid());
  }
  Ref<Module> Named(wchar_t const* name) { return Ref<Module>::Adopt(system->FindModule(name)); }
  /// The names of the System's modules.
  std::wstring Modules() {
    Array* const modules = Field<Array*>(system.get(), 32);
    std::wstring names;
    for (int i = 0; modules && i < modules->Count(); ++i) {
      names += static_cast<Module*>(modules->At(i))->fileName.c_str() + L" "s;
    }
    return names;
  }
};

std::wstring const LOADED = L"good:256,2 good:261,0 good:258,0 good:258,1 good:258,2 ";

TEST_F(ModuleTest, AScanOfAnUnchangedFolderLoadsNothingUntilAClassIsMade) {
  Install(L"good.qem");
  Scan();
  EXPECT_EQ(TakeLog(), LOADED);
  ClassInfo const* const fresh = Find(FILTER_ID);
  EXPECT_EQ(Find(ECHO_ID)->next, nullptr);
  EXPECT_EQ(fresh->next, Find(ECHO_ID)) << "the class registered last comes first";
  std::string const cache = folder.Read(L"cache");

  Scan();
  EXPECT_EQ(Modules(), L"good.qem ");
  Restart();
  EXPECT_EQ(TakeLog(), L"");
  EXPECT_EQ(folder.Read(L"cache"), cache) << "an honest cache is left alone";
  Module const& module = *Named(L"GOOD.QEM");
  EXPECT_EQ(module.library, nullptr);
  EXPECT_EQ(module.path, folder.Path(L"good.qem").c_str());
  EXPECT_EQ(module.flags, 0u);
  ClassInfo* const filter = Find(FILTER_ID);
  EXPECT_EQ(filter->create, nullptr);
  EXPECT_STREQ(filter->name, "Filter");
  EXPECT_EQ(filter->flags, 0x8008u);
  EXPECT_EQ(Field<Array*>(system.get(), 24)->At(0), filter);
  struct {
    unsigned key;
    wchar_t const* text;
  } const texts[] = {{ClassInfo::INFO_NAME, L"Good filter"}, {10, L"*.one"}, {11, L"*.two"}};
  Variant value;
  for (auto const& row : texts) {
    String text;
    EXPECT_TRUE(Succeeded(filter->info->GetValue(row.key, value)) && value.Get(text)) << row.key;
    EXPECT_STREQ(text.c_str(), row.text);
  }
  unsigned flags = 0;
  EXPECT_TRUE(Succeeded(filter->info->GetValue(ClassInfo::INFO_FLAGS, value)) && value.Get(flags));
  EXPECT_EQ(flags, 0x80000001u);

  EXPECT_EQ(Make(ECHO_ID), S_OK);
  EXPECT_EQ(Make(FILTER_ID), S_OK);
  EXPECT_EQ(TakeLog(), LOADED) << "once";
  system.Reset();
  EXPECT_EQ(TakeLog(), L"good:260,0 ");
}

TEST_F(ModuleTest, AChangedFileIsNewAndAMissingOneIsForgotten) {
  Install(L"good.qem");
  Install(L"clash.qem");
  Scan();
  EXPECT_EQ(Modules(), L"clash.qem good.qem ");
  EXPECT_EQ(Make(CLASH_ID), S_OK);
  EXPECT_STREQ(Find(ids::MAP)->name, "Map") << "the library's own class stays";
  TakeLog();
  for (bool const restarted : {false, true}) {
    HANDLE const file = CreateFileW(folder.Path(L"good.qem").c_str(), FILE_WRITE_ATTRIBUTES, 7, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
    FILETIME const time = {restarted ? 2u : 1u, 0x01D00000};
    EXPECT_TRUE(SetFileTime(file, nullptr, nullptr, &time));
    CloseHandle(file);
    restarted ? Restart() : Scan();
    EXPECT_EQ(TakeLog(), LOADED) << restarted;
    EXPECT_EQ(Named(L"good.qem")->fileTime, 0x01D0000000000001u + restarted);
    EXPECT_EQ(Make(ECHO_ID), S_OK);
  }
  folder.Write(L"cache", "");
  system.Reset();
  folder.Remove(L"clash.qem");
  system = Ref<System>::Adopt(System::Create());
  Scan();
  EXPECT_EQ(Modules(), L"good.qem ");
  EXPECT_EQ(Make(CLASH_ID), YK_E_NOTFOUND);
  Restart();
  EXPECT_TRUE(FreeLibrary(GetModuleHandleW(L"good.qem"))) << "a library that was forgotten stays loaded";
  folder.Remove(L"good.qem");
  Scan();
  EXPECT_EQ(Modules(), L"") << "gone while the program runs";
  EXPECT_EQ(Make(ECHO_ID), YK_E_NOTFOUND);
}

TEST_F(ModuleTest, BadPluginsAreReportedAndHarmNothing) {
  for (auto const* name : {L"version3.qem", L"no_entry.qem", L"endless.qem"}) Install(name);
  folder.Write(L"broken.qem", "This is no library.");
  MessageBoxWatcher watcher;
  Scan();
  EXPECT_EQ(watcher.Take(),
            (Texts{L"qe_entrypoint - not found in no_entry.qem plugin", L"KTZ_VERSION - not valid"}));
  EXPECT_EQ(Modules(), L"broken.qem endless.qem no_entry.qem version3.qem ");
  EXPECT_EQ(Named(L"broken.qem")->Load(), YK_E_NOTFOUND);
  EXPECT_EQ(Named(L"no_entry.qem")->Load(), E_FAIL);
  EXPECT_NE(Named(L"no_entry.qem")->library, nullptr);
  EXPECT_EQ(Make(VERSION3_ID), S_OK);
  int classes = 0;
  for (ClassInfo* info = Named(L"endless.qem")->classes; info; info = info->next) ++classes;
  EXPECT_EQ(classes, static_cast<int>(MODULE_MAX_CLASSES));
  Restart();
  EXPECT_EQ(Make(ENDLESS_ID), S_OK) << "it has asked to be forgotten while it was loaded";
  EXPECT_EQ(Modules(), L"broken.qem no_entry.qem version3.qem ");
  watcher.Take();
  system.Reset();
  FreeLibrary(GetModuleHandleW(L"endless.qem"));
}

TEST_F(ModuleTest, AnUnloadedPluginIsLoadedAnewForItsClasses) {
  Install(L"good.qem");
  Scan();
  Ref<Module> const module = Named(L"good.qem");
  TakeLog();
  EXPECT_EQ(module->Unload(), S_OK);
  EXPECT_EQ(module->Unload(), S_OK);
  EXPECT_EQ(TakeLog(), L"good:260,0 ");
  EXPECT_EQ(GetModuleHandleW(L"good.qem"), nullptr);
  EXPECT_STREQ(Find(ECHO_ID)->name, "Echo") << "though it stood in the library";
  EXPECT_EQ(Make(ECHO_ID), S_OK);
  EXPECT_EQ(TakeLog(), LOADED);
  EXPECT_EQ(module->GetTypeId(), nullptr);
  EXPECT_TRUE(module->IsTypeOf(ids::MODULE));
  void* out = nullptr;
  EXPECT_EQ(module->QueryInterface(ids::MODULE, &out), E_NOINTERFACE);
  EXPECT_EQ(Slot<HRESULT (*)(void*)>(module.get(), 8)(module.get()), E_NOTIMPL);
  EXPECT_EQ(Field<ClassInfo*>(module.get(), 40), Find(FILTER_ID));
  EXPECT_EQ(Field<HINSTANCE>(module.get(), 64), GetModuleHandleW(L"good.qem"));
  system.Reset();
  EXPECT_EQ(module->library, nullptr);
  EXPECT_EQ(module->Load(), E_FAIL) << "there is no System";
}

// ---- the cache file ----

std::string Chunk(unsigned tag, std::string const& payload) {
  unsigned const size = static_cast<unsigned>(payload.size()) + 6;
  std::string bytes(6, '\0');
  memcpy(bytes.data(), &tag, 2);
  memcpy(bytes.data() + 2, &size, 4);
  return bytes + payload;
}

template <class T>
std::string Bytes(T const& value) {
  return std::string(reinterpret_cast<char const*>(&value), sizeof value);
}

std::string File(std::string const& body, unsigned version = 2) {
  return Chunk(9, Chunk(2, Bytes(version)) + Chunk(1, body));
}

std::string Class(Guid const& id, std::string const& more = {}) {
  return Chunk(0x1002, "\0\0\0\0"s + Chunk(0x1007, Bytes(id)) + Chunk(0x1006, Bytes(id)) + more);
}

class CacheTest : public ModuleTest {
 protected:
  std::string good;  // name, time and size of good.qem, as its record has them

  void SetUp() override {
    ModuleTest::SetUp();
    Install(L"good.qem");
    WIN32_FILE_ATTRIBUTE_DATA file;
    GetFileAttributesExW(folder.Path(L"good.qem").c_str(), GetFileExInfoStandard, &file);
    good = Chunk(274, "g\0o\0o\0d\0.\0q\0e\0m\0"s) + Chunk(0x1003, Bytes(file.ftLastWriteTime)) +
           Chunk(0x1004, Bytes(file.nFileSizeLow));
  }

  /// Scans with such a cache: the folder's one plug-in is known afterwards and works, whatever the cache held.
  void ExpectHarmless(std::string const& bytes, std::string const& what) {
    system.Reset();
    system = Ref<System>::Adopt(System::Create());
    folder.Write(L"cache", bytes);
    Scan();
    EXPECT_EQ(Modules(), L"good.qem ") << what;
    EXPECT_EQ(Named(L"good.qem")->Load(), S_OK) << what;
    EXPECT_EQ(Make(ECHO_ID), S_OK) << what;
  }
};

TEST_F(CacheTest, HoldsTheseBytes) {
  Scan();
  std::string const cache = folder.Read(L"cache");
  std::string const echo = Chunk(0x1002, "\2\0\0\0"s + Chunk(0x1007, Bytes(ECHO_ID)) +
                                             Chunk(0x1006, Bytes(ECHO_ID)) + Chunk(11, "Echo"));
  std::string const filter = "\x08\x80\0\0"s + Chunk(0x1007, Bytes(FILTER_ID)) +
                             Chunk(0x1006, Bytes(ids::FLT_2D)) + Chunk(11, "Filter");
  size_t const at = cache.find(good + "\x02\x10"s);
  ASSERT_NE(at, std::string::npos);
  EXPECT_EQ(cache.substr(at + good.size() + 6, filter.size()), filter)
      << "the class registered last comes first";
  EXPECT_EQ(cache.substr(cache.size() - echo.size()), echo);
  unsigned const list = static_cast<unsigned>(cache.size() - (at - 12));
  EXPECT_EQ(cache.substr(at - 12, 6), "\0\x10"s + Bytes(list));
  EXPECT_EQ(cache.substr(at - 6, 6), "\1\x10"s + Bytes(list - 6));

  uint64_t written = 0, read = 0;
  EXPECT_EQ(system->GetCacheTime(&written, 8), S_OK);
  Restart();
  EXPECT_EQ(system->GetCacheTime(&read, 8), S_OK);
  EXPECT_LT(std::max(read, written) - std::min(read, written), 600'000'000u) << "a minute";
}

TEST_F(CacheTest, IsTrustedWhenItIsWhole) {
  system.Reset();
  system = Ref<System>::Adopt(System::Create());
  folder.Write(
      L"cache",
      File(Chunk(0x1000,
                 Chunk(7, "?") + Chunk(0x1001, good + Class(VERSION3_ID, Chunk(11, "") + Chunk(77, "?"))))));
  Scan();
  EXPECT_EQ(TakeLog(), L"");
  ASSERT_NE(Find(VERSION3_ID), nullptr);
  EXPECT_EQ(Find(VERSION3_ID)->name, nullptr);
  EXPECT_EQ(Make(VERSION3_ID), YK_E_NOTFOUND) << "the plug-in does not have it";
  EXPECT_EQ(TakeLog(), LOADED);
}

TEST_F(CacheTest, DamagedCountsAsNone) {
  auto const list = [&](std::string const& module) { return File(Chunk(0x1000, Chunk(0x1001, module))); };
  std::string const rest = good.substr(22);
  std::string many;
  for (int i = 0; i < 3000; ++i) many += Chunk(0x1001, good + Class(ECHO_ID));
  struct {
    char const* what;
    std::string bytes;
    bool reloaded;
  } const rows[] = {
      {"noise", std::string(5000, '\x5A'), true},
      {"empty", "", true},
      {"another version", File(Chunk(0x1000, Chunk(0x1001, good)), 3), true},
      {"another kind of file", File(Chunk(0x2000, Chunk(0x1001, good))), true},
      {"a class without identifiers", list(good + Chunk(0x1002, "\0\0\0\0"s)), true},
      {"a class without flags", list(good + Chunk(0x1002, "\0\0"s)), true},
      {"an identifier cut short", list(good + Class(ECHO_ID, Chunk(0x1007, "1234567"))), true},
      {"a name whose size lies", list(good + Class(ECHO_ID, "\x0B\0\xFF\xFF\xFF\x7F"s)), true},
      {"a map whose size lies", list(good + Class(ECHO_ID, "\x05\x10\x02\0\0\0"s)), true},
      {"a module without a name", list(rest), true},
      {"a module without a time", list(good.substr(0, 22)), true},
      {"another folder's file", list(Chunk(274, ".\0.\0\\\0g\0o\0o\0d\0.\0q\0e\0m\0"s) + rest), true},
      {"a file on another drive", list(Chunk(274, "C\0:\0g\0o\0o\0d\0.\0q\0e\0m\0"s) + rest), true},
      {"the same module 3000 times", File(Chunk(0x1000, many)), false},
      {"a class twice, flags that lie",
       list(good + Chunk(0x1002, Class(ECHO_ID).substr(6).replace(0, 4, "\xFF\xFF\xFF\xFF")) +
            Class(ECHO_ID)),
       false},
      {"a library's class", list(good + Class(ids::MAP) + Class(ECHO_ID)), false},
  };
  for (auto const& row : rows) {
    TakeLog();
    ExpectHarmless(row.bytes, row.what);
    EXPECT_EQ(folder.Read(L"cache") != row.bytes, row.reloaded || row.bytes.size() > 5000)
        << row.what << ": rewritten";
  }
}

TEST_F(CacheTest, NoiseInItHarmsNothing) {
  Scan();
  std::string const whole = folder.Read(L"cache");
  std::minstd_rand random(20);
  for (int i = 0; i < 200; ++i) {
    std::string bytes = whole;
    if (i % 2) bytes.resize(random() % bytes.size());
    for (unsigned n = i % 2 ? 0 : 1 + random() % 6; n > 0; --n) {
      // The name and the time are left alone: another time would only make the file a new one.
      size_t at = random() % bytes.size();
      bytes[at] = static_cast<char>(random() % 4 ? random() : 0xFF);
    }
    system.Reset();
    system = Ref<System>::Adopt(System::Create());
    folder.Write(L"cache", bytes);
    Scan();
    EXPECT_EQ(Modules(), L"good.qem ") << i;
    Named(L"good.qem")->Load();
    EXPECT_EQ(Make(ECHO_ID), S_OK) << i;
  }
}

}  // namespace
