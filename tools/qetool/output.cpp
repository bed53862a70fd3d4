#include "output.h"

#include <errno.h>
#include <fcntl.h>
#include <io.h>
#include <qecore/io/save_file.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <windows.h>

#include <algorithm>
#include <initializer_list>

#include "text.h"
#include "watch.h"

namespace qetool {

using namespace yk;

namespace {

bool IsOf(unsigned long error, std::initializer_list<unsigned long> errors) {
  return std::find(errors.begin(), errors.end(), error) != errors.end();
}

}  // namespace

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
  FlushOutput();
  int const mode = _setmode(_fileno(stdout), _O_BINARY);
  fwrite(bytes, 1, size, stdout);
  FlushOutput();
  _setmode(_fileno(stdout), mode);
}

// A failure is told once. Its reason is that of the last write, here or before.
void FlushOutput() {
  if (fflush(stdout) == 0 && !ferror(stdout)) return;
  bool const isClosed = IsOf(_doserrno, {ERROR_BROKEN_PIPE, ERROR_NO_DATA, ERROR_PIPE_NOT_CONNECTED});
  std::string const reason = isClosed ? ": it has been closed"
                             : errno  ? std::string(": ") + strerror(errno)
                                      : "";
  clearerr(stdout);
  throw Failure{"cannot write to the output" + reason};
}

}  // namespace qetool
