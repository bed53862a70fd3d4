// Shared by reading and writing.
#pragma once

#include <objbase.h>
#include <qecore/core/ref.h>
#include <wincodec.h>

namespace qewic {

using yk::Ref;

/// Initialises COM until the end of a scope.
class ComScope {
 public:
  ComScope() noexcept : result(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {}
  ~ComScope() {
    if (SUCCEEDED(result)) CoUninitialize();
  }
  ComScope(ComScope const&) = delete;
  ComScope& operator=(ComScope const&) = delete;

  /// A thread in another mode is acceptable: the Imaging Component works in any.
  HRESULT Result() const noexcept { return result == RPC_E_CHANGED_MODE ? S_OK : result; }

 private:
  HRESULT result;
};

inline HRESULT CreateFactory(Ref<IWICImagingFactory>& factory) noexcept {
  return CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                          __uuidof(IWICImagingFactory), factory.ReceiveVoid());
}

}  // namespace qewic
