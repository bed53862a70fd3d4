// The image filters of plug-ins: which there are for a file, and in which order; their creation and options.
#pragma once

#include <qecore/core/filter.h>
#include <qecore/core/ref.h>
#include <qecore/core/registry.h>
#include <qecore/values/array.h>
#include <qecore/values/map.h>
#include <qecore/values/string.h>

#include "core/buffer_p.h"
#include "core/failure_text_p.h"

namespace yk {

/// The classes of all image filters, in the order in which they are tried. Any filter may unload others while
/// it runs, so each record is looked up when it is needed. E_FAIL: there is no System; E_OUTOFMEMORY.
HRESULT ListFilters(char const* operation, Buffer<Guid>& ids) noexcept;

/// The record of an image filter, borrowed; null if the class is not one, or no longer.
ClassInfo const* FindFilter(Guid const& id) noexcept;

/// Whether one of the filter's patterns matches the name of a file, with or without its folder.
bool HasPatternFor(ClassInfo const& filter, wchar_t const* path) noexcept;

/// Whether the filter is for files of the type: under its identifier, or with one of its extensions.
bool IsForType(ClassInfo const& filter, Guid const& type) noexcept;

/// The filter's patterns: L"*.tif, *.tiff".
FailureText PatternsOf(ClassInfo const& filter) noexcept;

/// What messages call the files of a filter class: L"PNG", the filter's name, that of its class, or
/// L"unknown".
FailureText LabelOf(Guid const& type) noexcept;

/// Fails because of what has failed since `before`, with `what` and the path of the file: "cannot read
/// a.png"; without the path when a cause begins with it, as those of file streams do.
HRESULT FailWith(wchar_t const* path, unsigned before, HRESULT code, char const* operation,
                 wchar_t const* what) noexcept;

/// A filter of the class `id`. The created object is trusted to be one, unless the class is registered for
/// another interface: then E_NOINTERFACE, since calling its slots as a filter's would be undefined.
HRESULT CreateFilter(Guid const& id, char const* operation, Ref<ykFlt2d>& filter) noexcept;

/// The filter's second interface; null if it has none.
Ref<ykFlt2dEx> ExtendedOf(ykFlt2d& filter) noexcept;

/// Copies `options` into `checked`, each value in the type of its option; null if there are none.
/// E_INVALIDARG: one of them is unknown to the filter, which may be null, or out of its range.
HRESULT CheckOptions(ykFlt2dEx* filter, FilterUse use, Map* options, char const* operation,
                     Ref<Map>& checked) noexcept;

}  // namespace yk
