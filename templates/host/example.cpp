// A host: reads a picture through a plug-in, halves it, and writes it through a plug-in.
//
//   example IN OUT.png     or another extension that a plug-in has; without IN it draws a picture
#include <qecore/core/diagnostics.h>
#include <qecore/core/error.h>
#include <qecore/core/ref.h>
#include <qecore/core/system.h>
#include <qecore/image/image_file.h>
#include <qecore/image/orientation.h>
#include <qecore/values/str.h>
#include <qecore/values/string.h>
#include <stdio.h>

using namespace yk;

namespace {

// Not by "%ls", which ends the line at a character that the C locale lacks.
void Print(wchar_t const* text) noexcept {
  char line[2048] = "";
  str::WToUTF8(text, line, sizeof line);
  puts(line);
}

/// Prints why the last call failed.
int Refuse(char const* what) {
  wchar_t why[400];
  ErrorMessage(LastError(), why, 400);
  printf("example: %s: ", what);
  return Print(why), 1;
}

/// A sunset: rows of blue, green and red, from the top.
Ref<Image2d> Draw() {
  Ref<Image2d> image = Ref<Image2d>::Adopt(Image2d::Create());
  if (!image || Failed(image->Create(IMG_BGR24, 320, 240))) return {};
  for (int y = 0; y < image->height; ++y) {
    unsigned char* const row = image->GetLine(y);
    for (int x = 0; x < image->width; ++x) {
      row[3 * x] = static_cast<unsigned char>(160 - y / 2);
      row[3 * x + 1] = static_cast<unsigned char>(60 + y / 2);
      row[3 * x + 2] = static_cast<unsigned char>(y);
    }
  }
  return image;
}

/// A picture, upright: cameras only say how to turn theirs.
Ref<Image2d> Read(wchar_t const* path) {
  Ref<AbstractImage> image;
  Ref<Image2d> upright;
  if (Failed(img::Read(path, nullptr, nullptr, image.Receive()))) return {};
  if (!image->IsTypeOf(ids::IMAGE_2D)) return {};
  if (Failed(img::MakeUpright(static_cast<Image2d&>(*image), upright.Receive()))) return {};
  return upright;
}

}  // namespace

// Not main, whose arguments have lost each character that the code page lacks.
extern "C" int wmain(int count, wchar_t** arguments) {
  if (count != 2 && count != 3) return puts("usage: example [IN] OUT.png"), 2;
  SetErrorHandler(Print);  // nobody would close a message box

  // The System exists as long as this reference; the plug-ins are next to the program.
  Ref<System> const system = Ref<System>::Adopt(System::Create());
  if (!system) return Refuse("cannot start");
  system->ScanModules(String(arguments[0]).FilePath(), L"example.cache");

  Ref<Image2d> const picture = count == 2 ? Draw() : Read(arguments[1]);
  if (!picture) return Refuse("there is no picture");
  Image2d* half = nullptr;
  if (Failed(picture->Rescale((picture->width + 1) / 2, (picture->height + 1) / 2, IMG_BGR24, &half)))
    return Refuse("cannot resize it");
  Ref<Image2d> const result = Ref<Image2d>::Adopt(half);
  wchar_t const* const path = arguments[count - 1];
  if (Failed(img::Write(*result, path, nullptr, nullptr, nullptr))) return Refuse("cannot write it");
  String line;
  line.printf(L"%s: %d x %d pixels", path, result->width, result->height);
  Print(line.c_str());
  return 0;
}
