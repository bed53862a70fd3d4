// Streams, files, object files, XML.
#include "runtime.h"

#include <qecore/core/registry.h>
#include <qecore/io/buffered_stream.h>
#include <qecore/io/deserializer.h>
#include <qecore/io/file.h>
#include <qecore/io/file_find.h>
#include <qecore/io/file_stream.h>
#include <qecore/io/file_system.h>
#include <qecore/io/file_type.h>
#include <qecore/io/mem_stream.h>
#include <qecore/io/save_file.h>
#include <qecore/io/serializer.h>
#include <qecore/io/write_behind_stream.h>
#include <qecore/io/xml.h>
#include <qecore/values/map.h>
#include <qecore/values/str.h>

#include <new>

using namespace yk;

namespace {

Ref<Stream> NewMemory() {
  Ref<Stream> stream;
  (void)MemStream::Create(stream.Receive());
  return stream;
}

// A stream of the program, which the library reads from.
class Letters : public Destroys<Letters, Stream> {
 public:
  using Stream::Read;
  HRESULT Read(void* buffer, unsigned size, unsigned* done) noexcept override {
    for (unsigned i = 0; i < size; ++i)
      static_cast<char*>(buffer)[i] = static_cast<char>('a' + position++ % 26);
    if (done) *done = size;
    return S_OK;
  }
  HRESULT Seek(long offset, unsigned, unsigned* now) noexcept override {
    position = static_cast<unsigned>(offset);
    if (now) *now = position;
    return S_OK;
  }
  unsigned GetPosition() noexcept override { return position; }
  unsigned GetSize() noexcept override { return 100; }
  HRESULT GetState() noexcept override { return S_OK; }

 private:
  unsigned position = 0;
};

bool Streams() {
  Ref<Stream> const letters = Ref<Stream>::Adopt(new (std::nothrow) Letters), memory = NewMemory();
  Ref<Stream> buffered, written, missing;
  char text[4] = {};
  Guid type;
  String read;
  bool ok = CopyStream(letters.get(), memory.get(), 2, 50) == S_OK && memory->GetSize() == 50 &&
            memory->Seek(0, Stream::FROM_START) == S_OK &&
            ykCreateBufferedStream(memory.get(), buffered.Receive()) == S_OK &&
            ykCreateWriteBehindStream(memory.get(), written.Receive()) == S_OK &&
            buffered->Read(text, 3) == S_OK && Same<char>(text, "cde") &&
            Failed(qe_DetectFileType(memory.get(), type));
  ok = ok && MemStream::Create(nullptr, L"none", L"none", missing.Receive()) != S_OK &&
       letters->Read(read) == S_OK;
  return ok && letters->WriteStringAsUTF8(L"x", true) != S_FALSE &&
         NewMemory()->WriteStringAsUTF8(L"x", false) == S_OK;
}

// A file system of the program, with one file in a folder.
class Entry : public Destroys<Entry, ykFSEntry> {
 public:
  HRESULT OpenStream(Stream** out, unsigned) noexcept override { return MemStream::Create(out); }
};

class FileSystem : public Destroys<FileSystem, ykFS> {
 public:
  HRESULT FindEntry(wchar_t const* name, ykFSEntry** out) noexcept override {
    *out = Same(name, L"file") ? new (std::nothrow) Entry : nullptr;
    return *out ? S_OK : YK_E_NOTFOUND;
  }
};

bool FileSystems() {
  Ref<FileSystem> const files = Ref<FileSystem>::Adopt(new (std::nothrow) FileSystem);
  Ref<Stream> stream;
  return files->GetStream(L"file", stream.Receive()) == S_OK && stream->GetSize() == 0;
}

bool Files() {
  wchar_t temporary[300];
  String folder, path, name, found;
  file::GetTempFolder(300, temporary);
  folder.printf(L"%sqecore_microsoft", temporary);
  file::NewFolder(folder.c_str());
  path = folder + L"\\one.bin";
  Ref<Stream> stream;
  bool ok = file::IsFolder(folder.c_str()) && file::NewFolderEx(folder + L"\\a\\b") == S_OK &&
            FileStream::Create(path, FileStream::CREATE, stream.Receive()) == S_OK &&
            stream->Write("12345", 5) == S_OK;
  stream.Reset();
  FileFind find(folder, String(L"*.bin"), FileFind::FILES);
  ok = ok && file::IsFileExist(path) && find.GetNext() && find.GetFullName(found) && !find.IsFolder() &&
       find.size == 5 && found == path && RegularCompare(L"o*.b?n", L"one.bin");
  SaveFile save, dropped;
  ok = ok && save.Open(path) == S_OK && save.GetStream()->Write("1", 1) == S_OK && save.Commit() == S_OK &&
       dropped.Open(path) == S_OK;
  dropped.Discard();
  return ok && FileStream::CreateTemp(stream.Receive()) == S_OK && stream->GetState() == S_OK;
}

// What WriteObjects wrote.
bool ReadObjects(Stream& stream) {
  Ref<Deserializer> const reader = Ref<Deserializer>::Adopt(Deserializer::Create());
  Ref<Map> const map = Ref<Map>::Adopt(Map::Create());
  String text;
  Variant value;
  int number = 0;
  bool ok = stream.Seek(0, Stream::FROM_START) == S_OK && reader->Open(&stream, chunk::RAW) == S_OK &&
            reader->BeginChunk() == 21 && text.Load(reader.get()) && text == L"text" && reader->EndChunk();
  ok = ok && reader->BeginChunk() == 22 && reader->GetRemaining() == 6 &&
       value.Load(reader.get(), nullptr) == S_OK && value.Get(number) && number == 77 && reader->EndChunk();
  ok = ok && reader->BeginChunk() == 23 && map->Load(reader.get(), nullptr) == S_FALSE && map->Count() == 1;
  ClassInfo const record(reader.get());
  return ok && reader->EndChunk() && reader->AddReference(map.get()) == S_OK && !record.name;
}

bool ObjectFiles() {
  Ref<Stream> const stream = NewMemory();
  Ref<Serializer> const writer = Ref<Serializer>::Adopt(Serializer::Create());
  Ref<Map> const map = Ref<Map>::Adopt(Map::Create());
  Variant value;
  value.Init(77);
  bool ok = map->SetValue(1, value) == S_OK && writer->Open(stream.get(), chunk::RAW) == S_OK &&
            String(L"text").Save(writer.get(), 21) == S_OK && writer->BeginChunk(22) == S_OK &&
            value.Save(writer.get(), nullptr) == S_OK && writer->EndChunk() == S_OK;
  ok = ok && writer->BeginChunk(23, chunk::DROP_IF_EMPTY) == S_OK &&
       map->Save(writer.get(), nullptr) == S_OK && writer->EndChunk() == S_OK && writer->Close() == S_OK;
  return ok && ReadObjects(*stream);
}

bool Xml() {
  Ref<XmlHelper> const xml = Ref<XmlHelper>::Adopt(XmlHelper::Create());
  Ref<Stream> const stream = NewMemory();
  XmlNode *const document = xml->CreateDocument(), *const list = xml->CreateNode(XML_ELEMENT, L"list"),
                 *read = nullptr;
  XmlError error;
  bool ok = xml->AppendChild(document, list) == S_OK && xml->SetAttribute(list, L"count", L"2") == S_OK &&
            xml->Save(document, stream.get(), XML_LAYOUT) == S_OK &&
            stream->Seek(0, Stream::FROM_START) == S_OK && xml->Load(stream.get(), &read, &error) == S_OK;
  ok = ok && read->FirstChild()->Name() == L"list" &&
       xml->FindAttribute(read->FirstChild(), L"count")->Value() == L"2";
  xml->FreeNode(document);
  xml->FreeNode(read);
  return ok;
}

constexpr Case CASES[] = {{"streams", Streams},
                          {"file systems", FileSystems},
                          {"files", Files},
                          {"object files", ObjectFiles},
                          {"XML", Xml}};

}  // namespace

Cases const IO = CasesOf(CASES);
