// A complete host: reads a picture through a plug-in, halves it, mirrors it, writes it.
//
//   host photograph.jpg small.png
#include <qecore/core/diagnostics.h>
#include <qecore/core/ref.h>
#include <qecore/core/system.h>
#include <qecore/image/image_file.h>
#include <qecore/values/string.h>
#include <stdio.h>

#include "../print.h"

using namespace yk;

extern "C" int wmain(int count, wchar_t** arguments) {
  if (count != 3) return puts("usage: host IN OUT.png"), 2;

  SetErrorHandler(Print);  // nobody would close a message box

  // The System exists as long as this reference: plug-ins are unloaded with it.
  Ref<System> const system = Ref<System>::Adopt(System::Create());
  if (!system) return Refuse();
  system->ScanModules(String(arguments[0]).FilePath(), L"host.cache");  // the plug-ins next to this program

  Ref<AbstractImage> loaded;
  if (Failed(img::Read(arguments[1], nullptr, nullptr, loaded.Receive()))) return Refuse();
  Image2d* const picture = Cast<Image2d>(loaded.get());
  if (!picture) return puts("this is not an image of pixels"), 1;

  Image2d* half = nullptr;
  if (Failed(picture->Rescale((picture->width + 1) / 2, (picture->height + 1) / 2, IMG_BGR24, &half)))
    return Refuse();
  Ref<Image2d> const result = Ref<Image2d>::Adopt(half);
  result->FlipH();
  if (Failed(img::Write(*result, arguments[2], nullptr, nullptr, nullptr))) return Refuse();
  PrintSize(arguments[2], *result);
  return 0;
}
