// qezip.qem: lossless compression by zlib, for images in object files.
#include <qecore/core/compressor.h>
#include <qecore/core/error.h>
#include <qecore/core/module.h>
#include <zlib.h>

#include <new>

namespace {

using namespace yk;

class Zlib final : public Implements<Zlib, ykCompressor> {
 public:
  static Guid const& Id() noexcept { return ids::COMPRESSION_ZLIB; }

  static HRESULT Create(ClassInfo const*, void** out) noexcept {
    *out = new (std::nothrow) Zlib;
    return *out ? S_OK : Fail(E_OUTOFMEMORY, "qezip", L"not enough memory");
  }

  HRESULT Compress(void const* from, unsigned size, void* to, unsigned& room) noexcept override {
    uLong bytes = room;
    int const result =
        compress2(static_cast<Bytef*>(to), &bytes, static_cast<Bytef const*>(from), size, LEVEL);
    if (result == Z_BUF_ERROR) return S_FALSE;
    if (result != Z_OK) return Fail(E_OUTOFMEMORY, "qezip", L"not enough memory to compress");
    room = static_cast<unsigned>(bytes);
    return S_OK;
  }

  HRESULT Decompress(void const* from, unsigned size, void* to, unsigned bytes) noexcept override {
    uLong read = size, written = bytes;
    int const result = uncompress2(static_cast<Bytef*>(to), &written, static_cast<Bytef const*>(from), &read);
    if (result == Z_MEM_ERROR) return Fail(E_OUTOFMEMORY, "qezip", L"not enough memory to decompress");
    bool const isComplete = result == Z_OK && read == size && written == bytes;
    return isComplete ? S_OK : Fail(YK_E_BADFILE, "qezip", L"damaged zlib data");
  }

 private:
  static constexpr int LEVEL = 6;  // the higher ones take twice as long for a few percent of photographs
};

int Describe(uintptr_t index, ClassInfo& info) noexcept {
  if (index > 0) return 0;
  info.classId = ids::COMPRESSION_ZLIB;
  info.interfaceId = ids::COMPRESSOR;
  info.name = "zlib compression";  // copied by the registry
  info.create = Zlib::Create;
  return 1;
}

}  // namespace

extern "C" __declspec(dllexport) intptr_t
    qe_entrypoint(unsigned message, uintptr_t first, void* second) noexcept {
  if (message == yk::MODULE_VERSION_QUERY) return yk::KTZ_VERSION;
  return message == yk::MODULE_CLASS ? Describe(first, *static_cast<yk::ClassInfo*>(second)) : 0;
}
