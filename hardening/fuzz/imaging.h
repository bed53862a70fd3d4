// An Imaging Component that says what an input tells it to: sizes, pixels, palettes and failures that no file
// on hand has. Without it the plug-in talks to the platform's own.
#pragma once

#include "input.h"

namespace fuzz {

/// While it lives, the plug-in's reader gets this component, whose every answer comes from `in`.
class ImagingByInput {
 public:
  explicit ImagingByInput(Input& in) noexcept;
  ~ImagingByInput();
  ImagingByInput(ImagingByInput const&) = delete;
  ImagingByInput& operator=(ImagingByInput const&) = delete;
};

}  // namespace fuzz
