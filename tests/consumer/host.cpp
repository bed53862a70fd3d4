// A user's host: finds the plug-in next to it, and derives from the classes that users derive from.
//
//   host FOLDER     the folder with counter.qem; exit code 0 when everything is as expected
#include "counter.h"

#include <qecore/core/filter.h>
#include <qecore/core/implements.h>
#include <qecore/core/ref.h>
#include <qecore/core/system.h>
#include <qecore/io/stream.h>
#include <qecore/undo/undo_item.h>
#include <qecore/values/string.h>
#include <qecore/values/variant.h>

#include <cstdio>
#include <typeinfo>

using namespace yk;

namespace {

int faults = 0;

void Expect(bool holds, char const* what) {
  if (holds) return;
  std::printf("consumer: failed: %s\n", what);
  ++faults;
}

// A stream of zeros, as a user could write it.
class Zeros final : public Destroys<Zeros, Stream> {
 public:
  using Stream::Read;
  HRESULT Read(void* buffer, unsigned size, unsigned* done) noexcept override {
    for (unsigned i = 0; i < size; ++i) static_cast<char*>(buffer)[i] = 0;
    if (done) *done = size;
    return S_OK;
  }
  HRESULT Seek(long, unsigned, unsigned*) noexcept override { return E_NOTIMPL; }
  unsigned GetPosition() noexcept override { return 0; }
  unsigned GetSize() noexcept override { return 1000; }
  HRESULT GetState() noexcept override { return S_OK; }
};

class NoFilter final : public Destroys<NoFilter, ykFlt2d> {};

class NoChange final : public UndoItemOf<NoChange> {
 public:
  HRESULT Undo() noexcept override { return S_OK; }
};

void CountWithThePlugin(char const* folder) {
  String const plugins(folder);
  Expect(Succeeded(System::ptr()->ScanModules(plugins, plugins + L"\\modules.cache")), "the scan");
  Ref<Unknown> counter;
  Expect(CreateInterface(COUNTER_ID, counter.ReceiveVoid()) == S_OK && counter,
         "the plug-in's class is known");
  if (!counter) return;
  Variant value;
  int number = 0;
  counter->GetValue(COUNTER_NEXT, value);
  counter->GetValue(COUNTER_NEXT, value);
  Expect(value.Get(number) && number == 2, "the counter counts");
  Expect(counter->IsTypeOf(COUNTER_ID), "the counter knows what it is");
}

void UseOwnClasses() {
  Ref<Stream> const zeros = Ref<Stream>::Adopt(new Zeros);
  String text(L"not empty");
  Expect(zeros->Read(text) == S_OK && text.IsEmpty(), "a user's stream reads a text through the library");
  Ref<Unknown> const filter = Ref<Unknown>::Adopt(new NoFilter);
  Expect(filter->IsTypeOf(ids::FLT_2D) && dynamic_cast<ykFlt2d*>(filter.get()) &&
             typeid(*filter) == typeid(NoFilter),
         "a user's filter");
  Ref<ykUndoItem> const item = Ref<ykUndoItem>::Adopt(new NoChange);
  Expect(item->Undo() == S_OK && item->Redo() == E_NOTIMPL, "a user's undo item");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  {
    Ref<System> const system = Ref<System>::Adopt(System::Create());
    CountWithThePlugin(argv[1]);
    UseOwnClasses();
  }
  Expect(System::ptr() == nullptr, "the System is gone");
  if (faults == 0) std::printf("consumer: a host and a plug-in against the installed package: all holds\n");
  return faults != 0;
}
