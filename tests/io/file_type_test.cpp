#include <gtest/gtest.h>
#include <qecore/io/file_stream.h>
#include <qecore/io/file_type.h>

#include "streams.h"
#include "support/temp_folder.h"

namespace {

using namespace yk;

constexpr Guid UNTOUCHED = {1, 2, 3, {}};

TEST(DetectFileType, KnowsFirstBytesAndFooters) {
  std::string const footer = std::string(8, '\7') + "TRUEVISION-XFILE." + '\0';
  struct {
    char const* name;
    std::string bytes;
    Guid type;
    HRESULT result;
  } const rows[] = {{"PNG", "\x89PNG\r\n\x1A\n", ids::FILE_PNG, S_OK},
                    {"PNG cut", "\x89PNG\r\n\x1A?", UNTOUCHED, YK_E_NOTFOUND},
                    {"GIF", "GIF89a??", ids::FILE_GIF, S_OK},
                    {"U3D", Bytes("U3D\0????"), ids::FILE_U3D, S_OK},
                    {"TIFF II", Bytes("II*\0????"), ids::FILE_TIFF, S_OK},
                    {"TIFF MM", Bytes("MM\0*????"), ids::FILE_TIFF, S_OK},
                    {"TIFF MM 42", "MM*?????", ids::FILE_TIFF, S_OK},
                    {"no TIFF", "II\1?????", UNTOUCHED, YK_E_NOTFOUND},
                    {"mixed order", "IM*?????", UNTOUCHED, YK_E_NOTFOUND},
                    {"BMP", "BM??????", ids::FILE_BMP, S_OK},
                    {"JPEG", "\xFF\xD8\xFF\xE0????", ids::FILE_JPEG, S_OK},
                    {"TGA", std::string(500, '?') + footer, ids::FILE_TGA, S_OK},
                    {"TGA, nothing else", footer, ids::FILE_TGA, S_OK},
                    {"TGA and one byte", footer + "?", UNTOUCHED, YK_E_NOTFOUND},
                    {"too short for a footer", footer.substr(6), UNTOUCHED, YK_E_NOTFOUND},
                    {"signature wins", "BM" + footer, ids::FILE_BMP, S_OK},
                    {"7 bytes", "BM?????", UNTOUCHED, YK_E_TOOSHORT},
                    {"empty", "", UNTOUCHED, YK_E_TOOSHORT},
                    {"unknown", "what is this?", UNTOUCHED, YK_E_NOTFOUND}};
  for (auto const& row : rows) {
    Ref<Stream> const stream = Memory("front" + row.bytes);
    stream->Seek(5, Stream::FROM_START);
    Guid type = UNTOUCHED;
    EXPECT_EQ(qe_DetectFileType(stream.get(), type), row.result) << row.name;
    EXPECT_EQ(type, row.type) << row.name;
    EXPECT_EQ(stream->GetPosition(), 5u) << row.name;
  }
}

TEST(DetectFileType, FallsBackToTheExtension) {
  TempFolder const folder;
  struct {
    wchar_t const* name;
    char const* bytes;
    Guid type;
    HRESULT result;
  } const rows[] = {
      {L"short.bmp", "BM", ids::FILE_BMP, S_OK},       {L"a.b.TIFF", "", ids::FILE_TIFF, S_OK},
      {L"x.tga", "some bytes", ids::FILE_TGA, S_OK},   {L"x.Jpe", "some bytes", ids::FILE_JPEG, S_OK},
      {L"x.png", "GIF89a..", ids::FILE_GIF, S_OK},     {L"x.u3d", "", UNTOUCHED, YK_E_TOOSHORT},
      {L"bmp", "some bytes", UNTOUCHED, YK_E_NOTFOUND}};
  for (auto const& row : rows) {
    folder.Write(row.name, row.bytes);
    Ref<Stream> stream;
    ASSERT_EQ(FileStream::Create(folder.Path(row.name).c_str(), FileStream::READ, stream.Receive()), S_OK);
    Guid type = UNTOUCHED;
    EXPECT_EQ(qe_DetectFileType(stream.get(), type), row.result) << row.name;
    EXPECT_EQ(type, row.type) << row.name;
  }
}

}  // namespace
