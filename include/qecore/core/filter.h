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
//       qe_Flt3d
//
// A filter class is registered with the identifier of ykFlt2d or qe_Flt3d as its interface (registry.h); the
// registry then creates an instance and stores its flags, patterns and name in the class record. The class
// identifier of an image filter is the file format's (such as ids::FILE_PNG), by which Load and Save find it.
#pragma once

#include <qecore/core/implements.h>

namespace yk {

class AbstractImage;
class Map;
class Stream;

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

  /// Describes the file in `stream` by setting values in `info`.
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

/// A filter of 3-D files. It supports the identifier of ykFlt but not of ykFlt2d (contract).
class qe_Flt3d : public Answers<qe_Flt3d, ykFlt> {
 public:
  static Guid const& Id() noexcept { return ids::FLT_3D; }

 protected:
  qe_Flt3d() noexcept = default;
  ~qe_Flt3d() = default;
};

}  // namespace yk
