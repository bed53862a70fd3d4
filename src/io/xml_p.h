// How the System learns of the XML helper.
#pragma once

#include <qecore/core/base.h>

namespace yk {

/// Registers the class under the name "XMLHelper".
HRESULT RegisterXmlHelper() noexcept;

}  // namespace yk
