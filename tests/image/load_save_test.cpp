#include <gtest/gtest.h>
#include <qecore/core/filter.h>
#include <qecore/core/registry.h>
#include <qecore/io/stream.h>
#include <windows.h>

#include "support.h"
#include "support/temp_folder.h"

using namespace yk;

namespace {

/// Stands in for a plug-in: a signature, then one grey byte.
class TinyFilter final : public Implements<TinyFilter, ykFlt2d> {
 public:
  static inline HRESULT answer = S_OK;  // what Read and Write say
  static inline unsigned alive = 0;

  static HRESULT Make(ClassInfo const*, void** out) noexcept {
    *out = static_cast<Unknown*>(new TinyFilter);
    return S_OK;
  }

  HRESULT Read(Stream* stream, AbstractImage** image, unsigned) noexcept override {
    unsigned char bytes[9] = {};
    stream->Read(bytes, 9);
    if (Failed(answer)) return answer;
    Image2d* const made = NewImage(IMG_GRAY8, 1, 1).Detach();
    *made->bits = bytes[8];
    *image = made;
    return answer;
  }

  HRESULT Write(Stream* stream, AbstractImage* image, unsigned) noexcept override {
    stream->Write("\x89PNG\r\n\x1A\n", 8);
    stream->Write(static_cast<Image2d*>(image)->bits, 1);
    return answer;
  }

 private:
  template <class, class>
  friend class yk::Destroys;
  TinyFilter() noexcept { ++alive; }
  ~TinyFilter() { --alive; }
};

}  // namespace

TEST(SaveAndLoad, GoThroughTheFilterOfTheRegistry) {
  TempFolder const folder;
  std::wstring const path = folder.Path(L"two.dots.png");
  ImageRef const image = NewImage(IMG_GRAY8, 1, 1);
  *image->bits = 99;
  EXPECT_EQ(image->Save(path.c_str()), YK_E_NOTFOUND);  // no filter is registered yet

  ClassInfo info;
  info.classId = ids::FILE_PNG;
  info.interfaceId = ids::FLT_2D;
  info.create = TinyFilter::Make;
  ASSERT_EQ(RegisterInterface(&info), S_OK);

  EXPECT_EQ(image->Save(path.c_str()), S_OK);
  Ref<AbstractImage> const loaded = Ref<AbstractImage>::Adopt(AbstractImage::Load(path.c_str()));
  ASSERT_TRUE(loaded);
  EXPECT_EQ(*static_cast<Image2d*>(loaded.get())->bits, 99);

  TinyFilter::answer = YK_E_FORMAT;
  EXPECT_EQ(image->Save(path.c_str()), YK_E_FORMAT);
  EXPECT_EQ(AbstractImage::Load(path.c_str()), nullptr);
  EXPECT_EQ(TinyFilter::alive, 0u);
  EXPECT_TRUE(DeleteFileW(path.c_str()));  // and no stream holds the file

  info.classId = ids::FILE_JPEG;  // a class that is no filter
  info.interfaceId = ids::UNKNOWN;
  info.create = [](ClassInfo const*, void** out) noexcept { return *out = Image2d::Create(), HRESULT{S_OK}; };
  ASSERT_EQ(RegisterInterface(&info), S_OK);
  EXPECT_EQ(image->Save(folder.Path(L"a.jpg").c_str()), E_NOINTERFACE);
  for (auto name : {L"a.PNG", L"noextension", L"a.png.bak", L"a.", L"missing\\folder.png"}) {
    EXPECT_EQ(image->Save(folder.Path(name).c_str()), E_FAIL) << name;
  }
}
