// The fuzz program: libFuzzer around one of the targets.
//
//   QECORE_FUZZ_TARGET=xml fuzz.exe CORPUS -max_total_time=60      libFuzzer's own arguments
//   fuzz.exe --list                                                the targets and their maximum input sizes
//   QECORE_FUZZ_TARGET=xml fuzz.exe --seeds FOLDER                 writes the target's initial inputs
//
// The first two bytes of every input determine which call fails while it runs, if any. Afterwards nothing may
// be leaked.
#include <windows.h>

#include <qecore/io/mem_stream.h>
#include <stdio.h>
#include <unistd.h>

#include <string_view>

#include "target.h"

extern "C" int LLVMFuzzerRunDriver(int* count, char*** arguments, int (*one)(uint8_t const*, size_t));
extern "C" void __sanitizer_print_stack_trace();

namespace fuzz {

namespace {

constexpr Target TARGETS[] = {
    {"objfile", ReadObjectFile, SeedObjectFile, nullptr, 800},
    {"tree", ReadChunkTree, SeedChunkTree, nullptr, 400},
    {"writer", WriteObjectFile, nullptr, nullptr, 200},
    {"cache", ReadCache, SeedCache, nullptr, 700},
    {"registry", CallRegistry, nullptr, nullptr, 150},
    {"xml", ReadXml, SeedXml, nullptr, 500},
    {"xmledit", EditXml, nullptr, nullptr, 300},
    {"wildcard", MatchWildcard, nullptr, nullptr, 100},
    {"filetype", DetectFileType, SeedFileType, nullptr, 200},
    {"strings", EditStrings, nullptr, nullptr, 300},
    {"utf8", ConvertUtf8, nullptr, nullptr, 300},
    {"format", FormatText, nullptr, nullptr, 120},
    {"longformat", FormatLongText, nullptr, nullptr, 400},
    {"variants", UseVariants, nullptr, nullptr, 300},
    {"arrays", UseArrays, nullptr, nullptr, 300},
    {"memstream", UseMemStream, nullptr, nullptr, 300},
    {"arena", UseArena, nullptr, nullptr, 200},
    {"images", EditImages, nullptr, PrepareImages, 200, 1 << 19},
    {"draw", Draw, nullptr, nullptr, 400},
    {"undo", UndoAndRedo, nullptr, nullptr, 200},
    {"headers", ReadPictureHeaders, nullptr, nullptr, 200, 1 << 20},
    {"pictures", ReadPictures, SeedPictures, PreparePictures, 2000},
};

Target const* target;
bool mayFail;
std::string_view input;      // the one that is running
std::string artifactPrefix;  // libFuzzer's argument

constexpr int FOUND = 77;  // the program's exit code, as in libFuzzer

// libFuzzer stores the inputs of sanitizer findings. Crashes reach Wine first, and so does abort: their
// inputs are stored here.
[[noreturn]] void KeepInput() noexcept {
  __sanitizer_print_stack_trace();
  std::string const path = artifactPrefix + "crash-" + std::to_string(std::hash<std::string_view>()(input));
  if (FILE* const file = fopen(path.c_str(), "wb")) {
    fwrite(input.data(), 1, input.size(), file);
    fclose(file);
    fprintf(stderr, "fuzz: the input is in %s\n", path.c_str());
  }
  _exit(FOUND);
}

LONG WINAPI OnException(EXCEPTION_POINTERS* info) {
  static constexpr DWORD FAULTS[] = {EXCEPTION_ACCESS_VIOLATION, EXCEPTION_STACK_OVERFLOW,
                                     EXCEPTION_INT_DIVIDE_BY_ZERO, EXCEPTION_ILLEGAL_INSTRUCTION, 0xC0000374};
  EXCEPTION_RECORD const& record = *info->ExceptionRecord;
  bool const isFault =
      std::find(std::begin(FAULTS), std::end(FAULTS), record.ExceptionCode) != std::end(FAULTS);
  if (!isFault) return EXCEPTION_CONTINUE_SEARCH;
  fprintf(stderr, "fuzz: FAULT %08x at %p, address %p\n", static_cast<unsigned>(record.ExceptionCode),
          record.ExceptionAddress, reinterpret_cast<void*>(record.ExceptionInformation[1]));
  KeepInput();
}

constexpr unsigned FIRST_FAULT = 176;  // of the first byte: below it nothing fails

harness::Plan PlanOf(Input& in) noexcept {
  static constexpr unsigned KINDS[] = {harness::MEMORY, harness::ALL_FILE_KINDS | harness::MEMORY,
                                       harness::MEMORY | harness::LOCK, harness::ALL_FILE_KINDS};
  unsigned const how = in.Byte();
  long const at = 1 + in.Byte();
  if (how < FIRST_FAULT) return {};
  return {KINDS[how / 2 % 4], at, (how & 1) != 0};
}

void Compare(harness::Live const& before) noexcept {
  harness::Live const now = harness::CountLive();
  if (now == before) return;
  fprintf(stderr, "fuzz: LEAK: blocks %ld, global memory %ld, bitmaps %ld, handles %ld\n",
          now.blocks - before.blocks, now.globals - before.globals, now.bitmaps - before.bitmaps,
          now.handles - before.handles);
  abort();
}

int RunOne(uint8_t const* bytes, size_t size) {
  Input in(bytes, size);
  input = {reinterpret_cast<char const*>(bytes), size};
  harness::Plan const plan = PlanOf(in);
  harness::Live const before = harness::CountLive();
  mayFail = plan.kinds != 0;
  if (mayFail) harness::Arm(plan);
  target->run(in);
  harness::Disarm();
  Compare(before);
  return 0;
}

class SeedFiles final : public Seeds {
 public:
  explicit SeedFiles(std::string const& toFolder) : folder(toFolder) {}
  void Add(std::string const& name, std::string const& input) override {
    FILE* const file = fopen((folder + "/seed-" + name).c_str(), "wb");
    if (!file) abort();
    fwrite("\0\0", 1, 2, file);  // nothing fails
    fwrite(input.data(), 1, input.size(), file);
    fclose(file);
  }

 private:
  std::string folder;
};

int Fuzz(int count, char** arguments) {
  constexpr std::string_view PREFIX = "-artifact_prefix=";
  for (std::string_view const argument : std::span(arguments, count)) {
    if (argument.starts_with(PREFIX)) artifactPrefix = argument.substr(PREFIX.size());
  }
  AddVectoredExceptionHandler(TRUE, OnException);
  return LLVMFuzzerRunDriver(&count, &arguments, RunOne);
}

int List() {
  for (Target const& row : TARGETS) printf("%s %u\n", row.name, row.longest);
  return 0;
}

}  // namespace

std::span<Target const> Targets() noexcept { return TARGETS; }

bool MayFail() noexcept { return mayFail; }

void Require(bool holds, char const* what, std::source_location where) noexcept {
  if (holds) return;
  fprintf(stderr, "fuzz: REQUIRED: %s (%s:%u)\n", what, where.file_name(), where.line());
  abort();
}

yk::Ref<yk::Stream> StreamOf(void const* bytes, size_t size) {
  harness::Calm const calm;
  yk::Ref<yk::Stream> stream;
  if (yk::Failed(yk::MemStream::Create(stream.Receive()))) abort();
  if (size > 0) stream->Write(bytes, static_cast<unsigned>(size));
  stream->Seek(0, yk::Stream::FROM_START);
  return stream;
}

std::string BytesOf(yk::Stream& stream) {
  void* bytes = nullptr;
  static_cast<yk::MemStream&>(stream).GetBuffer(&bytes);
  return {static_cast<char const*>(bytes), bytes ? stream.GetSize() : 0};
}

}  // namespace fuzz

extern "C" void abort() { fuzz::KeepInput(); }

int main(int count, char** arguments) {
  using namespace fuzz;
  std::string const first = count > 1 ? arguments[1] : "";
  if (first == "--list") return List();
  char const* const name = getenv("QECORE_FUZZ_TARGET");
  for (Target const& row : TARGETS) {
    if (name && row.name == std::string(name)) target = &row;
  }
  if (!target) return fprintf(stderr, "fuzz: QECORE_FUZZ_TARGET must be one of:\n"), List(), 2;
  if (target->prepare) target->prepare();
  harness::LimitRequests(target->largest);
  if (first != "--seeds") return Fuzz(count, arguments);
  SeedFiles files(count > 2 ? arguments[2] : ".");
  if (target->addSeeds) target->addSeeds(files);
  return 0;
}
