// qetool info: describes picture files.
#include <stdio.h>

#include <memory>

#include "commands.h"
#include "pictures.h"
#include "text.h"

namespace qetool {

using namespace yk;

namespace {

struct Options {
  std::vector<std::string> files;
  bool listPalette = false;
};

bool HasPalette(Image2d const& image) { return img::GetFacts(image.format).paletteEntries != 0; }

void PrintPalette(Image2d const& image) {
  for (unsigned i = 0; i < image.paletteCount; ++i) {
    IMG_PALENTRY const& entry = image.palette[i];
    printf("  %3u  red %3u  green %3u  blue %3u  alpha %3u\n", i, entry.red, entry.green, entry.blue,
           entry.alpha);
  }
}

void PrintInfo(std::string const& path, bool listPalette, Watch& watch) {
  Picture const picture = LoadPicture(path, watch);
  watch.Clear();
  Image2d& image = *picture.image;
  std::string line = Format("%s: %s, %d x %d pixels, %s (%u bits), ", path.c_str(), TypeName(picture.type),
                            image.width, image.height, img::GetFacts(image.format).name, image.bitsPerPixel);
  if (HasPalette(image)) {
    line += Format("palette of %u%s, ", image.paletteCount, image.IsGrayScalePalette() ? " greys" : "");
  }
  printf("%s%s bytes\n", line.c_str(), Grouped(picture.fileSize).c_str());
  if (listPalette && HasPalette(image)) PrintPalette(image);
}

// A file that fails does not prevent the others from being described.
void Run(Options const& options, Host& host) {
  Watch watch;
  host.Start(watch);
  bool failed = false;
  std::vector<std::string> const files = ExpandWildcards(options.files);
  for (std::string const& path : files) {
    watch.Next(path, files.size());
    try {
      PrintInfo(path, options.listPalette, watch);
    } catch (Failure const& failure) {
      watch.Clear();
      Report(failure.text);
      failed = true;
    }
  }
  if (failed) throw CLI::RuntimeError(1);
}

}  // namespace

void AddInfo(CLI::App& app, Host& host) {
  CLI::App& command =
      *app.add_subcommand("info", "Show the type, size, pixel format and palette of pictures");
  auto const options = std::make_shared<Options>();
  command.add_option("files", options->files, "Pictures; * and ? are wildcards")
      ->type_name("FILE")
      ->required();
  command.add_flag("--palette", options->listPalette, "List the colours of a palette");
  host.AddOptions(command);
  command.callback([options, &host] { Run(*options, host); });
}

}  // namespace qetool
