#include <qecore/undo/undo_manager.h>
#include <qecore/values/map.h>

#include <functional>
#include <map>

#include "leaks/leaks.h"
#include "support/failure.h"
#include "support/prelude.h"

namespace {

using namespace yk;

// Every call by the manager is logged as a letter: of an item (p)repareUndo, (u)ndo, (r)edo, (d)estructor and
// (q)ueryInterface, of the manager (h)ook, (c)allback and CanUndo (?), of an object (g)et and (s)et. The
// letter set as the trap runs `act`.
string calls;
char trap;
std::function<void()> act;
constexpr int MANAGER = 100;
int alive = 0;  // the items, plus a hundred for the manager

void Called(char what) {
  if (what == trap) trap = 0, act(), trap = what;
}

/// A minimal item, which logs its calls.
struct LogItem : ykUndoItem {
  explicit LogItem(char letter, uint8_t level = 0) : name(letter) { ++alive, order = level; }
  void Destroy() noexcept override { delete this; }
  HRESULT Undo() noexcept override { return Note('u'); }
  HRESULT Redo() noexcept override { return Note('r'); }
  HRESULT PrepareUndo() noexcept override { return Note('p'); }
  HRESULT QueryInterface(Guid const& id, void** out) noexcept override {
    if (id == ids::VALUE_UNDO_ITEM) Called('q');
    return ykUndoItem::QueryInterface(id, out);
  }
  ~LogItem() { --alive, Called('d'); }
  HRESULT Note(char what) { return (calls += what) += name, Called(what), E_FAIL; }  // the result is ignored

  char name;
};

struct HostManager : Destroys<HostManager, UndoManager> {
  HostManager() { alive += MANAGER, SetChangeCallback(Changed); }
  ~HostManager() { alive -= MANAGER; }
  static void Changed(UndoManager*) { calls += 'c', Called('c'); }
  HRESULT OnCommit() noexcept override { return calls += 'h', Called('h'), S_OK; }
  bool CanUndo() noexcept override { return Called('?'), lies || UndoManager::CanUndo(); }
  bool CanRedo() noexcept override { return lies || UndoManager::CanRedo(); }

  bool lies = false;
};

constexpr HRESULT FAILURES[] = {S_OK, E_OUTOFMEMORY, YK_E_NOTFOUND, YK_E_EMPTY, E_INVALIDARG, E_NOTIMPL};

/// An object that returns borrowed texts, or none, once, with the code of `failure`, and may refuse to be
/// written.
struct Lender : Unknown {
  wchar_t text[2] = L"A";
  HRESULT failure = S_FALSE;
  bool refuses = false;

  void Destroy() noexcept override {}
  HRESULT GetValue(unsigned, Variant& out) noexcept override {
    Called('g');
    if (failure == S_FALSE) out.Init(text, Variant::BORROW_TEXT);
    return std::exchange(failure, S_FALSE);
  }
  HRESULT SetValue(unsigned, Variant const& value) noexcept override {
    return Called('s'), refuses ? E_FAIL : (value.Get(text, 2), S_OK);
  }
};

/// Runs a script on a manager: a letter from a to z adds an item of that name, a digit sets its level, or the
/// key of a value, [uC] runs C whenever an item's Undo is called, and the others are STEPS. The results of
/// the steps are logged.
struct Player {
  /// \return the log of calls and results, up to the manager's destruction
  string Play(string const& script) {
    Steps(script);
    kept.Reset(), manager.Reset(), trap = 0;
    return std::exchange(calls, {});
  }

  void Steps(string const& script) {
    static std::map<char, void (*)(Player&)> const STEPS = {
        {'#', [](Player& p) { Write(p.object.text); }},
        {'$', [](Player& p) { calls += std::to_string(References(&p.object)); }},
        {'(', [](Player& p) { Give(p.raw->BeginTransaction()); }},
        {')', [](Player& p) { Give(p.raw->EndTransaction(p.name)); }},
        {'+', [](Player& p) { ++p.object.text[0]; }},
        {'<', [](Player& p) { Give(p.raw->Undo()); }},
        {'=', [](Player& p) { p.GiveAnswers(); }},
        {'>', [](Player& p) { Give(p.raw->Redo()); }},
        {'@', [](Player& p) { p.Record(nullptr, false); }},
        {'A', [](Player& p) { p.kept = Ref<ykUndoItem>::Share(p.last), p.last->AddRef(), p.Add(p.last); }},
        {'C', [](Player& p) { Give(p.raw->Clear()); }},
        {'D', [](Player& p) { Give(p.last->Redo()); }},
        {'E', [](Player& p) { p.object.failure = FAILURES[std::exchange(p.level, 0)]; }},
        {'F', [](Player& p) { p.object.refuses ^= true; }},
        {'G', [](Player& p) { p.last = new LogItem('g'), p.Add(p.last->next = p.last); }},
        {'J', [](Player& p) { p.Record(&p.object, true); }},
        {'K', [](Player& p) { static_cast<HostManager*>(p.raw)->lies = true; }},
        {'L', [](Player& p) { p.GiveList(std::exchange(p.level, 0)); }},
        {'M', [](Player& p) { p.GiveName(&UndoManager::GetRedoName); }},
        {'N', [](Player& p) { p.GiveName(&UndoManager::GetUndoName); }},
        {'R', [](Player& p) { p.Release(); }},
        {'S', [](Player& p) { p.GiveState(); }},
        {'V', [](Player& p) { p.Record(&p.object, false); }},
        {'X', [](Player& p) { Give(p.raw->CancelTransaction()); }},
        {'Z', [](Player& p) { Give(p.raw->AddItem(nullptr)), Give(p.raw->GetUndoList(nullptr, 0)); }},
    };
    for (size_t i = 0; i < script.size(); ++i) {
      size_t const end = script.find(']', i);
      char const step = script[i];
      if (isdigit(step)) level = static_cast<uint8_t>(step - '0');
      if (islower(step)) name[0] = step, Add(new LogItem(step, std::exchange(level, 0)));
      if (STEPS.count(step)) STEPS.at(step)(*this);
      if (step != '[') continue;
      trap = script[i + 1];
      act = [this, inner = script.substr(i + 2, end - i - 2)] { Steps(inner); };
      i = end;
    }
  }

  void Add(ykUndoItem* item) { Give(raw->AddItem(last = item)); }
  static void Give(HRESULT result) {
    std::map<HRESULT, char> const letters = {
        {S_FALSE, '1'}, {E_FAIL, '-'}, {E_INVALIDARG, '%'}, {E_OUTOFMEMORY, 'm'}, {YK_E_EMPTY, '!'}};
    if (result != S_OK) calls += letters.at(result);
  }
  static void Write(wchar_t const* text) { calls.append(text, text + wcslen(text)); }
  void GiveName(HRESULT (UndoManager::*get)(String&)) {
    String text;
    Give((raw->*get)(text));
    Write(text.c_str());
  }
  void GiveList(int max) {
    Ref<Array> list;
    Give(raw->GetUndoList(list.Receive(), max));
    for (int i = 0; list && i < list->Count(); ++i)
      Write(static_cast<Transaction*>(list->At(i))->name.c_str());
  }
  void GiveState() {
    if (!seen) seen = raw->GetLastTransaction();
    calls += seen->state == 0x10000 ? "undone" : std::to_string(seen->state);
  }
  void GiveAnswers() {
    bool const answers[] = {raw->CanUndo(),     raw->CanRedo(),      raw->HasHistory(),
                            raw->IsRecording(), raw->HasOpenItems(), raw->GetLastTransaction() != nullptr};
    for (int i = 0; i < 6; ++i) calls += answers[i] ? "URHIOL"[i] : '.';
    for (int number : {alive % MANAGER, Field<int>(raw, 44), Field<int>(raw, 52)})
      calls += std::to_string(number);
  }
  void Release() {
    if (manager) static_cast<void>(manager.Detach()->Release()), calls += alive < MANAGER ? "DEAD" : "+";
  }
  void Record(Unknown* of, bool merge) {
    last = raw->RecordValue(of, std::exchange(level, 0), merge);
    calls += last ? "" : "null";
  }

  Lender object;
  Ref<UndoManager> manager = Ref<UndoManager>::Adopt(new HostManager);
  UndoManager* const raw = manager.get();
  ykUndoItem* last = nullptr;  // the item created last
  Ref<ykUndoItem> kept;
  Transaction* seen = nullptr;
  wchar_t name[2] = L"";  // of the last item
  uint8_t level = 0;
};

void Check(std::initializer_list<std::pair<char const*, char const*>> rows) {
  for (auto const& [script, expected] : rows) {
    EXPECT_EQ(Player().Play(script), expected) << script;
    for (int felt = !strpbrk(script, "ADS"), number = 0; felt; ++number) {  // these depend on earlier ones
      Scarcity const scarcity(number);
      Player().Play(script);
      felt = scarcity.WasFelt();
    }
    EXPECT_EQ(alive, 0) << script << ": every item and the manager must be released once";
  }
}

TEST(UndoManager, ReplaysBackwardsForwardsAndByLevel) {
  Check({
      // prepared once; and nothing to replay
      {"<>(abc)><><<", "--hc-pcpbpaucubuacrarbrccucubuac-c"},
      // lower levels first
      {"(2ab2c7d)<>", "hcpbubpcpaucuapdudcrbrarcrdcc"},
      // no bits of the replay in the state
      {"(a)S[uS]<S[rS]>S", "hc0paua0cundoneraundonecundonec"},
      // no replay inside a replay
      {"(a)[u<>(]<[r<>(]>[c<>(]<", "hcpaua!!!cra!!!cuac!!!c!!!"},
  });
}

TEST(UndoManager, KeepsAHistoryOfOuterTransactions) {
  Check({
      // a commit discards the transactions that could be redone
      {"=(a)=(b)(c)<=<=MN(d)=MN", "......000hcU.H..L110hchcpcuccURH...331pbubcURH...330bahcU.H..L221-dc"},
      // Clear does not reset the count
      {"(a)(b)C=(c)=", "hchcc..H...020hcU.H..L130c"},
      // only the outermost end commits
      {"(=(=a=)=)=", "...I..000...I..000...IO.100-...IO.100hcU.H..L110c"},
      {")X((aXX=((b))=()", "---......000-hcU.H..L1101c"},
      // a derived manager that is wrong about it
      {"K<>NM", "c-c---c"},
      // one more than requested
      {"(a)(b)(c)(d)<1L9LL<<<L", "hchchchcpdudccbcbacbapcuccpbubcpauac-c"},
  });
}

TEST(UndoManager, TakesEachItemOnce) {
  Check({
      // even of a committed transaction
      {"a=(ZaA=)(A=", "-......000%%%...IO.100hc%U.HI.L110c"},
      {"(ab)(A)(cA)(A<<", "hc%1%hc%pcuccpbpaubuacc"},
      // the links of a new item are ignored
      {"(aG)<", "hcpgpauguacc"},
      // free again after its transaction
      {"(abA)C(A=", "%hcc..HIO.110c"},
  });
}

TEST(UndoManager, SurvivesTheLossOfWhatItWorksOn) {
  Check({
      // its transaction
      {"(abc)(n[uC]<=", "hcpcpbpauccubcuacc..HIO.110c"},
      {"(abc)(n[p)]<=", "hcpchcpb-pa-ucubuacU.H..L110c"},
      {"(abc)(n[qC]J=", "hcccc..HIO.110c"},
      {"(nV)([qC]J=", "hcc..HIO.010c"},
      // its last reference: + when it lives until the call ends, which c shows
      {"(ab)[cR]<", "hcpbpaubuac+c"},
      {"(ab)<[rR]>", "hcpbpaubuacra+rbcc"},
      {"(ab)<(n[dR])", "hcpbpaubuac+hcc"},
      {"(n[dR]X", "+c"},
      {"(ab)[dR]C", "hc+cc"},
      {"[dR]x", "+c-"},
      {"(a[dn]", "-c"},
      {"([gR]V", "+cnull"},
      {"(ab)([qR]J", "hc+cnull"},
      {"(a)[?R]N", "hc+ca"},
      // items that read it in their destructors
      {"(a[d(]X)", "-c"},
      {"(a)(b)(c)[d<N]C(d)(e)<(f)(g", "hchchcpauac-----chchcpeuecpdudc---hc!f!-c"},
  });
}

TEST(UndoManager, RecordsValues) {
  Check({
      {"V(@V+V+)#<#>#<#", "nullnullhcCcAcCcAc"},
      // merged, unless a redo is possible
      {"(V+)(J+)#$<#(J)>", "hc1C2cAhc-c"},
      {"(V1Vn2VV+)(2J+J+1J+3Jm4J+3J+)#(4J+n)$#<#<#<#", "hchcGhc8HpnuncHpmumcEpnuncAc"},
      // another key is not merged
      {"(V+)(1J+V+)#<#<#", "hchcDcBcAc"},
      // without memory the value would be lost
      {"(1EV+EV+)#<#", "nullhcCcBc"},
      // absent, or unreadable
      {"(2EV+)<#", "hccc"},
      {"(3EV+)<#", "hccc"},
      {"(4EV+)<#", "hccc"},
      {"(5EV+)<#", "hccBc"},
      // no undo after a redo that was refused
      {"(V+)<F>F<#>#", "hccccAcBc"},
      // the history releases the item during its turn
      {"(V+)<[sDC$]D#", "hcc-c2Bc"},
  });
}

TEST(UndoManager, StartsAsStated) {
  Ref<UndoManager> const manager = Own(UndoManager::Create());
  uint32_t const settings[] = {0x1000000, 256, 10, 0, 0, 0, 0};
  EXPECT_EQ(memcmp(reinterpret_cast<char*>(manager.get()) + 32, settings, sizeof settings), 0);
  EXPECT_FALSE(manager->IsTypeOf(ids::UNDO_MANAGER)) << "contract: inherited from the base";
  EXPECT_EQ(manager->OnCommit(), E_NOTIMPL);
}

TEST(UndoItem, IsLittleByItself) {
  LogItem* const item = new LogItem('a');
  EXPECT_EQ(item->GetSize(), 29);
  EXPECT_STREQ(item->GetName(), L"{?*|*?}");
  EXPECT_EQ(string(reinterpret_cast<char*>(item) + 12, 17), string(17, '\0'));
  EXPECT_EQ(item->DeleteThis(0), item);
  EXPECT_EQ(alive, 1);
  item->DeleteThis(1);
  EXPECT_EQ(alive, 0);
}

TEST(ValueItem, KeepsEmptyTextsAndLeavesUnreadableValuesAlone) {
  Lender lender;  // referred to by the manager's items until it is destroyed
  Ref<UndoManager> const manager = Own(UndoManager::Create());
  Ref<Map> const map = Own(Map::Create());
  Variant const values[] = {
      {}, Made(static_cast<Unknown*>(&lender)), Made(L"", Variant::KEEP_EMPTY), Made(5)};
  Variant read;
  manager->BeginTransaction();
  for (unsigned key = 0; key < 4; ++key) {
    map->SetValue(key, values[key]);
    manager->RecordValue(map.get(), key, false);
  }
  for (unsigned key = 0; key < 4; ++key) map->SetValue(key, values[(key + 2) % 4]);
  manager->EndTransaction(L"");
  manager->Undo();
  EXPECT_EQ((Ints{map->GetValue(0, read), map->GetValue(1, read), map->GetValue(2, read)}),
            (Ints{E_FAIL, S_OK, S_OK}))
      << "absent before; not removed, since its value could not be restored; an empty text is a value";
  EXPECT_EQ(References(&lender), 3u) << "an object must not be overwritten";
  manager->Redo();
  EXPECT_EQ(map->GetValue(2, read), E_FAIL);
}

TEST(Failures, OfUndoSayWhatIsNotOpenOrNotThere) {
  Lender object;  // which the manager's item uses to its end
  object.refuses = true;
  Ref<UndoManager> const undo = Own(UndoManager::Create());
  unsigned const before = ErrorCount();
  undo->BeginTransaction();
  undo->BeginTransaction();
  EXPECT_EQ((Ints{undo->EndTransaction(L""), undo->CanUndo()}), (Ints{E_FAIL, 0})) << "an inner level";
  EXPECT_EQ(ErrorCount(), before);
  Ref<ykUndoItem> const item = Ref<ykUndoItem>::Share(undo->RecordValue(&object, 7, false));
  undo->EndTransaction(L"");
  ExpectFailures({
      {E_FAIL, L"there is nothing to redo", [&] { return undo->Redo(); }},
      {E_FAIL, L"no transaction is open", [&] { return undo->EndTransaction(L""); }},
      {E_FAIL, L"no transaction is open", [&] { return undo->AddItem(Ref<ykUndoItem>(item).Detach()); }},
      {E_INVALIDARG, L"the item is already in a transaction",
       [&] { return undo->BeginTransaction(), undo->AddItem(Ref<ykUndoItem>(item).Detach()); }},
      {E_OUTOFMEMORY, L"the value 7 cannot be read",
       [&] { return object.failure = E_OUTOFMEMORY, item->Undo(); }},
      {E_FAIL, L"the value 7 cannot be restored", [&] { return item->Undo(); }},
  });
}

}  // namespace
