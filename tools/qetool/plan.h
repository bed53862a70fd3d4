// Which picture convert writes where.
#pragma once

#include "existing.h"
#include "input.h"

namespace qetool {

/// The files that convert is given.
struct PlanOptions {
  InputOptions inputs;  // `paths` end with the output
  std::string type;     // the extension of outputs, with or without a dot
  ExistingOptions existing;
};

/// One picture.
struct Job {
  std::string input, output;
  yk::Guid filter;  // that writes it
};

struct Plan {
  std::vector<Job> jobs;
  std::vector<Job> kept;             // whose outputs exist and are not written
  std::vector<std::string> missing;  // why inputs that do not exist cannot be opened
};

/// Determines the output of each input, without touching any file. Several inputs, and an output that is a
/// folder: the files keep their names in that folder, and those of folders their subfolders. Throws Failure
/// for what cannot succeed, except for inputs that do not exist: the others can be converted.
Plan MakePlan(PlanOptions const& options, Host const& host);

/// Creates the folders of the outputs. Throws Failure.
void CreateFolders(Plan const& plan);

/// Prints what would be done.
void PrintPlan(Plan const& plan);

}  // namespace qetool
