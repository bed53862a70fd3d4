// Streams, object files and XML.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "documents.h"

namespace bench {

using namespace yk;

namespace {

constexpr char STREAMS[] = "streams", OBJECT_FILES[] = "object files", XML[] = "XML";
constexpr unsigned WRITES = 100000;
constexpr size_t FILE_SIZE = 1 << 22;

/// A block that grows by doubling: what a caller writes by hand instead of using a stream.
struct Block {
  char* bytes = nullptr;
  size_t used = 0, room = 0;
  ~Block() { free(bytes); }
  void Append(void const* from, size_t size) {
    if (used + size > room) bytes = static_cast<char*>(realloc(bytes, room = 2 * room + size + 256));
    memcpy(bytes + used, from, size);
    used += size;
  }
};

void AddMemoryStream() {
  AddRow(STREAMS, "writes of 4 bytes to memory", WRITES, "a block grown by hand", [] {
    Work const ours = [] {
      StreamRef const stream = NewMemory();
      for (unsigned i = 0; i < WRITES; ++i) stream->Write(&i, sizeof i);
    };
    return Pair{ours, [] {
                  Block block;
                  for (unsigned i = 0; i < WRITES; ++i) block.Append(&i, sizeof i);
                  Keep(block);
                }};
  });
}

void AddBufferedStream() {
  AddRow(STREAMS, "buffered reads of 4 bytes from a file", FILE_SIZE / 4, "fread", [] {
    auto const path = std::make_shared<String>(TemporaryPath(L"numbers"));
    OpenFile(*path, FileStream::CREATE)->Write(std::string(FILE_SIZE, 'n').data(), FILE_SIZE);
    Work const ours = [=] {
      StreamRef const inner = OpenFile(*path, FileStream::READ);
      StreamRef stream;
      ykCreateBufferedStream(inner.get(), stream.Receive());
      unsigned value = 0, sum = 0, done = 4;
      while (Succeeded(stream->Read(&value, 4, &done)) && done == 4) sum += value;
      Keep(sum);
    };
    return Pair{ours, [=] {
                  FILE* const stream = _wfopen(path->c_str(), L"rb");
                  unsigned value = 0, sum = 0;
                  while (fread(&value, 4, 1, stream) == 1) sum += value;
                  fclose(stream);
                  Keep(sum);
                }};
  });
}

// ---- object files

constexpr int GROUPS = 100, CHUNKS = 1000;  // in each group
constexpr unsigned SIZES[4] = {4, 8, 16, 28};
constexpr char PAYLOAD[32] = {};

void WriteChunks(Stream* stream) {
  Ref<Serializer> const writer = Ref<Serializer>::Adopt(Serializer::Create());
  writer->Open(stream, 0);
  for (int group = 0; group < GROUPS; ++group) {
    writer->BeginChunk(100);
    for (int i = 0; i < CHUNKS; ++i) {
      writer->BeginChunk(101);
      stream->Write(PAYLOAD, SIZES[i & 3]);
      writer->EndChunk();
    }
    writer->EndChunk();
  }
  writer->Close();
}

void WriteChunksByHand(Block& block) {
  struct Header {
    uint16_t tag, low, high;
  } header = {101, 0, 0};
  for (int group = 0; group < GROUPS; ++group) {
    for (int i = 0; i < CHUNKS; ++i) {
      header.low = static_cast<uint16_t>(sizeof header + SIZES[i & 3]);
      block.Append(&header, sizeof header);
      block.Append(PAYLOAD, SIZES[i & 3]);
    }
  }
}

unsigned ReadChunks(Stream* stream) {
  stream->Seek(0, Stream::FROM_START);
  Ref<Deserializer> const reader = Ref<Deserializer>::Adopt(Deserializer::Create());
  reader->Open(stream, 0);
  unsigned sum = 0;
  char payload[32];
  while (reader->IsInChunk()) {
    reader->BeginChunk();
    while (reader->IsInChunk()) {
      sum += reader->BeginChunk();
      stream->Read(payload, reader->GetChunkSize());
      reader->EndChunk();
    }
    reader->EndChunk();
  }
  return sum;
}

unsigned ReadChunksByHand(Block const& block) {
  unsigned sum = 0;
  char payload[32];
  for (size_t at = 0; at + 6 <= block.used;) {
    uint16_t header[3];
    memcpy(header, block.bytes + at, sizeof header);
    memcpy(payload, block.bytes + at + sizeof header, header[1] - sizeof header);
    Keep(payload);
    sum += header[0];
    at += header[1];
  }
  return sum;
}

void AddChunks() {
  constexpr double ALL = double{GROUPS} * CHUNKS;
  AddRow(OBJECT_FILES, "small chunks written to memory", ALL, "a block grown by hand", [] {
    return Pair{[] { WriteChunks(NewMemory().get()); },
                [] {
                  Block block;
                  WriteChunksByHand(block);
                  Keep(block);
                }};
  });
  AddRow(OBJECT_FILES, "small chunks read from memory", ALL, "a loop over a block", [] {
    StreamRef const stream = NewMemory();
    WriteChunks(stream.get());
    auto const block = std::make_shared<Block>();
    WriteChunksByHand(*block);
    return Pair{[=] { Keep(ReadChunks(stream.get())); }, [=] { Keep(ReadChunksByHand(*block)); }};
  });
}

// ---- XML

using XmlRef = Ref<XmlHelper>;

constexpr size_t RECORDS = 5000;

/// Saves a catalogue. \return the text
std::string TextOf(XmlHelper& xml, XmlNode const* document) {
  StreamRef const stream = NewMemory();
  xml.Save(document, stream.get(), XML_LAYOUT);
  std::string text(SizeOf(stream), ' ');
  stream->Seek(0, Stream::FROM_START);
  stream->Read(text.data(), static_cast<unsigned>(text.size()));
  return text;
}

/// What every parser does at least: looks at each character.
size_t CountMarks(std::string const& text) {
  size_t count = 0;
  for (char c : text) {
    if (c == '<' || c == '&' || c == '"' || c == '>') ++count;
    Keep(count);
  }
  return count;
}

std::string CopyCharacters(std::string const& text) {
  std::string copy;
  for (char c : text) {
    if (c == '\r') copy += "&#13;";
    copy += c;
  }
  return copy;
}

void AddXml(char const* name, unsigned flags) {
  XmlRef const xml = XmlRef::Adopt(XmlHelper::Create());
  std::shared_ptr<XmlNode> const document(MakeCatalogue(*xml, RECORDS),
                                          [=](XmlNode* node) { xml->FreeNode(node); });
  auto const text = std::make_shared<std::string>(TextOf(*xml, document.get()));
  AddRow(XML, name, static_cast<double>(text->size()), "a loop that copies", [=] {
    return Pair{[=] { xml->Save(document.get(), NewMemory().get(), flags); },
                [=] { Keep(CopyCharacters(*text)); }};
  });
}

void AddXmlReading() {
  XmlRef const xml = XmlRef::Adopt(XmlHelper::Create());
  XmlNode* const document = MakeCatalogue(*xml, RECORDS);
  auto const text = std::make_shared<std::string>(TextOf(*xml, document));
  xml->FreeNode(document);
  AddRow(XML, "read", static_cast<double>(text->size()), "a loop that looks", [=] {
    StreamRef const stream = NewMemory();
    stream->Write(text->data(), static_cast<unsigned>(text->size()));
    Work const ours = [=] {
      stream->Seek(0, Stream::FROM_START);
      XmlNode* read = nullptr;
      if (Failed(xml->Load(stream.get(), &read, nullptr))) abort();
      xml->FreeNode(read);
    };
    return Pair{ours, [=] { Keep(CountMarks(*text)); }};
  });
}

}  // namespace

void AddFiles() {
  AddMemoryStream();
  AddBufferedStream();
  AddChunks();
  AddXmlReading();
  AddXml("written as UTF-8", XML_LAYOUT);
  AddXml("written as UTF-16", XML_UTF16);
}

}  // namespace bench
