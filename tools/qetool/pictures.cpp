#include "pictures.h"

#include <qecore/image/image_file.h>
#include <qecore/io/file_formats.h>
#include <qecore/io/mem_stream.h>

#include "image_edit.h"
#include "input.h"
#include "output.h"
#include "text.h"

namespace qetool {

using namespace yk;

namespace {

/// A copy in the plain format, for a filter that does not accept the image; null if the image is in that
/// format already or cannot be converted.
Ref<Image2d> MakePlain(Image2d& image, Listener& listener) {
  Ref<Image2d> plain = Ref<Image2d>::Share(&image);
  if (image.format == PlainFormat(image)) return {};
  try {
    ChangeFormat(plain, PlainFormat(image), listener);
  } catch (Failure const&) {
    return {};
  }
  return plain;
}

// The class of the filter for an extension; zeros without one.
Guid FindFilter(Host const& host, std::string const& extension) {
  for (FilterInfo const& filter : host.Filters()) {
    for (std::string const& candidate : filter.extensions) {
      if (EqualNoCase(candidate, extension)) return filter.classId;
    }
  }
  return {};
}

// The file is made in memory first: filters move back and forth in it.
HRESULT SaveToOutput(Image2d& image, Guid const& filter, Map* options, Listener& listener) {
  Ref<Stream> stream;
  HRESULT result = MemStream::Create(stream.Receive());
  if (Succeeded(result)) result = img::Write(image, stream.get(), filter, options, &listener);
  void* bytes = nullptr;
  if (Succeeded(result)) result = static_cast<MemStream*>(stream.get())->GetBuffer(&bytes);
  if (Succeeded(result)) WriteToOutput(bytes, stream->GetSize());
  return result;
}

HRESULT Save(Image2d& image, std::string const& path, Guid const& filter, Map* options, Listener& listener) {
  HRESULT const result = path == STANDARD_STREAM
                             ? SaveToOutput(image, filter, options, listener)
                             : img::Write(image, ToWide(path).c_str(), &filter, options, &listener);
  listener.Check();
  return result;
}

}  // namespace

char const* TypeName(Guid const& type) {
  FileFormat const* const format = FindFileFormat(type);
  return format ? format->shortName : "unknown type";
}

Picture LoadPicture(std::string const& path, Listener& listener) {
  return LoadPicture(*OpenInput(path), path, listener);
}

Picture LoadPicture(Stream& stream, std::string const& path, Listener& listener) {
  Picture picture = {{}, {}, stream.GetSize()};
  Ref<AbstractImage> image;
  HRESULT const result = img::Read(&stream, nullptr, &listener, image.Receive(), &picture.type);
  listener.Check();
  if (Failed(result)) throw Failure{"cannot read " + ShownName(path) + ": " + Reason(result)};
  if (!image->IsTypeOf(ids::IMAGE_2D))
    throw Failure{"cannot read " + ShownName(path) + ": it holds no pixels"};
  picture.image = Ref<Image2d>::Adopt(static_cast<Image2d*>(image.Detach()));
  return picture;
}

bool IsWritten(Host const& host, std::string const& extension) {
  return !(FindFilter(host, extension) == Guid{});
}

std::string WrittenTypes(Host const& host) {
  std::string known;
  for (FilterInfo const& filter : host.Filters()) {
    for (std::string const& extension : filter.extensions) known += (known.empty() ? "" : ", ") + extension;
  }
  return known;
}

bool HasQuality(Guid const& type) {
  FileFormat const* const format = FindFileFormat(type);
  return format && format->hasQuality;
}

Guid FilterFor(Host const& host, std::string const& path) {
  Guid const filter = FindFilter(host, ExtensionOf(path));
  if (!(filter == Guid{})) return filter;
  std::string const known = WrittenTypes(host);
  if (known.empty()) throw Failure{"cannot write " + path + ": no plug-ins in " + host.PluginFolder()};
  throw Failure{"cannot write " + path + ": its extension must be one of " + known};
}

void SavePicture(Guid const& filter, Image2d& image, std::string const& path, Map* options,
                 Listener& listener) {
  HRESULT result = Save(image, path, filter, options, listener);
  std::string reason = Reason(result);
  Ref<Image2d> const plain = result == YK_E_FORMAT ? MakePlain(image, listener) : Ref<Image2d>();
  if (plain) {
    result = Save(*plain, path, filter, options, listener);
    reason = Reason(result);
  }
  if (Failed(result)) throw Failure{reason.starts_with("cannot ") ? reason : "cannot write " + reason};
}

}  // namespace qetool
