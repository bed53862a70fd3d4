// qetool info: describes picture files.
#include <qecore/image/file_info.h>
#include <stdio.h>

#include <cmath>
#include <iterator>
#include <memory>

#include "colour_profile.h"
#include "commands.h"
#include "image_edit.h"
#include "input.h"
#include "json.h"
#include "pictures.h"
#include "text.h"

namespace qetool {

using namespace yk;

namespace {

enum class Form { LINES, JSON };
enum class Palettes { COUNTED, LISTED };

struct Options {
  InputOptions inputs;
  ReadOptions reading;
  Palettes palettes = Palettes::COUNTED;
  Form form = Form::LINES;
};

/// What is known of a picture. Its pixels are decoded only for the colours of a palette, for another picture
/// than the first, for one that is read with options, and when the filter does not tell their format.
struct Facts {
  Guid type = {};
  Ref<Map> values;  // under the keys of file_info.h
  unsigned width = 0, height = 0, frames = 1, fileSize = 0;
  IMG_FORMAT format = IMG_NONE;
  ImageRef image;  // null if it was not decoded
};

bool HasPalette(IMG_FORMAT format) { return img::GetFacts(format).paletteEntries != 0; }

Facts Query(Stream& stream) {
  Facts facts;
  facts.fileSize = stream.GetSize();
  facts.values = QueryPicture(stream, facts.type);
  facts.width = NumberOf(facts.values.get(), img::INFO_WIDTH);
  facts.height = NumberOf(facts.values.get(), img::INFO_HEIGHT);
  facts.format = static_cast<IMG_FORMAT>(NumberOf(facts.values.get(), img::INFO_PIXEL_FORMAT));
  facts.frames = CountFrames(*facts.values);
  return facts;
}

bool MustDecode(Facts const& facts, Options const& options) {
  bool const isComplete = facts.width && facts.height && facts.format != IMG_NONE;
  return !isComplete || options.reading.frame.value_or(0) > 0 || !options.reading.settings.empty() ||
         (options.palettes == Palettes::LISTED && HasPalette(facts.format));
}

// What a picture carries replaces what is known of the first one.
void Decode(Stream& stream, std::string const& path, ReadOptions const& options, Watch& watch, Facts& facts) {
  Picture const picture = LoadPicture(stream, path, watch, options);
  facts.type = picture.type;
  facts.image = picture.image;
  facts.width = static_cast<unsigned>(picture.image->width);
  facts.height = static_cast<unsigned>(picture.image->height);
  facts.format = picture.image->format;
  for (img::FileInfoFacts const& row : img::FILE_INFO) {
    Variant value;
    if (row.key < img::INFO_ORIENTATION) continue;
    picture.image->GetValue(row.key, value);
    facts.values->SetValue(row.key, value);
  }
}

Facts Examine(std::string const& path, Options const& options, Watch& watch) {
  Ref<Stream> const stream = OpenInput(path);
  Facts facts = Query(*stream);
  if (MustDecode(facts, options)) Decode(*stream, path, options.reading, watch, facts);
  return facts;
}

// ---- values

std::span<unsigned char const> BytesOf(Variant const& value) {
  void* bytes = nullptr;
  unsigned const size = value.type == Variant::BLOB ? value.GetDataPtr(&bytes) : 0;
  return {static_cast<unsigned char const*>(bytes), bytes ? size : 0};
}

std::string TextOf(Variant const& value) {
  String text;
  value.Get(text);
  return ToUtf8(text);
}

// In one line.
std::string LineOf(std::string text) {
  for (char& c : text) c = static_cast<unsigned char>(c) < ' ' ? ' ' : c;
  return text;
}

// How to turn a picture for display, by its orientation.
constexpr char const* TURNS[] = {"upright",
                                 "to be mirrored",
                                 "to be turned by 180 degrees",
                                 "to be mirrored and turned by 180 degrees",
                                 "to be mirrored and turned anticlockwise",
                                 "to be turned clockwise",
                                 "to be mirrored and turned clockwise",
                                 "to be turned anticlockwise"};

std::string DescribeTurn(unsigned orientation) {
  bool const isKnown = orientation >= 1 && orientation <= std::size(TURNS);
  return Format("%u, %s", orientation, isKnown ? TURNS[orientation - 1] : "unknown");
}

std::string DescribeProfile(Variant const& value) {
  std::span<unsigned char const> const bytes = BytesOf(value);
  std::string const name = LineOf(ProfileName(bytes));
  return name + (name.empty() ? "" : ", ") + Grouped(bytes.size()) + " bytes";
}

// A value of file_info.h as a text.
std::string Describe(img::FileInfoFacts const& row, Variant const& value) {
  unsigned number = 0;
  double real = 0;
  switch (row.type) {
    case Variant::UINT32:
      value.Get(number);
      return row.key == img::INFO_ORIENTATION ? DescribeTurn(number) : std::to_string(number);
    case Variant::DOUBLE:
      value.Get(real);
      return Format("%.4g pixels per inch", real);
    case Variant::BLOB:
      return DescribeProfile(value);
    default:
      return LineOf(TextOf(value));
  }
}

/// Calls `show(row, value)` for each thing that the file says of its picture besides the pixels.
template <class Show>
void ForValues(Map& values, Show show) {
  for (img::FileInfoFacts const& row : img::FILE_INFO) {
    Variant value;
    bool const isSet = row.key >= img::INFO_ORIENTATION && Succeeded(values.GetValue(row.key, value));
    if (isSet && value.type != Variant::EMPTY) show(row, value);
  }
}

// ---- lines

void PrintPalette(Image2d const& image) {
  for (unsigned i = 0; i < image.paletteCount; ++i) {
    IMG_PALENTRY const& entry = image.palette[i];
    printf("  %3u  red %3u  green %3u  blue %3u  alpha %3u\n", i, entry.red, entry.green, entry.blue,
           entry.alpha);
  }
}

// The same in both directions is shown once.
bool IsRepeated(img::FileInfoFacts const& row, Variant const& value, Map& values) {
  Variant across;
  return row.key == img::INFO_RESOLUTION_Y && Succeeded(values.GetValue(img::INFO_RESOLUTION_X, across)) &&
         value.Compare(across);
}

void PrintInfo(std::string const& path, Facts const& facts, Options const& options) {
  img::FormatFacts const& format = img::GetFacts(facts.format);
  std::string line =
      Format("%s: %s, %u x %u pixels, %s (%u bits), ", ShownName(path).c_str(), TypeName(facts.type).c_str(),
             facts.width, facts.height, format.name, format.bits);
  bool const hasColours = facts.image && HasPalette(facts.format);
  if (hasColours) {
    line += Format("palette of %u%s, ", facts.image->paletteCount,
                   facts.image->IsGrayScalePalette() ? " greys" : "");
  }
  if (facts.frames > 1) line += Format("%u frames, ", facts.frames);
  printf("%s%s bytes\n", line.c_str(), Grouped(facts.fileSize).c_str());
  ForValues(*facts.values, [&](img::FileInfoFacts const& row, Variant const& value) {
    if (IsRepeated(row, value, *facts.values)) return;
    printf("  %s: %s\n", ToUtf8(row.name).c_str(), Describe(row, value).c_str());
  });
  if (hasColours && options.palettes == Palettes::LISTED) PrintPalette(*facts.image);
}

// ---- JSON

// Colours are written as in CSS, with alpha.
void AddPalette(Json& json, Image2d const& image) {
  json.AddNumber("colours", image.paletteCount);
  json.BeginList("palette");
  for (unsigned i = 0; i < image.paletteCount; ++i) {
    IMG_PALENTRY const& entry = image.palette[i];
    json.AddText({}, Format("#%02x%02x%02x%02x", entry.red, entry.green, entry.blue, entry.alpha));
  }
  json.End();
}

void AddProfile(Json& json, std::string const& key, Variant const& value) {
  json.BeginObject(key);
  json.AddText("name", ProfileName(BytesOf(value)));
  json.AddNumber("bytes", BytesOf(value).size());
  json.End();
}

void AddValue(Json& json, img::FileInfoFacts const& row, Variant const& value) {
  std::string const key = ToUtf8(row.name);
  unsigned number = 0;
  double real = 0;
  switch (row.type) {
    case Variant::UINT32:
      value.Get(number);
      return json.AddNumber(key, number);
    case Variant::DOUBLE:
      value.Get(real);
      return json.AddReal(key, real);
    case Variant::BLOB:
      return AddProfile(json, key, value);
    default:
      return json.AddText(key, TextOf(value));
  }
}

void AddPicture(Json& json, Facts const& facts, Options const& options) {
  json.AddText("type", TypeName(facts.type));
  json.AddNumber("width", facts.width);
  json.AddNumber("height", facts.height);
  json.AddText("format", img::GetFacts(facts.format).name);
  json.AddNumber("bits", img::GetFacts(facts.format).bits);
  json.AddNumber("frames", facts.frames);
  json.AddNumber("bytes", facts.fileSize);
  ForValues(*facts.values,
            [&](img::FileInfoFacts const& row, Variant const& value) { AddValue(json, row, value); });
  bool const isListed = options.palettes == Palettes::LISTED && HasPalette(facts.format);
  if (isListed) AddPalette(json, *facts.image);
}

// A file that fails does not prevent the others from being described.
void Run(Options const& options, Host& host) {
  Watch watch;
  host.Start(watch);
  bool failed = false;
  std::vector<Input> const files = CollectInputs(options.inputs, host);
  bool const isJson = options.form == Form::JSON;
  Json json;
  json.BeginList();
  for (auto const& [path, name] : files) {
    watch.Next(path, files.size());
    json.BeginObject();
    json.AddText("file", path);
    try {
      Facts const facts = Examine(path, options, watch);
      watch.Clear();
      isJson ? AddPicture(json, facts, options) : PrintInfo(path, facts, options);
    } catch (Failure const& failure) {
      watch.Clear();
      Report(failure.text);
      json.AddText("error", failure.text);
      failed = true;
    }
    json.End();
  }
  json.End();
  if (isJson) json.Print();
  if (failed) throw CLI::RuntimeError(1);
}

}  // namespace

void AddInfo(CLI::App& app, Host& host) {
  CLI::App& command = *app.add_subcommand(
      "info", "Show type, size, pixel format, resolution, colour profile and texts of pictures");
  auto const options = std::make_shared<Options>();
  command
      .add_option("files", options->inputs.paths,
                  "Pictures (with the wildcards * and ?), folders with -r, or - for standard input")
      ->type_name("FILE...");
  AddInputOptions(command, options->inputs);
  AddFrameOption(command, options->reading);
  AddSettings(command, FILTER_READ, options->reading.settings);
  command.add_flag_callback(
      "--palette", [options] { options->palettes = Palettes::LISTED; }, "List the colours of a palette");
  command.add_flag_callback(
      "--json", [options] { options->form = Form::JSON; }, "Write a JSON document");
  host.AddOptions(command);
  command.footer("Usually only the header is read; use verify to check the whole file.");
  command.callback([options, &host] { Run(*options, host); });
}

}  // namespace qetool
