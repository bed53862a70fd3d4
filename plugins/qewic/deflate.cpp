#include "deflate.h"

#include <limits.h>

#include <algorithm>
#include <new>

namespace qewic {

using namespace yk;

namespace {

// zlib's memory comes from where all other does.
void* Allocate(void*, uInt count, uInt size) noexcept {
  return new (std::nothrow) uint8_t[size_t{count} * size];
}
void Free(void*, void* block) noexcept { delete[] static_cast<uint8_t*>(block); }

void UseOwnMemory(z_stream& stream) noexcept {
  stream.zalloc = Allocate;
  stream.zfree = Free;
}

}  // namespace

HRESULT InflateUpTo(uint8_t const* data, size_t size, uint8_t* out, size_t room, size_t& done) noexcept {
  done = 0;
  if (size > INT_MAX || room > INT_MAX) return YK_E_BADFILE;
  z_stream stream = {};
  UseOwnMemory(stream);
  if (inflateInit(&stream) != Z_OK) return E_OUTOFMEMORY;
  stream.next_in = const_cast<uint8_t*>(data);
  stream.avail_in = static_cast<uInt>(size);
  stream.next_out = out;
  stream.avail_out = static_cast<uInt>(room);
  int const result = inflate(&stream, Z_FINISH);
  done = room - stream.avail_out;
  inflateEnd(&stream);
  if (result == Z_MEM_ERROR) return E_OUTOFMEMORY;
  return result == Z_STREAM_END ? S_OK : YK_E_BADFILE;
}

HRESULT Inflate(uint8_t const* data, size_t size, uint8_t* out, size_t room) noexcept {
  size_t done = 0;
  HRESULT const result = InflateUpTo(data, size, out, room, done);
  return Succeeded(result) && done < room ? YK_E_BADFILE : result;
}

Deflater::~Deflater() {
  if (isOpen) deflateEnd(&stream);
}

bool Deflater::Open(int level, bool isFiltered) noexcept {
  constexpr int WINDOW_BITS = 15, MEMORY_LEVEL = 8;
  UseOwnMemory(stream);
  block.reset(new (std::nothrow) uint8_t[ROOM]);
  isOpen = block && deflateInit2(&stream, level, Z_DEFLATED, WINDOW_BITS, MEMORY_LEVEL,
                                 isFiltered ? Z_FILTERED : Z_DEFAULT_STRATEGY) == Z_OK;
  stream.next_out = block.get();
  stream.avail_out = ROOM;
  return isOpen;
}

void Deflater::PassOn() noexcept {
  take(target, block.get(), ROOM - stream.avail_out);
  stream.next_out = block.get();
  stream.avail_out = ROOM;
}

void Deflater::Run(int flush) noexcept {
  int result = Z_OK;
  while (stream.avail_in > 0 || (flush == Z_FINISH && result == Z_OK)) {
    result = deflate(&stream, flush);
    if (stream.avail_out == 0) PassOn();
  }
}

void Deflater::Add(uint8_t const* data, size_t size) noexcept {
  while (size > 0) {
    uInt const now = static_cast<uInt>(std::min<size_t>(size, UINT_MAX));
    stream.next_in = const_cast<uint8_t*>(data);
    stream.avail_in = now;
    Run(Z_NO_FLUSH);
    data += now;
    size -= now;
  }
}

void Deflater::Finish() noexcept {
  Run(Z_FINISH);
  if (stream.avail_out < ROOM) PassOn();
  deflateReset(&stream);
}

uint32_t Crc(void const* bytes, size_t size, uint32_t before) noexcept {
  return static_cast<uint32_t>(crc32_z(before, static_cast<Bytef const*>(bytes), size));
}

}  // namespace qewic
