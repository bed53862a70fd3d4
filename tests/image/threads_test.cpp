// Large images are processed by several threads, of which nobody can tell.
#include <qecore/core/parallel.h>
#include <qecore/core/system.h>
#include <qecore/draw/color.h>
#include <qecore/draw/device_context.h>
#include <windows.h>
// tlhelp32.h needs windows.h before it
#include <tlhelp32.h>

#include <functional>
#include <set>

#include "support.h"
#include "support/patient_host.h"

using namespace yk;

namespace {

constexpr int WIDTH = 1500, HEIGHT = 1100;

// Leaves no threads.
struct ThreadCounts : testing::Test {
  ~ThreadCounts() {
    SetThreadCount(1);
    System::ptr()->Release();
    System::Create();
  }
};

using Operation = std::function<Bytes()>;

Operation Rescaled(IMG_FORMAT from, IMG_FORMAT to, int width, int height) {
  return [=, source = Noise(from, WIDTH, HEIGHT)] {
    ImageRef const target = NewImage(to, width, height);
    memset(target->bits, 0, BlockSize(*target));
    EXPECT_EQ(source->RescaleTo(target.get()), S_OK);
    return BlockOf(*target);
  };
}

Operation Changed(IMG_FORMAT format, HRESULT (Image2d::*change)()) {
  return [=, noise = Noise(format, WIDTH, HEIGHT)] {
    ImageRef const image = Part(*noise, 0, 0, WIDTH, HEIGHT);
    EXPECT_EQ((*image.*change)(), S_OK);
    return BlockOf(*image);
  };
}

Bytes Adjusted() {
  ImageRef const image = Noise(IMG_BGRA32, WIDTH, HEIGHT);
  Ref<IDC> const dc = Own(IDC::Create());
  IADJUSTMENT adjustment;
  EXPECT_EQ(dc->Attach(reinterpret_cast<HDC>(uintptr_t{1}), image.get()), S_OK);
  EXPECT_EQ(dc->Adjust(nullptr, 30, -20, &adjustment), S_OK);
  dc->Detach();
  return BlockOf(*image);
}

/// An image whose host hears of each row.
class Heard : public Image2d {
 public:
  unsigned char* GetLine(int y) noexcept override {
    threads.insert(GetCurrentThreadId());
    return Image2d::GetLine(y);
  }
  std::set<DWORD> threads;
};

struct HearingHost final : ExecutionContext {
  bool Continue(Progress const&) noexcept override { return threads.insert(GetCurrentThreadId()), true; }
  std::set<DWORD> threads;
};

int ThreadsOfProcess() {
  HANDLE const all = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 entry = {};
  entry.dwSize = sizeof entry;
  int count = 0;
  for (BOOL more = Thread32First(all, &entry); more; more = Thread32Next(all, &entry))
    count += entry.th32OwnerProcessID == GetCurrentProcessId();
  CloseHandle(all);
  return count;
}

}  // namespace

TEST_F(ThreadCounts, DoNotChangeResults) {
  Table<char const*, Operation> const rows = {
      {"smaller", Rescaled(IMG_BGR24, IMG_BGR24, 431, 317)},
      {"smaller, from a palette", Rescaled(IMG_PAL8, IMG_BGRA32, 431, 317)},
      {"larger, rows repeat", Rescaled(IMG_BGR24, IMG_BGRA32, 1501, 2900)},
      {"few rows", Rescaled(IMG_GRAYF, IMG_GRAY8, 3000, 3)},
      {"half", Rescaled(IMG_BGR24, IMG_BGR24, WIDTH / 2, HEIGHT / 2)},
      {"converted", Rescaled(IMG_BGR24, IMG_BGRAF, WIDTH, HEIGHT)},
      {"copied", Rescaled(IMG_RGB555, IMG_RGB555, WIDTH, HEIGHT)},
      {"mirrored", Changed(IMG_BGRA32, &Image2d::FlipH)},
      {"upside down", Changed(IMG_BGRA32, &Image2d::FlipV)},
      {"premultiplied", Changed(IMG_BGRA32, &Image2d::PremultiplyAlpha)},
      {"adjusted", Adjusted},
  };
  for (auto const& [name, operation] : rows) {
    SetThreadCount(1);
    Bytes const expected = operation();
    for (unsigned count : {2u, 5u, 100u}) {
      SetThreadCount(count);
      for (int again = 0; again < 2; ++again) EXPECT_TRUE(operation() == expected) << name << ", " << count;
    }
  }
}

TEST_F(ThreadCounts, AreZeroForTheProcessors) {
  SetThreadCount(0);
  SYSTEM_INFO system;
  GetSystemInfo(&system);
  EXPECT_EQ(GetThreadCount(), std::min(system.dwNumberOfProcessors, DWORD{32}));
  SetThreadCount(3);
  EXPECT_EQ(GetThreadCount(), 3u);
}

TEST_F(ThreadCounts, LeaveSlotsAndProgressToTheCaller) {
  SetThreadCount(4);
  ImageRef const source = Noise(IMG_BGR24, WIDTH, HEIGHT);
  Ref<Heard> const target = Own(new Heard);
  ASSERT_EQ(target->Create(IMG_BGRA32, 900, 700), S_OK);
  HearingHost host;
  ASSERT_EQ(source->RescaleTo(target.get(), &host), S_OK);
  EXPECT_EQ(host.threads, std::set{GetCurrentThreadId()});
  EXPECT_EQ(target->threads, std::set{GetCurrentThreadId()});
  for (unsigned patience : {0u, 1u}) {
    PatientHost hasty(patience);
    EXPECT_EQ(source->RescaleTo(target.get(), &hasty), E_ABORT);
  }
}

TEST_F(ThreadCounts, CountThreadsThatStartLateAndEndWithTheSystem) {
  SetThreadCount(4);
  ImageRef const source = Noise(IMG_BGR24, WIDTH, HEIGHT), small = Noise(IMG_BGR24, 40, 30);
  System::ptr()->Release();
  System::Create();
  int const before = ThreadsOfProcess();
  EXPECT_EQ(small->FlipV(), S_OK);
  EXPECT_EQ(ThreadsOfProcess(), before);
  for (int again = 0; again < 2; ++again) EXPECT_EQ(source->FlipV(), S_OK);
  EXPECT_EQ(ThreadsOfProcess(), before + 3);
  System::ptr()->Release();
  EXPECT_EQ(ThreadsOfProcess(), before);
  EXPECT_EQ(source->FlipV(), S_OK);
  EXPECT_EQ(ThreadsOfProcess(), before);
  System::Create();
}
