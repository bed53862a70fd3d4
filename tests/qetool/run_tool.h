// Runs qetool.exe, which stands beside the test program, and catches what it says.
#pragma once

#include <support/temp_folder.h>
#include <windows.h>

struct ToolResult {
  int exitCode;
  std::string out, err;
};

inline HANDLE CreateOutput(std::wstring const& path) {
  SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
  return CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited, CREATE_ALWAYS, 0, nullptr);
}

/// Runs `qetool ARGUMENTS` in `folder`. Its texts are as a terminal shows them: without carriage returns.
inline ToolResult RunTool(std::wstring const& arguments, TempFolder const& folder) {
  TempFolder const outputs;
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = CreateOutput(outputs.Path(L"out"));
  startup.hStdError = CreateOutput(outputs.Path(L"err"));
  PROCESS_INFORMATION process = {};
  std::wstring line = L"\"" + ProgramFolder() + L"qetool.exe\" " + arguments;
  DWORD exitCode = 0, error = 0;
  if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr,
                     folder.Path().c_str(), &startup, &process)) {
    WaitForSingleObject(process.hProcess, 60000);
    GetExitCodeProcess(process.hProcess, &exitCode);
  } else {
    error = GetLastError();
  }
  for (HANDLE handle : {process.hProcess, process.hThread, startup.hStdOutput, startup.hStdError}) {
    if (handle) CloseHandle(handle);
  }
  ToolResult result = {static_cast<int>(exitCode), outputs.Read(L"out"), outputs.Read(L"err")};
  for (std::string* text : {&result.out, &result.err}) std::erase(*text, '\r');
  if (error) result = {-1, {}, "the tool does not start: " + std::to_string(error)};
  return result;
}
