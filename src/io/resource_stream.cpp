// The streams over module resources.
#include <qecore/io/mem_stream.h>

#include <qecore/core/ref.h>
#include <string.h>
#include <windows.h>

#include <new>

#include "core/error_p.h"

namespace yk {
namespace {

class ResourceStream final : public Implements<ResourceStream, Stream> {
 public:
  static Guid const& Id() noexcept { return ids::RESOURCE_STREAM; }

  ResourceStream(HMODULE module, wchar_t const* type, wchar_t const* name) noexcept {
    resource = FindResourceW(module, name, type);
    if (resource) handle = LoadResource(module, resource);
    if (handle) data = static_cast<unsigned char const*>(LockResource(handle));
    if (data) size = SizeofResource(module, resource);
  }

  Guid const* GetTypeId() noexcept override { return &ids::RESOURCE_STREAM; }

  using Stream::Read;
  HRESULT Read(void* buffer, unsigned bytes, unsigned* done) noexcept override {
    unsigned const got = bytes < size - position ? bytes : size - position;
    if (got > 0) memcpy(buffer, data + position, got);
    if (got < bytes) memset(static_cast<unsigned char*>(buffer) + got, 0, bytes - got);
    position += got;
    if (done) *done = got;
    return S_OK;
  }

  HRESULT Seek(long offset, unsigned origin, unsigned* newPosition) noexcept override {
    int64_t target = offset;
    if (origin == FROM_POSITION) target += position;
    if (origin == FROM_END) target += size;
    if (target < 0 || target > size) {
      return Fail(E_FAIL, "MemStream::Seek", L"byte %lld is outside the resource of %u bytes",
                  static_cast<long long>(target), size);
    }
    position = static_cast<unsigned>(target);
    if (newPosition) *newPosition = position;
    return S_OK;
  }

  unsigned GetPosition() noexcept override { return position; }
  unsigned GetSize() noexcept override { return size; }
  /// Contract: E_FAIL at the end, too.
  HRESULT GetState() noexcept override { return data && position != size ? S_OK : E_FAIL; }

 private:
  friend Destroys;
  ~ResourceStream() = default;

  HRSRC resource = nullptr;
  HGLOBAL handle = nullptr;
  unsigned char const* data = nullptr;
  unsigned size = 0;
  unsigned position = 0;
};

}  // namespace

HRESULT MemStream::Create(HINSTANCE module, wchar_t const* type, wchar_t const* name, Stream** out) noexcept {
  constexpr char OPERATION[] = "MemStream::Create";
  if (!out) return FailNull(OPERATION, L"out");
  *out = nullptr;
  auto* const made = Made(new (std::nothrow) ResourceStream(module, type, name), OPERATION);
  auto const stream = Ref<ResourceStream>::Adopt(made);
  if (!stream) return E_OUTOFMEMORY;
  if (Failed(stream->GetState()))
    return Fail(E_INVALIDARG, OPERATION, L"the resource does not exist or is empty");
  *out = Ref<ResourceStream>(stream).Detach();
  return S_OK;
}

}  // namespace yk
