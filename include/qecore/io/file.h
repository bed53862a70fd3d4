// Files and folders by name.
//
// Failures: result codes, and LastError() says why (error.h). A missing file or folder is not a failure.
#pragma once

#include <qecore/values/string.h>

namespace yk::file {

/// True when the file can be opened for reading. False for a folder, and for a file that another process
/// holds open without sharing it for reading.
YK_API bool IsFileExist(String const& path) noexcept;

/// Creates one folder. E_FAIL: it exists already, its parent does not, or the system refuses.
YK_API HRESULT NewFolder(wchar_t const* path) noexcept;

/// Creates a folder and its missing parents. S_OK when it exists afterwards; but with a trailing separator
/// and missing parents E_FAIL, although the folder then exists (contract).
YK_API HRESULT NewFolderEx(String const& path) noexcept;

/// True for a folder that exists.
YK_API bool IsFolder(wchar_t const* path) noexcept;

/// The user's temporary folder, with a trailing separator. A buffer that is too short receives an empty text,
/// and the result is nevertheless true, like the system's (contract).
YK_API bool GetTempFolder(size_t size, wchar_t* buffer) noexcept;

}  // namespace yk::file
