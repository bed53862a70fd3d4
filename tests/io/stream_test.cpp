#include <qecore/io/stream.h>
#include <qecore/values/string.h>

#include "streams.h"
#include "support/binary.h"

namespace {

using namespace yk;

TEST(Stream, ReadsCountedUtf16) {
  std::tuple<std::string, std::wstring> const rows[] = {
      {"\0\0"s, L""}, {"\2\0A\0\xE9\0z"s, L"A\u00E9"}, {"", L""}, {"\4\0A\0B"s, std::wstring(L"AB\0\0", 4)}};
  for (auto const& [bytes, expected] : rows) {
    SpyStream careless(bytes);  // which leaves the rest of a buffer as it is
    String text(L"before");
    EXPECT_EQ(Slot<HRESULT (*)(void*, String&)>(&careless, 8)(&careless, text), S_OK);
    EXPECT_EQ(std::wstring(text.c_str(), text.Length()), expected);
  }
}

TEST(Stream, WritesCountedUtf8) {
  std::wstring const tooLong(600, L'\u00E9');
  std::string cut = Le<uint16_t>(526);
  while (cut.size() < 528) cut += "\xC3\xA9";
  std::tuple<wchar_t const*, bool, std::string> const rows[] = {{nullptr, false, "\0\0"s},
                                                                {L"A", true, "\1\0\5"s},
                                                                {L"\u00E9", true, "\2\0\x0F\xA6"s},
                                                                {tooLong.c_str(), false, cut}};
  for (auto const& [text, scramble, bytes] : rows) {
    Ref<Stream> const stream = Memory();
    EXPECT_EQ(stream->WriteStringAsUTF8(text, scramble), S_OK);
    EXPECT_EQ(Content(*stream), bytes);
  }
}

TEST(CopyStream, CopiesAndStops) {
  std::string bytes(60000, '\0');
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 7);
  std::string const end = bytes.substr(59990);
  // start, count; result, what is copied, where the source stands afterwards
  std::tuple<int, int, HRESULT, std::string, unsigned> const rows[] = {
      {0, 0, S_FALSE, "", 5},
      {0, -1, S_OK, bytes, 5},
      {100, 30000, S_OK, bytes.substr(100, 30000), 5},
      {59990, 24577, E_FAIL, end + std::string(24566, '\0'), 60000},  // a piece is written whole
      {60001, 1, E_INVALIDARG, "", 5}};
  for (auto const& [start, count, result, copied, position] : rows) {
    Ref<Stream> const source = Memory(bytes), target = Memory();
    source->Seek(5, Stream::FROM_START);
    EXPECT_EQ(CopyStream(source.get(), target.get(), start, count), result);
    EXPECT_EQ(source->GetPosition(), position);
    EXPECT_TRUE(Content(*target) == copied) << start;
  }
}

}  // namespace
