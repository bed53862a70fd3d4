// Tries the plug-in as a host does: pictures of several formats are written, read, and compared.
#include <qecore/core/error.h>
#include <qecore/core/filter.h>
#include <qecore/core/ref.h>
#include <qecore/core/system.h>
#include <qecore/image/image.h>
#include <qecore/io/mem_stream.h>
#include <stdio.h>
#include <string.h>

#include "example.h"

using namespace yk;

static int Refuse(char const* what) {
  char line[400] = "";
  wchar_t why[400];
  size_t const length = ErrorMessage(LastError(), why, 400);
  for (size_t i = 0; i < length; ++i) line[i] = static_cast<char>(why[i] < 128 ? why[i] : '?');
  return printf("%s: %s\n", what, line), 1;
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

static int Try(ykFlt2d& filter, IMG_FORMAT format, unsigned options) {
  Ref<Image2d> const picture = Picture(format);
  Ref<Stream> stream;
  Ref<AbstractImage> read;
  if (!picture || Failed(MemStream::Create(stream.Receive()))) return Refuse("no memory");
  if (Failed(filter.Write(stream.get(), picture.get(), options))) return Refuse("cannot write");
  stream->Seek(0, Stream::FROM_START);
  if (Failed(filter.Read(stream.get(), read.Receive(), 0))) return Refuse("cannot read");
  if (!IsEqual(*picture, static_cast<Image2d&>(*read))) return puts("the picture has changed"), 1;
  return 0;
}

int main(int, char** arguments) {
  Ref<System> const system = Ref<System>::Adopt(System::Create());
  if (!system) return Refuse("no System");
  system->ScanModules(String(arguments[0]).FilePath(), L"try.cache");
  Ref<ykFlt2d> filter;
  if (Failed(CreateInterface(EXAMPLE_ID, filter.ReceiveVoid()))) return Refuse("no filter");
  constexpr IMG_FORMAT FORMATS[] = {IMG_BGR24, IMG_GRAY8};
  int failed = 0;
  for (IMG_FORMAT format : FORMATS) failed += Try(*filter, format, 0) + Try(*filter, format, EXAMPLE_TEXT);
  if (failed == 0) puts("example: all holds");
  return failed;
}
