#include "pictures.h"

#include <limits.h>
#include <qecore/image/file_info.h>
#include <qecore/image/filter_option.h>
#include <qecore/image/image_file.h>
#include <qecore/io/file_formats.h>
#include <qecore/io/mem_stream.h>

#include <algorithm>

#include "help.h"
#include "image_edit.h"
#include "input.h"
#include "output.h"
#include "resize.h"
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

/// How and with what a picture is written.
struct Writing {
  Guid const& filter;
  WriteOptions const& options;
  Listener& listener;
  Ref<Stream>& output;  ///< for the bytes that went to standard output
};

HRESULT WriteTo(Stream& stream, Image2d& image, Writing const& how) {
  if (!how.options.quality)
    return img::Write(image, &stream, how.filter, how.options.values.get(), &how.listener);
  Ref<ykFlt2d> filter;
  HRESULT const created = CreateInterface(how.filter, filter.ReceiveVoid());
  return Failed(created) ? created : filter->Write(&stream, &image, how.options.quality);
}

// The file is made in memory first: filters move back and forth in it.
HRESULT SaveToOutput(Image2d& image, Writing const& how) {
  Ref<Stream> stream;
  HRESULT result = MemStream::Create(stream.Receive());
  if (Succeeded(result)) result = WriteTo(*stream, image, how);
  void* bytes = nullptr;
  if (Succeeded(result)) result = static_cast<MemStream*>(stream.get())->GetBuffer(&bytes);
  if (Succeeded(result)) WriteToOutput(bytes, stream->GetSize());
  how.output = stream;
  return result;
}

HRESULT SaveToFile(Image2d& image, String const& path, Writing const& how) {
  unsigned const quality = how.options.quality;
  if (quality) return img::Save(image, path.c_str(), how.filter, quality, &how.listener);
  return img::Write(image, path.c_str(), &how.filter, how.options.values.get(), &how.listener);
}

HRESULT Save(Image2d& image, std::string const& path, Writing const& how) {
  HRESULT const result =
      path == STANDARD_STREAM ? SaveToOutput(image, how) : SaveToFile(image, ToWide(path), how);
  how.listener.Check();
  return result;
}

// The class of the filter that reads the file at the stream's position: only the library finds it, and a
// filter that describes no files tells by reading it.
Guid FilterOf(Stream& stream, Listener& listener) {
  Guid type = {};
  QueryPicture(stream, type);
  if (!(type == Guid{})) return type;
  Ref<AbstractImage> image;
  HRESULT const result = img::Read(&stream, nullptr, &listener, image.Receive(), &type);
  listener.Check();
  if (Failed(result)) throw Failure{Reason(result)};
  return type;
}

void SetValue(Map& values, unsigned key, Variant const& value) {
  if (Failed(values.SetValue(key, value))) throw Failure{"cannot set options: " + LastReason()};
}

// Null without any.
Ref<Map> ValuesOf(ReadOptions const& options, Stream& stream, Listener& listener) {
  unsigned const frame = options.frame.value_or(0);
  if (options.settings.empty() && frame == 0) return {};
  Ref<Map> values = NewOptions();
  Variant value;
  if (!options.settings.empty())
    SetOptions(FilterOf(stream, listener), FILTER_READ, options.settings, *values);
  if (options.frame && Succeeded(values->GetValue(FilterOption::FRAME, value)))
    throw Failure{Format("--frame %u: --read-option sets the frame, too", frame)};
  if (frame > 0) SetValue(*values, FilterOption::FRAME, Variant(static_cast<int>(frame)));
  if (options.decodesEvery) SetValue(*values, FilterOption::EVERY_FRAME, Variant(true));
  return values;
}

// A transparent pixel that is to be turned, if the format has alpha.
ImageRef MakePixel(IMG_FORMAT format) {
  ImageRef pixel = NewImage(format, 1, 1);
  std::fill_n(pixel->bits, pixel->stride, uint8_t{0});
  std::fill_n(pixel->palette, pixel->paletteCount, IMG_PALENTRY{0, 0, 0, 255});
  if (pixel->paletteCount > 0) pixel->palette[0].alpha = 0;
  pixel->SetValue(img::INFO_ORIENTATION, Variant(6u));
  return pixel;
}

// The image as its file keeps it. YK_E_FORMAT: the filter does not accept it.
HRESULT WriteAndRead(Guid const& type, Image2d& image, Ref<AbstractImage>& kept) {
  Ref<Stream> stream;
  Ref<ykFlt2d> filter;
  HRESULT result = MemStream::Create(stream.Receive());
  if (Succeeded(result)) result = CreateInterface(type, filter.ReceiveVoid());
  if (Succeeded(result)) result = filter->Write(stream.get(), &image, 0);
  if (Succeeded(result)) result = stream->Seek(0, Stream::FROM_START);
  if (Succeeded(result)) result = filter->Read(stream.get(), kept.Receive(), 0);
  return result;
}

// Without the name that a file stream puts before its reason: the caller says it as well.
std::string WithoutName(std::string const& reason, std::string const& path) {
  std::string const name = path + ": ", inside = ": " + name;
  size_t const at = reason.find(inside);
  if (reason.starts_with(name)) return reason.substr(name.size());
  return at == std::string::npos ? reason : reason.substr(0, at + 2) + reason.substr(at + inside.size());
}

// Why there is no such picture: the library says only that the filter has no such option.
std::string FrameReason(Stream& stream, unsigned frame, std::string const& reason) {
  Guid type = {};
  Ref<Map> const info = QueryPicture(stream, type);
  if (HasOption(type, FILTER_READ, FilterOption::FRAME)) return reason;
  unsigned const frames = CountFrames(*info);
  if (type == Guid{} || frames > 1) return "its plug-in reads only the first picture of a file";
  return Format("there is no frame %u: the file has one picture", frame);
}

}  // namespace

std::string TypeName(Guid const& type) {
  if (FileFormat const* const format = FindFileFormat(type)) return format->shortName;
  ClassInfo* info = nullptr;
  std::string const name = Succeeded(System::ptr()->FindClass(type, &info)) ? Describe(*info).name : "";
  return name.empty() ? "unknown type" : name;
}

void AddFrameOption(CLI::App& command, ReadOptions& options) {
  command
      .add_option("--frame", options.frame, "Of a file with several pictures, read this one, counted from 0")
      ->type_name("N")
      ->check(WholeNumber(0, INT_MAX));
}

Ref<Map> QueryPicture(Stream& stream, Guid& type) {
  Ref<Map> info = Ref<Map>::Adopt(Map::Create());
  if (!info) throw Failure{"cannot describe the picture: " + LastReason()};
  img::QueryInfo(&stream, info.get(), &type);
  return info;
}

unsigned CountFrames(Map& info) { return std::max(1u, NumberOf(&info, img::INFO_FRAMES)); }

Picture LoadPicture(std::string const& path, Listener& listener, ReadOptions const& options) {
  return LoadPicture(*OpenInput(path), path, listener, options);
}

Picture LoadPicture(Stream& stream, std::string const& path, Listener& listener,
                    ReadOptions const& options) try {
  Picture picture = {{}, {}, stream.GetSize()};
  Ref<AbstractImage> image;
  Ref<Map> const values = ValuesOf(options, stream, listener);
  HRESULT const result = img::Read(&stream, values.get(), &listener, image.Receive(), &picture.type);
  listener.Check();
  std::string reason = Reason(result);
  unsigned const frame = options.frame.value_or(0);
  if (frame > 0 && result == E_INVALIDARG) reason = FrameReason(stream, frame, reason);
  if (Failed(result)) throw Failure{reason};
  if (!image->IsTypeOf(ids::IMAGE_2D)) throw Failure{"it holds no pixels"};
  picture.image = Ref<Image2d>::Adopt(static_cast<Image2d*>(image.Detach()));
  return picture;
} catch (Failure const& failure) {
  throw Failure{"cannot read " + ShownName(path) + ": " + WithoutName(failure.text, path)};
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

Guid FilterFor(Host const& host, std::string const& path) {
  Guid const filter = FindFilter(host, ExtensionOf(path));
  if (!(filter == Guid{})) return filter;
  std::string const known = WrittenTypes(host);
  if (known.empty()) throw Failure{"cannot write " + path + ": no plug-ins in " + host.PluginFolder()};
  throw Failure{"cannot write " + path + ": its extension must be one of " + known};
}

Kept WhatFilesKeep(Guid const& filter, Image2d const& picture) {
  HRESULT result = YK_E_FORMAT;
  Ref<AbstractImage> kept;
  bool hasAlpha = false;
  for (IMG_FORMAT const format : {picture.format, PlainFormat(picture), IMG_BGR24}) {
    ImageRef const pixel = MakePixel(format);
    hasAlpha = HasAlpha(*pixel);
    result = WriteAndRead(filter, *pixel, kept);
    if (result != YK_E_FORMAT) break;
  }
  if (Failed(result) || !kept->IsTypeOf(ids::IMAGE_2D)) return {hasAlpha, true};
  auto& image = static_cast<Image2d&>(*kept);
  return {hasAlpha && HasAlpha(image), OrientationOf(image) != 1};
}

Ref<Stream> SavePicture(Guid const& filter, Image2d& image, std::string const& path,
                        WriteOptions const& options, Listener& listener) {
  Ref<Stream> output;
  Writing const how = {filter, options, listener, output};
  HRESULT result = Save(image, path, how);
  std::string reason = Reason(result);
  Ref<Image2d> const plain = result == YK_E_FORMAT ? MakePlain(image, listener) : Ref<Image2d>();
  if (plain) {
    result = Save(*plain, path, how);
    reason = Reason(result);
  }
  if (Failed(result)) throw Failure{reason.starts_with("cannot ") ? reason : "cannot write " + reason};
  return output;
}

}  // namespace qetool
