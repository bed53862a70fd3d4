// One value of each type that debuggers show in a form of its own; gdb_check.py stops in Stop.
#include <qecore/core/ref.h>
#include <qecore/core/system.h>
#include <qecore/draw/geometry.h>
#include <qecore/image/image.h>
#include <qecore/values/array.h>
#include <qecore/values/map.h>
#include <qecore/values/string.h>
#include <qecore/values/variant.h>

using namespace yk;

extern "C" [[gnu::noinline]] void Stop() { __asm__ volatile(""); }

int main() {
  Ref<System> system = Ref<System>::Adopt(System::Create());
  String text(L"caf\u00E9"), none;
  Guid id = {0x5A3C8F10, 0x91D4, 0x4E2B, {0xB7, 0x06, 0x2E, 0x6F, 0x90, 0x1D, 0x43, 0xC8}};
  Variant nothing, number, wide, narrow, real, yes, point;
  number.Init(-42);
  wide.Init(L"wide");
  narrow.Init("narrow");
  real.Init(1.5);
  yes.Init(true);
  point.Init(point2df{1.5f, -2});
  Ref<Array> array = Ref<Array>::Adopt(Array::Create(0));
  array->Add(reinterpret_cast<void*>(uintptr_t{0x10}));
  array->Add(reinterpret_cast<void*>(uintptr_t{0x20}));
  Ref<Map> map = Ref<Map>::Adopt(Map::Create());
  map->SetValue(7, number);
  map->SetValue(9, wide);
  Ref<Image2d> image = Ref<Image2d>::Adopt(Image2d::Create()), empty;
  image->Create(IMG_BGR24, 640, 480);
  Stop();
  return 0;
}
