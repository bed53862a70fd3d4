// Message boxes are recorded instead of shown, since there is no user to close them.
#include <windows.h>

#include <mutex>
#include <utility>

#include "harness.h"

namespace harness {

namespace {

constexpr size_t MOST_BOXES = 100;

std::mutex boxesMutex;

std::vector<std::u16string>& Boxes() {
  static auto* const all = new std::vector<std::u16string>;
  return *all;
}

int Record(std::u16string text) {
  std::lock_guard const guard(boxesMutex);
  if (Boxes().size() < MOST_BOXES) Boxes().push_back(std::move(text));
  return IDOK;
}

std::u16string Widened(char const* text) {
  std::u16string wide;
  for (; *text; ++text) wide += static_cast<unsigned char>(*text);
  return wide;
}

}  // namespace

std::vector<std::u16string> TakeBoxes() {
  std::lock_guard const guard(boxesMutex);
  return std::exchange(Boxes(), {});
}

}  // namespace harness

extern "C" {

int WINAPI harness_MessageBoxA(HWND, char const* text, char const*, UINT) {
  return harness::Record(harness::Widened(text));
}

int WINAPI harness_MessageBoxW(HWND, wchar_t const* text, wchar_t const*, UINT) {
  return harness::Record(reinterpret_cast<char16_t const*>(text));
}

void WINAPI harness_OutputDebugStringA(char const*) {}

}  // extern "C"
