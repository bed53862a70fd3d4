#include "plan.h"

#include <qecore/io/file.h>
#include <stdio.h>

#include <algorithm>
#include <map>
#include <set>

#include "pictures.h"
#include "text.h"

namespace qetool {

using namespace yk;

namespace {

bool EndsWithSeparator(std::string const& path) { return path.back() == '/' || path.back() == '\\'; }

/// The options, understood.
struct Request {
  std::vector<Input> inputs;         // that exist
  std::vector<std::string> missing;  // see Plan
  std::string output, type;
  bool isFolder;  // the output is one
};

// The extension of --type; empty without one. Throws Failure for one that no filter writes.
std::string ReadType(std::string const& text, Host const& host) {
  std::string const type = text.substr(std::min(text.find_first_not_of('.'), text.size()));
  if (text.empty() || IsWritten(host, type)) return type;
  throw Failure{"--type " + text + ": it must be one of " + WrittenTypes(host)};
}

// An output that is called like a picture, and is not a folder already, is not meant to become one.
void CheckFolderName(Request const& request, Host const& host) {
  std::string const& output = request.output;
  if (EndsWithSeparator(output) || IsFolder(output)) return;
  if (Exists(output)) throw Failure{"cannot write into the folder " + output + ": it is a file"};
  if (!IsWritten(host, ExtensionOf(output))) return;
  throw Failure{
      Format("cannot write %zu picture%s to %s: it is the name of one picture, not of a folder (%s/ would "
             "be one)",
             request.inputs.size(), request.inputs.size() == 1 ? "" : "s", output.c_str(), output.c_str())};
}

// Why there is nothing to read at the path; empty if there is a file.
std::string WhyMissing(std::string const& path) {
  if (path == STANDARD_STREAM || Exists(path)) return {};
  try {
    OpenInput(path);  // also where no attributes can be read
    return {};
  } catch (Failure const& failure) {
    return failure.text;
  }
}

void SeparateMissing(Request& request) {
  std::erase_if(request.inputs, [&](Input const& input) {
    std::string const why = WhyMissing(input.path);
    if (!why.empty()) request.missing.push_back(why);
    return !why.empty();
  });
}

Request Understand(PlanOptions const& options, Host const& host) {
  InputOptions inputs = options.inputs;
  if (inputs.paths.size() + !inputs.list.empty() < 2) {
    throw Failure{"convert needs an input and an output (see qetool convert --help)"};
  }
  Request request = {{}, {}, inputs.paths.back(), ReadType(options.type, host), false};
  inputs.paths.pop_back();
  std::string const& output = request.output;
  if (output.empty()) throw Failure{"the output has no name"};
  CheckNoDevice("cannot write ", output);
  request.inputs = CollectInputs(inputs, host, output);
  for (Input const& input : request.inputs) {
    if (IsFolder(input.path)) {
      throw Failure{"cannot read " + input.path + ": it is a folder (-r takes the pictures in it)"};
    }
  }
  if (output == STANDARD_STREAM) {
    if (request.inputs.size() > 1) throw Failure{"standard output takes only one picture"};
    return request;
  }
  bool const isOnlyType = !request.type.empty() && ExtensionOf(output).empty();
  bool const isForMany = request.inputs.size() > 1 || inputs.isRecursive;
  request.isFolder = isForMany || isOnlyType || EndsWithSeparator(output) || IsFolder(output);
  if (request.isFolder) CheckFolderName(request, host);
  return request;
}

std::string WithExtension(std::string const& name, std::string const& extension) {
  return extension.empty() ? name
                           : name.substr(0, name.size() - ExtensionOf(name).size()) +
                                 (ExtensionOf(name).empty() ? "." : "") + extension;
}

Job PlanStream(Request const& request, Host const& host) {
  std::string const& input = request.inputs[0].path;
  std::string const type = request.type.empty() ? ExtensionOf(input) : request.type;
  if (type.empty()) throw Failure{"cannot write to standard output: --type must say which file type"};
  return {input, STANDARD_STREAM, FilterFor(host, "x." + type)};
}

Job PlanFile(Request const& request, Host const& host) {
  std::string const& output = request.output;
  CheckOutput(output);
  Guid const filter = FilterFor(host, output);
  if (!request.type.empty() && !(filter == FilterFor(host, "x." + request.type))) {
    throw Failure{"--type " + request.type + ": " + output + " is the name of another type"};
  }
  return {request.inputs[0].path, output, filter};
}

std::vector<Job> PlanFolder(Request const& request, Host const& host) {
  std::string const folder = request.output + (EndsWithSeparator(request.output) ? "" : "/");
  std::vector<Job> jobs;
  std::map<std::string, std::string> taken;  // which input will be where
  for (Input const& input : request.inputs) {
    if (input.path == STANDARD_STREAM)
      throw Failure{"the picture of standard input needs a name: give a file"};
    std::string const target = folder + WithExtension(input.name, request.type);
    CheckNoDevice("cannot write ", target);
    auto const [place, isNew] = taken.emplace(PlaceOf(target), input.path);
    if (!isNew) throw Failure{place->second + " and " + input.path + " would both be written to " + target};
    jobs.push_back({input.path, target, FilterFor(host, target)});
  }
  return jobs;
}

std::vector<Job> PlanJobs(Request const& request, Host const& host) {
  if (request.isFolder) return PlanFolder(request, host);
  if (request.inputs.empty()) return {};
  return {request.output == STANDARD_STREAM ? PlanStream(request, host) : PlanFile(request, host)};
}

}  // namespace

Plan MakePlan(PlanOptions const& options, Host const& host) {
  Request request = Understand(options, host);
  SeparateMissing(request);
  Plan plan = {{}, {}, request.missing};
  Existing existing(options.existing);
  for (Job const& job : PlanJobs(request, host)) {
    bool const isWritten = job.output == STANDARD_STREAM || existing.MayWrite(job.output);
    (isWritten ? plan.jobs : plan.kept).push_back(job);
  }
  return plan;
}

void CreateFolders(Plan const& plan) {
  std::set<std::string> made;
  for (Job const& job : plan.jobs) {
    std::string const folder = FolderOf(job.output);
    if (folder.empty() || !made.insert(folder).second || IsFolder(folder)) continue;
    HRESULT const result = file::NewFolderEx(ToWide(folder));
    if (Failed(result)) throw Failure{"cannot create the folder " + Reason(result)};
  }
}

void PrintPlan(Plan const& plan) {
  for (Job const& job : plan.jobs) {
    bool const isReplaced = job.output != STANDARD_STREAM && Exists(job.output);
    printf("%s -> %s%s\n", job.input.c_str(), job.output.c_str(), isReplaced ? " (replaced)" : "");
  }
  for (Job const& job : plan.kept) printf("%s -> %s (kept)\n", job.input.c_str(), job.output.c_str());
}

}  // namespace qetool
