// qetool info: describes picture files.
#include <qecore/image/file_info.h>
#include <qecore/image/image_file.h>
#include <qecore/values/map.h>
#include <stdio.h>

#include <algorithm>
#include <memory>

#include "commands.h"
#include "image_edit.h"
#include "input.h"
#include "json.h"
#include "pictures.h"
#include "text.h"

namespace qetool {

using namespace yk;

namespace {

struct Options {
  InputOptions inputs;
  bool listPalette = false, isJson = false;
};

/// What is known of a picture. Its pixels are only decoded for a palette, and when the filter does not tell
/// their format.
struct Facts {
  Guid type = {};
  unsigned width = 0, height = 0, frames = 1, fileSize = 0;
  IMG_FORMAT format = IMG_NONE;
  ImageRef image;  // null if it was not decoded
};

bool HasPalette(IMG_FORMAT format) { return img::GetFacts(format).paletteEntries != 0; }

// False: the pixels have to be decoded.
bool Query(Stream& stream, Facts& facts) {
  Ref<Map> const info = Ref<Map>::Adopt(Map::Create());
  if (!info || Failed(img::QueryInfo(&stream, info.get(), &facts.type))) return false;
  facts.width = NumberOf(info.get(), img::INFO_WIDTH);
  facts.height = NumberOf(info.get(), img::INFO_HEIGHT);
  facts.frames = std::max(1u, NumberOf(info.get(), img::INFO_FRAMES));
  facts.format = static_cast<IMG_FORMAT>(NumberOf(info.get(), img::INFO_PIXEL_FORMAT));
  return facts.width && facts.height && facts.format != IMG_NONE && !HasPalette(facts.format);
}

Facts Examine(std::string const& path, Watch& watch) {
  Ref<Stream> const stream = OpenInput(path);
  Facts facts;
  facts.fileSize = stream->GetSize();
  if (Query(*stream, facts)) return facts;
  stream->Seek(0, Stream::FROM_START);
  Picture const picture = LoadPicture(*stream, path, watch);
  facts.type = picture.type;
  facts.image = picture.image;
  facts.width = static_cast<unsigned>(picture.image->width);
  facts.height = static_cast<unsigned>(picture.image->height);
  facts.format = picture.image->format;
  return facts;
}

void PrintPalette(Image2d const& image) {
  for (unsigned i = 0; i < image.paletteCount; ++i) {
    IMG_PALENTRY const& entry = image.palette[i];
    printf("  %3u  red %3u  green %3u  blue %3u  alpha %3u\n", i, entry.red, entry.green, entry.blue,
           entry.alpha);
  }
}

void PrintInfo(std::string const& path, Facts const& facts, Options const& options) {
  img::FormatFacts const& format = img::GetFacts(facts.format);
  std::string line = Format("%s: %s, %u x %u pixels, %s (%u bits), ", ShownName(path).c_str(),
                            TypeName(facts.type), facts.width, facts.height, format.name, format.bits);
  if (HasPalette(facts.format)) {
    Image2d& image = *facts.image;
    line += Format("palette of %u%s, ", image.paletteCount, image.IsGrayScalePalette() ? " greys" : "");
  }
  if (facts.frames > 1) line += Format("%u frames, ", facts.frames);
  printf("%s%s bytes\n", line.c_str(), Grouped(facts.fileSize).c_str());
  if (options.listPalette && HasPalette(facts.format)) PrintPalette(*facts.image);
}

// Colours are written as in CSS, with alpha.
void AddPalette(Json& json, Image2d const& image) {
  json.BeginList("palette");
  for (unsigned i = 0; i < image.paletteCount; ++i) {
    IMG_PALENTRY const& entry = image.palette[i];
    json.AddText({}, Format("#%02x%02x%02x%02x", entry.red, entry.green, entry.blue, entry.alpha));
  }
  json.End();
}

void AddPicture(Json& json, Facts const& facts, Options const& options) {
  json.AddText("type", TypeName(facts.type));
  json.AddNumber("width", facts.width);
  json.AddNumber("height", facts.height);
  json.AddText("format", img::GetFacts(facts.format).name);
  json.AddNumber("bits", img::GetFacts(facts.format).bits);
  json.AddNumber("frames", facts.frames);
  json.AddNumber("bytes", facts.fileSize);
  if (!HasPalette(facts.format)) return;
  json.AddNumber("colours", facts.image->paletteCount);
  if (options.listPalette) AddPalette(json, *facts.image);
}

// A file that fails does not prevent the others from being described.
void Run(Options const& options, Host& host) {
  Watch watch;
  host.Start(watch);
  bool failed = false;
  std::vector<Input> const files = CollectInputs(options.inputs, host);
  Json json;
  json.BeginList();
  for (auto const& [path, name] : files) {
    watch.Next(path, files.size());
    json.BeginObject();
    json.AddText("file", path);
    try {
      Facts const facts = Examine(path, watch);
      watch.Clear();
      options.isJson ? AddPicture(json, facts, options) : PrintInfo(path, facts, options);
    } catch (Failure const& failure) {
      watch.Clear();
      Report(failure.text);
      json.AddText("error", failure.text);
      failed = true;
    }
    json.End();
  }
  json.End();
  if (options.isJson) json.Print();
  if (failed) throw CLI::RuntimeError(1);
}

}  // namespace

void AddInfo(CLI::App& app, Host& host) {
  CLI::App& command =
      *app.add_subcommand("info", "Show the type, size, pixel format and palette of pictures");
  auto const options = std::make_shared<Options>();
  command
      .add_option("files", options->inputs.paths,
                  "Pictures (with the wildcards * and ?), folders with -r, or - for standard input")
      ->type_name("FILE...");
  AddInputOptions(command, options->inputs);
  command.add_flag("--palette", options->listPalette, "List the colours of a palette");
  command.add_flag("--json", options->isJson, "Write a JSON document");
  host.AddOptions(command);
  command.footer("Of most pictures only the header is read: verify reads all of them.");
  command.callback([options, &host] { Run(*options, host); });
}

}  // namespace qetool
