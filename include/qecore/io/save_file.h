// yk::SaveFile: a file that is replaced atomically or not at all.
//
//   SaveFile file;
//   HRESULT result = file.Open(path);
//   if (Failed(result)) return result;
//   ... write to file.GetStream() ...
//   return file.Commit();                // S_OK: the new file is in place and complete
//
// The bytes go to a file of another name in the same folder, which replaces the old one in one step at the
// end. Until then, and after any failure, the file at `path` is unchanged, and nothing else is left in the
// folder (unless the process dies: then a "~qe*.tmp").
//
// The new file has the permissions that its folder gives. If `path` is a link, the file that it points to is
// replaced. Targets that are not files on a disk (NUL, a pipe, a console), and named streams of a file, are
// written directly.
//
// Failures: result codes, and LastError() says which file and why (error.h).
// Ownership: the stream is borrowed, and closed by Commit and Discard even if others hold it. One thread at a
// time.
#pragma once

#include <qecore/core/ref.h>
#include <qecore/io/file_stream.h>

namespace yk {

class SaveFile {
 public:
  YK_API_INLINE SaveFile() noexcept {}
  /// Without Commit, the same as Discard.
  YK_API ~SaveFile();
  SaveFile(SaveFile const&) = delete;
  SaveFile& operator=(SaveFile const&) = delete;

  /// Begins, discarding an earlier file that was not committed. Fails as FileStream::Create with CREATE would
  /// for `path`: YK_E_NOTFOUND for a missing folder, YK_E_ACCESS for a file that is write-protected or held
  /// by others, E_FAIL for everything else; and with YK_E_ACCESS when no file can be created in the folder.
  YK_API HRESULT Open(String const& path) noexcept;

  /// A FileStream, empty at first, for writing and reading, whose GetFileName is `path`. It keeps up to 64
  /// KiB in memory (file_stream.h), which Commit writes. Null when not open.
  Stream* GetStream() const noexcept { return stream.get(); }

  /// Puts the new file in place. Otherwise the result is the first failure of the stream
  /// (FileStream::GetFailure), of flushing the bytes to the disk, or of replacing the file (YK_E_ACCESS:
  /// somebody has the old file open). E_FAIL when not open. Either way it is not open afterwards.
  YK_API HRESULT Commit() noexcept;

  /// Drops what was written.
  YK_API void Discard() noexcept;

 private:
  HRESULT Begin(String const& path) noexcept;
  HRESULT OpenBeside(String const& path) noexcept;
  HRESULT Adopt(String const& path, void* handle) noexcept;
  HRESULT Replace() noexcept;

  Ref<FileStream> stream;
  String target;  // the full path; empty: written directly
  String beside;  // the file that will replace it
};

}  // namespace yk
