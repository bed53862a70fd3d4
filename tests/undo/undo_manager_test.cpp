#include <gtest/gtest.h>
#include <qecore/core/ref.h>
#include <qecore/core/system.h>
#include <qecore/image/image.h>
#include <qecore/undo/undo_manager.h>
#include <qecore/values/map.h>

#include <functional>
#include <string>
#include <vector>

#include "support/binary.h"

namespace {

using namespace yk;

/// Writes what is asked of it to a log ("p" prepare, "u" undo, "r" redo and its name) and counts its kind.
class LogItem final : public UndoItemOf<LogItem> {
 public:
  static inline int alive = 0;
  static inline std::string log;
  static inline std::function<void()> onCall, onDeath;

  explicit LogItem(char letter, uint8_t level = 0) : name(letter) {
    order = level;
    ++alive;
  }

  HRESULT Undo() noexcept override { return Note('u'); }
  HRESULT Redo() noexcept override { return Note('r'); }
  HRESULT PrepareUndo() noexcept override { return Note('p'); }

 private:
  template <class, class>
  friend class yk::Destroys;
  ~LogItem() {
    --alive;
    if (onDeath) onDeath();
  }

  HRESULT Note(char what) {
    (log += what) += name;
    if (onCall) onCall();
    return E_FAIL;  // which the manager ignores
  }

  char name;
};

class UndoTest : public testing::Test {
 protected:
  void TearDown() override {
    manager.Reset();
    LogItem::onCall = LogItem::onDeath = nullptr;
    EXPECT_EQ(LogItem::alive, 0) << "every item is released once";
  }

  /// Commits one item per letter, each at its level.
  void Commit(std::string const& letters, wchar_t const* name = L"", std::vector<uint8_t> levels = {}) {
    levels.resize(letters.size());
    ASSERT_EQ(manager->BeginTransaction(), S_OK);
    for (size_t i = 0; i < letters.size(); ++i) manager->AddItem(new LogItem(letters[i], levels[i]));
    ASSERT_EQ(manager->EndTransaction(name), S_OK);
  }

  /// Commits transactions of one item each, whose name is the item's letter.
  void CommitEach(std::string const& letters) {
    for (char const letter : letters) Commit({letter}, std::wstring(1, letter).c_str());
  }

  /// What was logged during a call that gave `result`, and before it.
  std::string Log(HRESULT result = S_OK) {
    EXPECT_EQ(result, S_OK);
    return std::exchange(LogItem::log, {});
  }

  int Count() { return Field<int>(manager.get(), 44); }
  int Position() { return Field<int>(manager.get(), 52); }

  Ref<UndoManager> manager = Ref<UndoManager>::Adopt(UndoManager::Create());
};

TEST_F(UndoTest, StartsAsStated) {
  std::vector<uint32_t> settings;
  for (size_t at = 32; at < 60; at += 4) settings.push_back(Field<uint32_t>(manager.get(), at));
  EXPECT_EQ(settings, (std::vector<uint32_t>{0x1000000, 256, 10, 0, 0, 0, 0}));
  EXPECT_FALSE(manager->IsTypeOf(ids::UNDO_MANAGER)) << "the base's answer, on purpose";

  struct PlainItem final : UndoItemOf<PlainItem> {
  } item;
  EXPECT_EQ(item.ykUndoItem::GetSize(), 29);
  EXPECT_STREQ(item.GetName(), L"{?*|*?}");
  EXPECT_EQ(std::string(reinterpret_cast<char*>(&item) + 12, 17), std::string(17, '\0'));
}

TEST_F(UndoTest, ReplaysBackwardsForwardsAndByLevel) {
  Commit("abc");
  EXPECT_EQ(Log(manager->Undo()), "pcpbpaucubua");
  EXPECT_EQ(Log(manager->Redo()), "rarbrc");
  EXPECT_EQ(Log(manager->Undo()), "ucubua") << "prepared once";
  EXPECT_TRUE(manager->Undo() == E_FAIL && Position() == -1);
  Commit("abcd", L"", {2, 0, 2, 7});
  EXPECT_EQ(Log(manager->Undo()), "pbubpcpaucuapdud");
  EXPECT_EQ(Log(manager->Redo()), "rbrarcrd");
  EXPECT_EQ(manager->GetLastTransaction()->state, 0x10000u);
  EXPECT_EQ(manager->Redo(), E_FAIL);
}

TEST_F(UndoTest, CommitDiscardsTheRedoPartAndClearAllButTheCount) {
  String name;
  CommitEach("abc");
  Log(manager->Undo());
  Log(manager->Undo());
  EXPECT_EQ(manager->GetLastTransaction(), nullptr);
  EXPECT_EQ(manager->GetRedoName(name), S_OK);
  EXPECT_STREQ(name.c_str(), L"b");
  CommitEach("d");
  EXPECT_TRUE(LogItem::alive == 2 && Position() == 1 && Count() == 2);
  EXPECT_EQ(manager->GetRedoName(name), E_FAIL);
  EXPECT_EQ(manager->GetUndoName(name), S_OK);
  EXPECT_STREQ(name.c_str(), L"d");
  EXPECT_EQ(manager->Clear(), S_OK);
  EXPECT_EQ(LogItem::alive, 0);
  EXPECT_FALSE(manager->CanUndo() || manager->CanRedo());
  EXPECT_TRUE(manager->HasHistory()) << "the count is not reset, on purpose";
  CommitEach("e");
  EXPECT_TRUE(Count() == 3 && Position() == 0);
}

TEST_F(UndoTest, NestedLevelsCommitOrCancelAtTheOuterEnd) {
  EXPECT_EQ(manager->EndTransaction(L""), E_FAIL);
  EXPECT_EQ(manager->CancelTransaction(), E_FAIL);
  for (bool const cancel : {false, true}) {
    manager->BeginTransaction();
    manager->BeginTransaction();
    EXPECT_TRUE(manager->IsRecording() && !manager->HasOpenItems());
    manager->AddItem(new LogItem('a'));
    EXPECT_TRUE(manager->HasOpenItems());
    EXPECT_EQ(manager->EndTransaction(L"inner"), E_FAIL);
    EXPECT_EQ(cancel ? manager->CancelTransaction() : manager->EndTransaction(L"outer"), S_OK);
    EXPECT_EQ(LogItem::alive, 1) << "only the committed one";
  }
  manager->BeginTransaction();
  EXPECT_EQ(manager->EndTransaction(L"empty"), 1);
  EXPECT_EQ(Count(), 1);
}

TEST_F(UndoTest, RefusedItemsAreReleased) {
  EXPECT_EQ(manager->AddItem(new LogItem('a')), E_FAIL);
  EXPECT_EQ(LogItem::alive, 0);
  manager->BeginTransaction();
  EXPECT_EQ(manager->AddItem(nullptr), E_INVALIDARG);
  LogItem* const twice = new LogItem('a');
  twice->AddRef();
  EXPECT_EQ(manager->AddItem(twice), S_OK);
  EXPECT_EQ(manager->AddItem(new LogItem('b')), S_OK);
  EXPECT_EQ(manager->AddItem(twice), E_INVALIDARG);
  manager->EndTransaction(L"");
  EXPECT_EQ(Log(manager->Undo()), "pbpaubua");
  manager->BeginTransaction();
  manager->AddItem(new LogItem('c'));  // left open when the manager goes
}

TEST_F(UndoTest, UndoListHoldsOneMoreThanAskedFor) {
  CommitEach("abcd");
  Log(manager->Undo());
  for (auto const& [max, expected] : {std::pair(1, L"cb"), {9, L"cba"}, {-1, L"cba"}}) {
    Ref<Array> list;
    ASSERT_EQ(manager->GetUndoList(list.Receive(), max), S_OK);
    std::wstring names;
    for (int i = 0; i < list->Count(); ++i) names += static_cast<Transaction*>(list->At(i))->name.c_str();
    EXPECT_EQ(names, expected) << max;
  }
}

TEST_F(UndoTest, ChangeCallbackFollowsTheHook) {
  class Hooked final : public Destroys<Hooked, UndoManager> {
    HRESULT OnCommit() noexcept override { return LogItem::log += 'h', S_OK; }
  };
  manager = Ref<UndoManager>::Adopt(new Hooked);
  manager->SetChangeCallback([](UndoManager*) { LogItem::log += 'c'; });
  CommitEach("ab");
  EXPECT_EQ(Log(), "hchc");
  EXPECT_EQ(Log(manager->Undo()), "pbubc");
  EXPECT_EQ(Log(manager->Redo()), "rbc");
  EXPECT_EQ(manager->Redo(), E_FAIL);
  manager->BeginTransaction();
  manager->EndTransaction(L"empty");
  EXPECT_EQ(Log(), "");
  EXPECT_EQ(Log(manager->Clear()), "c");
  manager.Reset();
  EXPECT_EQ(Log(), "c") << "and when it dies";
}

TEST_F(UndoTest, CallbacksCannotReenterAReplay) {
  auto const reenter = [](UndoManager* m) {
    bool const refused =
        m->Undo() == YK_E_EMPTY && m->Redo() == YK_E_EMPTY && m->BeginTransaction() == YK_E_EMPTY;
    LogItem::log += refused ? '.' : '!';
  };
  CommitEach("a");
  LogItem::onCall = [=, raw = manager.get()] { reenter(raw); };
  manager->SetChangeCallback(reenter);
  EXPECT_EQ(Log(manager->Undo()), "pa.ua..");
  manager->SetChangeCallback(nullptr);
}

// An item of the replay does what takes its own transaction away; the replay goes on with all of it.
TEST_F(UndoTest, ReplaySurvivesTheLossOfItsTransaction) {
  for (bool const clear : {true, false}) {
    Commit("abc");
    manager->BeginTransaction();
    manager->AddItem(new LogItem('n'));
    LogItem::onCall = [&] { clear ? manager->Clear() : manager->EndTransaction(L"new"); };
    EXPECT_EQ(Log(manager->Undo()), "pcpbpaucubua");
    LogItem::onCall = nullptr;
    EXPECT_EQ(LogItem::alive, 1) << "the new one";
    manager->CancelTransaction();
    manager->Clear();
  }
}

TEST_F(UndoTest, ManagerSurvivesTheLossOfItsLastReference) {
  Commit("ab");
  UndoManager* const raw = manager.Detach();
  LogItem::onCall = [raw, released = false]() mutable {
    unsigned const left = std::exchange(released, true) ? 1 : raw->Release();
    EXPECT_EQ(left, 1u) << "the call's own";
  };
  EXPECT_EQ(Log(raw->Undo()), "pbpaubua");
  EXPECT_EQ(LogItem::alive, 0) << "gone with the call";
}

// Items that die with their manager look at it, and take references for that.
TEST_F(UndoTest, DyingItemsMayUseTheManager) {
  UndoManager* const raw = manager.get();
  LogItem::onDeath = [raw] {
    Ref<UndoManager> const held = Ref<UndoManager>::Share(raw);
    String name;
    held->GetUndoName(name);
    held->Undo();
  };
  CommitEach("abc");
  manager->Clear();
  CommitEach("de");
  Log(manager->Undo());
  CommitEach("f");
  manager->BeginTransaction();
  manager->AddItem(new LogItem('g'));
  manager.Reset();
  EXPECT_EQ(LogItem::alive, 0);
}

// ---- the value item

class ValueItemTest : public UndoTest {
 protected:
  void SetUp() override { ASSERT_EQ(CreateInterface(ids::UNDO_MANAGER, manager.ReceiveVoid()), S_OK); }

  /// -1 for an absent one.
  int Read(unsigned key) {
    Variant value;
    int number = 0;
    return Succeeded(image->GetValue(key, value)) && value.Get(number) ? number : -1;
  }

  void Write(unsigned key, int number) {
    Variant value;
    value.Init(number);
    image->SetValue(key, value);
  }

  /// Records a change of one property in a transaction of its own.
  ykUndoItem* Change(unsigned key, int number, bool merge, HRESULT result = S_OK) {
    manager->BeginTransaction();
    ykUndoItem* const item = manager->RecordValue(image.get(), key, merge);
    Write(key, number);
    EXPECT_EQ(manager->EndTransaction(L""), result);
    return item;
  }

  Ref<System> system = Ref<System>::Adopt(System::Create());
  Ref<Image2d> image = Ref<Image2d>::Adopt(Image2d::Create());
};

TEST_F(ValueItemTest, PropertiesComeBackAndGo) {
  EXPECT_EQ(manager->RecordValue(image.get(), 1, false), nullptr) << "outside a transaction";
  manager->BeginTransaction();
  EXPECT_EQ(manager->RecordValue(nullptr, 1, false), nullptr);
  for (unsigned const key : {1u, 2u, 1u}) {
    ASSERT_NE(manager->RecordValue(image.get(), key, false), nullptr);
    Write(key, Read(key) + 5);
  }
  EXPECT_EQ(References(image.get()), 4u);
  manager->EndTransaction(L"");
  for (int round = 0; round < 2; ++round) {
    EXPECT_TRUE(Read(1) == 9 && Read(2) == 4);
    manager->Undo();
    EXPECT_TRUE(Read(1) == -1 && Read(2) == -1);
    manager->Redo();
  }
}

TEST_F(ValueItemTest, MergedChangesBelongToTheRecordedItem) {
  Write(1, 1);
  ykUndoItem* const first = Change(1, 2, true);
  manager->Undo();
  manager->Redo();
  EXPECT_EQ(Change(1, 3, true, 1), first) << "nothing new";
  EXPECT_EQ(References(first), 1u);
  manager->Undo();
  EXPECT_EQ(Read(1), 1);
  manager->BeginTransaction();
  EXPECT_NE(manager->RecordValue(image.get(), 1, true), first) << "a redo is possible";
  manager->CancelTransaction();
  manager->Redo();
  EXPECT_EQ(Read(1), 3);
  EXPECT_NE(Change(1, 4, false), first);
  EXPECT_NE(Change(2, 5, true), first) << "another key";
  EXPECT_EQ(Count(), 3);
}

TEST_F(ValueItemTest, KeepsEmptyTextsAndLeavesUnreadableValuesAlone) {
  Ref<Map> const map = Ref<Map>::Adopt(Map::Create());
  Variant object, text, number, read;
  object.Init(static_cast<Unknown*>(image.get()));
  text.Init(L"", Variant::KEEP_EMPTY);
  number.Init(5);
  map->SetValue(1, object);
  map->SetValue(2, text);
  map->SetValue(3, number);
  manager->BeginTransaction();
  for (unsigned const key : {1u, 2u, 3u}) manager->RecordValue(map.get(), key, false);
  map->SetValue(1, number);
  map->Remove(2);
  map->SetValue(3, object);
  manager->EndTransaction(L"");
  manager->Undo();
  EXPECT_EQ(map->GetValue(1, read), S_OK) << "not removed, though what was there cannot come back";
  EXPECT_EQ(map->GetValue(2, read), S_OK) << "an empty text is there";
  EXPECT_EQ(References(image.get()), 3u) << "an object is not written over";
  manager->Redo();
  EXPECT_EQ(map->GetValue(2, read), E_FAIL);
}

// A value that the object only lends is copied before the object changes it; and an undo does not follow a
// redo that the object has refused.
TEST_F(ValueItemTest, CopiesLentValuesAndKeepsStepWithTheObject) {
  class Lender final : public Unknown {
   public:
    wchar_t text[8] = L"old";
    bool refuses = false;
    void Destroy() noexcept override {}
    HRESULT GetValue(unsigned, Variant& out) noexcept override {
      return out.Init(text, Variant::BORROW_TEXT), S_OK;
    }
    HRESULT SetValue(unsigned, Variant const& value) noexcept override {
      return refuses ? E_FAIL : (value.Get(text, 8), S_OK);
    }
  } lender;
  manager->BeginTransaction();
  manager->RecordValue(&lender, 0, false);
  wcscpy(lender.text, L"new");
  manager->EndTransaction(L"");
  for (bool const refuses : {false, true}) {
    manager->Undo();
    EXPECT_STREQ(lender.text, L"old") << refuses;
    lender.refuses = true;
    manager->Redo();
    lender.refuses = false;
  }
  manager.Reset();
}

}  // namespace
