// What the library does around a filter; real filters are tested with their plug-in.
#include <qecore/core/filter.h>
#include <qecore/core/system.h>
#include <qecore/image/image_file.h>
#include <qecore/io/file_stream.h>

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
    info.classId = id, info.interfaceId = interfaceId, info.create = create;
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
  Registered const noFilter(ids::FILE_JPEG, ids::ABSTRACT_IMAGE, nullptr);
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
