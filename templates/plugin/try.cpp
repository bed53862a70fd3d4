// Tries the plug-in as a host does: pictures of several formats are written, read, and compared.
#include <qecore/core/diagnostics.h>
#include <qecore/core/error.h>
#include <qecore/core/ref.h>
#include <qecore/core/system.h>
#include <qecore/image/image_file.h>
#include <qecore/values/str.h>
#include <stdio.h>
#include <string.h>

#include "example.h"

using namespace yk;

// Not by "%ls", which ends the line at a character that the C locale lacks.
static void Print(wchar_t const* text) noexcept {
  char line[2048] = "";
  str::WToUTF8(text, line, sizeof line);
  puts(line);
}

static int Refuse(char const* what) {
  wchar_t why[400];
  ErrorMessage(LastError(), why, 400);
  printf("%s: ", what);
  return Print(why), 1;
}

/// A picture that differs in each byte.
static Ref<Image2d> Picture(IMG_FORMAT format) {
  Ref<Image2d> picture = Ref<Image2d>::Adopt(Image2d::Create());
  if (!picture || Failed(picture->Create(format, 13, 7))) return {};
  for (int i = 0; i < picture->stride * picture->height; ++i)
    picture->bits[i] = static_cast<unsigned char>(i * 7);
  return picture;
}

static bool IsEqual(Image2d& a, Image2d& b) {
  bool equal = a.width == b.width && a.height == b.height && a.format == b.format;
  for (int y = 0; equal && y < a.height; ++y)
    equal = memcmp(a.GetLine(y), b.GetLine(y), static_cast<size_t>(a.width * a.bytesPerPixel)) == 0;
  return equal;
}

/// The file has no extension: the plug-in recognises it.
static int Try(IMG_FORMAT format, wchar_t const* text) {
  Ref<Image2d> const picture = Picture(format);
  Ref<Map> const options = Ref<Map>::Adopt(Map::Create());
  Ref<AbstractImage> read;
  if (!picture || !options) return Refuse("no memory");
  if (Failed(img::SetOption(EXAMPLE_ID, FILTER_WRITE, L"text", text, options.get())))
    return Refuse("no such option");
  if (Failed(img::Write(*picture, L"tried", &EXAMPLE_ID, options.get(), nullptr)))
    return Refuse("cannot write");
  if (Failed(img::Read(L"tried", nullptr, nullptr, read.Receive()))) return Refuse("cannot read");
  if (!IsEqual(*picture, static_cast<Image2d&>(*read))) return puts("the picture has changed"), 1;
  return 0;
}

// Not main, whose arguments have lost each character that the code page lacks.
extern "C" int wmain(int, wchar_t** arguments) {
  SetErrorHandler(Print);  // nobody would close a message box
  Ref<System> const system = Ref<System>::Adopt(System::Create());
  if (!system) return Refuse("no System");
  system->ScanModules(String(arguments[0]).FilePath(), L"try.cache");
  int failed = 0;
  constexpr wchar_t const* CHOICES[] = {L"no", L"yes"};
  for (wchar_t const* text : CHOICES) failed += Try(IMG_BGR24, text) + Try(IMG_GRAY8, text);
  if (failed == 0) puts("example: all holds");
  return failed;
}
