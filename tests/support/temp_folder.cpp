#include "temp_folder.h"

#include <windows.h>

#include <atomic>

namespace {

// Files that a process still runs from cannot be deleted; they stay behind in the temporary folder.
void RemoveTree(std::wstring const& folder) {
  WIN32_FIND_DATAW entry;
  HANDLE const search = FindFirstFileW((folder + L"*").c_str(), &entry);
  if (search == INVALID_HANDLE_VALUE) return;
  do {
    std::wstring const name = entry.cFileName;
    if (name == L"." || name == L"..") continue;
    if (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
      RemoveTree(folder + name + L"\\");
    } else {
      DeleteFileW((folder + name).c_str());
    }
  } while (FindNextFileW(search, &entry));
  FindClose(search);
  RemoveDirectoryW(folder.c_str());
}

}  // namespace

TempFolder::TempFolder() {
  static std::atomic<int> counter;
  wchar_t temporary[MAX_PATH + 1];
  GetTempPathW(MAX_PATH + 1, temporary);
  folder = std::wstring(temporary) + L"qecore-test-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
           std::to_wstring(counter++) + L"\\";
  CreateDirectoryW(folder.c_str(), nullptr);
}

TempFolder::~TempFolder() { RemoveTree(folder); }

void TempFolder::Write(std::wstring const& name, std::string const& bytes) const {
  HANDLE const file = CreateFileW(Path(name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  DWORD done = 0;
  WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &done, nullptr);
  CloseHandle(file);
}

std::string TempFolder::Read(std::wstring const& name) const {
  HANDLE const file = CreateFileW(Path(name).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                  nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return {};
  std::string bytes(GetFileSize(file, nullptr), '\0');
  DWORD done = 0;
  ReadFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &done, nullptr);
  CloseHandle(file);
  return bytes;
}

void TempFolder::Copy(std::wstring const& from, std::wstring const& name) const {
  CopyFileW(from.c_str(), Path(name).c_str(), FALSE);
}

void TempFolder::Remove(std::wstring const& name) const { DeleteFileW(Path(name).c_str()); }

std::wstring ProgramFolder() {
  wchar_t path[MAX_PATH];
  GetModuleFileNameW(nullptr, path, MAX_PATH);
  std::wstring const whole = path;
  return whole.substr(0, whole.rfind(L'\\') + 1);
}
