// Runs qetool.exe, which stands beside the test program, and catches what it says.
#pragma once

#include <support/temp_folder.h>

#include <string>

struct ToolResult {
  int exitCode;
  std::string out, err;
};

/// Runs `qetool ARGUMENTS` in `folder`.
ToolResult RunTool(std::wstring const& arguments, TempFolder const& folder);
