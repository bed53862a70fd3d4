#include <qecore/core/filter.h>
#include <qecore/core/ref.h>
#include <qecore/core/registry.h>
#include <qecore/image/image.h>
#include <qecore/io/file_formats.h>
#include <qecore/io/file_stream.h>
#include <qecore/io/file_type.h>
#include <qecore/io/save_file.h>
#include <wchar.h>

#include "core/registry_p.h"

namespace yk {

namespace {

/// The filter class for a path; null when images are not saved under its extension. The case counts.
Guid const* FilterForPath(wchar_t const* path) noexcept {
  wchar_t const* const dot = path ? wcsrchr(path, L'.') : nullptr;
  if (!dot) return nullptr;
  for (FileFormat const& format : FILE_FORMATS) {
    for (FileExtension const& extension : format.extensions) {
      if (extension.isSaved && wcscmp(dot + 1, extension.text) == 0) return &format.id;
    }
  }
  return nullptr;
}

/// A filter of the class `id`. What it makes is taken at its word, unless the class is registered for another
/// interface: E_NOINTERFACE then, since calling its slots as a filter's would end anywhere.
HRESULT CreateFilter(Guid const& id, Ref<ykFlt2d>& filter) noexcept {
  ClassInfo const* const info = FindClass(id);
  bool const forAnother = info && !(info->interfaceId == ykFlt2d::Id()) && !(info->interfaceId == Guid{});
  if (forAnother) return E_NOINTERFACE;
  HRESULT const result = CreateInterface(id, filter.ReceiveVoid());
  return Succeeded(result) && !filter ? E_FAIL : result;
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
  Ref<Image2d> const self = Ref<Image2d>::Share(this);  // a plug-in's calls lead anywhere
  SaveFile file;
  if (Failed(file.Open(path))) return E_FAIL;
  Ref<ykFlt2d> filter;
  HRESULT result = CreateFilter(*id, filter);
  if (Succeeded(result)) result = filter->Write(file.GetStream(), this, 0);
  if (Failed(result)) return result;
  return Succeeded(file.Commit()) ? result : E_FAIL;  // the old file is replaced only now
}

}  // namespace yk
