// A host of the Microsoft C++ ABI that calls everything the library exports.
//
//   host FOLDER...     scans the folders for plug-ins; exit code 0 when every case holds
#include "runtime.h"

#include <qecore/core/diagnostics.h>
#include <qecore/core/driver_data.h>
#include <qecore/core/error.h>
#include <qecore/core/filter.h>
#include <qecore/core/lock.h>
#include <qecore/core/memory.h>
#include <qecore/core/parallel.h>
#include <qecore/core/ref.h>
#include <qecore/core/system.h>
#include <qecore/image/file_info.h>
#include <qecore/image/filter_option.h>
#include <qecore/image/image_file.h>
#include <qecore/io/file_stream.h>
#include <qecore/values/array.h>
#include <qecore/values/map.h>
#include <qecore/values/str.h>
#include <qecore/values/variant.h>

#include <new>

extern "C" {
__declspec(dllimport) wchar_t const* GetCommandLineW();
__declspec(dllimport) void* GetStdHandle(unsigned which);
__declspec(dllimport) int WriteFile(void* file, void const* bytes, unsigned count, unsigned* done, void*);
[[noreturn]] __declspec(dllimport) void ExitProcess(unsigned code);
}

using namespace yk;

namespace {

void Print(char const* text) {
  unsigned done = 0;
  WriteFile(GetStdHandle(static_cast<unsigned>(-11)), text, static_cast<unsigned>(str::Length(text)), &done,
            nullptr);
}

// ---- core

constexpr Guid OWN_ID = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
constexpr char OWN_TEXT[] = "{00000001-0002-0003-0405-060708090A0B}";

bool Identifiers() {
  Guid read[3], empty = OWN_ID;
  empty.Empty();
  char narrow[Guid::TEXT_SIZE];
  wchar_t wide[Guid::TEXT_SIZE];
  OWN_ID.toString(narrow);
  OWN_ID.toString(wide);
  bool const parsed = read[0].Init(narrow) && read[1].Init(wide) && read[2].Init(String(OWN_ID));
  return parsed && Same<char>(narrow, OWN_TEXT) && read[0] == OWN_ID && read[1] == OWN_ID &&
         read[2] == OWN_ID && empty == Guid{} && ids::FLT == ids::FLT_VALUE &&
         ids::FLT_2D == ids::FLT_2D_VALUE && ids::FLT_3D == ids::FLT_3D_VALUE;
}

bool Blocks() {
  char* const block = static_cast<char*>(yk_realloc(yk_new(4), 1000));
  block[999] = 1;
  yk_delete(block);
  return qe::purecall() == 0 && qe::strncmp("abc", "abd", 2) == 0 && qe::strncmp("abc", "abd", 3) < 0;
}

bool Failures() {
  unsigned const before = ErrorCount();
  HRESULT const first = Fail(YK_E_BADFILE, "Reader", L"%s has %d heads, %.1f", L"it", 2, 1.5);
  HRESULT const second = FailSince(before, YK_E_ACCESS, "Host", L"cannot read %s", L"it");
  Error const* const error = LastError();
  wchar_t line[100];
  size_t const length = ErrorMessage(error, line, 100);
  ykMessage("message %d\n", 1);
  return first == YK_E_BADFILE && second == YK_E_ACCESS && error->cause && Same(error->operation, "Host") &&
         Same(line, L"cannot read it: it has 2 heads, 1.5") && length == 35 && ErrorCount() == before + 2 &&
         Same(ErrorName(YK_E_EMPTY), "YK_E_EMPTY") && *ErrorText(YK_E_EMPTY);
}

bool Errors() {
  static unsigned length;
  ErrorHandler const handler = [](wchar_t const* text) {
    length += static_cast<unsigned>(str::Length(text));
  };
  bool const isFirst = !SetErrorHandler(handler);
  qe_Error("narrow %d", 1);
  qe_Error(L"wide %d", 22);
  return isFirst && SetErrorHandler(nullptr) == handler && length == 15;
}

bool Locks() {
  CriticalSection section;
  RWLock lock;
  {
    Locker const guard(section);
    section.Enter();
    section.Leave();
  }
  lock.EnterRead();
  lock.LeaveRead();
  lock.EnterWrite();
  lock.LeaveWrite();
  return true;
}

class Record : public Destroys<Record, drvData> {};

bool DriverData() {
  drvDataPtr list;
  Record* const record = new (std::nothrow) Record;
  record->owner = &list;
  bool const added = list.Add(record) == S_OK && list.Get(&list) == record;
  return added && list.Remove(record) == S_OK && !list.Get(&list) &&
         list.Add(new (std::nothrow) Record) == S_OK;
}

bool Threads() {
  SetThreadCount(2);
  unsigned const two = GetThreadCount();
  SetThreadCount(0);
  return two == 2 && GetThreadCount() > 0;
}

bool Arena() {
  Ref<Malloc> const arena = Ref<Malloc>::Adopt(Malloc::Create(1000));
  char* const zeros = static_cast<char*>(arena->AllocZero(10));
  arena->SetThreadSafe(true);
  bool const copied = Same(arena->StrDup(L"wide"), L"wide") && Same<char>(arena->StrDup("narrow"), "narrow");
  bool const aligned = reinterpret_cast<uintptr_t>(arena->AllocAligned(8, 64)) % 64 == 0;
  arena->Reset();
  return copied && aligned && zeros[9] == 0 && arena->IsTypeOf(ids::MALLOC) && !arena->Alloc(1000);
}

// A class of the program, created through the registry.
class Own : public Implements<Own, Unknown> {
 public:
  static Guid const& Id() noexcept { return OWN_ID; }
  HRESULT GetValue(unsigned key, Variant& out) noexcept override {
    out.Init(key * 2);
    return S_OK;
  }
};

// A filter of the program, for files that begin with "U3D".
class Filter : public Implements<Filter, ykFlt2dEx> {
 public:
  HRESULT GetOption(FilterUse use, unsigned index, FilterOption& option) noexcept override {
    if (use != FILTER_WRITE || index > 0) return S_FALSE;
    option.key = FilterOption::QUALITY;
    option.kind = FilterOption::INTEGER;
    option.name = L"quality";
    option.most = 9;
    option.standard.Init(5);
    return S_OK;
  }
  HRESULT CanRead(Stream*) noexcept override { return E_NOTIMPL; }
  HRESULT WriteEx(Stream* stream, AbstractImage* image, Map* options, ExecutionContext*) noexcept override {
    Variant value;
    unsigned quality = 5;
    if (options && Succeeded(options->GetValue(FilterOption::QUALITY, value))) value.Get(quality);
    return Write(stream, image, quality);
  }
  HRESULT QueryFileInfo(Stream*, Map* info, int) noexcept override {
    Variant value;
    value.Init(5u);
    return info->SetValue(img::INFO_WIDTH, value);
  }
  wchar_t const* GetPattern(unsigned index) noexcept override { return index < 2 ? L"*.own" : nullptr; }
  wchar_t const* GetName() noexcept override { return L"Own filter"; }
  unsigned GetFlags() noexcept override { return 7; }
  HRESULT Read(Stream* stream, AbstractImage** image, unsigned options) noexcept override {
    char head[8];
    if (Failed(stream->Read(head, 8)) || options != 0) return Fail(YK_E_BADFILE, "Filter::Read", L"no head");
    Ref<Image2d> made = Ref<Image2d>::Adopt(Image2d::Create());
    HRESULT const result = made->Create(IMG_BGR24, head[4], head[5]);
    *image = Succeeded(result) ? made.Detach() : nullptr;
    return result;
  }
  HRESULT Write(Stream* stream, AbstractImage* image, unsigned options) noexcept override {
    auto const* const picture = static_cast<Image2d*>(image);
    char const head[8] = {'U',
                          '3',
                          'D',
                          0,
                          static_cast<char>(picture->width),
                          static_cast<char>(picture->height),
                          static_cast<char>(options)};
    return stream->Write(head, 8);
  }
};

template <class Class>
HRESULT Make(ClassInfo const*, void** out) {
  *out = new (std::nothrow) Class;
  return S_OK;
}

template <class Class>
HRESULT Register(Guid const& id, Guid const& interfaceId, char const* name) {
  ClassInfo info;
  info.classId = id;
  info.interfaceId = interfaceId;
  info.name = name;
  info.flags = ClassInfo::STATIC_NAME;
  info.create = Make<Class>;
  return RegisterInterface(&info);
}

bool Registry() {
  System* const system = System::ptr();
  ClassInfo* info = nullptr;
  Ref<Unknown> object;
  Ref<Array> found;
  Variant value;
  int number = 0;
  bool const made =
      Register<Own>(OWN_ID, OWN_ID, "Own") == S_OK && CreateInterface(OWN_ID, object.ReceiveVoid()) == S_OK &&
      object->GetValue(21, value) == S_OK && value.Get(number) && number == 42 && object->IsTypeOf(OWN_ID);
  void* old = object.Detach();
  Unknown::Free(&old);
  return made && !old && system->FindClass(OWN_ID, &info) == S_OK && Same(info->name, "Own") &&
         system->EnumClasses(OWN_ID, found.Receive(), 0) == S_OK && found->Count() == 1 &&
         found->At(0) == info && system->GetVersion() == 2 && LibraryVersion() == QECORE_VERSION;
}

class Watcher : public ExecutionContext {
 public:
  bool Continue(Progress const& progress) noexcept override {
    calls += progress.total >= progress.done;
    return goOn;
  }
  int calls = 0;
  bool goOn = true;
};

bool Filters() {
  String path;
  ClassInfo* info = nullptr;
  Variant name;
  wchar_t text[20];
  bool const known = Register<Filter>(ids::FILE_U3D, ids::FLT_2D, "Filter") == S_OK && path.TempFile() &&
                     System::ptr()->FindClass(ids::FILE_U3D, &info) == S_OK &&
                     info->info->GetValue(ClassInfo::INFO_NAME, name) == S_OK && name.Get(text, 20) == 10 &&
                     Same<wchar_t>(text, L"Own filter");
  Ref<Image2d> picture = Ref<Image2d>::Adopt(Image2d::Create());
  Ref<AbstractImage> image, again;
  Ref<Stream> stream;
  Watcher watcher;
  Guid type = {};
  return known && picture->Create(IMG_BGR24, 5, 3) == S_OK &&
         img::Save(*picture, path.c_str(), ids::FILE_U3D, 9, &watcher) == S_OK &&
         img::Load(path.c_str(), &watcher, image.Receive(), &type) == S_OK && type == ids::FILE_U3D &&
         static_cast<Image2d*>(image.get())->width == 5 &&
         FileStream::Create(path, FileStream::READ, stream.Receive()) == S_OK &&
         img::Load(stream.get(), nullptr, again.Receive()) == S_OK &&
         Ref<AbstractImage>::Adopt(AbstractImage::Load(path.c_str())) && watcher.calls > 0;
}

// The same filter, found by name, with options.
bool AnyFilter() {
  String path;
  Ref<Image2d> picture = Ref<Image2d>::Adopt(Image2d::Create());
  Ref<Map> const options = Ref<Map>::Adopt(Map::Create()), info = Ref<Map>::Adopt(Map::Create());
  Ref<Array> found;
  Ref<AbstractImage> image, again;
  Ref<Stream> stream;
  bool const written =
      path.TempFile() && picture->Create(IMG_BGR24, 5, 3) == S_OK &&
      img::SetOption(ids::FILE_U3D, FILTER_WRITE, L"quality", L"10", options.get()) == E_INVALIDARG &&
      img::SetOption(ids::FILE_U3D, FILTER_WRITE, L"quality", L"7", options.get()) == S_OK &&
      img::Write(*picture, path.c_str(), &ids::FILE_U3D, options.get(), nullptr) == S_OK &&
      img::Read(path.c_str(), nullptr, nullptr, image.Receive()) == S_OK &&
      img::QueryInfo(path.c_str(), info.get()) == S_OK;
  return written && FileStream::Create(path, FileStream::READ_WRITE, stream.Receive()) == S_OK &&
         img::Read(stream.get(), nullptr, nullptr, again.Receive()) == S_OK &&
         img::QueryInfo(stream.get(), info.get()) == S_OK && info->Count() == 1 &&
         img::Write(*picture, stream.get(), ids::FILE_U3D, nullptr, nullptr) == S_OK &&
         img::RankFilter(ids::FILE_U3D, 2) == S_OK && img::FindFilters(L"a.OWN", found.Receive()) == S_OK &&
         found->Count() == 1;
}

constexpr Case CORE_CASES[] = {
    {"identifiers", Identifiers}, {"blocks", Blocks},        {"failures", Failures},
    {"errors", Errors},           {"locks", Locks},          {"threads", Threads},
    {"driver data", DriverData},  {"arena", Arena},          {"registry", Registry},
    {"filters", Filters},         {"any filter", AnyFilter},
};

// ---- the program

bool Run(Cases const& cases) {
  bool all = true;
  for (size_t i = 0; i < cases.count; ++i) {
    if (cases.first[i].holds()) continue;
    char line[1000];
    wchar_t why[400];
    ErrorMessage(LastError(), why, 400);
    str::printf(line, sizeof line, "microsoft: failed: %s (last failure: %ls)\n", cases.first[i].name, why);
    Print(line);
    all = false;
  }
  return all;
}

// The plug-in counts its reads; every other class is created once.
bool UsePlugins(String const& folder) {
  constexpr Guid COUNTER = {0x5A3C8F10, 0x91D4, 0x4E2B, {0xB7, 0x06, 0x2E, 0x6F, 0x90, 0x1D, 0x43, 0xC8}};
  Watcher watcher;
  Ref<Unknown> counter;
  Variant value;
  int number = 0;
  if (Failed(System::ptr()->ScanModules(folder, folder + L"\\microsoft.cache", &watcher))) return false;
  if (Failed(CreateInterface(COUNTER, counter.ReceiveVoid()))) return false;
  return counter->GetValue(1, value) == S_OK && counter->GetValue(1, value) == S_OK && value.Get(number) &&
         number == 2;
}

// The first argument; a path here has no spaces.
String Argument() {
  String const line(GetCommandLineW());
  size_t const at = line.RFind(L" ");
  return at == String::npos ? String() : String(line.c_str() + at + 1);
}

}  // namespace

Cases const CORE = CasesOf(CORE_CASES);

extern "C" void Start() {
  Ref<System> system = Ref<System>::Adopt(System::Create());
  bool holds = true;
  Cases const* const all[] = {&CORE, &VALUES, &IO, &PICTURES, &UNDO};
  for (Cases const* const cases : all) holds &= Run(*cases);
  if (!UsePlugins(Argument())) holds = false, Print("microsoft: failed: plug-ins\n");
  system.Reset();
  if (System::ptr()) holds = false, Print("microsoft: failed: the System stays\n");
  if (holds) Print("microsoft: a program of the Microsoft C++ ABI with the library: all holds\n");
  ExitProcess(holds ? 0 : 1);
}
