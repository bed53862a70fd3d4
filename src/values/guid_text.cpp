// Guid's function that reads a String is here, since core is below values.
#include <qecore/core/guid.h>

#include <qecore/values/string.h>

namespace yk {

bool Guid::Init(String const& text) noexcept { return Init(text.c_str()); }

}  // namespace yk
