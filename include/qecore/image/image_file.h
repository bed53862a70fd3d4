// Loading and saving image files, with the reason of a failure, progress, and a way to stop.
//
//   Ref<AbstractImage> image;
//   HRESULT result = img::Load(L"photo.png", nullptr, image.Receive());
//   if (Succeeded(result)) result = img::Save(*image, L"photo.tif", ids::FILE_TIFF, 0, nullptr);
//   if (Failed(result)) ShowMessage(LastError());
//
// AbstractImage::Load and Image2d::Save do the same for hosts that only need success or failure. The
// registered filters (filter.h) determine which files can be read and written.
//
// Load and Save know the formats of io/file_formats.h. Read and Write accept what any plug-in accepts, with
// the options that it describes (filter_option.h), from files and from streams; QueryInfo says what a file
// holds (file_info.h):
//
//   Ref<Map> options = Ref<Map>::Adopt(Map::Create());
//   img::SetOption(ids::FILE_JPEG, FILTER_WRITE, L"quality", L"90", options.get());
//   result = img::Write(*image, L"photo.jpg", nullptr, options.get(), nullptr);
//
// How Read finds a filter; the first that accepts the file reads it:
//
//   1  by signature    the filters of the type that qe_DetectFileType detects
//   2  by name         the filters with a pattern that the file's name matches
//   3  by asking       any filter whose ykFlt2dEx::CanRead says so
//
// A filter of step 1 or 2 that recognises its files may refuse one; the next is tried then, and also after a
// filter that could not read a file. A failure says which filters refused, and why. Among several filters,
// the one with the highest rank comes first (RankFilter), then the one that was registered first: that of the
// host itself, of the plug-in cache, of new plug-ins in the order of their names.
//
// Progress is counted in bytes of the file, without the filter's participation: the total is the file's size
// when it is read, and unknown when it is written. When the host stops it, the result is E_ABORT; no image is
// created, and a file that was to be replaced is unchanged.
//
// Ownership: `*image` has one reference, the caller's; it is null after every failure. Failure: result codes;
// LastError() gives the reason. Threads: one image or stream is used by one thread at a time.
#pragma once

#include <qecore/core/filter.h>
#include <qecore/image/image.h>

namespace yk {

class Array;
class Map;
class Stream;

namespace img {

/// Reads the file at `path` through the filter for its type, which its first bytes determine. `*type`, if not
/// null, receives that type as soon as it is known. FileStream::Create's codes for a file that cannot be
/// opened, the stream's failure for one that cannot be read, qe_DetectFileType's for one of unknown type;
/// YK_E_NOTFOUND: there is no filter for it; E_NOINTERFACE: the class with that identifier is not an image
/// filter; otherwise the filter's result.
YK_API HRESULT Load(wchar_t const* path, ExecutionContext* context, AbstractImage** image,
                    Guid* type = nullptr) noexcept;

/// The same from a stream, for a file that begins at its position; the bytes there determine the type.
YK_API HRESULT Load(Stream* stream, ExecutionContext* context, AbstractImage** image,
                    Guid* type = nullptr) noexcept;

/// Writes the file at `path` through the filter class `type`; the path's extension does not matter. The
/// file is replaced completely or not at all. `options` are the filter's, 0 for its defaults. SaveFile's
/// codes for a file that cannot be written; those of Load for the filter.
YK_API HRESULT Save(AbstractImage& image, wchar_t const* path, Guid const& type, unsigned options,
                    ExecutionContext* context) noexcept;

/// Reads the file at `path` through any filter that accepts it, with the options `options`, which may be
/// null. `*type`, if not null, receives the filter's class. FileStream::Create's codes for a file that cannot
/// be opened, the stream's failure for one that cannot be read; YK_E_NOTFOUND: no filter accepts it;
/// E_INVALIDARG: an option that the filter does not have, or a value out of its range; otherwise the result
/// of the filter that came first.
YK_API HRESULT Read(wchar_t const* path, Map* options, ExecutionContext* context, AbstractImage** image,
                    Guid* type = nullptr) noexcept;

/// The same from a stream, for a file that begins at its position. A FileStream's name counts in step 2.
YK_API HRESULT Read(Stream* stream, Map* options, ExecutionContext* context, AbstractImage** image,
                    Guid* type = nullptr) noexcept;

/// Writes the file at `path` through the filter class `type` or, if that is null, the first one with a
/// pattern that the path matches and that writes at all. The file is replaced completely or not at all.
/// YK_E_NOTFOUND: there is no such filter; E_INVALIDARG as for Read; SaveFile's codes; the filter's result.
YK_API HRESULT Write(AbstractImage& image, wchar_t const* path, Guid const* type, Map* options,
                     ExecutionContext* context) noexcept;

/// The same at a stream's position. After a failure the stream may hold a part of the file.
YK_API HRESULT Write(AbstractImage& image, Stream* stream, Guid const& type, Map* options,
                     ExecutionContext* context) noexcept;

/// Describes the file at `path` without decoding it, by setting values in `info`; see file_info.h. Fails like
/// Read, and with E_NOTIMPL when the filter describes no files. `info` is unchanged after a failure, except
/// for values that it received before.
YK_API HRESULT QueryInfo(wchar_t const* path, Map* info, Guid* type = nullptr) noexcept;

/// The same for a file that begins at a stream's position, which is then the same as before.
YK_API HRESULT QueryInfo(Stream* stream, Map* info, Guid* type = nullptr) noexcept;

/// The filters for files with this name, in the order in which they are tried, or all filters for a null
/// `path`. S_OK: `*filters` is a new array of borrowed `ClassInfo*`, owned by the caller, empty if there are
/// none. E_OUTOFMEMORY; E_FAIL: there is no System.
YK_API HRESULT FindFilters(wchar_t const* path, Array** filters) noexcept;

/// Changes the order of filters: those with a higher rank come first. It is 0 at first, and for all filters
/// of a new System. YK_E_NOTFOUND: no such class; E_INVALIDARG: it is not an image filter; E_OUTOFMEMORY.
/// Call it before several threads read pictures.
YK_API HRESULT RankFilter(Guid const& classId, int rank) noexcept;

/// Sets an option, given as texts, in `options`: `value` is a number, yes or no, or one of the option's
/// choices. E_INVALIDARG: the filter class `type` has no option `name`, or `value` is out of its range; the
/// codes of CreateInterface for the filter.
YK_API HRESULT SetOption(Guid const& type, FilterUse use, wchar_t const* name, wchar_t const* value,
                         Map* options) noexcept;

}  // namespace img
}  // namespace yk
