#include "run_tool.h"

#include <windows.h>

namespace {

HANDLE CreateOutput(std::wstring const& path) {
  SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
  return CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited, CREATE_ALWAYS, 0, nullptr);
}

// Text as a terminal shows it: without the carriage returns of text files.
std::string Lines(std::string text) {
  std::erase(text, '\r');
  return text;
}

}  // namespace

ToolResult RunTool(std::wstring const& arguments, TempFolder const& folder) {
  TempFolder const outputs;
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = CreateOutput(outputs.Path(L"out"));
  startup.hStdError = CreateOutput(outputs.Path(L"err"));
  PROCESS_INFORMATION process = {};
  std::wstring line = L"\"" + ProgramFolder() + L"qetool.exe\" " + arguments;
  DWORD exitCode = 9999;
  if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr,
                     folder.Path().c_str(), &startup, &process)) {
    WaitForSingleObject(process.hProcess, 60000);
    GetExitCodeProcess(process.hProcess, &exitCode);
    CloseHandle(process.hProcess);
    CloseHandle(process.hThread);
  }
  CloseHandle(startup.hStdOutput);
  CloseHandle(startup.hStdError);
  return {static_cast<int>(exitCode), Lines(outputs.Read(L"out")), Lines(outputs.Read(L"err"))};
}
