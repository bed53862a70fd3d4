// Everything that may be used from several threads, used from several threads under the thread sanitizer: a
// plain Linux program, so that the sanitizer sees every lock. A race anywhere fails the run, whatever the
// test itself observes.
#include <qecore/core/lock.h>
#include <qecore/core/memory.h>
#include <qecore/core/module.h>
#include <qecore/core/ref.h>
#include <qecore/core/system.h>
#include <qecore/draw/device_context.h>
#include <qecore/image/image.h>
#include <qecore/io/deserializer.h>
#include <qecore/io/mem_stream.h>
#include <qecore/io/serializer.h>
#include <qecore/io/xml.h>
#include <qecore/undo/undo_manager.h>
#include <qecore/values/array.h>
#include <qecore/values/map.h>
#include <qecore/values/str.h>
#include <qecore/values/variant.h>
#include <stdio.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <new>
#include <thread>

#include "core/parallel_p.h"
#include "harness.h"

namespace {

using namespace yk;

constexpr int THREADS = 4;
constexpr unsigned LONGEST_RUN = 240;  // seconds, so that a deadlock ends the run

// Runs work(0), work(1), ... each on its own thread, and waits for all of them.
template <class Work>
void OnThreads(int count, Work work) {
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) threads.emplace_back([=] { work(i); });
  for (std::thread& thread : threads) thread.join();
}

// Counts without ordering anything: ordering is the library's task.
class Tally {
 public:
  void Add(bool wanted) noexcept { count.fetch_add(wanted ? 1 : 0, std::memory_order_relaxed); }
  int Get() const noexcept { return count.load(std::memory_order_relaxed); }

 private:
  std::atomic<int> count{0};
};

Tally deaths;

class Mortal final : public Destroys<Mortal, Unknown> {
 public:
  ~Mortal() {
    payload = 0;
    deaths.Add(true);
  }

  int payload = 7;
};

HRESULT MakeMortal(ClassInfo const*, void** out) {
  *out = new (std::nothrow) Mortal;
  return *out ? S_OK : E_OUTOFMEMORY;
}

bool Creates(Guid const& id) {
  Ref<Unknown> object;
  return Succeeded(CreateInterface(id, object.ReceiveVoid())) && object;
}

// ---- counts and locks

TEST(ReferenceCounts, TheLastReleaseOnAnyThreadDestroysOnce) {
  constexpr int OBJECTS = 200;
  int const before = deaths.Get();
  for (int round = 0; round < OBJECTS; ++round) {
    Mortal* const shared = new Mortal;
    for (int i = 1; i < THREADS; ++i) shared->AddRef();
    OnThreads(THREADS, [=](int) {
      for (int i = 0; i < 100; ++i) {
        shared->AddRef();
        if (shared->payload == 7) shared->Release();
      }
      shared->Release();
    });
  }
  EXPECT_EQ(deaths.Get() - before, OBJECTS);
}

TEST(CriticalSection, OneThreadIsInsideAndMayEnterAgain) {
  CriticalSection section;
  int count = 0;
  OnThreads(THREADS, [&](int) {
    for (int i = 0; i < 10000; ++i) {
      Locker const outer(section);
      Locker const inner(section);
      ++count;
    }
  });
  EXPECT_EQ(count, THREADS * 10000);
}

TEST(RWLock, ReadersSeeWhatWritersFinished) {
  constexpr int WRITERS = 2, READERS = 4, ROUNDS = 5000;
  RWLock lock;
  int first = 0, second = 0;
  Tally torn;
  OnThreads(WRITERS + READERS, [&](int thread) {
    for (int i = 0; i < ROUNDS; ++i) {
      if (thread < WRITERS) {
        lock.EnterWrite();
        ++first;
        if (i % 64 == 0) std::this_thread::yield();
        ++second;
        lock.LeaveWrite();
      } else {
        lock.EnterRead();
        torn.Add(first != second);
        lock.LeaveRead();
      }
    }
  });
  EXPECT_EQ(torn.Get(), 0);
  EXPECT_EQ(first, WRITERS * ROUNDS);
  EXPECT_EQ(second, WRITERS * ROUNDS);
}

TEST(Malloc, GivesEachThreadBlocksOfItsOwnOnceMadeThreadSafe) {
  Ref<Malloc> const arena = Ref<Malloc>::Adopt(Malloc::Create(0x4000));
  arena->SetThreadSafe(true);
  Tally faults;
  OnThreads(THREADS, [&](int thread) {
    std::vector<unsigned char*> blocks;
    for (size_t i = 0; i < 2000; ++i) {
      size_t const size = 1 + i % 37;
      void* const block = i % 3 ? arena->Alloc(size) : arena->AllocAligned(size, 16);
      if (block) memset(block, thread + 1, size);
      if (block) blocks.push_back(static_cast<unsigned char*>(block));
      char const* const copy = arena->StrDup("text");
      faults.Add(!block || !copy || strcmp(copy, "text") != 0);
    }
    for (unsigned char const* block : blocks) faults.Add(*block != thread + 1);
  });
  EXPECT_EQ(faults.Get(), 0);
}

// ---- the library's own threads

constexpr unsigned PARTS = 500;

// Does parts that overlap nowhere, while other threads do the same. Without order between a part and the
// return this would be a race.
bool SharesOnce(unsigned threads) {
  unsigned parts[PARTS] = {};
  unsigned inThread[THREADS] = {};
  unsigned last = 0;
  bool ordered = true;
  ShareParts(
      PARTS, threads,
      [&](unsigned part, unsigned thread) {
        ++parts[part];
        ++inThread[thread];
      },
      [&](unsigned done) {
        ordered = ordered && done > last;
        last = done;
        return true;
      });
  unsigned sum = 0;
  for (unsigned count : inThread) sum += count;
  return ordered && sum == PARTS && std::all_of(parts, parts + PARTS, [](unsigned n) { return n == 1; });
}

TEST(Parts, AreDoneOnceByWhicheverThreadIsFree) {
  Tally faults;
  for (int round = 0; round < 10; ++round) {
    Ref<System> const system = Ref<System>::Adopt(System::Create());
    OnThreads(2, [&](int) {
      for (unsigned i = 0; i < 50; ++i) faults.Add(!SharesOnce(1 + i % THREADS));
    });
  }
  faults.Add(!SharesOnce(THREADS));  // without a System, alone
  EXPECT_EQ(faults.Get(), 0);
}

TEST(Parts, StopWhenTheCallerSaysSo) {
  Ref<System> const system = Ref<System>::Adopt(System::Create());
  std::atomic<unsigned> done{0};
  EXPECT_FALSE(ShareParts(
      1000000, THREADS, [&](unsigned, unsigned) { done.fetch_add(1, std::memory_order_relaxed); },
      [](unsigned) { return false; }));
  EXPECT_LT(done.load(), 1000000u);
}

TEST(Parts, AreLeftByTheThreadsBeforeTheSystemGoes) {
  for (int round = 0; round < 50; ++round) {
    Ref<System> system = Ref<System>::Adopt(System::Create());
    OnThreads(2, [&](int thread) {
      if (thread == 0) SharesOnce(THREADS);
      if (thread == 1) system.Reset();
    });
  }
}

bool ProcessesLargeImages(int thread) {
  Ref<Image2d> const picture = Ref<Image2d>::Adopt(Image2d::Create());
  picture->flags = IMG_HEAP_MEMORY;
  if (Failed(picture->Create(IMG_BGRA32, 1500, 1000))) return false;
  memset(picture->bits, 80 + thread, static_cast<size_t>(picture->stride) * 1000);
  picture->FlipH();
  picture->FlipV();
  picture->PremultiplyAlpha();
  Image2d* scaled = nullptr;
  if (Failed(picture->Rescale(170, 1200, IMG_BGR24, &scaled))) return false;
  unsigned char const expected = static_cast<unsigned char>((80 + thread) * (80 + thread) / 255);
  bool const right = scaled->GetLine(1199)[0] == expected && scaled->GetLine(0)[509] == expected;
  return scaled->Release() == 0 && right;
}

TEST(Images, AreProcessedByOneCallersHelpersAtATime) {
  Ref<System> const system = Ref<System>::Adopt(System::Create());
  Tally faults;
  OnThreads(2, [&](int thread) {
    for (int i = 0; i < 5; ++i) faults.Add(!ProcessesLargeImages(thread));
  });
  EXPECT_EQ(faults.Get(), 0);
}

// A context forgets its image, another takes it, and the images' pixels go, on all threads at once.
TEST(Attachments, OfOneThreadAreNotAnothers) {
  Ref<System> const system = Ref<System>::Adopt(System::Create());
  Tally faults;
  OnThreads(THREADS, [&](int) {
    for (int i = 0; i < 300; ++i) {
      Ref<Image2d> image = Ref<Image2d>::Adopt(Image2d::Create());
      Ref<IDC> const kept = Ref<IDC>::Adopt(IDC::Create()), left = Ref<IDC>::Adopt(IDC::Create());
      image->Create(IMG_BGR24, 4, 4);
      faults.Add(Failed(kept->Attach(image.get())));
      left->Attach(image.get());
      left->Detach();
      image.Reset();
      faults.Add(kept->bits != nullptr);
    }
  });
  EXPECT_EQ(faults.Get(), 0);
}

// ---- the registry

constexpr Guid HOST_CLASS = {50, 0, 0, {}};
constexpr Guid BUILT_IN[] = {ids::IMAGE_2D, ids::MAP, ids::UNDO_MANAGER, ids::XML_HELPER};

TEST(Registry, IsReadFromAnyThread) {
  Ref<System> const system = Ref<System>::Adopt(System::Create());
  ClassInfo own;
  own.classId = HOST_CLASS;
  own.create = MakeMortal;
  own.name = "own";
  ASSERT_EQ(system->RegisterInterface(&own), S_OK);
  Tally faults;
  OnThreads(THREADS, [&](int thread) {
    for (int i = 0; i < 500; ++i) {
      faults.Add(!Creates(i % 5 == 4 ? HOST_CLASS : BUILT_IN[(i + thread) % 4]));
      ClassInfo* found = nullptr;
      faults.Add(Failed(system->FindClass(HOST_CLASS, &found)) || found->create != MakeMortal);
      Ref<Array> classes;
      faults.Add(Failed(system->EnumClasses(ids::ABSTRACT_IMAGE, classes.Receive(), 0)) ||
                 classes->Count() != 1);
    }
  });
  EXPECT_EQ(faults.Get(), 0);
}

// ---- plug-ins: known from the cache, loaded by the first thread that creates one of their classes

constexpr unsigned CLASSES = 3;
constexpr char16_t FIRST[] = u"P:\\first.qem", SECOND[] = u"P:\\second.qem";

constexpr Guid ClassOf(unsigned plugin, unsigned index) { return {100 * plugin + index, 0, 0, {}}; }

// Whether the plug-ins create each other's classes while they are attached, which is allowed.
std::atomic<bool> callEachOther{false};

// Attaching takes time, so that other threads have to wait.
template <unsigned PLUGIN>
intptr_t Entry(unsigned message, uintptr_t index, void* record) {
  if (message == MODULE_VERSION_QUERY) return KTZ_VERSION;
  if (message == MODULE_ATTACH) {
    usleep(2000);
    Creates(ids::MAP);
    if (callEachOther.load(std::memory_order_relaxed)) Creates(ClassOf(3 - PLUGIN, 0));
  }
  if (message != MODULE_CLASS || index >= CLASSES) return 0;
  ClassInfo* const info = static_cast<ClassInfo*>(record);
  info->classId = info->interfaceId = ClassOf(PLUGIN, static_cast<unsigned>(index));
  info->name = "from a plug-in";
  info->create = MakeMortal;
  return 1;
}

class PluginThreads : public testing::Test {
 protected:
  // The first scan writes the cache; after the second, the plug-ins are known and not loaded.
  void Start(bool whichCallEachOther) {
    system.Reset();
    callEachOther = false;
    harness::ClearFiles();
    harness::PutPlugin(FIRST, Entry<1>);
    harness::PutPlugin(SECOND, Entry<2>);
    Scan();
    system.Reset();
    Scan();
    ASSERT_EQ(harness::CountLoads(FIRST).now, 0);
    loadsBefore = harness::CountLoads(FIRST).ever;
    callEachOther = whichCallEachOther;
  }

  void Scan() {
    system = Ref<System>::Adopt(System::Create());
    ASSERT_EQ(system->ScanModules(L"P:\\", L"C:\\cache"), S_OK);
  }

  Ref<System> system;
  long loadsBefore = 0;
};

TEST_F(PluginThreads, FirstCreationsLoadOnceAndAllSucceed) {
  for (int round = 0; round < 10; ++round) {
    Start(false);
    Tally faults;
    OnThreads(THREADS, [&](int thread) {
      faults.Add(!Creates(ClassOf(1, static_cast<unsigned>(thread) % CLASSES)));
      ClassInfo* info = nullptr;
      for (int i = 0; i < 20; ++i) {
        faults.Add(Failed(system->FindClass(ClassOf(1, 1), &info)));
        faults.Add(!Failed(system->FindClass(ClassOf(3, 0), &info)));
      }
    });
    EXPECT_EQ(faults.Get(), 0) << "in round " << round;
    EXPECT_EQ(harness::CountLoads(FIRST).ever - loadsBefore, 1);
  }
}

// Without precautions each would wait forever for the other to be loaded.
TEST_F(PluginThreads, PluginsThatCreateEachOthersClassesDoNotWaitForEachOther) {
  for (int round = 0; round < 10; ++round) {
    Start(true);
    Tally faults;
    OnThreads(THREADS,
              [&](int thread) { faults.Add(!Creates(ClassOf(1 + static_cast<unsigned>(thread) % 2, 0))); });
    EXPECT_EQ(faults.Get(), 0) << "in round " << round;
  }
}

// ---- objects used by one thread each: they must not share hidden state

bool RescalesAndFlips(int width) {
  Ref<Image2d> const picture = Ref<Image2d>::Adopt(Image2d::Create());
  picture->flags = IMG_HEAP_MEMORY;
  if (Failed(picture->Create(IMG_BGR24, width, 20))) return false;
  memset(picture->bits, width, static_cast<size_t>(picture->stride) * 20);
  picture->FlipH();
  picture->FlipV();
  Image2d* scaled = nullptr;
  if (Failed(picture->Rescale(17, 13, IMG_BGRA32, &scaled))) return false;
  return scaled->Release() == 0;
}

bool SavesAndLoadsValues(int number) {
  Ref<Stream> stream;
  if (Failed(MemStream::Create(stream.Receive()))) return false;
  Ref<Map> const map = Ref<Map>::Adopt(Map::Create()), read = Ref<Map>::Adopt(Map::Create());
  Variant value;
  value.Init(number);
  map->SetValue(1, value);
  Ref<Serializer> const writer = Ref<Serializer>::Adopt(Serializer::Create());
  if (Failed(writer->Open(stream.get(), 0)) || Failed(map->Save(writer.get(), nullptr))) return false;
  writer->Close();
  stream->Seek(0, Stream::FROM_START);
  Ref<Deserializer> const reader = Ref<Deserializer>::Adopt(Deserializer::Create());
  if (Failed(reader->Open(stream.get(), 0)) || Failed(read->Load(reader.get(), nullptr))) return false;
  int found = 0;
  return Succeeded(read->GetValue(1, value)) && value.Get(found) && found == number;
}

bool ReadsXml() {
  constexpr char TEXT[] = "<a><b c='d&amp;e'>text</b><!-- note --></a>";
  Ref<Stream> stream;
  if (Failed(MemStream::Create(stream.Receive()))) return false;
  stream->Write(TEXT, sizeof TEXT - 1, nullptr);
  stream->Seek(0, Stream::FROM_START);
  Ref<XmlHelper> const xml = Ref<XmlHelper>::Adopt(XmlHelper::Create());
  XmlNode* document = nullptr;
  XmlError error;
  if (Failed(xml->Load(stream.get(), &document, &error))) return false;
  xml->FreeNode(document);
  return true;
}

bool ComparesTexts() {
  char utf8[40];
  str::WToUTF8(L"t\u00E9", utf8, sizeof utf8);
  return !strcmp(utf8, "t\xC3\xA9");
}

TEST(OwnObjects, ShareNothingBetweenThreads) {
  Ref<System> const system = Ref<System>::Adopt(System::Create());
  Tally faults;
  OnThreads(THREADS, [&](int thread) {
    for (int i = 0; i < 30; ++i) {
      faults.Add(!RescalesAndFlips(50 + thread));
      faults.Add(!SavesAndLoadsValues(1000 * thread + i));
      faults.Add(!ReadsXml());
      faults.Add(!ComparesTexts());
      faults.Add(!Creates(ids::UNDO_MANAGER));
    }
  });
  EXPECT_EQ(faults.Get(), 0);
}

}  // namespace

int main(int argc, char** argv) {
  alarm(LONGEST_RUN);
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
