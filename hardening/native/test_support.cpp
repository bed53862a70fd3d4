// The functions of tests/support for the native build: main() is GoogleTest's own, folders are created
// through Wine's file functions, and message boxes come from the harness.
#include <windows.h>

#include "harness.h"
#include "support/message_box_watcher.h"
#include "support/temp_folder.h"

namespace {

bool IsDots(wchar_t const* name) { return name[0] == '.' && (!name[1] || (name[1] == '.' && !name[2])); }

void RemoveTree(std::wstring const& folder) {
  WIN32_FIND_DATAW found;
  HANDLE const search = FindFirstFileW((folder + L"*").c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return;
  do {
    if (IsDots(found.cFileName)) continue;
    std::wstring const path = folder + found.cFileName;
    if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
      RemoveTree(path + L"\\");
    } else {
      DeleteFileW(path.c_str());
    }
  } while (FindNextFileW(search, &found));
  FindClose(search);
  RemoveDirectoryW(folder.c_str());
}

std::wstring ToWide(std::u16string const& text) { return std::wstring(text.begin(), text.end()); }

}  // namespace

TempFolder::TempFolder() {
  static int counter = 0;
  wchar_t temp[MAX_PATH];
  GetTempPathW(MAX_PATH, temp);
  std::string const name =
      "qecore-native-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(counter++);
  folder = std::wstring(temp) + std::wstring(name.begin(), name.end()) + L"\\";
  CreateDirectoryW(folder.c_str(), nullptr);
}

TempFolder::~TempFolder() { RemoveTree(folder); }

void TempFolder::Write(std::wstring const& name, std::string const& bytes) const {
  HANDLE const file = CreateFileW(Path(name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  DWORD written = 0;
  WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
  CloseHandle(file);
}

std::string TempFolder::Read(std::wstring const& name) const {
  DWORD const share = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  HANDLE const file =
      CreateFileW(Path(name).c_str(), GENERIC_READ, share, nullptr, OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return {};
  std::string bytes(GetFileSize(file, nullptr), 0);
  DWORD done = 0;
  ReadFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &done, nullptr);
  CloseHandle(file);
  return bytes;
}

void TempFolder::Copy(std::wstring const& from, std::wstring const& name) const {
  CopyFileW(from.c_str(), Path(name).c_str(), FALSE);
}

void TempFolder::Remove(std::wstring const& name) const { DeleteFileW(Path(name).c_str()); }

// Called only by tests of plug-in files, which do not run here.
std::wstring ProgramFolder() { return L".\\"; }

MessageBoxWatcher::MessageBoxWatcher() { harness::TakeBoxes(); }
MessageBoxWatcher::~MessageBoxWatcher() = default;

Texts MessageBoxWatcher::Take() {
  Texts texts;
  for (std::u16string const& text : harness::TakeBoxes()) texts.push_back(ToWide(text));
  return texts;
}

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
