#include "output.h"

#include <fcntl.h>
#include <io.h>
#include <qecore/io/save_file.h>
#include <stdio.h>

#include "text.h"
#include "watch.h"

namespace qetool {

using namespace yk;

void WriteWhole(std::string const& path, std::function<HRESULT(Stream&)> const& write) {
  Watch const watch;  // Ctrl-C waits for the end of the write: the incomplete file is then removed
  SaveFile file;
  HRESULT result = file.Open(ToWide(path));
  if (Succeeded(result)) result = write(*file.GetStream());
  watch.Check();
  if (Succeeded(result)) result = file.Commit();
  if (Failed(result)) throw Failure{"cannot write " + Reason(result)};
}

void WriteToOutput(void const* bytes, size_t size) {
  fflush(stdout);
  int const mode = _setmode(_fileno(stdout), _O_BINARY);
  size_t const written = fwrite(bytes, 1, size, stdout);
  int const flushed = fflush(stdout);
  _setmode(_fileno(stdout), mode);
  if (written != size || flushed != 0) throw Failure{"cannot write to the output"};
}

}  // namespace qetool
