// A file system supplied by a host: names that refer to streams.
//
//   Ref<Stream> stream;
//   HRESULT result = archive->GetStream(L"textures/wood.png", stream.Receive());
//
// Each interface has one fixed operation; the other slots are reserved for hosts and return E_NOTIMPL here.
//
//   ykFS        slot 8 reserved   9 FindEntry
//   ykFSEntry   slot 8 reserved   9 reserved   10 OpenStream
//
// Failures: result codes, and LastError() says why (error.h).
#pragma once

#include <qecore/core/unknown.h>

namespace yk {

class Stream;

/// What a name refers to.
class ykFSEntry : public Unknown {
 public:
  /// Reserved: E_NOTIMPL.
  virtual HRESULT ReservedSlot8() noexcept { return E_NOTIMPL; }
  virtual HRESULT ReservedSlot9() noexcept { return E_NOTIMPL; }
  /// Returns a stream over the entry. GetStream passes 0 for `mode`.
  virtual HRESULT OpenStream(Stream** out, unsigned mode) noexcept = 0;

 protected:
  ykFSEntry() noexcept = default;
  ~ykFSEntry() = default;
};

/// A tree of names, such as an archive or a folder.
class ykFS : public Unknown {
 public:
  virtual HRESULT ReservedSlot8() noexcept { return E_NOTIMPL; }  ///< Reserved: E_NOTIMPL.
  /// Returns the entry of this name, with one reference.
  virtual HRESULT FindEntry(wchar_t const* name, ykFSEntry** out) noexcept = 0;

  /// Finds the entry and opens it; `*out` is null on failure.
  YK_API HRESULT GetStream(wchar_t const* name, Stream** out) noexcept;

 protected:
  ykFS() noexcept = default;
  ~ykFS() = default;
};

}  // namespace yk
