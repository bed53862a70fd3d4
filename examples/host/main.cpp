// A complete host: loads a picture through a plug-in, halves it, mirrors it, saves it.
//
//   host photograph.jpg small.png
#include <qecore/core/diagnostics.h>
#include <qecore/core/ref.h>
#include <qecore/core/system.h>
#include <qecore/image/image.h>
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

  Ref<AbstractImage> const loaded = Ref<AbstractImage>::Adopt(AbstractImage::Load(arguments[1]));
  if (!loaded) return Refuse();
  if (!loaded->IsTypeOf(ids::IMAGE_2D)) return puts("this is not an image of pixels"), 1;
  Image2d& picture = static_cast<Image2d&>(*loaded);

  Image2d* half = nullptr;
  if (Failed(picture.Rescale(picture.width / 2, picture.height / 2, IMG_BGR24, &half))) return Refuse();
  Ref<Image2d> const result = Ref<Image2d>::Adopt(half);
  result->FlipH();
  if (Failed(result->Save(arguments[2]))) return Refuse();
  PrintSize(arguments[2], *result);
  return 0;
}
