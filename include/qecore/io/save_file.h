// A file that is replaced whole or not at all.
//
//   SaveFile file;
//   HRESULT result = file.Open(path);
//   if (Failed(result)) return result;
//   ... write to file.GetStream() ...
//   return file.Commit();                // S_OK: the new file is there, whole
//
// The bytes go to a file of another name in the same folder, which takes the place of the old one in one step
// at the end. Until then, and after any failure, the file at `path` is as it was, and nothing is left beside
// it (but when the process dies: then a "~qe*.tmp").
//
// The new file has the permissions that its folder gives. Where `path` leads through a link, the file behind
// the link is replaced. What is no file on a disk (NUL, a pipe, a console), and a named part of a file, is
// written straight.
//
// Ownership: the stream is lent, and closed by Commit and Discard whoever else holds it. One thread at a
// time.
#pragma once

#include <qecore/core/ref.h>
#include <qecore/io/file_stream.h>

namespace yk {

class YK_API SaveFile {
 public:
  SaveFile() noexcept;
  /// Without Commit nothing has happened.
  ~SaveFile();
  SaveFile(SaveFile const&) = delete;
  SaveFile& operator=(SaveFile const&) = delete;

  /// Begins; what was begun before is discarded. It fails as FileStream::Create with CREATE would for `path`:
  /// YK_E_NOTFOUND for a missing folder, YK_E_ACCESS for a file that may not be written or that others hold,
  /// E_FAIL for everything else; and YK_E_ACCESS where the folder takes no new file.
  HRESULT Open(String const& path) noexcept;

  /// A FileStream, empty at first, for writing and reading, whose GetFileName is `path`. Null when not open.
  Stream* GetStream() const noexcept { return stream.get(); }

  /// Puts the new file in its place. Else the result is the first failure of the stream
  /// (FileStream::GetFailure), or that of bringing the bytes to the disk or of replacing (YK_E_ACCESS:
  /// somebody has the old file open). E_FAIL when not open. Either way it is not open afterwards.
  HRESULT Commit() noexcept;

  /// Forgets what was written.
  void Discard() noexcept;

 private:
  HRESULT Begin(String const& path) noexcept;
  HRESULT OpenBeside(String const& path) noexcept;
  HRESULT Adopt(String const& path, void* handle) noexcept;
  HRESULT Replace() noexcept;

  Ref<FileStream> stream;
  String target;  // in full; empty: written straight
  String beside;  // the file that takes its place
};

}  // namespace yk
