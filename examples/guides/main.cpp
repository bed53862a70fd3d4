// The code of the guides in docs/guides, compiled and run.
//
//   guides photograph.jpg             works in the current folder; prints what it does
#include <qecore/core/diagnostics.h>
#include <qecore/core/error.h>
#include <qecore/core/execution_context.h>
#include <qecore/core/parallel.h>
#include <qecore/core/ref.h>
#include <qecore/core/system.h>
#include <qecore/image/file_info.h>
#include <qecore/image/image_file.h>
#include <qecore/image/orientation.h>
#include <qecore/io/deserializer.h>
#include <qecore/io/mem_stream.h>
#include <qecore/io/save_file.h>
#include <qecore/io/serializer.h>
#include <qecore/values/str.h>
#include <qecore/values/variant.h>
#include <stdio.h>

#include <new>
#include <thread>
#include <vector>

using namespace yk;

namespace {

//! [message]
// Not by "%ls", which ends the line at a character that the C locale lacks.
void Print(wchar_t const* text) noexcept {
  char line[2048] = "";
  str::WToUTF8(text, line, sizeof line);
  puts(line);
}

void ShowFailure() {
  wchar_t line[512];
  ErrorMessage(LastError(), line, 512);
  Print(line);  // cannot read photo.png: the picture needs 4.3 GB, 38000 × 38000 pixels; the most is 2.1 GB
}
//! [message]

//! [progress]
class ProgressLine final : public ExecutionContext {
 public:
  bool Continue(Progress const& progress) noexcept override {
    if (progress.total > 0)
      printf("%s: %llu of %llu\r", progress.operation, progress.done, progress.total);
    else
      printf("%s: %llu\r", progress.operation,
             progress.done);  // the total is unknown while a file is written
    return !stopped;  // false: the operation returns E_ABORT, and no incomplete file or new image is left
  }
  bool stopped = false;  // set by the Cancel button
};
//! [progress]

//! [load]
HRESULT MakeSmall(wchar_t const* from, wchar_t const* to, ExecutionContext* progress) {
  Ref<AbstractImage> loaded;
  HRESULT result = img::Read(from, nullptr, progress, loaded.Receive());
  if (Failed(result)) return result;
  if (!loaded->IsTypeOf(ids::IMAGE_2D)) return Fail(YK_E_FORMAT, "MakeSmall", L"not an image of pixels");

  Ref<Image2d> picture;  // upright: cameras only say how to turn their pictures
  result = img::MakeUpright(static_cast<Image2d&>(*loaded), picture.Receive());
  if (Failed(result)) return result;

  Image2d* half = nullptr;
  result = picture->Rescale((picture->width + 1) / 2, (picture->height + 1) / 2, IMG_BGR24, &half, progress);
  if (Failed(result)) return result;  // then `half` points to nothing
  return img::Write(*Ref<Image2d>::Adopt(half), to, nullptr, nullptr, progress);
}
//! [load]

//! [options]
// Reads one picture of a file that may have several.
HRESULT ReadFrame(wchar_t const* path, wchar_t const* frame, AbstractImage** image) {
  *image = nullptr;
  Ref<Map> const info = Ref<Map>::Adopt(Map::Create()), options = Ref<Map>::Adopt(Map::Create());
  if (!info || !options) return E_OUTOFMEMORY;
  Guid type;
  HRESULT result = img::QueryInfo(path, info.get(), &type);  // finds the filter, and reads no pixels
  if (Failed(result)) return result;
  Variant frames;
  unsigned count = 1;
  if (Succeeded(info->GetValue(img::INFO_FRAMES, frames))) frames.Get(count);
  printf("frames: %u\n", count);
  result = img::SetOption(type, FILTER_READ, L"frame", frame, options.get());
  if (Failed(result)) return result;  // JPEG files have no option frame when they are read
  return img::Read(path, options.get(), nullptr, image);
}

HRESULT WriteSmallTiff(Image2d& picture, wchar_t const* path) {
  Ref<Map> const options = Ref<Map>::Adopt(Map::Create());
  if (!options) return E_OUTOFMEMORY;
  HRESULT const result = img::SetOption(ids::FILE_TIFF, FILTER_WRITE, L"compression", L"zip", options.get());
  return Failed(result) ? result : img::Write(picture, path, &ids::FILE_TIFF, options.get(), nullptr);
}
//! [options]

bool KnowsOptions(wchar_t const* photograph) {
  Ref<AbstractImage> image;
  if (Failed(img::Read(photograph, nullptr, nullptr, image.Receive()))) return false;
  if (Failed(WriteSmallTiff(static_cast<Image2d&>(*image), L"guides.tif"))) return false;
  return Succeeded(ReadFrame(L"guides.tif", L"0", image.Receive()));
}

//! [class]
constexpr Guid SHAPE_ID = {0x6B1F0A34, 0x52C7, 0x4D8E, {0x9A, 0x03, 0x7C, 0xE1, 0x48, 0xB5, 0x20, 0xD9}};

class Shape : public Implements<Shape, yk::Unknown> {
 public:
  static Guid const& Id() noexcept { return SHAPE_ID; }
  static Shape* Create() noexcept { return new (std::nothrow) Shape; }

  HRESULT Save(Serializer& writer) const;
  HRESULT Load(Deserializer& reader);

  String name;
  float width = 1;
  unsigned colour = 0xFF000000;  // since version 2 of the program
};
//! [class]

//! [save]
// Never reuse a tag, and never change what a tag contains: add a new one.
enum ShapeTag : unsigned short { SHAPE = 100, NAME = 101, WIDTH = 102, COLOUR = 103 };

HRESULT Shape::Save(Serializer& writer) const {
  writer.BeginChunk(SHAPE);
  name.Save(&writer, NAME);
  writer.WriteChunk(WIDTH, &width, sizeof width);
  writer.WriteChunk(COLOUR, &colour, sizeof colour);
  writer.EndChunk();
  return writer.GetFailure();
}
//! [save]

//! [read]
HRESULT Shape::Load(Deserializer& reader) {
  while (reader.IsInChunk()) {
    switch (reader.BeginChunk()) {
      case NAME:
        name.Load(&reader);
        break;
      case WIDTH:
        if (reader.GetChunkSize() == sizeof width) reader.GetStream()->Read(&width, sizeof width);
        break;
      case COLOUR:
        if (reader.GetChunkSize() == sizeof colour) reader.GetStream()->Read(&colour, sizeof colour);
        break;
      default:
        break;  // of a later version: EndChunk skips it
    }
    reader.EndChunk();
  }
  return reader.GetFailure();
}
//! [read]

//! [file]
HRESULT SaveDrawing(wchar_t const* path, std::vector<Ref<Shape>> const& shapes) {
  SaveFile file;
  HRESULT result = file.Open(path);
  if (Failed(result)) return result;
  Ref<Serializer> const writer = Ref<Serializer>::Adopt(Serializer::Create());
  if (!writer) return E_OUTOFMEMORY;
  writer->Open(file.GetStream(), 0);
  for (Ref<Shape> const& shape : shapes) shape->Save(*writer);
  writer->Close();
  result = writer->GetFailure();
  return Failed(result) ? result : file.Commit();  // the old file stays until this has succeeded
}

HRESULT LoadDrawing(wchar_t const* path, std::vector<Ref<Shape>>& shapes) {
  Ref<Stream> stream;
  HRESULT result = FileStream::Create(path, FileStream::READ, stream.Receive());
  if (Failed(result)) return result;
  Ref<Deserializer> const reader = Ref<Deserializer>::Adopt(Deserializer::Create());
  if (!reader) return E_OUTOFMEMORY;
  result = reader->Open(stream.get(), 0);
  while (Succeeded(result) && reader->IsInChunk()) {
    if (reader->BeginChunk() == SHAPE) {
      shapes.push_back(Ref<Shape>::Adopt(Shape::Create()));
      result = shapes.back() ? shapes.back()->Load(*reader) : E_OUTOFMEMORY;
    }
    reader->EndChunk();
  }
  return Failed(result) ? result : reader->GetFailure();
}
//! [file]

bool KeepsDrawings() {
  std::vector<Ref<Shape>> const saved = {Ref<Shape>::Adopt(Shape::Create())};
  saved[0]->name = L"circle";
  saved[0]->width = 2.5f;
  std::vector<Ref<Shape>> read;
  if (Failed(SaveDrawing(L"guides.drawing", saved)) || Failed(LoadDrawing(L"guides.drawing", read)))
    return false;
  return read.size() == 1 && read[0]->name == L"circle" && read[0]->width == 2.5f;
}

//! [tree]
struct Node {
  Ref<Map> values = Ref<Map>::Adopt(Map::Create());
  std::vector<Node> children;
};

enum NodeTag : unsigned short { VALUES = 200, CHILD = 201 };

void SaveNode(Serializer& writer, Node const& node) {
  writer.BeginChunk(VALUES);
  node.values->Save(&writer, nullptr);
  writer.EndChunk();
  for (Node const& child : node.children) {
    writer.BeginChunk(CHILD);
    SaveNode(writer, child);
    writer.EndChunk();
  }
}

// A file may nest chunks to any depth, so that the recursion needs a limit.
HRESULT LoadNode(Deserializer& reader, Node& node, unsigned depth = 100) {
  if (depth == 0) return Fail(YK_E_BADFILE, "LoadNode", L"the tree is too deep");
  HRESULT result = node.values ? S_OK : E_OUTOFMEMORY;
  while (Succeeded(result) && reader.IsInChunk()) {
    unsigned short const tag = reader.BeginChunk();
    if (tag == VALUES) result = node.values->Load(&reader, nullptr);
    if (tag == CHILD) result = LoadNode(reader, node.children.emplace_back(), depth - 1);
    reader.EndChunk();
  }
  return Failed(result) ? result : reader.GetFailure();
}
//! [tree]

bool KeepsTrees() {
  Node root, read;
  root.children.resize(1);
  root.children[0].values->SetValue(7, Variant(L"leaf"));
  Ref<Stream> stream;
  Ref<Serializer> const writer = Ref<Serializer>::Adopt(Serializer::Create());
  Ref<Deserializer> const reader = Ref<Deserializer>::Adopt(Deserializer::Create());
  if (!writer || !reader || Failed(MemStream::Create(stream.Receive()))) return false;
  writer->Open(stream.get(), 0);
  SaveNode(*writer, root);
  writer->Close();
  stream->Seek(0, Stream::FROM_START);
  if (Failed(writer->GetFailure()) || Failed(reader->Open(stream.get(), 0))) return false;
  Variant value;
  return Succeeded(LoadNode(*reader, read)) && read.children.size() == 1 &&
         Succeeded(read.children[0].values->GetValue(7, value)) && value.Compare(Variant(L"leaf"));
}

//! [threads]
void MakeSmallTogether(std::vector<wchar_t const*> const& names, wchar_t const* from) {
  SetThreadCount(1);  // each of these threads processes a picture of its own
  std::vector<std::thread> threads;
  for (wchar_t const* name : names) {
    threads.emplace_back([=] {
      if (Failed(MakeSmall(from, name, nullptr))) ShowFailure();  // this thread's own failure
    });
  }
  for (std::thread& thread : threads) thread.join();
  SetThreadCount(0);
}
//! [threads]

//! [refs]
void Ownership() {
  Ref<Map> map = Ref<Map>::Adopt(Map::Create());      // a new object: its one reference is ours
  Map* const borrowed = map.get();                    // no reference: valid while `map` holds one
  Ref<Map> const second = Ref<Map>::Share(borrowed);  // a reference of our own to what we have borrowed
  Ref<Map> third;
  CreateInterface(ids::MAP, third.ReceiveVoid());  // an output parameter
}
//! [refs]

}  // namespace

extern "C" int wmain(int count, wchar_t** arguments) {
  if (count != 2) return puts("usage: guides IN.jpg"), 2;
  //! [start]
  SetErrorHandler(Print);  // a program without windows prints what would be shown in a message box
  Ref<System> const system = Ref<System>::Adopt(System::Create());
  if (!system) return ShowFailure(), 1;  // no memory, or the library is older than the headers
  String const programs = String(arguments[0]).FilePath();
  system->ScanModules(programs, L"guides.cache");  // plug-ins beside the program; a cache where we may write
  //! [start]

  String const photograph(arguments[1]);
  ProgressLine progress;
  if (Failed(MakeSmall(photograph.c_str(), L"guides.png", &progress))) return ShowFailure(), 1;
  MakeSmallTogether({L"guides1.png", L"guides2.png"}, photograph.c_str());
  Ownership();
  if (!KnowsOptions(photograph.c_str()) || !KeepsDrawings() || !KeepsTrees()) return ShowFailure(), 1;
  puts("\nall guides work");
  return 0;
}
