// A folder of a test's own, gone with its files at the end of the scope.
#pragma once

#include <string>
#include <vector>

class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(TempFolder const&) = delete;
  TempFolder& operator=(TempFolder const&) = delete;

  /// The whole path of a file in it; of the folder, ended by a backslash, for an empty name.
  std::wstring Path(std::wstring const& name = {}) const { return folder + name; }

  void Write(std::wstring const& name, std::string const& bytes) const;
  /// What a file holds; empty when there is none.
  std::string Read(std::wstring const& name) const;
  /// Copies a file from anywhere into the folder under `name`.
  void Copy(std::wstring const& from, std::wstring const& name) const;
  void Remove(std::wstring const& name) const;

 private:
  std::wstring folder;
};

/// The folder, ended by a backslash, that holds the test program.
std::wstring ProgramFolder();
