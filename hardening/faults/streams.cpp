// Streams and files: growing, buffered, copied, temporary, searched, replaced.
#include <qecore/io/buffered_stream.h>
#include <qecore/io/file.h>
#include <qecore/io/file_find.h>
#include <qecore/io/file_stream.h>
#include <qecore/io/file_type.h>
#include <qecore/io/mem_stream.h>
#include <qecore/io/save_file.h>
#include <qecore/io/write_behind_stream.h>
#include <qecore/values/string.h>

#include "faults.h"

namespace faults {

namespace {

constexpr char16_t SOURCE[] = u"C:\\source";
constexpr char16_t TARGET[] = u"C:\\target";
constexpr unsigned SIZE = 60000;

std::string const& Bytes() {
  static std::string const bytes = [] {
    std::string made;
    for (unsigned i = 0; i < SIZE; ++i) made += static_cast<char>(i * 7 + i / 256);
    return made;
  }();
  return bytes;
}

void PutSource() {
  harness::ClearFiles();
  harness::PutFile(SOURCE, Bytes());
  harness::PutFile(TARGET, "old");
}

bool Open(char16_t const* path, unsigned mode, Ref<Stream>& stream, Outcome& outcome) {
  return outcome.Note(FileStream::Create(Wide(path), mode, stream.Receive()));
}

HRESULT FailureOf(Stream& file) { return static_cast<FileStream&>(file).GetFailure(); }

// After a failed growth the block still holds what was written, and accepts more once there is memory again.
Outcome GrowMemStream() {
  Outcome outcome;
  Ref<Stream> stream;
  if (!outcome.Note(MemStream::Create(stream.Receive()))) return outcome.End();
  MemStream& memory = static_cast<MemStream&>(*stream);
  unsigned written = 0;
  for (unsigned at = 0; at < SIZE * 4; at += 1000) {
    unsigned done = 0;
    outcome.Note(stream->Write(Bytes().data() + at % SIZE, 1000, &done));
    written += done;
  }
  outcome.Note(stream->SetSize(written / 2));
  outcome.Note(memory.GetFailure());
  harness::Calm const calm;
  outcome.whole = written == SIZE * 4 && stream->GetSize() == written / 2;
  stream->Seek(0, Stream::FROM_END);
  if (Failed(stream->Write("more", 4)) && stream->GetSize() > 0)
    outcome.broken = "a stream that accepts no more";
  return outcome;
}

// Data that fits the capacity need not fit the block of a shrunk stream; a full one needs no growth.
Outcome GrowCutMemStream() {
  constexpr unsigned STEP = 0x10000;
  Outcome outcome;
  for (unsigned const size : {500u, STEP - 1000, STEP, 1u}) {
    bool const fills = size == 1;
    Ref<Stream> const stream = Calmly([&] {
      Ref<Stream> made;
      if (Failed(MemStream::Create(made.Receive()))) abort();
      made->Write(std::string(STEP, 'a').data(), fills ? STEP - 1 : 1);
      if (!fills) made->SetSize(1000);
      made->Seek(0, Stream::FROM_END);
      return made;
    });
    unsigned const before = stream->GetSize();
    unsigned done = 1;
    bool const written = outcome.Note(stream->Write(std::string(size, 'b').data(), size, &done));
    outcome.whole = outcome.whole && written;
    if (done != (written ? size : 0)) outcome.broken = "a write that reports another size";
    if (stream->GetSize() != before + done && stream->GetSize() > 0)
      outcome.broken = "a stream of another size";
    if (Succeeded(static_cast<MemStream&>(*stream).GetFailure()) != written)
      outcome.broken = "a failure that is not stored";
  }
  return outcome;
}

Outcome ReadBuffered() {
  Outcome outcome;
  Ref<Stream> file, buffered;
  if (!Open(SOURCE, FileStream::READ, file, outcome)) return outcome.End();
  if (!outcome.Note(ykCreateBufferedStream(file.get(), buffered.Receive()))) return outcome.End();
  for (unsigned at = 0; at < SIZE; at += 500) {
    char bytes[500];
    unsigned done = 0;
    outcome.Note(buffered->Read(bytes, sizeof bytes, &done));
    outcome.Note(done == sizeof bytes);  // failed reads show up as short reads
    bool const same = done == sizeof bytes && !memcmp(bytes, &Bytes()[at], sizeof bytes);
    outcome.whole = outcome.whole && same;
    if (done == sizeof bytes && !same) outcome.broken = "bytes that differ from the file's";
    if (done != sizeof bytes) buffered->Seek(static_cast<int>(at + sizeof bytes), Stream::FROM_START);
  }
  return outcome;
}

// (Contract: a piece that the source cannot fill is written at full length, padded with zeros: no short reads
// here.)
Outcome Copy() {
  Outcome outcome;
  Ref<Stream> from, to;
  if (!Open(SOURCE, FileStream::READ, from, outcome) || !Open(TARGET, FileStream::CREATE, to, outcome))
    return outcome.End();
  outcome.Note(CopyStream(from.get(), to.get(), 0, -1));
  outcome.Note(FailureOf(*to));
  outcome.whole = harness::ReadFile(TARGET) == Bytes();
  return outcome;
}

// A host that does not check the results of writes checks once.
Outcome WriteFile() {
  Outcome outcome;
  Ref<Stream> file;
  if (!Open(TARGET, FileStream::CREATE, file, outcome)) return outcome.End();
  for (unsigned at = 0; at < SIZE; at += 6000) file->Write(&Bytes()[at], 6000);
  file->SetSize(SIZE / 2);
  outcome.Note(FailureOf(*file));
  outcome.whole = harness::ReadFile(TARGET) == Bytes().substr(0, SIZE / 2);
  if (Failed(FailureOf(*file)) && Succeeded(file->GetState()))
    outcome.broken = "GetState does not report a failure";
  return outcome;
}

Outcome WriteBehind() {
  Outcome outcome;
  Ref<Stream> file, behind;
  if (!Open(TARGET, FileStream::CREATE, file, outcome)) return outcome.End();
  if (!outcome.Note(ykCreateWriteBehindStream(file.get(), behind.Receive()))) return outcome.End();
  for (unsigned at = 0; at < SIZE; at += 500) behind->Write(&Bytes()[at], 500);
  behind->SetSize(SIZE / 2);
  behind->Seek(10, Stream::FROM_START);
  char bytes[500] = {};
  outcome.Note(behind->Read(bytes, sizeof bytes));
  outcome.Note(behind->GetState());
  outcome.whole =
      harness::ReadFile(TARGET) == Bytes().substr(0, SIZE / 2) && !memcmp(bytes, &Bytes()[10], 500);
  return outcome;
}

Outcome ReplaceFile() {
  Outcome outcome;
  SaveFile save;
  if (outcome.Note(save.Open(Wide(TARGET)))) {
    for (unsigned at = 0; at < SIZE; at += 6000) save.GetStream()->Write(&Bytes()[at], 6000);
    outcome.Note(save.Commit());
  }
  save.Discard();
  outcome.whole = harness::ReadFile(TARGET) == Bytes();
  outcome.broken = CheckReplaced(TARGET, "old", Bytes());
  if (harness::ListFiles().size() != 2) outcome.broken = "another file is left in the folder";
  return outcome;
}

Outcome UseTemporary() {
  Outcome outcome;
  {
    Ref<Stream> file;
    if (!outcome.Note(FileStream::CreateTemp(file.Receive()))) return outcome.End();
    outcome.Note(file->Write("bytes", 5));
    outcome.Note(file->Seek(0, Stream::FROM_START));
    char bytes[5] = {};
    unsigned done = 0;
    outcome.Note(file->Read(bytes, sizeof bytes, &done));
    outcome.Note(done == sizeof bytes);
    outcome.whole = !memcmp(bytes, "bytes", 5);
  }
  return outcome;
}

Outcome MakeTemporaryName() {
  Outcome outcome;
  String path;
  outcome.whole = outcome.Note(path.TempFile());
  bool const listed = harness::ListFiles().size() == 3;
  if (listed != outcome.whole) outcome.broken = "an orphaned temporary file";
  return outcome;
}

Outcome Detect() {
  Outcome outcome;
  Ref<Stream> file;
  if (!Open(SOURCE, FileStream::READ, file, outcome)) return outcome.End();
  Guid type;
  outcome.whole = outcome.Note(qe_DetectFileType(file.get(), type)) && type == ids::FILE_PNG;
  if (Succeeded(outcome.reported) && !(type == ids::FILE_PNG)) outcome.broken = "a wrong type";
  return outcome;
}

void PutPicture() {
  PutSource();
  harness::PutFile(SOURCE, "\x89PNG\r\n\x1A\n----");
}

// A text for which there is no memory is empty, and the data after it is still found.
Outcome ReadText() {
  Outcome outcome;
  Ref<Stream> const stream = Calmly([] {
    Ref<Stream> made;
    if (Failed(MemStream::Create(made.Receive()))) abort();
    made->Write("\x14\0t\0w\0e\0n\0t\0y\0 \0c\0h\0a\0r\0a\0c\0t\0e\0r\0s\0 \0o\0k\0\1\0z\0", 46);
    made->Seek(0, Stream::FROM_START);
    return made;
  });
  String text, next;
  if (Failed(stream->Read(text))) outcome.broken = "an unexpected failure";
  harness::Calm const calm;
  stream->Read(next);
  if (next != L"z") outcome.broken = "the data after a text is lost";
  outcome.Note(!text.IsEmpty());
  outcome.whole = text == L"twenty characters ok";
  return outcome;
}

Outcome CompareNames() {
  static std::u16string const name(600, u'a');  // longer than the preallocated arrays
  Outcome outcome;
  outcome.whole = outcome.Note(RegularCompare(L"*a?", Wide(name)));
  return outcome;
}

// A named stream of a file is written directly, since it cannot be replaced on its own.
Outcome SavePart() {
  constexpr char16_t PART[] = u"C:\\target:part";
  Outcome outcome;
  SaveFile save;
  if (outcome.Note(save.Open(Wide(PART)))) {
    save.GetStream()->Write("bytes", 5);
    outcome.Note(save.Commit());
  }
  save.Discard();
  outcome.whole = harness::ReadFile(PART) == "bytes";
  if (harness::ReadFile(TARGET) != "old") outcome.broken = "the file itself has changed";
  return outcome;
}

constexpr Scenario SCENARIOS[] = {
    {"memory stream: grow", harness::MEMORY | harness::LOCK, nullptr, GrowMemStream},
    {"memory stream: cut and grow", harness::MEMORY | harness::LOCK, nullptr, GrowCutMemStream},
    {"buffered stream: read", LOADING, PutSource, ReadBuffered},
    {"streams: copy", SAVING | harness::READ, PutSource, Copy},
    {"file stream: write", SAVING, PutSource, WriteFile},
    {"write-behind stream: write and read", SAVING | harness::READ, PutSource, WriteBehind},
    {"save file: replace", SAVING | harness::REMOVE, PutSource, ReplaceFile},
    {"save file: a named part", SAVING, PutSource, SavePart},
    {"file stream: temporary", SAVING | LOADING, PutSource, UseTemporary},
    {"string: temporary file", harness::MEMORY | harness::OPEN, PutSource, MakeTemporaryName},
    {"stream: read a text", harness::MEMORY, nullptr, ReadText},
    {"names: compare", harness::MEMORY, nullptr, CompareNames},
    {"file type: detect", LOADING, PutPicture, Detect},
};

}  // namespace

std::span<Scenario const> StreamScenarios() { return SCENARIOS; }

}  // namespace faults
