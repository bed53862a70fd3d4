#include <gtest/gtest.h>
#include <qecore/io/file_system.h>
#include <qecore/values/string.h>
#include <windows.h>

#include "streams.h"
#include "support/binary.h"

namespace {

using namespace yk;

TEST(Stream, ReadsCountedUtf16) {
  struct {
    char const* name;
    std::string bytes;
    std::wstring text;
  } const rows[] = {{"empty", Bytes("\0\0"), L""},
                    {"two", Bytes("\2\0A\0\xE9\0z"), L"A\u00E9"},
                    {"no count", "", L""},
                    {"half a count", "\2", std::wstring(2, L'\0')},
                    {"cut short", Bytes("\4\0A\0B"), std::wstring(L"AB\0\0", 4)}};
  for (auto const& row : rows) {
    SpyStream careless(row.bytes);  // which leaves the rest of a buffer as it is
    String text(L"before");
    EXPECT_EQ(Slot<HRESULT (*)(void*, String&)>(&careless, 8)(&careless, text), S_OK) << row.name;
    EXPECT_EQ(std::wstring(text.c_str(), text.Length()), row.text) << row.name;
  }
}

TEST(Stream, WritesCountedUtf8) {
  struct {
    wchar_t const* text;
    bool scramble;
    std::string bytes;
  } const rows[] = {{nullptr, false, Bytes("\0\0")},
                    {L"", true, Bytes("\0\0")},
                    {L"A", true, Bytes("\1\0\5")},
                    {L"\u00E9\u20AC", false, Bytes("\5\0\xC3\xA9\xE2\x82\xAC")},
                    {L"\u00E9", true, Bytes("\2\0\x0F\xA6")}};
  for (auto const& row : rows) {
    Ref<Stream> const stream = Memory();
    EXPECT_EQ(stream->WriteStringAsUTF8(row.text, row.scramble), S_OK);
    EXPECT_EQ(Content(*stream), row.bytes);
  }
  std::wstring const tooLong(600, L'\u20AC');
  Ref<Stream> const stream = Memory();
  EXPECT_EQ(stream->WriteStringAsUTF8(tooLong.c_str(), false), S_OK);
  EXPECT_EQ(stream->GetSize(), 2u + 525u) << "cut at a whole character that leaves room for a terminator";
  EXPECT_EQ(Content(*stream).substr(0, 2), Le<uint16_t>(525));
}

TEST(CopyStream, CopiesAndStops) {
  std::string bytes(60000, '\0');
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 7);
  struct {
    char const* name;
    int start, count;
    HRESULT result;
    std::string copied;
    unsigned position;  // of the source afterwards
  } const rows[] = {{"nothing", 0, 0, S_FALSE, "", 5},
                    {"all", 0, -1, S_OK, bytes, 5},
                    {"a part", 100, 30000, S_OK, bytes.substr(100, 30000), 5},
                    {"the last piece is filled with zeros", 59990, 20, S_OK,
                     bytes.substr(59990) + std::string(10, '\0'), 5},
                    {"a read that fails ends it", 59990, 24577, E_FAIL,
                     bytes.substr(59990) + std::string(24566, '\0'), 60000},
                    {"from nowhere", 60001, 1, E_INVALIDARG, "", 5}};
  for (auto const& row : rows) {
    Ref<Stream> const source = Memory(bytes), target = Memory();
    source->Seek(5, Stream::FROM_START);
    EXPECT_EQ(CopyStream(source.get(), target.get(), row.start, row.count), row.result) << row.name;
    EXPECT_EQ(source->GetPosition(), row.position) << row.name;
    EXPECT_TRUE(Content(*target) == row.copied) << row.name;
  }
  Ref<Stream> resource;
  ASSERT_EQ(MemStream::Create(GetModuleHandleW(nullptr), L"PICTURE", L"LOGO", resource.Receive()), S_OK);
  Ref<Stream> const target = Memory();
  EXPECT_EQ(CopyStream(resource.get(), target.get(), 0, 100000), S_OK);
  EXPECT_EQ(target->GetSize(), 24576u) << "it stops behind the piece that reaches the resource's end";
  SpyStream full("abc");
  full.state = E_FAIL;
  EXPECT_EQ(CopyStream(&full, Memory().get(), 0, -1), S_OK);
  EXPECT_EQ(full.reads, 0);
}

/// A host's file system with one file.
class OneFile final : public ykFS, public ykFSEntry {
 public:
  HRESULT FindEntry(wchar_t const* name, ykFSEntry** out) noexcept override {
    if (std::wstring(name) == L"nothing") return *out = nullptr, S_OK;
    if (std::wstring(name) != L"file") return YK_E_NOTFOUND;
    *out = this;
    this->ykFSEntry::AddRef();
    return S_OK;
  }
  HRESULT OpenStream(Stream** out, unsigned mode) noexcept override {
    EXPECT_EQ(mode, 0u);
    *out = Memory("content").Detach();
    return S_FALSE;
  }
  void Destroy() noexcept override { ADD_FAILURE() << "released once too often"; }
};

TEST(FileSystem, GetsStreamsThroughEntries) {
  OneFile files;
  Ref<Stream> stream;
  EXPECT_EQ(files.GetStream(L"file", nullptr), E_INVALIDARG);
  EXPECT_EQ(files.GetStream(L"other", stream.Receive()), YK_E_NOTFOUND);
  EXPECT_EQ(files.GetStream(L"nothing", stream.Receive()), E_FAIL);
  ASSERT_EQ(files.GetStream(L"file", stream.Receive()), S_FALSE) << "the entry's result";
  EXPECT_EQ(Content(*stream), "content");
  EXPECT_EQ(References(static_cast<ykFSEntry*>(&files)), 1u);
}

}  // namespace
