// The interfaces of import and export filters, which plug-ins implement.
//
//   class PngFilter final : public Implements<PngFilter, ykFlt2d> {
//     ...
//     HRESULT Read(Stream* stream, AbstractImage** image, unsigned options) noexcept override;
//   };
//
//   Unknown 0..7
//     ykFlt      8 GetFlags   9 GetPattern   10 GetName   11 QueryFileInfo   12 QuerySettings
//       ykFlt2d  13 Range     14 Read        15 Write
//         ykFlt2dEx  16 GetOption   17 CanRead   18 ReadEx   19 WriteEx
//       qe_Flt3d
//
// A filter class is registered with the identifier of ykFlt2d or qe_Flt3d as its interface (registry.h); the
// registry then creates an instance and stores its flags, patterns and name in the class record. The class
// identifier of an image filter is the file format's (such as ids::FILE_PNG), by which Load and Save find it.
// A filter for a format of its own, and a second one for a known format, have an identifier of their own:
// img::Read and img::Write (image/image_file.h) find them by their patterns, or ask them.
//
// A filter with options, or one that recognises its files, derives from ykFlt2dEx instead of ykFlt2d and is
// registered with the interface ykFlt2d as well:
//
//   class PpmFilter final : public Implements<PpmFilter, ykFlt2dEx> {
//     HRESULT GetOption(FilterUse use, unsigned index, FilterOption& option) noexcept override {
//       if (use != FILTER_WRITE || index > 0) return S_FALSE;
//       option.key = FilterOption::FIRST_OWN;
//       option.kind = FilterOption::SWITCH;
//       option.name = L"text";
//       option.help = L"Write decimal numbers instead of bytes";
//       option.standard.Init(false);
//       return S_OK;
//     }
//     ...
//   };
//
// Failures: result codes; a filter says why with Fail (error.h).
// Threads: an instance is used by one thread at a time, several instances by several.
#pragma once

#include <qecore/core/implements.h>

namespace yk {

class AbstractImage;
class ExecutionContext;
class Map;
class Stream;
struct FilterOption;  // image/filter_option.h

/// Settings pages of a host's dialogs. The host implements it; the library only passes it on.
class ykUIPages;

/// A file-format filter.
class ykFlt : public Answers<ykFlt, Unknown> {
 public:
  static Guid const& Id() noexcept { return ids::FLT; }

  /// An unsigned value whose meaning is up to the plug-in; stored in the class record under key 2.
  virtual unsigned GetFlags() noexcept { return 0; }

  /// The file pattern or extension with this index, from 0; null after the last. The registry asks for at
  /// most 4096. The filter owns the text.
  virtual wchar_t const* GetPattern(unsigned index) noexcept {
    (void)index;
    return nullptr;
  }

  /// The name for display, or null. The filter owns the text.
  virtual wchar_t const* GetName() noexcept { return nullptr; }

  /// Describes the file at the stream's position by setting values in `info`, under the keys of
  /// image/file_info.h, without decoding it. `options` is 0. The position is undefined afterwards.
  virtual HRESULT QueryFileInfo(Stream* stream, Map* info, int options) noexcept {
    (void)stream, (void)info, (void)options;
    return E_NOTIMPL;
  }

  /// Offers settings for saving or loading to the host's pages.
  virtual HRESULT QuerySettings(bool save, ykUIPages* pages) noexcept {
    (void)save, (void)pages;
    return E_NOTIMPL;
  }

 protected:
  ykFlt() noexcept = default;
  ~ykFlt() = default;
};

/// An image filter.
class ykFlt2d : public Answers<ykFlt2d, ykFlt> {
 public:
  static Guid const& Id() noexcept { return ids::FLT_2D; }

  /// The meaning is agreed between the plug-ins and the host.
  virtual bool Range(bool option) noexcept {
    (void)option;
    return false;
  }

  /// Reads the picture at the stream's position. S_OK: `*image` is a new image with one reference, owned by
  /// the caller. Failure: a code, and `*image` is null. `options` is 0 unless the caller knows the filter.
  virtual HRESULT Read(Stream* stream, AbstractImage** image, unsigned options) noexcept {
    (void)stream, (void)options;
    if (image) *image = nullptr;
    return E_NOTIMPL;
  }

  /// Writes the picture at the stream's position. `options` is 0 unless the caller knows the filter.
  virtual HRESULT Write(Stream* stream, AbstractImage* image, unsigned options) noexcept {
    (void)stream, (void)image, (void)options;
    return E_NOTIMPL;
  }

 protected:
  ykFlt2d() noexcept = default;
  ~ykFlt2d() = default;
};

/// What a filter is asked to do.
enum FilterUse : unsigned { FILTER_READ = 1, FILTER_WRITE = 2 };

/// An image filter with options, which recognises its files. A filter whose QueryInterface supports this
/// identifier derives from it.
class ykFlt2dEx : public Answers<ykFlt2dEx, ykFlt2d> {
 public:
  static Guid const& Id() noexcept { return ids::FLT_2D_EX; }

  /// Describes the option with this index, from 0, of reading or of writing. S_FALSE: there are no more; the
  /// library asks for at most 256. `option` is as its constructor left it; its texts are the filter's.
  virtual HRESULT GetOption(FilterUse use, unsigned index, FilterOption& option) noexcept {
    (void)use, (void)index, (void)option;
    return S_FALSE;
  }

  /// Whether the file at the stream's position is one that the filter reads, as far as its first bytes tell.
  /// S_OK: it is. S_FALSE: it is of another type. E_NOTIMPL: the filter cannot tell. Any other failure: it
  /// is of the filter's type, but cannot be read. The stream's position is the same after the call.
  virtual HRESULT CanRead(Stream* stream) noexcept {
    (void)stream;
    return E_NOTIMPL;
  }

  /// Read with options. `options` is null or holds only options that GetOption describes, with values in
  /// their ranges (img::Read has checked them); an option that is missing has its standard value. The stream
  /// already reports progress in bytes and fails with E_ABORT when the host stops the operation; `context`,
  /// which may be null, is for a filter that works long between its reads.
  virtual HRESULT ReadEx(Stream* stream, Map* options, ExecutionContext* context,
                         AbstractImage** image) noexcept {
    (void)options, (void)context;
    return Read(stream, image, 0);
  }

  /// Write with options, in the same way.
  virtual HRESULT WriteEx(Stream* stream, AbstractImage* image, Map* options,
                          ExecutionContext* context) noexcept {
    (void)options, (void)context;
    return Write(stream, image, 0);
  }

 protected:
  ykFlt2dEx() noexcept = default;
  ~ykFlt2dEx() = default;
};

/// A filter of 3-D files. It supports the identifier of ykFlt but not of ykFlt2d (contract).
class qe_Flt3d : public Answers<qe_Flt3d, ykFlt> {
 public:
  static Guid const& Id() noexcept { return ids::FLT_3D; }

 protected:
  qe_Flt3d() noexcept = default;
  ~qe_Flt3d() = default;
};

}  // namespace yk
