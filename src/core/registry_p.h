// The registry as lower floors see it beyond registry.h: a look at a class record.
#pragma once

#include <qecore/core/registry.h>

namespace yk {

/// The record of a class, lent; null when there is none, or no System.
ClassInfo const* FindClass(Guid const& classId) noexcept;

}  // namespace yk
