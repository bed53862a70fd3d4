#include "pictures.h"

#include <qecore/core/filter.h>
#include <qecore/io/file_formats.h>
#include <qecore/io/file_stream.h>
#include <qecore/io/file_type.h>

#include "image_edit.h"
#include "output.h"
#include "text.h"

namespace qetool {

using namespace yk;

namespace {

Ref<Stream> Open(std::string const& path) {
  Ref<Stream> stream;
  HRESULT const result = FileStream::Create(ToWide(path), FileStream::READ, stream.Receive());
  if (Failed(result)) throw Failure{"cannot open " + path + ": " + Reason(result)};
  return stream;
}

Ref<ykFlt2d> CreateFilter(Guid const& classId, std::string const& doing) {
  Ref<Unknown> object;
  HRESULT const result = CreateInterface(classId, object.ReceiveVoid());
  if (result == YK_E_NOTFOUND) throw Failure{doing + ": no plug-in knows the format " + TypeName(classId)};
  if (Failed(result)) throw Failure{doing + ": its plug-in cannot be started, " + Reason(result)};
  Ref<ykFlt2d> filter;
  if (Failed(object->QueryInterface(ids::FLT_2D, filter.ReceiveVoid()))) {
    throw Failure{doing + ": its plug-in is not for pictures"};
  }
  return filter;
}

// What a filter does not take as it is, it is given in the plain format.
HRESULT Write(ykFlt2d& filter, Stream& stream, Image2d& image, unsigned options) {
  HRESULT result = filter.Write(&stream, &image, options);
  if (result != YK_E_FORMAT || image.format == PlainFormat(image)) return result;
  Ref<Image2d> plain = Ref<Image2d>::Share(&image);
  try {
    ChangeFormat(plain, PlainFormat(image));
  } catch (Failure const&) {  // no way there: what the filter said stands
    return result;
  }
  result = stream.Seek(0, Stream::FROM_START);
  if (Succeeded(result)) result = stream.SetSize(0);
  return Failed(result) ? result : filter.Write(&stream, plain.get(), options);
}

}  // namespace

char const* TypeName(Guid const& type) {
  FileFormat const* const format = FindFileFormat(type);
  return format ? format->shortName : "of a plug-in";
}

Picture LoadPicture(std::string const& path) {
  Ref<Stream> const stream = Open(path);
  std::string const doing = "cannot read " + path;
  Picture picture = {{}, {}, stream->GetSize()};
  HRESULT result = qe_DetectFileType(stream.get(), picture.type);
  if (result == YK_E_NOTFOUND) throw Failure{doing + ": not a picture of a known type"};
  if (Failed(result)) throw Failure{doing + ": " + Reason(result)};

  Ref<ykFlt2d> const filter = CreateFilter(picture.type, doing);
  Ref<AbstractImage> image;
  result = filter->Read(stream.get(), image.Receive(), 0);
  if (Failed(result)) throw Failure{doing + ": " + Reason(result)};
  if (!image || !image->IsTypeOf(ids::IMAGE_2D)) throw Failure{doing + ": it holds no pixels"};
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

void SavePicture(Guid const& filterClass, Image2d& image, std::string const& path, unsigned options) {
  Ref<ykFlt2d> const filter = CreateFilter(filterClass, "cannot write " + path);
  WriteWhole(path, [&](Stream& stream) { return Write(*filter, stream, image, options); });
}

}  // namespace qetool
