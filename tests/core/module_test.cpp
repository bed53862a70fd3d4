#include <malloc.h>
#include <qecore/core/filter.h>
#include <qecore/image/image_file.h>
#include <qecore/values/array.h>
#include <qecore/values/map.h>

#include <thread>

#include "io/streams.h"
#include "plugins/plugin.h"
#include "support/failure.h"
#include "support/message_box_watcher.h"
#include "support/patient_host.h"
#include "support/prelude.h"
#include "support/temp_folder.h"

namespace {

using namespace yk;

/// The messages that good.qem receives when it is loaded.
wchar_t const LOADED[] = L"256,2 261,0 258,0 258,1 258,2 ";

struct ModuleTest : testing::Test {
  TempFolder folder;
  Ref<System> system;

  void Install(wstring const& plugin, wstring const& as = {}) {
    folder.Copy(ProgramFolder() + L"..\\tests\\plugins\\" + plugin, as.empty() ? plugin : as);
  }
  /// Opens a file of the folder like another program, without sharing it.
  HANDLE Open(wchar_t const* name, DWORD access) {
    return CreateFileW(folder.Path(name).c_str(), access, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  }
  void Scan() { EXPECT_EQ(system->ScanModules(folder.Path().c_str(), folder.Path(L"cache").c_str()), S_OK); }
  /// A new start of the program with the same cache, or with another one.
  void Start() {
    system.Reset();
    system = Own(System::Create());
    TakeLog();
    Scan();
  }
  void Start(string const& cache) {
    system.Reset();
    folder.Write(L"cache", cache);
    Start();
  }
  /// The messages that good.qem received since the last call.
  wstring TakeLog() {
    wchar_t log[4096] = {};
    GetEnvironmentVariableW(LOG, log, 4096);
    SetEnvironmentVariableW(LOG, nullptr);
    return log;
  }
  Ref<Module> Named(wchar_t const* name) { return Own(system->FindModule(name)); }
  int CountModules() { return Field<Array*>(system.get(), 32)->Count(); }
};

TEST_F(ModuleTest, AnUnchangedFolderLoadsNothingUntilAClassIsMade) {
  Install(L"good.qem");
  Start();
  EXPECT_EQ(TakeLog(), LOADED);
  string const cache = folder.Read(L"cache");
  Start();
  Scan();
  EXPECT_EQ(TakeLog(), L"");
  EXPECT_EQ(folder.Read(L"cache"), cache) << "a valid cache must not be rewritten";
  ClassInfo* const filter = Find(FILTER_ID);
  Array* const filters = Field<Array*>(system.get(), 24);
  EXPECT_EQ(std::pair(filters->Count(), filters->At(0)), std::pair(1, static_cast<void*>(filter)));
  EXPECT_EQ(filter->info->Count(), 4u) << "the cache contains the filter's description";
  for (Guid const& id : {FILTER_ID, ECHO_ID}) EXPECT_EQ(Create(id), S_OK);
  EXPECT_EQ(TakeLog(), LOADED) << "once";
  system.Reset();
  EXPECT_EQ(TakeLog(), L"260,0 ");
}

TEST_F(ModuleTest, AChangedFileIsNewAndAMissingOneIsForgotten) {
  Install(L"slow.qem", L"b.qem");
  Install(L"good.qem");
  Start();
  for (unsigned day : {1, 2}) {  // while the program runs, and between two starts
    FILETIME const time = {day, 0x01D00000};
    HANDLE const file = Open(L"good.qem", FILE_WRITE_ATTRIBUTES);
    EXPECT_TRUE(SetFileTime(file, nullptr, nullptr, &time));
    CloseHandle(file);
    TakeLog();
    day == 1 ? Scan() : Start();
    EXPECT_EQ(TakeLog(), LOADED) << day;
    EXPECT_EQ(Create(ECHO_ID), S_OK);
  }
  Start();
  EXPECT_TRUE(FreeLibrary(GetModuleHandleW(L"good.qem"))) << "the library of a removed plug-in stays loaded";
  folder.Remove(L"good.qem");
  Scan();
  EXPECT_EQ(folder.Read(L"cache").find("g\0o\0o\0d\0"s), string::npos);
  EXPECT_EQ(CountModules(), 1);
  EXPECT_EQ(Create(ECHO_ID), YK_E_NOTFOUND);
}

TEST_F(ModuleTest, BadPluginsAreReportedAndHarmNothing) {
  for (auto const* plugin : {L"version3.qem", L"no_entry.qem", L"endless.qem"}) Install(plugin);
  folder.Write(L"broken.qem", "This is no library.");
  MessageBoxWatcher watcher;
  Start();
  EXPECT_EQ(watcher.Take(),
            (Texts{L"qe_entrypoint - not found in no_entry.qem plugin", L"KTZ_VERSION - not valid"}));
  EXPECT_EQ((Ints{Named(L"BROKEN.qem")->Load(), Named(L"no_entry.qem")->Load()}),
            (Ints{YK_E_NOTFOUND, E_FAIL}));
  EXPECT_EQ(Create(VERSION3_ID), S_OK);
  EXPECT_STREQ(Find(ids::MAP)->name, "Map") << "the library's own class stays";
  unsigned classes = 0;
  for (ClassInfo* info = Named(L"endless.qem")->classes; info; info = info->next) ++classes;
  EXPECT_EQ(classes, MODULE_MAX_CLASSES);
  Start();
  EXPECT_EQ(Create(ENDLESS_ID), S_OK) << "it asks to be unloaded while it is being loaded";
  EXPECT_FALSE(Named(L"endless.qem"));
  FreeLibrary(GetModuleHandleW(L"endless.qem"));
}

// The name of a library that good.qem needs is changed in its file; the library then arrives beside it.
TEST_F(ModuleTest, AMissingNeighbourIsNamedAndAwaited) {
  Install(L"good.qem");
  string file = folder.Read(L"good.qem");
  file.replace(file.find("qeCore.dll"), 10, "qeMore.dll");
  folder.Write(L"good.qem", file);
  wstring const reason = folder.Path(L"good.qem") + L": it needs qeMore.dll, which is missing";
  Start("");
  ExpectFailures({{YK_E_NOTFOUND, reason, [&] { return Named(L"good.qem")->Load(); }}});
  folder.Copy(ProgramFolder() + L"qeCore.dll", L"qeMore.dll");
  Scan();
  EXPECT_NE(Named(L"good.qem")->library, nullptr);
  system.Reset();
}

TEST_F(ModuleTest, WhatDidNotLoadIsTriedAgain) {
  Install(L"good.qem");
  for (bool const restarts : {false, true}) {
    HANDLE const lock = Open(L"good.qem", GENERIC_READ);
    Start("");
    EXPECT_EQ(Create(ECHO_ID), YK_E_NOTFOUND) << "another program has the file";
    CloseHandle(lock);
    restarts ? Start() : Scan();
    EXPECT_EQ(Create(ECHO_ID), S_OK) << restarts;
    system.Reset();
  }
}

// Two plug-ins with one filter class: from the files, from the cache, and after the first one is gone.
TEST_F(ModuleTest, TheSecondFilterOfAClassIsItsRival) {
  Install(L"good.qem", L"b.qem");
  Install(L"good.qem", L"a.qem");
  for (int start = 0; start < 3; ++start) {
    system.Reset();
    if (start == 2) folder.Remove(L"a.qem");
    Start();
    if (start == 2) Scan();
    Array* const filters = Field<Array*>(system.get(), 24);
    ASSERT_EQ(filters->Count(), start == 2 ? 1 : 2);
    ClassInfo const& first = *Find(FILTER_ID);
    EXPECT_EQ(first.module->fileName, start == 2 ? L"b.qem" : L"a.qem");
    if (start == 2) break;
    ClassInfo const& rival = *static_cast<ClassInfo*>(filters->At(1));
    EXPECT_EQ(std::tuple(rival.module->fileName == L"b.qem", rival.flags & 0x1F, rival.info->Count()),
              std::tuple(true, 0x1Cu, 4u));
    EXPECT_EQ((Ints{Create(rival.classId), Create(FILTER_ID)}), (Ints{S_OK, S_OK}));
  }
}

/// A filter that unloads the one that is to be tried after it.
struct Unloader final : Destroys<Unloader, ykFlt2d> {
  wchar_t const* GetPattern(unsigned index) noexcept override { return index < 1 ? L"*.good" : nullptr; }
  HRESULT Read(Stream*, AbstractImage**, unsigned) noexcept override {
    System::ptr()->UnloadModule(Own(System::ptr()->FindModule(L"good.qem")).get());
    return Fail(YK_E_BADFILE, "Unloader", L"damaged");
  }
};

TEST_F(ModuleTest, AFilterMayUnloadThoseAfterIt) {
  Install(L"good.qem");
  for (int start = 0; start < 2; ++start) Start();
  ClassInfo unloader;
  Fill<Unloader>(&unloader, VERSION3_ID, ids::FLT_2D, "Unloader");
  EXPECT_EQ((Ints{RegisterInterface(&unloader), img::RankFilter(VERSION3_ID, 1)}), Ints(2, S_OK));
  folder.Write(L"x.good", "a picture");
  wstring const path = folder.Path(L"x.good");
  Ref<AbstractImage> image;
  ExpectFailures({{YK_E_BADFILE, L"cannot read " + path + L": damaged",
                   [&] { return img::Read(path.c_str(), nullptr, nullptr, image.Receive()); }}});
}

TEST_F(ModuleTest, FailuresNameTheClassAndThePlugin) {
  MessageBoxWatcher watcher;
  for (auto const* plugin : {L"no_entry.qem", L"good.qem", L"version3.qem"}) Install(plugin);
  folder.Write(L"broken.qem", "This is no library.");
  unsigned const before = ErrorCount();
  Start();
  watcher.Take();
  EXPECT_EQ(ErrorCount(), before + 2)
      << "of plug-ins that do not load, not of the missing cache or of Map, which exists";
  wstring const broken = folder.Path(L"broken.qem") + L": not a 64-bit library";
  wstring const noEntry = folder.Path(L"no_entry.qem") + L": it does not export qe_entrypoint";
  HANDLE lock = INVALID_HANDLE_VALUE;
  ClassInfo known;
  known.classId = ids::MAP;
  known.create = Make<Thing>;
  ExpectFailures({
      {YK_E_NOTFOUND, broken, [&] { return Named(L"broken.qem")->Load(); }},
      {E_FAIL, noEntry, [&] { return Named(L"no_entry.qem")->Load(); }},
      {YK_E_NOTFOUND, L"the class {C1A55001-0001-0001-0101-010101010101} is not registered",
       [&] { return Create(TestId(0xC1A55001)); }},
      {E_INVALIDARG, L"the class {35E7C0D6-6561-4DC8-9C1E-EB1FB98B598B} is already registered",
       [&] { return RegisterInterface(&known); }},
      {YK_E_NOTFOUND,
       L"the plug-in good.qem could not be loaded: " + folder.Path(L"good.qem") +
           L": in use by another program",
       [&] {
         Start();
         lock = Open(L"good.qem", GENERIC_READ);
         return Create(ECHO_ID);
       }},
      {E_FAIL, L"there is no System", [&] { return system.Reset(), Create(ids::MAP); }},
  });
  CloseHandle(lock);
}

TEST_F(ModuleTest, AHostThatStopsTheScanFindsTheRestLater) {
  for (wchar_t const letter : L"123"s) Install(L"slow.qem", letter + L".qem"s);
  system = Own(System::Create());
  auto const scan = [&](ExecutionContext* host) {
    return system->ScanModules(folder.Path().c_str(), folder.Path(L"cache").c_str(), host);
  };
  PatientHost hasty(2), host;
  EXPECT_EQ(scan(&hasty), E_ABORT);
  EXPECT_EQ(std::pair(CountModules(), folder.Read(L"cache")), std::pair(2, ""s));
  EXPECT_EQ(scan(&host), S_OK);
  EXPECT_EQ(std::pair(CountModules(), host.last.done), std::pair(3, uint64_t{1})) << "two are known";
  string const cache = folder.Read(L"cache");
  folder.Write(L"cache", "");
  system.Reset();
  system = Own(System::Create());
  PatientHost late(3);
  EXPECT_EQ(scan(&late), E_ABORT) << "by the last report";
  EXPECT_EQ(std::pair(CountModules(), folder.Read(L"cache")), std::pair(3, ""s));
  EXPECT_EQ(scan(nullptr), S_OK);
  EXPECT_EQ(folder.Read(L"cache"), cache);
}

TEST_F(ModuleTest, AnUnloadedPluginIsLoadedAnewForItsClasses) {
  Install(L"good.qem");
  Start();
  Ref<Module> const module = Named(L"good.qem");
  TakeLog();
  EXPECT_EQ((Ints{module->IsTypeOf(ids::MODULE), module->IsTypeOf(ids::MAP)}), (Ints{1, 0}));
  EXPECT_EQ(module->Reserved8(), E_NOTIMPL);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(module->Unload(), S_OK);
  EXPECT_EQ(TakeLog(), L"260,0 ");
  EXPECT_EQ(GetModuleHandleW(L"good.qem"), nullptr);
  EXPECT_STREQ(Find(ECHO_ID)->name, "Echo") << "although it was inside the library";
  EXPECT_EQ(SlotHook::Calls(module.get(), 12, 9, [] { Create(ECHO_ID); }), 1) << "through the table";
  EXPECT_EQ(Create(ECHO_ID), S_OK);
  EXPECT_EQ(TakeLog(), LOADED);
  folder.Write(L"new.qem", "");
  EXPECT_EQ(SlotHook::Calls(module.get(), 12, 11, [&] { Scan(); }), 1);
  EXPECT_EQ(SlotHook::Calls(module.get(), 12, 10, [&] { system.Reset(); }), 1);
  module->Unload();
  EXPECT_EQ(module->Load(), E_FAIL) << "no System";
}

// One thread for each letter of a row, started one after another: one class; two plug-ins that create each
// other's classes; one that creates a class of the other while the system maps it.
TEST_F(ModuleTest, ThreadsShareOneLoadAndNeverWaitForEachOther) {
  for (wstring const classes : {L"aaaa", L"ab", L"ad"}) {
    system.Reset();
    for (wchar_t const letter : classes) Install(L"slow.qem", letter + L".qem"s);
    Start();
    for (int round = 0; round < 3; ++round) {
      Start();
      Ints results(classes.size(), E_FAIL);
      std::vector<std::thread> threads;
      for (size_t i = 0; i < results.size(); ++i) {
        threads.emplace_back([&, i] { results[i] = Create(SlowId(classes[i])); });
        Sleep(4);
      }
      for (std::thread& thread : threads) thread.join();
      EXPECT_EQ(results, Ints(results.size())) << testing::PrintToString(classes);
      EXPECT_TRUE(classes != L"aaaa" || TakeLog() == L"261,0 ") << "loaded once";
    }
  }
}

size_t HeapBytes() {
  size_t bytes = 0;
  PROCESS_HEAP_ENTRY block = {};
  while (HeapWalk(reinterpret_cast<HANDLE>(_get_heap_handle()), &block))
    bytes += block.wFlags & PROCESS_HEAP_ENTRY_BUSY ? block.cbData : 0;
  return bytes;
}

TEST_F(ModuleTest, NothingIsLeftOfALibraryThatIsUnloaded) {
  for (auto const* library : {L"bin\\qeCore.dll", L"tests\\plugins\\good.qem"}) {
    folder.Copy(ProgramFolder() + L"..\\" + library, L"copy.dll");
    size_t warm = 0;
    for (int i = 0; i < 20; ++i) {
      if (i == 10) warm = HeapBytes();
      FreeLibrary(LoadLibraryW(folder.Path(L"copy.dll").c_str()));
    }
    EXPECT_LT(HeapBytes(), warm + 50000) << library;
  }
}

// ---- the cache file

string File(string const& body, unsigned version = 2) {
  return Chunk(9, Chunk(2, Le(version)) + Chunk(1, body));
}

string List(string const& module) { return File(Chunk(0x1000, Chunk(0x1001, module))); }

string Class(unsigned flags, Guid const& id, Guid const& interfaceId, string const& more = {}) {
  return Chunk(0x1002, Le(flags) + Chunk(0x1007, Le(id)) + Chunk(0x1006, Le(interfaceId)) + more);
}

string Many(unsigned count, auto make) {
  string all;
  for (unsigned n = 0; n < count; ++n) all += make(n);
  return all;
}

struct CacheTest : ModuleTest {
  string const name = Chunk(274, "g\0o\0o\0d\0.\0q\0e\0m\0"s);
  string facts;  // the time and size of good.qem, as its record has them
  string const echo = Class(2, ECHO_ID, ECHO_ID, Chunk(11, "Echo"));

  void SetUp() override {
    Install(L"good.qem");
    WIN32_FILE_ATTRIBUTE_DATA file;
    GetFileAttributesExW(folder.Path(L"good.qem").c_str(), GetFileExInfoStandard, &file);
    facts = Chunk(0x1003, Le(file.ftLastWriteTime)) + Chunk(0x1004, Le(file.nFileSizeLow));
  }
};

TEST_F(CacheTest, HoldsTheseBytes) {
  Start();
  string const cache = folder.Read(L"cache"), head = name + facts + "\x02\x10"s;
  string const filter = Class(0x8008, FILTER_ID, ids::FLT_2D, Chunk(11, "Filter")).substr(6);
  size_t const at = cache.find(head);
  ASSERT_NE(at, string::npos);
  EXPECT_EQ(cache.substr(at + head.size() + 4, filter.size()), filter) << "the last registered comes first";
  EXPECT_EQ(cache.substr(cache.size() - echo.size()), echo);
  EXPECT_EQ(cache.substr(at - 12), Chunk(0x1000, Chunk(0x1001, cache.substr(at))));
  Ref<Stream> const stream = Memory(File(echo));
  Ref<Deserializer> const reader = Reader(*stream, 0);
  EXPECT_EQ(reader->BeginChunk(), 0x1002);
  EXPECT_STREQ(ClassInfo(reader.get()).name, "Echo");
}

TEST_F(CacheTest, DamagedCountsAsNone) {
  string const good = name + facts;
  auto const odd = [&](string const& more) { return List(good + Class(0, ECHO_ID, ECHO_ID, more)); };
  auto const in = [&](string const& path) { return List(Chunk(274, path + name.substr(6)) + facts); };
  string const all = Chunk(1000, Le(10) + "\x0F\0\2\0\0\0*\0"s) + Chunk(1000, Le(3) + "\7\0\1\0\0\0"s);
  string const ranked = Chunk(0x1005, all + Chunk(1000, Le(4) + "\7\0\1\0\0\0"s));
  Ref<Map> const info = Own(Map::Create());
  Variant rank;
  auto const other = [](unsigned n) { return Class(0, TestId(n), ECHO_ID); };
  auto const file = [&](unsigned n) { return Chunk(0x1001, Chunk(274, Le(0x414E00u + n) + name.substr(6))); };
  Table<char const*, string, wstring> const rows = {
      {"a class as a filter", List(good + Class(8, ECHO_ID, ids::FLT_2D, Chunk(0x1005, all))), L""},
      {"a filter as a class", List(good + Class(0, FILTER_ID, ECHO_ID) + echo), L""},
      {"a class that is cut in its flags", List(good + Chunk(0x1002, "\0\0"s)), LOADED},
      {"a class that is cut in its identifier", odd(Chunk(0x1007, "cut")), LOADED},
      {"a module that is cut in its time", List(name + Chunk(0x1003, "cut")), LOADED},
      {"a class whose chunk was never closed", List(good + "\2\x10\0\0\0\0"s), LOADED},
      {"a module without a time", List(name + echo), LOADED},
      {"a name whose size lies", odd("\x0B\0\xFF\xFF\xFF\x7F"s), LOADED},
      {"a module without a name", List(facts), LOADED},
      {"another folder's file", in(".\0.\0\\\0"s), LOADED},
      {"another folder's file, otherwise", in(".\0.\0/\0"s), LOADED},
      {"another drive's file", in("c\0:\0"s), LOADED},
      {"a control character", in("\1\0"s), LOADED},
      {"too many modules", File(Chunk(0x1000, Many(2048, file) + Chunk(0x1001, good + echo))), LOADED},
      {"a long name", in(string(600, 'a')), LOADED},
      {"a class without a name", odd(Chunk(11)), L""},
      {"a class described twice", odd(Chunk(0x1005) + Chunk(0x1005)), L""},
      {"a class without identifiers", List(good + echo + Chunk(0x1002, "\0\0\0\0"s)), L""},
      {"flags that lie", List(good + Class(~0u, ECHO_ID, ECHO_ID) + echo), L""},
      {"a filter that ranks itself", List(good + echo + Class(8, FILTER_ID, ids::FLT_2D, ranked)), L""},
      {"a class twice", List(good + echo + echo), L""},
      {"too many classes", List(good + Many(4096, other) + echo), LOADED},
      {"a class of the library", List(good + Class(0, ids::MAP, ids::MAP) + echo), L""},
  };
  for (auto const& [what, bytes, messages] : rows) {
    Start(bytes);
    EXPECT_EQ(TakeLog(), messages) << what;
    EXPECT_TRUE(Failed(img::QueryInfo(folder.Path(L"cache").c_str(), info.get()))) << what;
    EXPECT_EQ(std::pair(CountModules(), Create(ECHO_ID)), std::pair(1, S_OK)) << what;
    EXPECT_EQ(folder.Read(L"cache") == bytes, messages.empty()) << what << ": otherwise it is rewritten";
    Array* const filters = Field<Array*>(system.get(), 24);
    EXPECT_EQ(std::pair(filters->Count(), filters->At(0)), std::pair(1, static_cast<void*>(Find(FILTER_ID))))
        << what;
    EXPECT_EQ(Find(ECHO_ID)->interfaceId, ECHO_ID) << what;
    Map* const described = Find(FILTER_ID)->info;
    EXPECT_TRUE(!described || Failed(described->GetValue(ClassInfo::INFO_RANK, rank))) << what;
    Array* const registry = Field<Array*>(system.get(), 16);
    int echoes = 0;
    for (int i = 0; i < registry->Count(); ++i)
      echoes += static_cast<ClassInfo*>(registry->At(i))->classId == ECHO_ID;
    EXPECT_EQ(echoes, 1) << what;
  }
}

TEST_F(CacheTest, IsLeftAloneUnlessAFileIsNewOrGone) {
  uint64_t time = 1;
  system = Own(System::Create());
  EXPECT_EQ(system->ScanModules(folder.Path().c_str(), folder.Path(L"none\\cache").c_str()), S_OK);
  EXPECT_EQ(std::pair(system->GetCacheTime(&time, 8), time), std::pair(S_OK, uint64_t{0})) << "not written";
  system.Reset();
  folder.Remove(L"good.qem");
  string const list = File(Chunk(0x1234, "?")), later = File(Chunk(0x1000, ""), 3);
  for (auto const& bytes : {"To whom it may concern"s, later, list}) {
    Start(bytes);
    EXPECT_EQ(folder.Read(L"cache"), bytes);
    time = 0;
    EXPECT_EQ((Ints{system->GetCacheTime(&time, 4), system->GetCacheTime(&time, 8)}), (Ints{E_FAIL, S_OK}));
    EXPECT_EQ(time > 0x01D0000000000000u, bytes == list) << bytes;
  }
  for (auto const& record : {"?"s, facts, Chunk(274, ".\0.\0/\0"s + name.substr(6))}) {
    Start(List(record));
    EXPECT_TRUE(folder.Read(L"cache").ends_with(Chunk(1, Chunk(0x1000, "")))) << "dropped permanently";
  }
}

}  // namespace
