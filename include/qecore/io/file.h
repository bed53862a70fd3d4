// Files and folders by name.
#pragma once

#include <qecore/values/string.h>

namespace yk::file {

/// True when the file can be opened for reading. A folder, and a file that another holds without sharing it
/// for reading, answer false.
YK_API bool IsFileExist(String const& path) noexcept;

/// Makes one folder. E_FAIL: it exists already, its parent does not, or the system refuses.
YK_API HRESULT NewFolder(wchar_t const* path) noexcept;

/// Makes a folder and the ones above it that are missing. S_OK when it is there in the end; a trailing
/// separator behind a folder whose parents are missing gives E_FAIL although the folder is then there.
YK_API HRESULT NewFolderEx(String const& path) noexcept;

/// True for a folder that exists.
YK_API bool IsFolder(wchar_t const* path) noexcept;

/// The user's temporary folder, with a separator at its end. A buffer that is too short gets an empty text,
/// and the answer is true all the same, as the system's is.
YK_API bool GetTempFolder(size_t size, wchar_t* buffer) noexcept;

}  // namespace yk::file
