// The identifier's reading of a String stands here, since identifiers lie below strings.
#include <qecore/core/guid.h>
#include <qecore/values/string.h>

namespace yk {

bool Guid::Init(String const& text) noexcept { return Init(text.c_str()); }

}  // namespace yk
