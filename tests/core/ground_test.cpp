// The lower half of the floor, on which everything else is built.
#include <qecore/core/conversions.h>
#include <qecore/core/diagnostics.h>
#include <qecore/core/driver_data.h>
#include <qecore/core/error.h>
#include <qecore/core/filter.h>
#include <qecore/core/lock.h>
#include <qecore/core/memory.h>
#include <qecore/core/streamable.h>
#include <qecore/values/string.h>
#include <windows.h>

#include <thread>

#include "support/message_box_watcher.h"
#include "support/prelude.h"

namespace {

using namespace yk;

/// A class over one of the base interfaces that counts its destructions and is not freed.
template <class Base>
struct Probe final : Base {
  int destroyed = 0;
  void Destroy() noexcept override { ++destroyed; }
};

TEST(Unknown, CountsThroughItsSlots) {
  Probe<yk::Unknown> object;
  EXPECT_EQ(Field<int>(&object, 8), 1);
  EXPECT_EQ(Slot<unsigned (*)(void*)>(&object, 1)(&object), 2u);
  EXPECT_EQ(Slot<unsigned (*)(void*)>(&object, 2)(&object), 1u);
  void* held = &object;
  for (int i = 0; i < 2; ++i) yk::Unknown::Free(&held);
  EXPECT_EQ(std::pair(held, object.destroyed), std::pair(static_cast<void*>(nullptr), 1));
  EXPECT_EQ(object.Release(), 0xFFFFFFFFu) << "there is no guard";
  EXPECT_EQ(object.destroyed, 2);
}

TEST(Unknown, InterfacesKnowTheirChains) {
  Probe<qe_Flt3d> filter;
  void *out = nullptr, *none = nullptr;
  EXPECT_EQ(filter.QueryInterface(ids::UNKNOWN, &out), S_OK);
  EXPECT_EQ(filter.QueryInterface(ids::FLT_2D, &none), E_NOINTERFACE);
  EXPECT_EQ((std::array{out, none}), (std::array<void*, 2>{&filter}));
  EXPECT_EQ(std::pair(References(&filter), filter.IsTypeOf(ids::FLT_2D)), std::pair(2u, false));
}

TEST(Ref, CountsExactly) {
  struct {
    string log;
    void AddRef() { log += '+'; }
    void Release() { log += '-'; }
  } object;
  using Counted = Ref<decltype(object)>;
  {
    Counted a = Counted::Adopt(&object);
    Counted const b(a), c = Counted::Share(&object);
    Counted d(std::move(a));
    EXPECT_EQ(a.get(), nullptr);
    object.log += " copy, share, ";
    a = b;
    a = *&a;
    object.log += " assign, to itself, ";
    a = std::move(d);
    *a.Receive() = nullptr;
    object.log += " move over, receive, ";
    *a.ReceiveVoid() = &object;
    EXPECT_EQ(a.Detach(), &object);
    d.Reset();
    EXPECT_FALSE(Counted::Share(d.get()));
  }
  EXPECT_EQ(object.log, "++ copy, share, ++- assign, to itself, -- move over, receive, --");
}

// White space before a group is accepted, so that a text can have any length; 255 wide characters are read.
TEST(Guid, HasOneTextFormAndReadsWhatTheRuntimesScannerReads) {
  Guid const id = {0x01234567, 0x89AB, 0xCDEF, {0x10, 0x32, 0x54, 0x76, 0x98, 0xBA, 0xDC, 0xFE}};
  char narrow[Guid::TEXT_SIZE];
  wchar_t wide[Guid::TEXT_SIZE];
  id.toString(narrow);
  id.toString(wide);
  EXPECT_STREQ(narrow, "{01234567-89AB-CDEF-1032-547698BADCFE}");
  EXPECT_EQ(wide, wstring(narrow, narrow + 38));
  Guid read = {};
  EXPECT_TRUE(read.Init("{01234567-89ab-cdef-1032-547698badcfe"));
  EXPECT_EQ(read, id);
  EXPECT_EQ((Ints{read.Init(narrow + 1), read.Init(string(narrow, 35).c_str()), read.Init(L"")}), Ints(3));
  EXPECT_TRUE(read.Init(String((wstring(wide, 35) + wstring(218, L' ') + L"FE}").c_str())));
  EXPECT_EQ(read, id);
  EXPECT_EQ((Ints{read.Init(wide), read.Init((wstring(wide, 35) + wstring(220, L' ') + L"FE}").c_str())}),
            (Ints{1, 0}));
}

TEST(Conversions, RoundHalvesAwayFromZero) {
  double const values[] = {2.5, -2.5, 2.4999, -0.5, -0.4, 2147483646.5, 2147483647.5, -1e300};
  Ints rounded;
  for (double const value : values) rounded.push_back(yk::round(value));
  EXPECT_EQ(rounded, (Ints{3, -3, 2, -1, 0, INT_MAX, INT_MIN, INT_MIN}));
}

TEST(DriverData, ListOwnsWhatIsAdded) {
  Probe<drvData> a, b;
  a.owner = &a;
  {
    drvDataPtr list;
    EXPECT_EQ((Ints{list.Add(&a), list.Add(&a), list.Add(&b), list.Add(nullptr)}),
              (Ints{S_OK, E_INVALIDARG, S_OK, E_INVALIDARG}));
    EXPECT_EQ((std::array{list.Get(&a), list.Get(&list)}), (std::array<drvData*, 2>{&a}));
    EXPECT_EQ((Ints{list.Remove(&a), list.Remove(&a), b.destroyed}), (Ints{S_OK, YK_E_NOTFOUND, 0}));
  }
  EXPECT_EQ(a.destroyed + b.destroyed, 2);
}

// ---- memory

Ref<Malloc> Arena(int blockSize) { return Own(Malloc::Create(blockSize)); }

TEST(Malloc, RefusesWhatNoBlockHoldsAndStaysAsItWas) {
  Ref<Malloc> const arena = Arena(256);
  unsigned char* const first = static_cast<unsigned char*>(arena->AllocAligned(1, 8));
  ASSERT_TRUE(first);
  ASSERT_EQ(arena->AllocAligned(91, 8), first + 8);
  // one byte more than a block's payload; padding for which no new block has room; a size that overflows with
  // its padding; no alignment
  size_t const rows[][2] = {{225, 1}, {200, 0x100000}, {~size_t{0} - 1, 64}, {1, 0}};
  for (auto const& [size, alignment] : rows) {
    EXPECT_EQ(arena->AllocAligned(size, alignment), nullptr) << size;
    EXPECT_EQ((Ints{Field<int>(arena.get(), 24), Field<int>(arena.get(), 32)}), (Ints{99, 125})) << size;
  }
  EXPECT_STREQ(LastError()->text, L"the alignment is 0");
  EXPECT_TRUE(arena->Alloc(224)) << "a whole payload";
  for (int const size : {32, 0, -1}) EXPECT_EQ(Arena(size)->Alloc(1), nullptr) << size;
}

TEST(Malloc, ResetHandsOutTheSameAddresses) {
  Ref<Malloc> const arena = Arena(128);
  auto const fill = [&] {
    std::vector<void*> blocks(20);
    for (void*& block : blocks) block = memset(arena->Alloc(40), 0xCC, 40);
    return blocks;
  };
  std::vector<void*> const before = fill();
  char const* const block = static_cast<char*>(before[0]) - 32;
  EXPECT_EQ(Field<uint64_t>(block, 8), 80u) << "bytes used in a previous block";
  EXPECT_EQ(Field<char*>(block, 24) + 32, before[2]);
  arena->SetThreadSafe(true);
  arena->Reset();
  EXPECT_EQ((Ints{Field<intptr_t>(arena.get(), 24), Field<intptr_t>(block, 8)}), Ints(2));
  EXPECT_EQ(fill(), before);
  EXPECT_STREQ(arena->StrDup(L"wide"), L"wide");
  EXPECT_EQ(arena->StrDup(""), nullptr);
}

TEST(Malloc, LeavesNothingWhenItIsDestroyedInPlace) {
  Malloc* const arena = Malloc::Create(128);
  arena->Reset();
  EXPECT_TRUE(arena->Alloc(8));
  arena->DeleteThis(0);
  for (size_t offset = 16; offset < 56; offset += 8) EXPECT_EQ(Field<uint64_t>(arena, offset), 0u) << offset;
  FreeInLibrary(arena);
}

TEST(Memory, IsTheRuntimes) {
  char* const block = static_cast<char*>(yk_realloc(memcpy(yk_new(4), "abc", 4), 4000));
  EXPECT_EQ((Ints{qe::strncmp(block, "abd", 2), qe::strncmp("b", "a", 1), qe::purecall()}), (Ints{0, 1, 0}));
  yk_delete(block);
}

// ---- locks

// Waits until a counter of the lock has a value, which shows that a thread is waiting.
bool Comes(RWLock const& lock, size_t offset, int value) {
  for (int i = 0; i < 5000 && Field<int>(&lock, offset) != value; ++i) Sleep(1);
  return Field<int>(&lock, offset) == value;
}

TEST(RWLock, QueuedReadersEnterBeforeTheNextWriter) {
  RWLock lock;
  string order;
  std::vector<std::thread> threads;
  auto const start = [&](char name, auto enter, auto leave) {
    threads.emplace_back([=, &lock, &order] { (lock.*enter)(), order += name, (lock.*leave)(); });
  };
  lock.EnterRead();
  lock.EnterRead();  // like two readers
  start('1', &RWLock::EnterWrite, &RWLock::LeaveWrite);
  ASSERT_TRUE(Comes(lock, 0, -2));
  start('2', &RWLock::EnterWrite, &RWLock::LeaveWrite);
  ASSERT_TRUE(Comes(lock, 8, -1));
  start('r', &RWLock::EnterRead, &RWLock::LeaveRead);
  ASSERT_TRUE(Comes(lock, 0, -3)) << "a new reader queues behind a waiting writer";
  lock.LeaveRead();
  Sleep(20);
  EXPECT_EQ(order, "") << "one reader is still inside";
  lock.LeaveRead();
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(order, "1r2");
}

TEST(CriticalSection, CountsItsEntries) {
  CriticalSection section;
  for (int i = 0; i < 2; ++i) {
    Locker const guard(section), again(section);
    EXPECT_EQ(Field<int>(&section, 12), 2);
  }
}

// ---- diagnostics

TEST(Diagnostics, ErrorsAreShownAsTheRuntimeFormatsThem) {
  MessageBoxWatcher watcher;
  qe_Error("narrow %s and wide %S", "a", L"b");
  qe_Error(L"wide %s and narrow %S", L"a", "b");
  qe_Error(L"%s", wstring(3000, L'x').c_str());
  EXPECT_EQ(watcher.Take(), (Texts{L"narrow a and wide b", L"wide a and narrow b", wstring(1023, L'x')}));
}

thread_local Texts handled;

TEST(Diagnostics, AHostMayHandleErrors) {
  handled.clear();
  ErrorHandler const handler = [](wchar_t const* text) { handled.push_back(text); };
  EXPECT_EQ(SetErrorHandler(handler), nullptr);
  qe_Error("narrow %s", string(3000, 'x').c_str());
  qe_Error(L"wide %d", 7);
  EXPECT_EQ(SetErrorHandler(nullptr), handler);
  EXPECT_EQ(handled, (Texts{L"narrow " + wstring(1016, L'x'), L"wide 7"}));
  handled = {};
}

string debuggerOutput;

LONG CALLBACK CatchOutput(EXCEPTION_POINTERS* fault) {
  EXCEPTION_RECORD const& record = *fault->ExceptionRecord;
  bool const isText = record.ExceptionCode == 0x40010006;  // raised by OutputDebugStringA: length, text
  if (isText) debuggerOutput += reinterpret_cast<char const*>(record.ExceptionInformation[1]);
  return EXCEPTION_CONTINUE_SEARCH;
}

TEST(Diagnostics, MessagesGoToTheDebugger) {
  debuggerOutput.clear();
  void* const handler = AddVectoredExceptionHandler(1, CatchOutput);
  ykMessage("%d%%", 50);
  ykMessage("%s", string(5000, 'z').c_str());
  RemoveVectoredExceptionHandler(handler);
  EXPECT_EQ(debuggerOutput, "50%" + string(1023, 'z'));
}

}  // namespace
