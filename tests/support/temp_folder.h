// A folder for a test, deleted with its files at the end of the scope.
#pragma once

#include <string>
#include <vector>

class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(TempFolder const&) = delete;
  TempFolder& operator=(TempFolder const&) = delete;

  /// The full path of a file in it; for an empty name, that of the folder with a trailing backslash.
  std::wstring Path(std::wstring const& name = {}) const { return folder + name; }

  void Write(std::wstring const& name, std::string const& bytes) const;
  /// The content of a file; empty when it does not exist.
  std::string Read(std::wstring const& name) const;
  /// Copies a file from elsewhere into the folder under `name`.
  void Copy(std::wstring const& from, std::wstring const& name) const;
  void Remove(std::wstring const& name) const;

 private:
  std::wstring folder;
};

/// The folder of the test program, with a trailing backslash.
std::wstring ProgramFolder();
