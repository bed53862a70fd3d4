#include "out.h"

#include <limits.h>

#include <algorithm>
#include <new>

#include "failure.h"
#include "stream_adapter.h"

namespace qewic {

using namespace yk;

void Out::Write(uint8_t const* bytes, size_t size) noexcept {
  constexpr size_t MOST = 1 << 30;
  for (size_t now = 0; size > 0 && Succeeded(result); bytes += now, size -= now) {
    now = std::min(size, MOST);
    result = WriteAll(stream, bytes, static_cast<unsigned>(now));
  }
}

void Out::Put(void const* bytes, size_t size) noexcept {
  uint8_t const* const from = static_cast<uint8_t const*>(bytes);
  count += size;
  if (size > sizeof block - used) Flush();
  if (size > sizeof block) return Write(from, size);
  std::copy_n(from, size, block + used);
  used += static_cast<unsigned>(size);
}

void Out::Put(uint32_t number, unsigned size) noexcept {
  uint8_t bytes[4];
  StoreNumber(bytes, number, size, bigEndian);
  Put(bytes, size);
}

HRESULT Out::Flush() noexcept {
  Write(block, used);
  used = 0;
  return result;
}

// A stream takes positions of 31 bits.
void Out::MoveTo(uint64_t place) noexcept {
  bool const isInReach = base + place <= INT_MAX;
  if (Succeeded(result))
    result = isInReach ? stream.Seek(static_cast<long>(base + place), Stream::FROM_START) : E_FAIL;
}

void Out::Replace(uint64_t place, uint32_t number) noexcept {
  uint64_t const end = count;
  Flush();
  MoveTo(place);
  Put(number, sizeof number);
  Flush();
  MoveTo(end);
  count = end;
}

HRESULT Out::Finish(unsigned before) noexcept {
  if (Succeeded(Flush())) result = stream.GetState();
  return Failed(result) ? FailSince(before, result, WRITE, L"it could not be written completely") : S_OK;
}

bool Bytes::Make(size_t length) noexcept {
  data.reset(new (std::nothrow) uint8_t[length + 1]);
  size = data ? static_cast<uint32_t>(length) : 0;
  return data != nullptr;
}

bool Bytes::Read(Stream& stream) noexcept {
  return Make(stream.GetSize()) && Succeeded(stream.Seek(0, Stream::FROM_START)) &&
         (size == 0 || Succeeded(stream.Read(data.get(), size)));
}

}  // namespace qewic
