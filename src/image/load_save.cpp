#include <qecore/core/error.h>
#include <qecore/core/filter.h>
#include <qecore/core/ref.h>
#include <qecore/core/registry.h>
#include <qecore/image/image_file.h>
#include <qecore/io/file_formats.h>
#include <qecore/io/file_stream.h>
#include <qecore/io/file_type.h>
#include <qecore/io/save_file.h>
#include <wchar.h>

#include "core/registry_p.h"
#include "io/file_window_p.h"
#include "io/progress_stream_p.h"

namespace yk {

namespace {

constexpr char LOAD[] = "img::Load";
constexpr char SAVE[] = "img::Save";

/// The filter class for a path; null when its extension is not one for saving images. Case-sensitive.
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

char const* NameOf(Guid const& type) noexcept {
  FileFormat const* const format = FindFileFormat(type);
  return format ? format->shortName : "such";
}

/// qe_DetectFileType, whose text names the file. Here the caller adds the name.
HRESULT DetectType(Stream& stream, Guid& type) noexcept {
  HRESULT const result = qe_DetectFileType(&stream, type);
  HRESULT const state = stream.GetState();
  if (Failed(result) && Failed(state)) return result;
  if (result == YK_E_NOTFOUND) Fail(result, LOAD, L"not a picture of a known type");
  if (result == YK_E_TOOSHORT) Fail(result, LOAD, L"too short to be a picture");
  return result;
}

/// A filter of the class `id`. The created object is trusted to be one, unless the class is registered for
/// another interface: then E_NOINTERFACE, since calling its slots as a filter's would be undefined.
HRESULT CreateFilter(Guid const& id, char const* operation, Ref<ykFlt2d>& filter) noexcept {
  ClassInfo const* const info = FindClass(id);
  bool const forAnother = info && !(info->interfaceId == ykFlt2d::Id()) && !(info->interfaceId == Guid{});
  if (forAnother) {
    return Fail(E_NOINTERFACE, operation, L"the plug-in for %S files is not an image filter", NameOf(id));
  }
  unsigned const before = ErrorCount();
  HRESULT const result = CreateInterface(id, filter.ReceiveVoid());
  if (Succeeded(result) && filter) return result;
  if (result == YK_E_NOTFOUND)
    return Fail(result, operation, L"there is no plug-in for %S files", NameOf(id));
  return FailSince(before, Failed(result) ? result : E_FAIL, operation,
                   L"the plug-in for %S files cannot be started", NameOf(id));
}

/// `stream` itself without a host; otherwise a stream that reports to it, owned by `reporter`. Null without
/// memory.
Stream* Follow(Stream& stream, ExecutionContext* context, char const* operation, unsigned total,
               Ref<ProgressStream>& reporter) noexcept {
  if (!context) return &stream;
  reporter = ProgressStream::Create(stream, context, operation, total);
  if (reporter) reporter->Reach(0);
  return reporter.get();
}

/// The result of a filter's work on `bytes`, or an unknown number of them (0); a stop takes precedence.
HRESULT Finish(ProgressStream* reporter, HRESULT result, unsigned bytes) noexcept {
  if (!reporter) return result;
  if (Succeeded(result)) reporter->Reach(bytes);
  reporter->Detach();
  return reporter->Result(result);
}

HRESULT ReadImage(ykFlt2d& filter, Stream& stream, ExecutionContext* context,
                  AbstractImage** image) noexcept {
  Ref<ProgressStream> reporter;
  unsigned const bytes = stream.GetSize();
  Stream* const followed = Follow(stream, context, LOAD, bytes, reporter);
  if (!followed) return Fail(E_OUTOFMEMORY, LOAD, nullptr);
  AbstractImage* made = nullptr;
  HRESULT const read = filter.Read(followed, &made, 0);
  HRESULT const result = Finish(reporter.get(), read, bytes);
  if (Succeeded(result) && !made) return Fail(E_FAIL, LOAD, L"the plug-in returned no image");
  if (Succeeded(result)) *image = made;
  if (Failed(result) && Succeeded(read)) Ref<AbstractImage>::Adopt(made).Reset();
  return result;
}

HRESULT WriteImage(ykFlt2d& filter, Stream& stream, AbstractImage& image, unsigned options,
                   ExecutionContext* context) noexcept {
  Ref<ProgressStream> reporter;
  Stream* const followed = Follow(stream, context, SAVE, 0, reporter);
  if (!followed) return Fail(E_OUTOFMEMORY, SAVE, nullptr);
  return Finish(reporter.get(), filter.Write(followed, &image, options), 0);
}

/// Writes the temporary file; the caller commits it.
HRESULT WriteFile(SaveFile& file, wchar_t const* path, AbstractImage& image, Guid const& type,
                  unsigned options, ExecutionContext* context) noexcept {
  Ref<AbstractImage> const held = Ref<AbstractImage>::Share(&image);  // the plug-in may release it
  unsigned const before = ErrorCount();
  Ref<ykFlt2d> filter;
  HRESULT result = CreateFilter(type, SAVE, filter);
  if (Succeeded(result) && filter) result = WriteImage(*filter, *file.GetStream(), image, options, context);
  return Failed(result) ? FailSince(before, result, SAVE, L"cannot write %s", path) : result;
}

}  // namespace

HRESULT img::Load(Stream* stream, ExecutionContext* context, AbstractImage** image, Guid* type) noexcept {
  if (!stream || !image) return Fail(E_INVALIDARG, LOAD, L"stream or image is null");
  *image = nullptr;
  BufferedFile const buffered(*stream);
  Guid found;
  HRESULT result = DetectType(*stream, found);
  if (Failed(result)) return result;
  if (type) *type = found;
  Ref<ykFlt2d> filter;
  result = CreateFilter(found, LOAD, filter);
  return Succeeded(result) && filter ? ReadImage(*filter, *stream, context, image) : result;
}

HRESULT img::Load(wchar_t const* path, ExecutionContext* context, AbstractImage** image,
                  Guid* type) noexcept {
  if (image) *image = nullptr;
  if (!path || !image) return Fail(E_INVALIDARG, LOAD, L"path or image is null");
  Ref<Stream> stream;
  HRESULT result = FileStream::Create(path, FileStream::READ, stream.Receive());
  if (Failed(result)) return result;
  unsigned const before = ErrorCount();
  result = Load(stream.get(), context, image, type);
  return Failed(result) ? FailSince(before, result, LOAD, L"cannot read %s", path) : result;
}

HRESULT img::Save(AbstractImage& image, wchar_t const* path, Guid const& type, unsigned options,
                  ExecutionContext* context) noexcept {
  if (!path) return Fail(E_INVALIDARG, SAVE, L"path is null");
  SaveFile file;
  HRESULT result = file.Open(path);
  if (Succeeded(result)) result = WriteFile(file, path, image, type, options, context);
  HRESULT const committed = Succeeded(result) ? file.Commit() : result;
  return Failed(committed) ? committed : result;  // a filter may return another success code than S_OK
}

AbstractImage* AbstractImage::Load(wchar_t const* path) noexcept {
  AbstractImage* image = nullptr;
  img::Load(path, nullptr, &image);
  return image;
}

// Contract: a file that cannot be opened or replaced is E_FAIL here, for any reason.
HRESULT Image2d::Save(wchar_t const* path) noexcept {
  Guid const* const type = FilterForPath(path);
  if (!type) {
    return Fail(E_FAIL, "Image2d::Save", L"cannot write %s: its extension must be jpeg, jpg or png",
                path ? path : L"");
  }
  unsigned const before = ErrorCount();
  SaveFile file;
  if (Failed(file.Open(path))) return FailSince(before, E_FAIL, "Image2d::Save", L"cannot write");
  HRESULT const result = WriteFile(file, path, *this, *type, 0, nullptr);
  if (Failed(result) || Succeeded(file.Commit())) return result;
  return FailSince(before, E_FAIL, "Image2d::Save", L"cannot write");
}

}  // namespace yk
