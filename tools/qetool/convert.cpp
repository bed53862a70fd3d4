// qetool convert: pictures into other formats, sizes and file types.
#include <stdio.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <functional>
#include <memory>

#include "commands.h"
#include "formats.h"
#include "help.h"
#include "image_edit.h"
#include "jobs.h"
#include "pictures.h"
#include "plan.h"
#include "resize.h"
#include "text.h"

namespace qetool {

using namespace yk;

namespace {

struct Options {
  PlanOptions plan;
  ReadOptions reading;
  std::vector<std::string> settings;
  std::string size, format, crop, flip;
  unsigned quality = 0, jobs = 0;
  std::string background = "ffffff";
  bool isVerbose = false, isDry = false, noOrient = false, strip = false;
  Light light = Light::AS_STORED;
};

/// One operation on each picture.
struct Step {
  char const* name;
  std::function<void(ImageRef&, Listener&)> work;
};

// "1,2,3,4" into four numbers. An empty piece counts as `missing`; a negative `missing` makes it invalid.
bool ParseNumbers(std::string const& text, char separator, int missing, int* numbers, int count) {
  char const* at = text.data();
  char const* const end = at + text.size();
  for (int i = 0; i < count; ++i) {
    if (i && (at == end || *at++ != separator)) return false;
    auto const [next, error] = std::from_chars(at, end, numbers[i]);
    if (error == std::errc::result_out_of_range) return false;
    if (next == at) numbers[i] = missing;
    if (numbers[i] < 0) return false;
    at = next;
  }
  return at == end;
}

Step SizeStep(std::string const& text, Light light) {
  int size[2];
  if (!ParseNumbers(text, 'x', 0, size, 2) || (!size[0] && !size[1])) {
    throw Failure{"--size " + text + ": it must be WIDTHxHEIGHT, WIDTHx or xHEIGHT, such as 640x480"};
  }
  return {"resize", [width = size[0], height = size[1], light](ImageRef& image, Listener& listener) {
            auto const inProportion = [](int length, int mine,
                                         int other) {  // rounded, and at least one pixel
              return static_cast<int>(
                  std::clamp((2ll * length * mine + other) / (2ll * other), 1ll, 0x7FFFFFFFll));
            };
            int const wide = width ? width : inProportion(height, image->width, image->height);
            int const high = height ? height : inProportion(width, image->height, image->width);
            Resize(image, wide, high, light, listener);
          }};
}

Step CropStep(std::string const& text) {
  int edge[4];
  if (!ParseNumbers(text, ',', -1, edge, 4)) {
    throw Failure{"--crop " + text + ": it must be LEFT,TOP,RIGHT,BOTTOM, such as 10,10,200,150"};
  }
  return {"crop", [edges = Edges{edge[0], edge[1], edge[2], edge[3]}](ImageRef& image, Listener& listener) {
            Crop(image, edges, listener);
          }};
}

Rgb ParseColour(std::string const& text) {
  unsigned value = 0;
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
  if (text.size() != 6 || error != std::errc() || end != text.data() + text.size())
    throw Failure{"--background " + text + ": it must be RRGGBB, such as ffffff"};
  return {static_cast<unsigned char>(value >> 16), static_cast<unsigned char>(value >> 8),
          static_cast<unsigned char>(value)};
}

Step FlipStep(std::string const& text) {
  if (text == "h") return {"flip", FlipHorizontally};
  if (text == "v") return {"flip", FlipVertically};
  throw Failure{"--flip " + text + ": it must be h (swaps left and right) or v (swaps top and bottom)"};
}

std::vector<Step> PlanSteps(Options const& options) {
  std::vector<Step> steps;
  if (!options.crop.empty()) steps.push_back(CropStep(options.crop));
  if (!options.size.empty()) steps.push_back(SizeStep(options.size, options.light));
  if (!options.flip.empty()) steps.push_back(FlipStep(options.flip));
  if (!options.format.empty()) {
    IMG_FORMAT const format = FormatByName(options.format);
    steps.push_back(
        {"format", [format](ImageRef& image, Listener& listener) { ChangeFormat(image, format, listener); }});
  }
  return steps;
}

/// Collects the names and times of the steps as a text.
class StepTimes {
 public:
  void Done(char const* name) {
    auto const now = std::chrono::steady_clock::now();
    double const milliseconds = std::chrono::duration<double, std::milli>(now - last).count();
    text += Format("%s%s %.1f ms", text.empty() ? "" : ", ", name, milliseconds);
    last = now;
  }
  std::string text;

 private:
  std::chrono::steady_clock::time_point last = std::chrono::steady_clock::now();
};

/// What is done with each picture, and how it is written.
struct Recipe {
  std::vector<Step> steps;
  Rgb background;
  std::string backgroundName;
  ReadOptions reading;
  std::vector<std::string> settings;
  unsigned quality;
  bool isVerbose, orients, strips;
};

void Apply(Recipe const& recipe, Job const& job, Picture& picture, StepTimes& times, Listener& listener) {
  for (Step const& step : recipe.steps) {
    try {
      step.work(picture.image, listener);
    } catch (Failure const& failure) {
      throw Failure{"cannot convert " + ShownName(job.input) + ": " + failure.text};
    }
    times.Done(step.name);
  }
}

// Returns a line that describes the file that was made: it may hold other pixels than those in memory.
std::string ConvertOne(Job const& job, Recipe const& recipe, Listener& listener) {
  StepTimes times;
  Picture picture = LoadPicture(job.input, listener, recipe.reading);
  times.Done("read");
  if (recipe.orients) MakeUpright(picture.image);
  if (OrientationOf(*picture.image) != 1 && !WhatFilesKeep(job.filter, *picture.image).orientation)
    throw Failure{"cannot convert " + ShownName(job.input) + ": --no-orient: " + TypeName(job.filter) +
                  " files cannot say how to turn it"};
  ImageRef const before = picture.image;
  Apply(recipe, job, picture, times, listener);
  std::string note;
  if (HasAlpha(*picture.image) && !WhatFilesKeep(job.filter, *picture.image).alpha) {
    PutOnBackground(picture.image, recipe.background, listener);
    note = ", on the background " + recipe.backgroundName;
  }
  KeepFileInfo(*before, *picture.image, recipe.strips ? FileInfo::DROPPED : FileInfo::KEPT);
  Ref<Stream> const output = SavePicture(job.filter, *picture.image, job.output,
                                         ParseOptions(job.filter, recipe.settings, recipe.quality), listener);
  times.Done("write");
  if (!recipe.isVerbose) return {};
  if (output) output->Seek(0, Stream::FROM_START);
  ImageRef const made =
      (output ? LoadPicture(*output, job.output, listener) : LoadPicture(job.output, listener)).image;
  return Format("%s -> %s: %d x %d pixels, %s%s; %s", job.input.c_str(), job.output.c_str(), made->width,
                made->height, img::GetFacts(made->format).name, note.c_str(), times.text.c_str());
}

void CheckOptions(Options const& options, Plan const& plan) {
  std::vector<Guid> filters;
  filters.reserve(plan.jobs.size());
  for (Job const& job : plan.jobs) {
    filters.push_back(job.filter);
    ParseOptions(job.filter, options.settings, options.quality);
  }
  CheckQuality(options.quality, filters);
}

void PrintCount(Plan const& plan, size_t failed) {
  size_t const all = plan.jobs.size() + plan.kept.size() + plan.missing.size();
  if (all < 2) return;
  std::string const kept = plan.kept.empty() ? "" : Format(", %zu kept", plan.kept.size());
  printf("%zu of %zu pictures converted%s\n", plan.jobs.size() - failed, all, kept.c_str());
}

// Standard output may be the picture.
void PrintLine(std::string const& line, Job const& job) {
  fprintf(job.output == STANDARD_STREAM ? stderr : stdout, "%s\n", line.c_str());
}

// A picture that fails does not prevent the others from being converted. Returns how many failed.
size_t ConvertAll(Options const& options, Plan const& plan, Recipe const& recipe, Watch& watch) {
  std::vector<Job> const& jobs = plan.jobs;
  std::vector<std::string> lines(jobs.size());
  Jobs conversions(jobs.size(), options.jobs, watch,
                   [&](size_t i, Listener& listener) { lines[i] = ConvertOne(jobs[i], recipe, listener); });
  size_t failed = 0;
  for (size_t i = 0; i < jobs.size(); ++i) {
    watch.Next(jobs[i].input, jobs.size());
    try {
      conversions.Await(jobs[i].input);
      watch.Clear();
      if (options.isVerbose) PrintLine(lines[i], jobs[i]);
    } catch (Failure const& failure) {
      watch.Clear();
      Report(failure.text);
      ++failed;
    }
  }
  return failed;
}

// Returns how many failed.
size_t Convert(Options const& options, Plan const& plan, Recipe const& recipe, Watch& watch) {
  CreateFolders(plan);
  size_t const failed = ConvertAll(options, plan, recipe, watch);
  PrintCount(plan, failed);
  return failed;
}

void Run(Options const& options, Host& host) {
  Recipe const recipe = {.steps = PlanSteps(options),
                         .background = ParseColour(options.background),
                         .backgroundName = options.background,
                         .reading = options.reading,
                         .settings = options.settings,
                         .quality = options.quality,
                         .isVerbose = options.isVerbose,
                         .orients = !options.noOrient,
                         .strips = options.strip};
  Watch watch;
  host.Start(watch);
  PlanOptions planned = options.plan;
  planned.existing.isReplaced |= options.isDry && !planned.existing.isKept;  // nothing is asked
  Plan const plan = MakePlan(planned, host);
  CheckOptions(options, plan);
  watch.Clear();
  for (std::string const& why : plan.missing) Report(why);
  size_t failed = plan.missing.size();
  if (options.isDry) {
    PrintPlan(plan);
  } else {
    failed += Convert(options, plan, recipe, watch);
  }
  if (failed) throw CLI::RuntimeError(1);
}

void AddEdits(CLI::App& command, Options& options) {
  command
      .add_option("--crop", options.crop, "Keep the columns L to R-1 and the rows T to B-1, counted from 0")
      ->type_name("L,T,R,B");
  command.add_option("--size", options.size, "Resample; in proportion if W or H is omitted (640x, x480)")
      ->type_name("WxH");
  command.add_flag_callback(
      "--linear", [&options] { options.light = Light::LINEAR; },
      "Resample amounts of light instead of the file's numbers");
  command
      .add_option("--background", options.background,
                  "Colour put under a picture with alpha when the file type has none (default ffffff)")
      ->type_name("RRGGBB");
  command.add_option("--flip", options.flip, "Mirror: h swaps left and right, v top and bottom")
      ->type_name("h|v");
  command.add_flag("--no-orient", options.noOrient,
                   "Leave pictures as the camera stored them, and say in the file how to turn them");
  command.add_flag("--strip", options.strip, "Leave out resolution, colour profile and texts");
  command.add_option("--format", options.format, "Pixel format: " + TargetFormats())->type_name("NAME");
}

void AddFileOptions(CLI::App& command, Options& options) {
  command
      .add_option("--quality", options.quality,
                  "Quality, 1 to 100, of file types that have one, such as JPEG")
      ->type_name("N")
      ->check(WholeNumber(1, 100));
  AddSettings(command, FILTER_WRITE, options.settings);
  command
      .add_option("--type", options.plan.type,
                  "File type of the output, png, jpg, ...; by default the output's extension, or in a folder "
                  "each input's")
      ->type_name("EXT");
}

constexpr char FOOTER[] =
    "The extension of an output determines its file type. Operations are applied in this order:\n"
    "turning upright, crop, size, flip, format. Pixels that a file type cannot hold are written as the\n"
    "closest that it can. An output without an extension is a folder if --type is given.\n\n"
    "  qetool convert photo.png photo.jpg --quality 90\n"
    "  qetool convert -r photos small --size 1024x --type jpg --skip\n"
    "  curl URL | qetool convert - - --type png > picture.png";

}  // namespace

void AddConvert(CLI::App& app, Host& host) {
  CLI::App& command =
      *app.add_subcommand("convert", "Convert pictures to another file type, size, part or pixel format");
  auto const options = std::make_shared<Options>();
  command
      .add_option("paths", options->plan.inputs.paths,
                  "Pictures (with the wildcards * and ?), folders with -r, or - for standard input; then the "
                  "output: a file, a folder, or - for standard output")
      ->type_name("IN... OUT")
      ->required();
  AddFrameOption(command, options->reading);
  AddSettings(command, FILTER_READ, options->reading.settings);
  AddEdits(command, *options);
  AddFileOptions(command, *options);
  AddInputOptions(command, options->plan.inputs);
  AddExistingOptions(command, options->plan.existing);
  command.add_flag("--dry-run", options->isDry, "Only print what would be written");
  AddJobsOption(command, options->jobs);
  command.add_flag("-v,--verbose", options->isVerbose,
                   "Print each picture's result and the time of each step");
  host.AddOptions(command);
  command.footer(FOOTER);
  command.callback([options, &host] { Run(*options, host); });
}

}  // namespace qetool
