// What the library does around a filter; real filters are tested with their plug-in.
#include <qecore/core/filter.h>
#include <qecore/core/system.h>
#include <qecore/image/file_info.h>
#include <qecore/image/filter_option.h>
#include <qecore/image/image_file.h>
#include <qecore/io/file_stream.h>
#include <qecore/values/array.h>

#include "io/streams.h"
#include "support.h"
#include "support/failure.h"
#include "support/patient_host.h"
#include "support/temp_folder.h"

using namespace yk;

namespace {

/// A filter without a description; on request it keeps a file open.
class Scribe final : public Destroys<Scribe, ykFlt2d> {
 public:
  static inline HRESULT result;
  static inline unsigned size;
  static inline String held;
  static inline Ref<Stream> holder;

  bool IsTypeOf(Guid const&) noexcept override { return false; }
  HRESULT Read(Stream* stream, AbstractImage** image, unsigned) noexcept override {
    char block[1024];
    for (unsigned done = 1; done > 0 && stream->GetPosition() + 9000 < stream->GetSize();)  // not to the end
      stream->Read(block, sizeof block, &done);
    return *image = Image2d::Create(), HRESULT{S_OK};
  }
  HRESULT Write(Stream* stream, AbstractImage* image, unsigned) noexcept override {
    EXPECT_EQ(References(image), 2u);  // the caller's, who may release it meanwhile, and one of Save
    if (!held.IsEmpty()) FileStream::Create(held, FileStream::READ, holder.Receive());
    stream->Write("new", 3);
    while (stream->GetPosition() < size && Succeeded(stream->Write(std::string(1024, '.').data(), 1024)))
      continue;
    return result;
  }
};

/// A class that is registered until the end of a scope: the next System does not know it.
class Registered {
 public:
  Registered(Guid const& id, Guid const& interfaceId, ClassFactory create) {
    ClassInfo info;
    info.classId = id, info.interfaceId = interfaceId, info.create = create, info.name = "not shown";
    EXPECT_EQ(RegisterInterface(&info), S_OK);
  }
  ~Registered() { System::ptr()->Release(), System::Create(); }
};

HRESULT MakeScribe(ClassInfo const*, void** out) noexcept { return *out = new Scribe, HRESULT{S_OK}; }

}  // namespace

TEST(SaveAndLoad, RefuseWhatHasNoFilter) {
  TempFolder const folder;
  Registered const noFilter(ids::FILE_JPEG, ids::ABSTRACT_IMAGE,
                            [](ClassInfo const*, void**) -> HRESULT { abort(); });
  std::pair<wchar_t const*, HRESULT> const rows[] = {
      {L"a.PNG", E_FAIL},         {L"a", E_FAIL},       {L"a.", E_FAIL},          {L"a.png.bak", E_FAIL},
      {L"a.jpe", E_FAIL},         {L"a.jpegx", E_FAIL}, {L"none\\a.png", E_FAIL}, {L"a.jpg", E_NOINTERFACE},
      {L"b.c.png", YK_E_NOTFOUND}};
  ImageRef const image = NewImage(IMG_GRAY8, 1, 1);
  for (auto const& [name, result] : rows) EXPECT_EQ(image->Save(folder.Path(name).c_str()), result) << name;
  folder.Write(L"c.png", "\x89PNG\r\n\x1A\n with no filter to read it");
  folder.Write(L"d.jpg", "\xFF\xD8\xFF\xE0 and a class that is no filter");
  for (auto name : {L"c.png", L"d.jpg", L"none.png"})
    EXPECT_FALSE(AbstractImage::Load(folder.Path(name).c_str()));
}

TEST(SaveAndLoad, TakeAnyFilterAndReplaceTheFileWhole) {
  TempFolder const folder;
  Registered const filter(ids::FILE_PNG, {}, MakeScribe);
  std::wstring const path = folder.Path(L"a.png");
  std::tuple<HRESULT, bool, HRESULT, char const*> const rows[] = {{YK_E_FORMAT, false, YK_E_FORMAT, "old"},
                                                                  {S_OK, true, E_FAIL, "old"},
                                                                  {S_FALSE, false, S_FALSE, "new"}};
  for (auto const& [written, held, result, file] : rows) {
    folder.Write(L"a.png", "old");
    Scribe::result = written, Scribe::held = held ? path.c_str() : L"";
    EXPECT_EQ(NewImage(IMG_GRAY8, 1, 1)->Save(path.c_str()), result);
    Scribe::holder.Reset();
    EXPECT_EQ(folder.Read(L"a.png"), file);
  }
  Scribe::held.Empty();
  folder.Write(L"a.png", "\x89PNG\r\n\x1A\n");
  EXPECT_TRUE(Own(static_cast<Image2d*>(AbstractImage::Load(path.c_str()))));
}

TEST(SaveAndLoad, SayWhy) {
  TempFolder const folder;
  Registered const noFilter(ids::FILE_JPEG, ids::ABSTRACT_IMAGE, nullptr),
      silent(ids::FILE_GIF, {}, MakeScribe);
  folder.Write(L"a.png", "\x89PNG\r\n\x1A\n with no filter to read it");
  folder.Write(L"a.jpg", "\xFF\xD8\xFF\xE0 and a class that is no filter");
  std::tuple<wchar_t const*, HRESULT, wchar_t const*> const rows[] = {
      {L"a.png", YK_E_NOTFOUND, L": there is no plug-in for PNG files"},
      {L"a.jpg", E_NOINTERFACE, L": the plug-in for JPEG files is not an image filter"}};
  for (auto const& [name, result, reason] : rows) {
    std::wstring const path = folder.Path(name);
    AbstractImage* image = nullptr;
    ExpectFailures(
        {{result, L"cannot read " + path + reason, [&] { return img::Load(path.c_str(), nullptr, &image); }},
         {result, L"cannot write " + path + reason,
          [&] { return NewImage(IMG_GRAY8, 1, 1)->Save(path.c_str()); }}});
  }
  Ref<Stream> stream;
  ASSERT_EQ(MemStream::Create(stream.Receive()), S_OK);
  Scribe::result = YK_E_FORMAT;
  Array* filters = nullptr;
  ExpectFailures({{YK_E_FORMAT, L"unsuitable pixel format",
                   [&] {
                     return img::Write(*NewImage(IMG_GRAY8, 1, 1), stream.get(), ids::FILE_GIF, nullptr,
                                       nullptr);
                   }},
                  {E_FAIL, L"there is no System", [&] {
                     System::ptr()->Release();
                     HRESULT const result = img::FindFilters(nullptr, &filters);
                     return System::Create(), result;
                   }}});
}

// The filter knows nothing of hosts, and does not even look at what its stream returns.
TEST(SaveAndLoad, TellAHostAndStop) {
  TempFolder const folder;
  Registered const filter(ids::FILE_PNG, {}, MakeScribe);
  std::string const old = "\x89PNG\r\n\x1A\n" + std::string(200'000, ' ');
  std::wstring const path = folder.Path(L"a.png");
  ImageRef const image = NewImage(IMG_GRAY8, 1, 1);
  Scribe::result = S_OK, Scribe::size = 500'000;
  for (unsigned const patience : {0u, 2u, 1000u}) {
    folder.Write(L"a.png", old);
    PatientHost reading(patience), writing(patience);
    Ref<AbstractImage> read;
    Guid type;
    EXPECT_EQ(img::Load(path.c_str(), &reading, read.Receive(), &type), patience < 3 ? E_ABORT : S_OK);
    EXPECT_EQ(type, ids::FILE_PNG);
    EXPECT_EQ(read == nullptr, patience < 3);
    EXPECT_EQ(img::Save(*image, path.c_str(), ids::FILE_PNG, 0, &writing), patience < 3 ? E_ABORT : S_OK);
    EXPECT_EQ(folder.Read(L"a.png").substr(0, 3), patience < 3 ? old.substr(0, 3) : "new");
    EXPECT_EQ(reading.last.total, old.size());
    EXPECT_EQ(reading.last.done == old.size(), patience > 3);
    EXPECT_EQ(reading.last.done == 0, patience == 0) << "the start is reported";
  }
  Scribe::size = 0;
}

// ---- any filter

namespace {

/// A filter for files that begin with a letter and a digit, which becomes the width.
template <char LETTER>
class Letter final : public Destroys<Letter<LETTER>, ykFlt2dEx> {
 public:
  static HRESULT Make(ClassInfo const*, void** out) noexcept { return *out = new Letter, HRESULT{S_OK}; }

  wchar_t const* GetPattern(unsigned index) noexcept override {
    return std::array{L"let", L"*.letter", static_cast<wchar_t const*>(nullptr)}[index];
  }
  wchar_t const* GetName() noexcept override { return LETTER == 'A' ? L"first" : L"second"; }
  HRESULT GetOption(FilterUse use, unsigned index, FilterOption& option) noexcept override {
    static constexpr wchar_t const* COLOURS[] = {L"red", L"green", nullptr};
    static constexpr std::tuple<FilterOption::Kind, wchar_t const*, double> OPTIONS[] = {
        {FilterOption::INTEGER, L"level", 9},
        {FilterOption::SWITCH, L"fast", 0},
        {FilterOption::NUMBER, L"gamma", 2.5},
        {FilterOption::STRING, L"text", 3},
        {FilterOption::CHOICE, L"colour", 0}};
    if (use != FILTER_WRITE || index >= std::size(OPTIONS)) return S_FALSE;
    option.key = FilterOption::FIRST_OWN + index;
    std::tie(option.kind, option.name, option.most) = OPTIONS[index];
    option.choices = COLOURS;
    return S_OK;
  }
  HRESULT CanRead(Stream* stream) noexcept override {
    char first = 0;
    stream->Read(&first, 1);
    return first == LETTER ? S_OK : S_FALSE;
  }
  HRESULT Read(Stream* stream, AbstractImage** image, unsigned) noexcept override {
    char head[2] = {};
    stream->Read(head, 2);
    String name;  // with which a file stream says why it fails
    if (head[1] == '!') static_cast<FileStream*>(stream)->GetFileName(name);
    if (head[1] == '!') return Fail(E_FAIL, "Letter", L"%s: the disk is slow", name.c_str());
    if (head[1] == '?') return Fail(YK_E_BADFILE, "Letter", L"%c is damaged", LETTER);
    Image2d* const made = Image2d::Create();
    *image = made;
    return made->Create(IMG_GRAY8, head[1] - '0', 1);
  }
  HRESULT WriteEx(Stream* stream, AbstractImage*, Map* options, ExecutionContext*) noexcept override {
    if (LETTER == 'B') return E_NOTIMPL;
    Variant value;
    char file[2] = {LETTER, '0'};
    if (options && options->GetValue(FilterOption::FIRST_OWN, value) == S_OK)
      file[1] = static_cast<char>('0' + value.value.signed32);
    return stream->Write(file, 2);
  }
  HRESULT QueryFileInfo(Stream*, Map* info, int) noexcept override {
    Variant value;
    value.Init(unsigned{LETTER});
    return info->SetValue(img::INFO_WIDTH, value);
  }
};

constexpr Guid A_ID = {0xA, 0, 0, {}}, B_ID = {0xB, 0, 0, {}}, NONE = {};

struct OpenFormats : testing::Test {
  Registered const first{A_ID, ids::FLT_2D, Letter<'A'>::Make}, second{B_ID, ids::FLT_2D, Letter<'B'>::Make};
  TempFolder const folder;
  ImageRef const image = NewImage(IMG_GRAY8, 1, 1);
  std::wstring const target = folder.Path(L"a.LET");
};

}  // namespace

TEST_F(OpenFormats, AreReadByTheFilterThatAcceptsTheFile) {
  struct {
    wchar_t const* name;
    char const* bytes;
    HRESULT result;
    Guid type;
    wchar_t const* reason;
  } const rows[] = {
      {L"a.let", "A3 padded", S_OK, A_ID, L""},
      {L"b.LETTER", "B5 padded", S_OK, B_ID, L""},
      {L"a.txt", "A3 padded", S_OK, A_ID, L""},
      {L"a.png", "B5 padded", S_OK, B_ID, L""},
      {L"a.let", "A?", YK_E_BADFILE, NONE, L"A is damaged"},
      {L"a.let", "C5", YK_E_BADFILE, NONE, L"first: not a first file; second: not a second file"},
      {L"a.txt", "C5 padded", YK_E_NOTFOUND, NONE, L"not a picture of a known type"},
      {L"a.txt", "C5", YK_E_TOOSHORT, NONE, L"too short to be a picture"},
      {L"a.txt", "GIF89a padded", YK_E_NOTFOUND, NONE, L"there is no plug-in for GIF files"},
  };
  for (auto const& [name, bytes, result, type, reason] : rows) {
    folder.Write(name, bytes);
    std::wstring const path = folder.Path(name);
    Ref<AbstractImage> read;
    Guid found = NONE;
    EXPECT_EQ(img::Read(path.c_str(), nullptr, nullptr, read.Receive(), &found), result) << bytes;
    EXPECT_EQ(found, type) << bytes;
    EXPECT_EQ(read ? static_cast<Image2d&>(*read).width : 0, type == NONE ? 0 : bytes[1] - '0');
    EXPECT_TRUE(Succeeded(result) || LastMessage() == L"cannot read " + path + L": " + reason)
        << LastMessage();
    Ref<Map> const info = Own(Map::Create());
    HRESULT const described = img::QueryInfo(path.c_str(), info.get());
    EXPECT_EQ(described == S_OK, info->Count() == 1) << bytes;
  }
}

TEST_F(OpenFormats, NameAFileOnceAndSayThatItsReadFailed) {
  Ref<AbstractImage> read;
  Ref<Stream> unreadable;
  std::wstring const text = folder.Path(L"a.txt"), named = folder.Path(L"a.let");
  folder.Write(L"a.txt", "A3 padded");
  folder.Write(L"a.let", "A!");
  ASSERT_EQ(FileStream::Create(text.c_str(), FileStream::WRITE, unreadable.Receive()), S_OK);
  ExpectFailures({
      {E_FAIL, text + L": access is denied",
       [&] { return img::Read(unreadable.get(), nullptr, nullptr, read.Receive()); }},
      {E_FAIL, text + L": access is denied",
       [&] { return img::Load(unreadable.get(), nullptr, read.Receive()); }},
      {E_FAIL, L"cannot read: " + named + L": the disk is slow",
       [&] { return img::Read(named.c_str(), nullptr, nullptr, read.Receive()); }},
  });
}

TEST_F(OpenFormats, AreWrittenByName) {
  EXPECT_EQ(img::Write(*image, target.c_str(), nullptr, nullptr, nullptr), S_OK);
  EXPECT_EQ(folder.Read(L"a.LET"), "A0");
  EXPECT_EQ(img::RankFilter(B_ID, 1), S_OK);
  Ref<Array> filters;
  EXPECT_EQ(img::FindFilters(L"x.letter", filters.Receive()), S_OK);
  EXPECT_EQ(static_cast<ClassInfo*>(filters->At(0))->classId, B_ID);
  EXPECT_EQ(img::Write(*image, target.c_str(), nullptr, nullptr, nullptr), S_OK) << "the next one can";
  std::wstring const other = folder.Path(L"a.xyz");
  ClassInfo* lying = nullptr;
  EXPECT_EQ(System::ptr()->FindClass(A_ID, &lying), S_OK);
  lying->info->SetValue(ClassInfo::INFO_PATTERN_COUNT, Made(1000000000));
  ExpectFailures({
      {E_NOTIMPL, L"cannot write " + target + L": second files can only be read",
       [&] { return img::Write(*image, target.c_str(), &B_ID, nullptr, nullptr); }},
      {YK_E_NOTFOUND,
       L"cannot write " + other +
           L": no plug-in writes files of that name, but *.let, *.letter, *.let, *.letter",
       [&] { return img::Write(*image, other.c_str(), nullptr, nullptr, nullptr); }},
      {E_INVALIDARG, L"the class unknown is not an image filter",
       [&] { return img::RankFilter(ids::IMAGE_2D, 1); }},
  });
}

TEST_F(OpenFormats, CheckTheirOptions) {
  constexpr unsigned LEVEL = FilterOption::FIRST_OWN;
  Table<unsigned, Variant, wchar_t const*> const rows = {
      {LEVEL, Made(7), L""},
      {LEVEL, Made(L"7"), L""},
      {LEVEL, Made(10u), L"the option level must be a whole number from 0 to 9"},
      {LEVEL, Made(0x10007u), L"the option level must be a whole number from 0 to 9"},
      {LEVEL, Made(1.5), L"the option level must be a whole number from 0 to 9"},
      {LEVEL + 1, Made(L"Off"), L""},
      {LEVEL + 1, Made(L"2"), L"the option fast must be yes or no"},
      {LEVEL + 2, Made(2.5), L""},
      {LEVEL + 2, Made(L"2.50"), L""},
      {LEVEL + 2, Made(L"-1"), L"the option gamma must be a number from 0 to 2.5"},
      {LEVEL + 2, Made(L"2.5x"), L"the option gamma must be a number from 0 to 2.5"},
      {LEVEL + 3, Made(L"abcd"), L"the option text must be a text of at most 3 characters"},
      {LEVEL + 4, Made(L"GREEN"), L""},
      {LEVEL + 4, Made(2), L"the option colour must be one of red, green"},
      {LEVEL + 5, Made(1), L"the filter has no options with these keys: 1005"},
  };
  for (auto const& [key, value, reason] : rows) {
    Ref<Map> const options = Own(Map::Create());
    options->SetValue(key, value);
    HRESULT const result = img::Write(*image, target.c_str(), nullptr, options.get(), nullptr);
    EXPECT_EQ(result, *reason ? E_INVALIDARG : S_OK) << reason;
    EXPECT_TRUE(!*reason || LastMessage() == L"cannot write " + target + L": " + reason) << LastMessage();
  }
  Ref<Map> const options = Own(Map::Create());
  EXPECT_EQ(img::SetOption(A_ID, FILTER_WRITE, L"Level", L"4", options.get()), S_OK);
  EXPECT_EQ(img::SetOption(A_ID, FILTER_READ, L"level", L"4", options.get()), E_INVALIDARG);
  Ref<Stream> const stream = Memory();
  EXPECT_EQ(img::Write(*image, stream.get(), A_ID, options.get(), nullptr), S_OK);
  EXPECT_EQ(Content(*stream), "A4");
}
