#include "output.h"

#include <qecore/io/save_file.h>
#include <windows.h>

#include "text.h"

namespace qetool {

using namespace yk;

namespace {

// A stream says only that it could not write: asked while the bytes still take their place.
bool IsDiskFull(String const& path) {
  String const folder = path.FilePath();
  ULARGE_INTEGER left;
  return GetDiskFreeSpaceExW(folder.IsEmpty() ? L"." : folder.c_str(), &left, nullptr, nullptr) &&
         left.QuadPart < 0x10000;
}

}  // namespace

void WriteWhole(std::string const& path, std::function<HRESULT(Stream&)> const& write) {
  String const target = ToWide(path);
  SaveFile file;
  HRESULT result = file.Open(target);
  bool const open = Succeeded(result);
  if (open) result = write(*file.GetStream());
  if (Succeeded(result)) result = file.GetStream()->GetState();
  bool const full = open && Failed(result) && IsDiskFull(target);
  if (Succeeded(result)) result = file.Commit();
  if (Failed(result))
    throw Failure{"cannot write " + path + ": " + (full ? "the disk is full" : Reason(result))};
}

}  // namespace qetool
