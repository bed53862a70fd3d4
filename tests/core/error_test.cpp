#include <gtest/gtest.h>
#include <windows.h>

#include <functional>

#include "support/failure.h"
#include "support/prelude.h"

namespace {

using namespace yk;

DWORD WINAPI RunWork(void* work) { return (*static_cast<std::function<void()>*>(work))(), 0; }

/// Runs `work` on a thread of the system's.
void OnThread(std::function<void()> work) {
  HANDLE const thread = CreateThread(nullptr, 0, RunWork, &work, 0, nullptr);
  WaitForSingleObject(thread, INFINITE);
  CloseHandle(thread);
}

TEST(Error, KeepsTheLastFailureOfTheThread) {
  EXPECT_EQ(Fail(E_FAIL, "Image2d::Create", L"%s: %d pixels", L"photo.png", 12), E_FAIL);
  Error const* const error = LastError();
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(std::tuple(error->code, error->cause), std::tuple(E_FAIL, nullptr));
  EXPECT_STREQ(error->operation, "Image2d::Create");
  OnThread([] {
    EXPECT_NE(LastMessage(), L"photo.png: 12 pixels");
    Fail(YK_E_EMPTY, nullptr, nullptr);
    EXPECT_EQ(LastMessage(), L"empty");
    EXPECT_STREQ(LastError()->operation, "");
  });
  EXPECT_EQ(LastMessage(), L"photo.png: 12 pixels");
}

TEST(Error, ChainsWhatLedToIt) {
  Fail(E_FAIL, "old", L"old");
  unsigned const before = ErrorCount();
  FailSince(before, YK_E_ACCESS, "first", L"first");
  EXPECT_EQ(LastMessage(), L"first") << "what was recorded earlier is not a cause";
  FailSince(before, E_OUTOFMEMORY, "second", nullptr);
  EXPECT_EQ(LastMessage(), L"not enough memory: first");
  FailSince(before, E_FAIL, "third", L"third of %s", LastError()->cause->text);
  for (int i = 4; i < 10; ++i) EXPECT_EQ(FailSince(before, E_FAIL, "n", L"%d", i), E_FAIL);
  EXPECT_EQ(LastMessage(), L"9: third of first: not enough memory: first");
  EXPECT_EQ(LastMessage(8), L"9: thir");
  Fail(E_FAIL, "new", L"new");
  EXPECT_EQ(LastMessage(), L"new");
}

TEST(Error, TruncatesWhatIsTooLong) {
  std::string const operation(100, 'o');
  std::wstring const text(1000, L't');
  Fail(E_FAIL, operation.c_str(), L"%s", text.c_str());
  EXPECT_EQ(LastError()->operation, operation.substr(0, Error::OPERATION_SIZE - 1));
  EXPECT_EQ(LastError()->text, text.substr(0, Error::TEXT_SIZE - 1));
  wchar_t untouched = L'x';
  EXPECT_EQ(ErrorMessage(LastError(), &untouched, 0), 0u);
  EXPECT_EQ(untouched, L'x');
  EXPECT_EQ(ErrorMessage(nullptr, &untouched, 1), 0u);
  EXPECT_EQ(untouched, 0);
}

TEST(Error, GivesUpTheRecordsOfThreadsThatEnd) {
  for (int i = 0; i < 300; ++i) {
    OnThread([i] {
      Fail(E_FAIL, "", L"%03d", i);
      ASSERT_NE(LastError(), nullptr) << i;
      EXPECT_EQ(LastError()->text[0], L'0' + i / 100);
    });
  }
}

TEST(Error, NamesTheCodes) {
  EXPECT_STREQ(ErrorName(YK_E_NOTFOUND), "YK_E_NOTFOUND");
  EXPECT_STREQ(ErrorText(E_ABORT), "stopped");
  EXPECT_STREQ(ErrorName(HRESULT(0x80001234)), "unknown");
}

}  // namespace
