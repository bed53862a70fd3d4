#include <qecore/image/image_file.h>

#include <qecore/core/error.h>
#include <qecore/io/file_formats.h>
#include <qecore/io/file_stream.h>
#include <qecore/io/save_file.h>
#include <wchar.h>

#include "filter_run_p.h"
#include "filters_p.h"
#include "io/file_type_p.h"
#include "io/file_window_p.h"

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

HRESULT DetectType(Stream& stream, Guid& type) noexcept {
  Ref<Stream> const held = Ref<Stream>::Share(&stream);
  HRESULT read = S_OK;
  unsigned const before = ErrorCount();
  HRESULT const result = DetectFileType(stream, type, read);
  bool const isUnreadable = Failed(result) && Failed(read);
  if (isUnreadable && ErrorCount() == before) Fail(read, LOAD, L"the stream cannot be read");
  if (isUnreadable) return read;
  if (result == YK_E_NOTFOUND) Fail(result, LOAD, L"not a picture of a known type");
  if (result == YK_E_TOOSHORT) Fail(result, LOAD, L"too short to be a picture");
  return result;
}

/// What is to be written, and how.
struct Saving {
  AbstractImage& image;
  wchar_t const* path;
  Guid const& type;
  unsigned options;
  ExecutionContext* context;
};

/// Writes the temporary file; the caller commits it.
HRESULT WriteFile(SaveFile& file, Saving const& saving) noexcept {
  Ref<AbstractImage> const held = Ref<AbstractImage>::Share(&saving.image);  // the plug-in may release it
  unsigned const before = ErrorCount();
  Ref<ykFlt2d> filter;
  HRESULT result = CreateFilter(saving.type, SAVE, filter);
  if (Succeeded(result)) {
    FilterRun run(*file.GetStream(), saving.context, SAVE, 0);
    Stream* const stream = run.GetStream();
    result = stream ? run.Finish(filter->Write(stream, &saving.image, saving.options))
                    : Fail(E_OUTOFMEMORY, SAVE, nullptr);
  }
  return Failed(result) ? FailWith(saving.path, before, result, SAVE, L"cannot write") : result;
}

/// "jpg, jpeg or png": what Image2d::Save accepts.
FailureText SavedExtensions() noexcept {
  FailureText all;
  wchar_t const* last = nullptr;
  for (FileFormat const& format : FILE_FORMATS) {
    for (FileExtension const& extension : format.extensions) {
      if (!extension.isSaved) continue;
      if (last) all.Add(L"%s%s", all.IsEmpty() ? L"" : L", ", last);
      last = extension.text;
    }
  }
  if (last) all.Add(L"%s%s", all.IsEmpty() ? L"" : L" or ", last);
  return all;
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
  if (Failed(result)) return result;
  FilterRun run(*stream, context, LOAD, stream->GetSize());
  return run.Read(image, [&](Stream* from, AbstractImage** made) { return filter->Read(from, made, 0); });
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
  return Failed(result) ? FailWith(path, before, result, LOAD, L"cannot read") : result;
}

HRESULT img::Save(AbstractImage& image, wchar_t const* path, Guid const& type, unsigned options,
                  ExecutionContext* context) noexcept {
  if (!path) return Fail(E_INVALIDARG, SAVE, L"path is null");
  SaveFile file;
  HRESULT result = file.Open(path);
  if (Succeeded(result)) result = WriteFile(file, {image, path, type, options, context});
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
    return Fail(E_FAIL, "Image2d::Save", L"cannot write %s: its extension must be %s", path ? path : L"",
                SavedExtensions().c_str());
  }
  unsigned const before = ErrorCount();
  SaveFile file;
  if (Failed(file.Open(path))) return FailSince(before, E_FAIL, "Image2d::Save", L"cannot write");
  HRESULT const result = WriteFile(file, {*this, path, *type, 0, nullptr});
  if (Failed(result) || Succeeded(file.Commit())) return result;
  return FailSince(before, E_FAIL, "Image2d::Save", L"cannot write");
}

}  // namespace yk
