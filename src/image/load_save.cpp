#include <qecore/core/filter.h>
#include <qecore/core/ref.h>
#include <qecore/core/registry.h>
#include <qecore/image/image.h>
#include <qecore/io/file_stream.h>
#include <qecore/io/file_type.h>
#include <wchar.h>

namespace yk {

namespace {

struct Extension {
  wchar_t const* text;  // as it must be written: the case counts
  Guid const& filter;
};

constexpr Extension EXTENSIONS[] = {
    {L"jpeg", ids::FILE_JPEG},
    {L"jpg", ids::FILE_JPEG},
    {L"png", ids::FILE_PNG},
};

/// The filter class for a path; null when the extension is none of those above.
Guid const* FilterForPath(wchar_t const* path) noexcept {
  wchar_t const* const dot = path ? wcsrchr(path, L'.') : nullptr;
  if (!dot) return nullptr;
  for (Extension const& extension : EXTENSIONS) {
    if (wcscmp(dot + 1, extension.text) == 0) return &extension.filter;
  }
  return nullptr;
}

/// A filter of the class `id`. E_NOINTERFACE for a class that is no image filter.
HRESULT CreateFilter(Guid const& id, Ref<ykFlt2d>& filter) noexcept {
  Ref<Unknown> object;
  HRESULT const result = CreateInterface(id, object.ReceiveVoid());
  if (Failed(result)) return result;
  if (!object || !object->IsTypeOf(ykFlt2d::Id())) return E_NOINTERFACE;
  filter = Ref<ykFlt2d>::Adopt(static_cast<ykFlt2d*>(object.Detach()));
  return result;
}

}  // namespace

AbstractImage* AbstractImage::Load(wchar_t const* path) noexcept {
  if (!path) return nullptr;
  Ref<Stream> stream;
  if (Failed(FileStream::Create(path, FileStream::READ, stream.Receive()))) return nullptr;
  Guid type;
  if (Failed(qe_DetectFileType(stream.get(), type))) return nullptr;
  Ref<ykFlt2d> filter;
  if (Failed(CreateFilter(type, filter))) return nullptr;
  AbstractImage* image = nullptr;
  return Succeeded(filter->Read(stream.get(), &image, 0)) ? image : nullptr;
}

HRESULT Image2d::Save(wchar_t const* path) noexcept {
  Guid const* const id = FilterForPath(path);
  if (!id) return E_FAIL;
  Ref<Stream> stream;
  if (Failed(FileStream::Create(path, FileStream::CREATE, stream.Receive()))) return E_FAIL;
  Ref<ykFlt2d> filter;
  HRESULT const result = CreateFilter(*id, filter);
  return Succeeded(result) ? filter->Write(stream.get(), this, 0) : result;
}

}  // namespace yk
