// Reads pictures through the library, for judge.py to compare with what another decoder reads.
//
//   pictures.exe LIST OUTPUT FIRST
//
// LIST holds a frame, a space and a path in each line, OUTPUT receives a record for each from line FIRST on,
// as soon as it is made: a line with tabs between the fields, then bytes.
//
//   index  result  format  width  height  palette entries  milliseconds  stable  described  text
//   rows from the top down, without padding; palette entries
//
// Each picture is read twice, with different bytes in the memory that the heap hands out again. `stable` is 0
// when the pixels differ: then some of them are such bytes. `described` is the format that the file's
// description names, 0 for none, and -1 for a description of another size.
//
//   pictures.exe LIST FOLDER
//
// writes each picture with each value of each option, for judge.py to read: FOLDER\LINE-OPTION-VALUE.png and
// .tif.
#include <windows.h>

#include <qecore/core/error.h>
#include <qecore/core/filter.h>
#include <qecore/core/system.h>
#include <qecore/image/file_info.h>
#include <qecore/image/filter_option.h>
#include <qecore/image/image_file.h>
#include <qecore/values/map.h>
#include <qecore/values/string.h>
#include <stdio.h>
#include <stdlib.h>

#include <chrono>
#include <fstream>
#include <string>
#include <vector>

using namespace yk;

namespace {

struct Read {
  HRESULT result = S_OK;
  Ref<Image2d> image;
  std::string pixels;  // and palette
  std::string text;    // of a failure
};

// Leaves blocks of many sizes on the heap's free lists.
void DirtyHeap(int value) {
  std::vector<void*> blocks;
  for (size_t size = 16; size < (1 << 20); size += size / 4 + 16) {
    for (int i = 0; i < 6; ++i) {
      blocks.push_back(HeapAlloc(GetProcessHeap(), 0, size));
      if (blocks.back()) memset(blocks.back(), value, size);
    }
  }
  for (void* const block : blocks) HeapFree(GetProcessHeap(), 0, block);
}

std::string PixelsOf(Image2d& image) {
  std::string all;
  size_t const size = (static_cast<size_t>(image.width) * image.bitsPerPixel + 7) / 8;
  unsigned const rest = static_cast<unsigned>(image.width) * image.bitsPerPixel % 8;
  for (int y = 0; y < image.height; ++y) {
    all.append(reinterpret_cast<char*>(image.GetLine(y)), size);
    if (rest) all.back() = static_cast<char>(all.back() & 0xFF00 >> rest);  // no pixels, whatever they are
  }
  if (img::GetFacts(image.format).paletteEntries)
    all.append(reinterpret_cast<char*>(image.palette), image.paletteCount * sizeof(IMG_PALENTRY));
  return all;
}

struct Entry {
  int frame = 0;
  String path;
};

Read ReadOne(Entry const& entry) {
  Read read;
  Ref<AbstractImage> image;
  Ref<Map> const options = Ref<Map>::Adopt(Map::Create());
  Variant frame;
  frame.Init(entry.frame);
  if (entry.frame) options->SetValue(FilterOption::FRAME, frame);
  read.result = img::Read(entry.path.c_str(), options.get(), nullptr, image.Receive());
  wchar_t line[1024] = L"";
  if (Failed(read.result)) ErrorMessage(LastError(), line, 1024);
  for (wchar_t const* c = line; *c; ++c) read.text += *c < 128 ? static_cast<char>(*c) : '*';
  if (Failed(read.result) || !image->IsTypeOf(ids::IMAGE_2D)) return read;
  read.image = Ref<Image2d>::Adopt(static_cast<Image2d*>(image.Detach()));
  read.pixels = PixelsOf(*read.image);
  return read;
}

int Describe(Entry const& entry, Image2d const* image) {
  Ref<Map> const info = Ref<Map>::Adopt(Map::Create());
  auto const number = [&](unsigned key) {
    Variant value;
    unsigned said = 0;
    return Succeeded(info->GetValue(key, value)) && value.Get(said) ? static_cast<int>(said) : 0;
  };
  if (Failed(img::QueryInfo(entry.path.c_str(), info.get()))) return image ? -1 : 0;
  bool const differs = image && !entry.frame &&
                       (number(img::INFO_WIDTH) != image->width || number(img::INFO_HEIGHT) != image->height);
  return differs ? -1 : number(img::INFO_PIXEL_FORMAT);
}

void Report(std::ofstream& out, size_t index, Entry const& entry) {
  using Clock = std::chrono::steady_clock;
  DirtyHeap(0xA5);
  auto const before = Clock::now();
  Read const first = ReadOne(entry);
  std::chrono::duration<double, std::milli> const taken = Clock::now() - before;
  DirtyHeap(0x5A);
  Read const second = ReadOne(entry);
  bool const isStable = first.result == second.result && first.pixels == second.pixels;
  Image2d const* const image = first.image.get();
  char head[200];
  snprintf(head, sizeof head, "%u\t%08lX\t%d\t%d\t%d\t%d\t%.0f\t%d\t%d\t", static_cast<unsigned>(index),
           static_cast<unsigned long>(first.result), image ? image->format : 0, image ? image->width : 0,
           image ? image->height : 0, image ? image->paletteCount : 0, taken.count(), isStable,
           Describe(entry, image));
  out << head << first.text << '\n' << first.pixels << std::flush;
}

std::string ProgramFolder() {
  char path[MAX_PATH] = "";
  GetModuleFileNameA(nullptr, path, MAX_PATH);
  return std::string(path).substr(0, std::string(path).find_last_of('\\'));
}

int LastValue(FilterOption const& option) {
  int count = 0;
  if (option.kind != FilterOption::CHOICE)
    return option.kind == FilterOption::SWITCH ? 1 : static_cast<int>(option.most);
  while (option.choices[count]) ++count;
  return count - 1;
}

/// Writes `image` with each value of each option; `extension` is the type's, and paths begin with `start`.
void WriteInAllWays(Image2d& image, Guid const& type, char const* extension, std::string const& start) {
  Ref<ykFlt2dEx> filter;
  if (Failed(CreateInterface(type, filter.ReceiveVoid()))) return;
  FilterOption option;
  for (unsigned i = 0; filter->GetOption(FILTER_WRITE, i, option) == S_OK; ++i, option = {}) {
    for (int number = static_cast<int>(option.least); number <= LastValue(option); ++number) {
      Ref<Map> const options = Ref<Map>::Adopt(Map::Create());
      Variant value;
      value.Init(number);
      options->SetValue(option.key, value);
      String const path((start + std::to_string(i) + "-" + std::to_string(number) + extension).c_str());
      img::Write(image, path.c_str(), nullptr, options.get(), nullptr);
    }
  }
}

void WriteEach(std::ifstream& list, std::string const& folder) {
  std::string line;
  for (size_t index = 0; std::getline(list, line); ++index) {
    Read const read = ReadOne({0, String(line.substr(line.find(' ') + 1).c_str())});
    std::string const start = folder + "\\" + std::to_string(index) + "-";
    if (!read.image) continue;
    WriteInAllWays(*read.image, ids::FILE_PNG, ".png", start);
    WriteInAllWays(*read.image, ids::FILE_TIFF, ".tif", start);
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 3) return 2;
  Ref<System> const system = Ref<System>::Adopt(System::Create());
  system->ScanModules(String(ProgramFolder().c_str()),
                      String((std::string(arguments[2]) + ".cache").c_str()));
  std::ifstream list(arguments[1]);
  if (count == 3) return WriteEach(list, arguments[2]), 0;
  std::ofstream out(arguments[2], std::ios::binary | std::ios::app);
  std::string line;
  for (size_t index = 0; std::getline(list, line); ++index) {
    if (index < strtoul(arguments[3], nullptr, 10)) continue;
    Report(out, index, {atoi(line.c_str()), String(line.substr(line.find(' ') + 1).c_str())});
  }
  return 0;
}
