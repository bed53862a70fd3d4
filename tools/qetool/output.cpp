#include "output.h"

#include <qecore/io/save_file.h>

#include "text.h"
#include "watch.h"

namespace qetool {

using namespace yk;

void WriteWhole(std::string const& path, std::function<HRESULT(Stream&)> const& write) {
  Watch const watch;  // Ctrl-C must not leave the file beside
  SaveFile file;
  HRESULT result = file.Open(ToWide(path));
  if (Succeeded(result)) result = write(*file.GetStream());
  watch.Check();
  if (Succeeded(result)) result = file.Commit();
  if (Failed(result)) throw Failure{"cannot write " + Reason(result)};
}

}  // namespace qetool
