#include <qecore/io/file_stream.h>
#include <qecore/io/file_type.h>

#include "streams.h"
#include "support/temp_folder.h"

using namespace yk;

TEST(DetectFileType, KnowsFirstBytesFootersAndExtensions) {
  TempFolder const folder;
  constexpr Guid UNTOUCHED = {1, 2, 3, {}};
  std::string const footer = "12345678TRUEVISION-XFILE.\0"s;
  std::tuple<wchar_t const*, std::string, Guid, HRESULT> const rows[] = {
      {L"x", "\x89PNG\r\n\x1A\n", ids::FILE_PNG, S_OK},
      {L"x", "II*\0????"s, ids::FILE_TIFF, S_OK},
      {L"x", "II\1?????", UNTOUCHED, YK_E_NOTFOUND},
      {L"x", "BM" + footer, ids::FILE_BMP, S_OK},
      {L"x", footer, ids::FILE_TGA, S_OK},
      {L"x", footer.substr(2), UNTOUCHED, YK_E_NOTFOUND},
      {L"x", std::string(30, 'x'), UNTOUCHED, YK_E_NOTFOUND},
      {L"a.b.TIFF", "", ids::FILE_TIFF, S_OK},
      {L"x.png", "GIF89a..", ids::FILE_GIF, S_OK},
      {L"x.u3d", "BM?????", UNTOUCHED, YK_E_TOOSHORT},
      {L"bmp", "some bytes", UNTOUCHED, YK_E_NOTFOUND}};
  for (auto const& [name, bytes, expected, result] : rows) {
    folder.Write(name, "?" + bytes);
    Ref<Stream> stream;
    (void)FileStream::Create(folder.Path(name).c_str(), FileStream::READ, stream.Receive());
    stream->Seek(1, Stream::FROM_START);
    Guid type = UNTOUCHED;
    EXPECT_EQ(qe_DetectFileType(stream.get(), type), result) << name << ' ' << bytes.c_str();
    EXPECT_TRUE(type == expected && stream->GetPosition() == 1) << name << ' ' << bytes.c_str();
  }
}

/// A host's file stream, which supports the identifier and has the slot.
struct HostFile final : SpyStream {
  HRESULT QueryInterface(Guid const& id, void** out) noexcept override {
    return id == ids::FILE_STREAM ? AddRef(), *out = this, S_OK : E_NOINTERFACE;
  }
  virtual HRESULT GetFileName(String& name) noexcept { return name = L"a.gif", S_OK; }
};

TEST(DetectFileType, AsksAHostsStreamForItsName) {
  HostFile file;
  Guid type = {};
  EXPECT_EQ(qe_DetectFileType(nullptr, type), E_INVALIDARG);
  file.bytes = "nothing known";  // and too little for a footer
  EXPECT_TRUE(qe_DetectFileType(&file, type) == S_OK && type == ids::FILE_GIF);
}
