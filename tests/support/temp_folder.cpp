#include "temp_folder.h"

#include <windows.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

TempFolder::TempFolder() {
  static std::atomic<int> counter;
  std::wstring const name = L"qecore-test-" + std::to_wstring(GetCurrentProcessId()) + L"-";
  folder = (fs::temp_directory_path() / (name + std::to_wstring(counter++) + L"\\")).wstring();
  std::error_code ignored;
  fs::remove_all(folder, ignored);  // left by a former process with the same number
  fs::create_directory(folder);
}

// Files that the process still executes cannot be deleted; they stay in the temporary folder.
TempFolder::~TempFolder() {
  std::error_code ignored;
  fs::remove_all(folder, ignored);
}

void TempFolder::Write(std::wstring const& name, std::string const& bytes) const {
  std::ofstream(fs::path(Path(name)), std::ios::binary) << bytes;
}

std::string TempFolder::Read(std::wstring const& name) const {
  std::ifstream file(fs::path(Path(name)), std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

void TempFolder::Copy(std::wstring const& from, std::wstring const& name) const {
  fs::copy_file(from, Path(name), fs::copy_options::overwrite_existing);
}

void TempFolder::Remove(std::wstring const& name) const { fs::remove(Path(name)); }

std::wstring ProgramFolder() {
  wchar_t path[MAX_PATH];
  GetModuleFileNameW(nullptr, path, MAX_PATH);
  return fs::path(path).parent_path().wstring() + L"\\";
}
