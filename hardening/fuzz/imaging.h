// An Imaging Component whose results come from an input: sizes, pixels, palettes and failures that no
// available file has. Without it the plug-in uses the platform's own.
#pragma once

#include "input.h"

namespace fuzz {

/// During its lifetime, the plug-in's reader gets this component, whose results come from `in`.
class ImagingByInput {
 public:
  explicit ImagingByInput(Input& in) noexcept;
  ~ImagingByInput();
  ImagingByInput(ImagingByInput const&) = delete;
  ImagingByInput& operator=(ImagingByInput const&) = delete;
};

}  // namespace fuzz
