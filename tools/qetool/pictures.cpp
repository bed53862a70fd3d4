#include "pictures.h"

#include <qecore/image/image_file.h>
#include <qecore/io/file_formats.h>
#include <qecore/io/file_stream.h>

#include "image_edit.h"
#include "text.h"

namespace qetool {

using namespace yk;

namespace {

Ref<Stream> Open(std::string const& path) {
  Ref<Stream> stream;
  HRESULT const result = FileStream::Create(ToWide(path), FileStream::READ, stream.Receive());
  if (Failed(result)) throw Failure{"cannot open " + Reason(result)};
  return stream;
}

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

}  // namespace

char const* TypeName(Guid const& type) {
  FileFormat const* const format = FindFileFormat(type);
  return format ? format->shortName : "unknown type";
}

Picture LoadPicture(std::string const& path, Listener& listener) {
  Ref<Stream> const stream = Open(path);
  Picture picture = {{}, {}, stream->GetSize()};
  Ref<AbstractImage> image;
  HRESULT const result = img::Load(stream.get(), &listener, image.Receive(), &picture.type);
  listener.Check();
  if (Failed(result)) throw Failure{"cannot read " + path + ": " + Reason(result)};
  if (!image->IsTypeOf(ids::IMAGE_2D)) throw Failure{"cannot read " + path + ": it holds no pixels"};
  picture.image = Ref<Image2d>::Adopt(static_cast<Image2d*>(image.Detach()));
  return picture;
}

Guid FilterFor(Host const& host, std::string const& path) {
  size_t const dot = path.find_last_of("./\\");
  bool const hasExtension = dot != std::string::npos && path[dot] == '.';
  std::string const extension = hasExtension ? path.substr(dot + 1) : std::string();
  std::string known;
  for (FilterInfo const& filter : host.Filters()) {
    for (std::string const& candidate : filter.extensions) {
      if (EqualNoCase(candidate, extension)) return filter.classId;
      known += (known.empty() ? "" : ", ") + candidate;
    }
  }
  if (known.empty()) throw Failure{"cannot write " + path + ": no plug-ins in " + host.PluginFolder()};
  throw Failure{"cannot write " + path + ": its extension must be one of " + known};
}

void SavePicture(Guid const& filter, Image2d& image, std::string const& path, unsigned options,
                 Listener& listener) {
  String const target = ToWide(path);
  HRESULT result = img::Save(image, target.c_str(), filter, options, &listener);
  listener.Check();
  std::string reason = Reason(result);
  Ref<Image2d> const plain = result == YK_E_FORMAT ? MakePlain(image, listener) : Ref<Image2d>();
  if (plain) {
    result = img::Save(*plain, target.c_str(), filter, options, &listener);
    listener.Check();
    reason = Reason(result);
  }
  if (Failed(result)) throw Failure{reason.starts_with("cannot ") ? reason : "cannot write " + reason};
}

}  // namespace qetool
