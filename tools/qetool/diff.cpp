// qetool diff: whether two pictures have the same pixels.
#include <qecore/image/format.h>
#include <stdio.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "commands.h"
#include "existing.h"
#include "image_edit.h"
#include "input.h"
#include "pictures.h"
#include "text.h"

namespace qetool {

using namespace yk;

namespace {

struct Options {
  std::string first, second, output;
  ReadOptions reading;
  ExistingOptions existing;
};

/// How two pictures of one format differ. Channels are from 0 to 1.
struct Difference {
  unsigned long long pixels = 0;  // that differ
  double squares = 0;             // the sum of the squares of all differences
  double largest = 0;             // of one channel
};

double Distance(unsigned char a, unsigned char b) { return std::abs(a - b) / 255.0; }

double Distance(float a, float b) {
  double const distance = std::abs(static_cast<double>(a) - b);
  if (a == b || (std::isnan(a) && std::isnan(b))) return 0;
  return std::isnan(distance) ? 1 : distance;
}

template <class Channel>
void CompareRow(Image2d& a, Image2d& b, int y, Difference& all) {
  auto const* first = reinterpret_cast<Channel const*>(a.GetLine(y));
  auto const* second = reinterpret_cast<Channel const*>(b.GetLine(y));
  int const channels = img::GetFacts(a.format).channels;
  for (int x = 0; x < a.width; ++x) {
    double largest = 0;
    for (int i = 0; i < channels; ++i) {
      double const distance = Distance(*first++, *second++);
      largest = std::max(largest, distance);
      all.squares += distance * distance;
    }
    all.pixels += largest > 0;
    all.largest = std::max(all.largest, largest);
  }
}

// Blue, green and red show the difference in these channels; one of alpha makes all of them brighter. The
// largest difference becomes 255.
template <class Channel>
void DrawRow(Image2d& a, Image2d& b, int y, double largest, Image2d& to) {
  auto const* first = reinterpret_cast<Channel const*>(a.GetLine(y));
  auto const* second = reinterpret_cast<Channel const*>(b.GetLine(y));
  int const channels = img::GetFacts(a.format).channels;
  unsigned char* pixel = to.GetLine(y);
  for (int x = 0; x < a.width; ++x, first += channels, second += channels, pixel += 3) {
    double const alpha = channels > 3 ? Distance(first[3], second[3]) : 0;
    for (int i = 0; i < 3; ++i) {
      double const shown = std::max(alpha, Distance(first[i], second[i])) / largest;
      pixel[i] = static_cast<unsigned char>(std::lround(std::min(shown, 1.0) * 255));
    }
  }
}

bool IsFloat(Image2d const& image) { return img::GetFacts(image.format).kind == img::ChannelKind::FLOAT; }

bool IsDeep(Image2d const& image) {
  img::FormatFacts const& facts = img::GetFacts(image.format);
  return facts.channelBits > 8 && facts.paletteEntries == 0;
}

// The smallest format that holds both exactly, with alpha if either has some.
IMG_FORMAT CommonFormat(Image2d const& a, Image2d const& b) {
  bool const hasAlpha = PlainFormat(a) == IMG_BGRA32 || PlainFormat(b) == IMG_BGRA32;
  if (IsDeep(a) || IsDeep(b)) return hasAlpha ? IMG_BGRAF : IMG_BGRF;
  return hasAlpha ? IMG_BGRA32 : IMG_BGR24;
}

Difference Compare(Image2d& a, Image2d& b, Listener& listener) {
  Difference all;
  for (int y = 0; y < a.height; ++y) {
    listener.Check();
    IsFloat(a) ? CompareRow<float>(a, b, y, all) : CompareRow<unsigned char>(a, b, y, all);
  }
  return all;
}

ImageRef Draw(Image2d& a, Image2d& b, double largest) {
  ImageRef image = NewImage(IMG_BGR24, a.width, a.height);
  double const scale = largest > 0 ? largest : 1;
  for (int y = 0; y < a.height; ++y) {
    IsFloat(a) ? DrawRow<float>(a, b, y, scale, *image) : DrawRow<unsigned char>(a, b, y, scale, *image);
  }
  return image;
}

std::string Describe(Difference const& difference, Image2d const& image) {
  double const pixels = 1.0 * image.width * image.height;
  if (difference.pixels == 0) return Format("equal: %d x %d pixels", image.width, image.height);
  double const mean = difference.squares / (pixels * img::GetFacts(image.format).channels);
  return Format("different: %s of %s pixels (%.3g %%), by at most %.3g %% of the range; PSNR %.2f dB",
                Grouped(difference.pixels).c_str(), Grouped(static_cast<unsigned long long>(pixels)).c_str(),
                100.0 * static_cast<double>(difference.pixels) / pixels, 100 * difference.largest,
                -10 * std::log10(mean));
}

// Throws the exit code of a difference.
void Run(Options const& options, Host& host) {
  if (options.first == STANDARD_STREAM && options.second == STANDARD_STREAM)
    throw Failure{"only one of the two pictures can be standard input"};
  Watch watch;
  host.Start(watch);
  Guid filter = {};
  if (!options.output.empty()) {
    CheckOutput(options.output);
    filter = FilterFor(host, options.output);
  }
  ImageRef a = LoadPicture(options.first, watch, options.reading).image;
  ImageRef b = LoadPicture(options.second, watch, options.reading).image;
  if (a->width != b->width || a->height != b->height) {
    watch.Clear();
    char const* const note = options.output.empty() ? "" : "; no picture of the difference is written";
    printf("different: %d x %d and %d x %d pixels%s\n", a->width, a->height, b->width, b->height, note);
    throw CLI::RuntimeError(EXIT_DIFFERENT);
  }
  IMG_FORMAT const format = CommonFormat(*a, *b);
  ChangeFormat(a, format, watch);
  ChangeFormat(b, format, watch);
  Difference const difference = Compare(*a, *b, watch);
  bool const isDrawn = !options.output.empty() && Existing(options.existing).MayWrite(options.output);
  if (isDrawn) SavePicture(filter, *Draw(*a, *b, difference.largest), options.output, {}, watch);
  watch.Clear();
  printf("%s\n", Describe(difference, *a).c_str());
  if (difference.pixels > 0) throw CLI::RuntimeError(EXIT_DIFFERENT);
}

}  // namespace

void AddDiff(CLI::App& app, Host& host) {
  CLI::App& command = *app.add_subcommand(DIFF, "Compare the pixels of two pictures");
  auto const options = std::make_shared<Options>();
  command.add_option("first", options->first, "Picture")->type_name("A")->required();
  command
      .add_option("second", options->second,
                  "Picture to compare with it; one of the two may be - for standard input")
      ->type_name("B")
      ->required();
  command
      .add_option(
          "-o,--output", options->output,
          "Write a picture of the difference: black where both are equal, brightest where they differ "
          "most")
      ->type_name("FILE");
  AddSettings(command, FILTER_READ, options->reading.settings);
  AddExistingOptions(command, options->existing);
  host.AddOptions(command);
  command.footer(
      "Pixel formats and file types do not matter: the values of the channels are compared, as floats if\n"
      "either picture has more than 8 bits for each. PSNR is the ratio of the range to the mean\n"
      "difference, in decibels: above 40, differences are hard to see.\n\n"
      "The exit code is 0 if they are equal, 1 if they differ, 2 if they cannot be compared.");
  command.callback([options, &host] { Run(*options, host); });
}

}  // namespace qetool
