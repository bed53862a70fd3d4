#include <gtest/gtest.h>
#include <qecore/core/diagnostics.h>
#include <windows.h>

#include "support/message_box_watcher.h"

namespace {

using namespace yk;

TEST(Diagnostics, ErrorsAreShownAsTheRuntimeFormatsThem) {
  MessageBoxWatcher watcher;
  qe_Error("narrow %s and wide %S", "a", L"b");
  qe_Error(L"wide %s and narrow %S", L"a", "b");
  qe_Error(L"%s", std::wstring(3000, L'x').c_str());
  EXPECT_EQ(watcher.Take(),
            (Texts{L"narrow a and wide b", L"wide a and narrow b", std::wstring(1023, L'x')}));
}

std::string debuggerOutput;

LONG CALLBACK CatchOutput(EXCEPTION_POINTERS* fault) {
  EXCEPTION_RECORD const& record = *fault->ExceptionRecord;
  bool const isText = record.ExceptionCode == 0x40010006;  // what OutputDebugStringA raises: length, text
  if (isText) debuggerOutput += reinterpret_cast<char const*>(record.ExceptionInformation[1]);
  return EXCEPTION_CONTINUE_SEARCH;
}

TEST(Diagnostics, MessagesGoToTheDebugger) {
  debuggerOutput.clear();
  void* const handler = AddVectoredExceptionHandler(1, CatchOutput);
  ykMessage("%d%%", 50);
  ykMessage("%s", std::string(5000, 'z').c_str());
  RemoveVectoredExceptionHandler(handler);
  EXPECT_EQ(debuggerOutput, "50%" + std::string(1023, 'z'));
}

}  // namespace
