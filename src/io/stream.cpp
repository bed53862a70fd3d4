#include "stream_p.h"

#include <qecore/core/ref.h>
#include <qecore/io/file_stream.h>
#include <qecore/io/mem_stream.h>
#include <qecore/values/str.h>
#include <qecore/values/string.h>

#include "core/buffer_p.h"
#include "core/error_p.h"

namespace yk {
namespace {

constexpr int UTF8_BUFFER = 528;  // the most that WriteStringAsUTF8 writes, including the terminator
constexpr unsigned COPY_BUFFER = 0x6000;

unsigned char RotateLeft2(unsigned char byte) noexcept {
  return static_cast<unsigned char>(byte << 2 | byte >> 6);
}

HRESULT CopyBytes(Stream& source, Stream& target, unsigned char* buffer, unsigned count) noexcept {
  while (count > 0) {
    if (target.GetState() != S_OK || source.GetState() != S_OK) break;
    unsigned const piece = count < COPY_BUFFER ? count : COPY_BUFFER;
    count -= piece;
    HRESULT result;
    ReadUpTo(source, buffer, piece, &result);
    if (Failed(result)) return result;
    // The result is ignored: a target that fails permanently reports it in its state.
    target.Write(buffer, piece);
  }
  return S_OK;
}

}  // namespace

void const* QuietTable(Stream const& stream) noexcept {
  bool const isOwn = MemStream::IsPlain(stream) || FileStream::IsPlain(stream);
  return isOwn ? TableOf(stream) : nullptr;
}

HRESULT SeekFar(Stream& stream, unsigned position, unsigned& at) noexcept {
  HRESULT result = stream.Seek(LONG_MAX, Stream::FROM_START, &at);
  for (unsigned left = position - LONG_MAX, step; Succeeded(result) && left > 0; left -= step) {
    step = left < LONG_MAX ? left : LONG_MAX;
    at = position;
    result = stream.Seek(static_cast<long>(step), Stream::FROM_POSITION, &at);
  }
  return result;
}

HRESULT Stream::ReadText(Stream& stream, String& text) noexcept {
  Ref<Stream> const kept = Ref<Stream>::Share(&stream);
  uint16_t length = 0;
  ReadUpTo(stream, &length, sizeof length);
  if (!text.Realloc(length)) {  // no memory: skip the text, so that the data after it can be read
    text.Empty();
    stream.Seek(length * static_cast<long>(sizeof(wchar_t)), FROM_POSITION);
    return S_OK;
  }
  if (length == 0) return S_OK;
  ReadUpTo(stream, text.GetBuffer(), length * static_cast<unsigned>(sizeof(wchar_t)));
  return S_OK;
}

HRESULT Stream::WriteUtf8(Stream& stream, wchar_t const* text, bool scramble) noexcept {
  Ref<Stream> const kept = Ref<Stream>::Share(&stream);
  char bytes[UTF8_BUFFER] = {};  // zeroed, so that a truncated text is terminated
  if (text) str::WToUTF8(text, bytes, UTF8_BUFFER);
  auto const length = static_cast<uint16_t>(strlen(bytes));
  for (unsigned i = 0; scramble && i < length; ++i) {
    bytes[i] = static_cast<char>(RotateLeft2(static_cast<unsigned char>(bytes[i])));
  }
  HRESULT const result = stream.Write(&length, sizeof length);
  return length > 0 ? stream.Write(bytes, length) : result;
}

HRESULT CopyStream(Stream* source, Stream* target, int start, int count) noexcept {
  constexpr char OPERATION[] = "CopyStream";
  if (!source || !target) return FailNull(OPERATION, source ? L"target" : L"source");
  Ref<Stream> const from = Ref<Stream>::Share(source), to = Ref<Stream>::Share(target);
  unsigned const bytes = count < 0 ? source->GetSize() : static_cast<unsigned>(count);
  if (bytes == 0) return S_FALSE;
  unsigned const position = source->GetPosition();
  unsigned const before = ErrorCount();
  HRESULT result = source->Seek(start, Stream::FROM_START);
  if (Failed(result)) return FailSince(before, result, OPERATION, L"the source has no byte %d", start);
  Buffer<unsigned char> buffer;
  bool const copies = buffer.Reserve(COPY_BUFFER);
  result = copies ? CopyBytes(*source, *target, buffer.begin(), bytes) : FailMemory(OPERATION, COPY_BUFFER);
  if (copies && Failed(result)) FailSince(before, result, OPERATION, L"the source cannot be read");
  if (Succeeded(result) || !copies) SeekTo(*source, position);
  return result;
}

}  // namespace yk
