#include "output.h"

#include <qecore/io/save_file.h>

#include "text.h"

namespace qetool {

using namespace yk;

void WriteWhole(std::string const& path, std::function<HRESULT(Stream&)> const& write) {
  SaveFile file;
  HRESULT result = file.Open(ToWide(path));
  if (Succeeded(result)) result = write(*file.GetStream());
  if (Succeeded(result)) result = file.Commit();
  if (Failed(result)) throw Failure{"cannot write " + Reason(result)};
}

}  // namespace qetool
