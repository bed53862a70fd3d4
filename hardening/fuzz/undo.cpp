// Undo: arbitrary sequences of calls on a manager, and the same calls again from everything that it calls:
// its items, their destructors, the values that it records, its change callback. Any of them may release the
// last reference.
#include <qecore/undo/undo_manager.h>
#include <qecore/values/map.h>

#include "target.h"

namespace fuzz {

using namespace yk;

namespace {

constexpr int DEEPEST = 6;  // nested calls
constexpr int MOST_CALLS = 300;

struct Playing;
Playing* playing;

struct Playing {
  explicit Playing(Input& input) : in(input) { playing = this; }
  ~Playing() { playing = nullptr; }

  void CallBack();

  Input& in;
  UndoManager* manager = nullptr;
  bool owned = true;  // whether this holds the last reference
  int left = MOST_CALLS;
  int depth = 0;
  int items = 0;  // alive
  Ref<Unknown> model;
};

/// A map whose values the manager reads in the middle of its work.
class Model final : public Destroys<Model, Unknown> {
 public:
  HRESULT GetValue(unsigned key, Variant& out) noexcept override {
    if (playing) playing->CallBack();
    return map ? map->GetValue(key, out) : E_FAIL;
  }
  HRESULT SetValue(unsigned key, Variant const& value) noexcept override {
    if (playing) playing->CallBack();
    return map ? map->SetValue(key, value) : E_FAIL;
  }

 private:
  Ref<Map> map = Ref<Map>::Adopt(Map::Create());
};

class Item final : public UndoItemOf<Item> {
 public:
  explicit Item(uint8_t level) noexcept {
    order = level;
    ++playing->items;
  }

  HRESULT QueryInterface(Guid const& id, void** out) noexcept override {
    if (playing->in.OneIn(4)) playing->CallBack();
    return UndoItemOf::QueryInterface(id, out);
  }
  HRESULT Undo() noexcept override { return playing->CallBack(), S_OK; }
  HRESULT Redo() noexcept override { return playing->CallBack(), S_OK; }
  HRESULT PrepareUndo() noexcept override { return playing->CallBack(), S_OK; }

  ~Item() {
    --playing->items;
    if (playing->in.OneIn(3)) playing->CallBack();
  }
};

void Undo(UndoManager& m, Input&) { m.Undo(); }
void Redo(UndoManager& m, Input&) { m.Redo(); }
void Begin(UndoManager& m, Input&) { m.BeginTransaction(); }
void End(UndoManager& m, Input& in) { m.EndTransaction(in.OneIn(4) ? nullptr : L"name"); }
void Cancel(UndoManager& m, Input&) { m.CancelTransaction(); }
void Add(UndoManager& m, Input& in) { m.AddItem(new Item(static_cast<uint8_t>(in.Below(4)))); }
void AddNothing(UndoManager& m, Input&) { m.AddItem(nullptr); }
void CountReferences(UndoManager& m, Input&) { m.AddRef(), m.Release(); }

void Clear(UndoManager& m, Input& in) {
  if (in.OneIn(4)) m.Clear();
}

void GetList(UndoManager& m, Input& in) {
  Array* list = nullptr;
  if (Failed(m.GetUndoList(&list, in.Small()))) return;
  for (int i = 0; i < list->Count(); ++i)
    Require(list->At(i) != nullptr, "a list of transactions contains no null");
  list->Release();
}

void Ask(UndoManager& m, Input&) {
  String name;
  bool const undone = Succeeded(m.GetUndoName(name)), redone = Succeeded(m.GetRedoName(name));
  if (!MayFail())
    Require(undone == m.CanUndo() && redone == m.CanRedo(), "a transaction that can be replayed has a name");
  m.HasHistory(), m.IsRecording(), m.HasOpenItems();
  if (Transaction const* const last = m.GetLastTransaction()) (void)last->name.Length();
}

// Recording and then changing calls the model, which calls back: the manager may be destroyed in between.
void Record(UndoManager& m, Input& in) {
  unsigned const key = in.Below(4);
  m.RecordValue(playing->model.get(), key, in.Flag());
  Variant value;
  if (!in.OneIn(4)) value.Init(static_cast<int>(in.Byte()));
  playing->model->SetValue(key, value);
}

void LetGo(UndoManager& m, Input& in) {
  if (playing->depth == 0 || !in.OneIn(4)) return;  // only nested calls release it

  playing->owned = false;
  m.Release();
}

using Step = void (*)(UndoManager&, Input&);
constexpr Step STEPS[] = {Undo, Undo, Redo, Begin, Begin,      End,     End, Cancel, Clear,  Add,
                          Add,  Add,  Add,  Ask,   AddNothing, GetList, Ask, Record, Record, CountReferences,
                          LetGo};

// After the last reference is released, the manager still exists while one of its calls runs, and must not be
// called from here.
void Playing::CallBack() {
  if (depth >= DEEPEST) return;
  ++depth;
  for (unsigned n = in.Below(4); n > 0 && owned && left > 0 && in.More(); --n, --left)
    in.Step(STEPS)(*manager, in);
  --depth;
}

void Changed(UndoManager* manager) {
  Require(manager == playing->manager, "the callback gets its manager");
  if (playing->in.Flag()) playing->CallBack();
}

}  // namespace

void UndoAndRedo(Input& in) {
  Playing game(in);
  game.manager = UndoManager::Create();
  if (!game.manager) return;
  game.model = Ref<Unknown>::Adopt(new Model);
  game.manager->SetChangeCallback(Changed);
  for (; game.owned && game.left > 0 && in.More(); --game.left) {
    in.Step(STEPS)(*game.manager, in);
  }
  if (game.owned) {
    game.owned = false;  // from now on the callbacks do not call it
    game.manager->Release();
  }
  game.model.Reset();
  Require(game.items == 0, "every item is released");
}

}  // namespace fuzz
