// Undo items and a manager of the program's own.
#include "runtime.h"

#include <qecore/undo/undo_manager.h>
#include <qecore/values/variant.h>

#include <new>

using namespace yk;

namespace {

int state = 0, commits = 0, changes = 0;

class Item : public UndoItemOf<Item> {
 public:
  explicit Item(int by) : step(by) { state += by; }
  HRESULT Undo() noexcept override {
    state -= step;
    return S_OK;
  }
  HRESULT Redo() noexcept override {
    state += step;
    return S_OK;
  }

 private:
  int step;
};

class Manager : public Destroys<Manager, UndoManager> {
 public:
  HRESULT OnCommit() noexcept override {
    ++commits;
    return S_OK;
  }
};

class Counter : public Destroys<Counter, Unknown> {
 public:
  HRESULT GetValue(unsigned, Variant& out) noexcept override {
    out.Init(number);
    return S_OK;
  }
  HRESULT SetValue(unsigned, Variant const& value) noexcept override {
    return value.Get(number) ? S_OK : E_FAIL;
  }
  int number = 1;
};

bool Use(UndoManager& manager) {
  state = 0;
  changes = 0;
  manager.SetChangeCallback([](UndoManager*) { ++changes; });
  Ref<Counter> const counter = Ref<Counter>::Adopt(new (std::nothrow) Counter);
  Ref<Array> list;
  String name;
  bool ok = manager.BeginTransaction() == S_OK && manager.AddItem(new (std::nothrow) Item(5)) == S_OK &&
            manager.RecordValue(counter.get(), 1, false);
  counter->number = 2;
  ok = ok && manager.HasOpenItems() && manager.EndTransaction(L"add") == S_OK && state == 5 &&
       manager.GetUndoName(name) == S_OK && name == L"add" &&
       manager.GetUndoList(list.Receive(), 0) == S_OK && list->Count() == 1 && manager.GetLastTransaction();
  ok = ok && manager.Undo() == S_OK && state == 0 && counter->number == 1 &&
       manager.GetRedoName(name) == S_OK && manager.Redo() == S_OK && state == 5 && counter->number == 2;
  ok = ok && manager.BeginTransaction() == S_OK && manager.CancelTransaction() == S_OK &&
       manager.Clear() == S_OK;
  return ok && !manager.CanUndo() && manager.HasHistory() && changes > 0;
}

bool Plain() {
  Ref<UndoManager> const manager = Ref<UndoManager>::Adopt(UndoManager::Create());
  return Use(*manager);
}

bool Derived() {
  Ref<Manager> const manager = Ref<Manager>::Adopt(new (std::nothrow) Manager);
  return Use(*manager) && commits == 1;
}

constexpr Case CASES[] = {{"the library's manager", Plain}, {"a manager of the program", Derived}};

}  // namespace

Cases const UNDO = CasesOf(CASES);
