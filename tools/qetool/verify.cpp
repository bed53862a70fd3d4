// qetool verify: whether files can be read to their last chunk or pixel.
#include <qecore/image/filter_option.h>
#include <qecore/io/chunk.h>
#include <stdio.h>

#include <algorithm>
#include <memory>
#include <new>

#include "chunk_tree.h"
#include "commands.h"
#include "input.h"
#include "jobs.h"
#include "pictures.h"
#include "text.h"

namespace qetool {

using namespace yk;

namespace {

struct Options {
  InputOptions inputs;
  ReadOptions reading;
  unsigned jobs = 0;
};

/// What was found out about a file.
struct Verdict {
  bool isSound;
  std::string text;
};

// How many pictures there are in a file, and how many of them can be read; by one call or one by one.
struct Frames {
  unsigned count, readable;
  bool canDecodeEvery;
};

Frames CountFramesIn(Stream& stream) {
  stream.Seek(0, Stream::FROM_START);
  Guid type = {};
  unsigned const count = CountFrames(*QueryPicture(stream, type));
  return {count, HasOption(type, FILTER_READ, FilterOption::FRAME) ? count : 1,
          HasOption(type, FILTER_READ, FilterOption::EVERY_FRAME)};
}

std::string Describe(Picture const& first, Frames const& frames) {
  std::string text =
      Format("%s, %d x %d pixels", TypeName(first.type).c_str(), first.image->width, first.image->height);
  if (frames.count == 1) return text;
  return text + Format(frames.readable == 1 ? ", the first of %u frames" : ", %u frames", frames.count);
}

// The name is printed before the reason anyway.
std::string WithoutName(std::string const& text, std::string const& path) {
  for (char const* what : {"cannot read ", "cannot open "}) {
    std::string const known = what + ShownName(path) + ": ";
    if (text.starts_with(known)) return text.substr(known.size());
  }
  return text;
}

/// Reads the pictures of a file.
class Reading {
 public:
  Reading(Stream& stream, std::string const& path, ReadOptions const& options, Listener& listener)
      : stream(stream), path(path), options(options), listener(listener) {}

  Verdict Verify() {
    try {
      Picture const first = LoadPicture(stream, path, listener, options);
      Frames const frames = CountFramesIn(stream);
      ReadOthers(frames);
      return {true, Describe(first, frames)};
    } catch (Failure const& failure) {
      return {false, WithoutName(failure.text, path)};
    }
  }

 private:
  // All after the first, by one call if the filter can: a frame may need all that are before it.
  void ReadOthers(Frames const& frames) {
    options.decodesEvery = frames.canDecodeEvery;
    unsigned const last = std::max(frames.readable, 1u) - 1;
    for (unsigned frame = options.decodesEvery ? last : 1; frame > 0 && frame <= last; ++frame) Read(frame);
  }

  void Read(unsigned frame) {
    stream.Seek(0, Stream::FROM_START);
    options.frame = frame;
    try {
      LoadPicture(stream, path, listener, options);
    } catch (Failure const& failure) {
      if (options.decodesEvery) throw;  // its text says which frame
      throw Failure{Format("frame %u: %s", frame, WithoutName(failure.text, path).c_str())};
    }
  }

  Stream& stream;
  std::string const& path;
  ReadOptions options;
  Listener& listener;
};

// Every object file starts with the chunk that holds all others. Other files, which may be huge, are not
// read.
bool IsObjectFile(Stream& stream) {
  unsigned char tag[2] = {};
  unsigned done = 0;
  stream.Seek(0, Stream::FROM_START);
  stream.Read(tag, sizeof tag, &done);
  stream.Seek(0, Stream::FROM_START);
  return done == sizeof tag && (tag[0] | tag[1] << 8) == chunk::FILE_FRAME;
}

Verdict VerifyChunks(ChunkTree const& tree) {
  if (!tree.damage.empty()) return {false, tree.damage};
  return {true, Format("object file, %zu chunks", tree.nodes.size())};
}

Verdict Verify(std::string const& path, ReadOptions const& reading, Listener& listener) {
  try {
    Ref<Stream> const stream = OpenInput(path);
    Verdict verdict = Reading(*stream, path, reading, listener).Verify();
    if (verdict.isSound || !IsObjectFile(*stream)) return verdict;
    std::vector<unsigned char> const bytes = ReadAll(*stream, path);
    ChunkTree const tree = ParseChunks(bytes);
    return tree.nodes.empty() ? verdict : VerifyChunks(tree);
  } catch (Failure const& failure) {
    return {false, WithoutName(failure.text, path)};
  } catch (std::bad_alloc const&) {
    return {false, "not enough memory"};
  }
}

void CheckSettings(std::vector<std::string> const& settings) {
  for (std::string const& setting : settings) {
    std::string const name = setting.substr(0, setting.find('='));
    if (EqualNoCase(name, "frame") || EqualNoCase(name, "every-frame"))
      throw Failure{"--read-option " + setting + ": verify reads every frame"};
  }
}

void Run(Options const& options, Host& host) {
  CheckSettings(options.reading.settings);
  Watch watch;
  host.Start(watch);
  std::vector<Input> const files = CollectInputs(options.inputs, host);
  std::vector<Verdict> verdicts(files.size());
  Jobs work(files.size(), options.jobs, watch, [&](size_t i, Listener& listener) {
    verdicts[i] = Verify(files[i].path, options.reading, listener);
  });
  size_t bad = 0;
  for (size_t i = 0; i < files.size(); ++i) {
    watch.Next(files[i].path, files.size());
    work.Await(files[i].path);
    watch.Clear();
    auto const& [isSound, text] = verdicts[i];
    printf("%s: %s: %s\n", ShownName(files[i].path).c_str(), isSound ? "good" : "bad", text.c_str());
    bad += !isSound;
  }
  if (files.size() > 1) printf("%zu of %zu files are good\n", files.size() - bad, files.size());
  if (bad) throw CLI::RuntimeError(1);
}

}  // namespace

void AddVerify(CLI::App& app, Host& host) {
  CLI::App& command = *app.add_subcommand(
      "verify", "Read every pixel of all pictures in files, and every chunk of object files");
  auto const options = std::make_shared<Options>();
  command
      .add_option(
          "files", options->inputs.paths,
          "Pictures and object files (with the wildcards * and ?), folders with -r, or - for standard input")
      ->type_name("FILE...");
  AddSettings(command, FILTER_READ, options->reading.settings);
  AddInputOptions(command, options->inputs);
  AddJobsOption(command, options->jobs);
  host.AddOptions(command);
  command.footer(
      "One line for each file says whether it is good or bad, and why. The exit code is 1 if any is bad.");
  command.callback([options, &host] { Run(*options, host); });
}

}  // namespace qetool
