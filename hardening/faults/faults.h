// Fault injection: a scenario runs repeatedly while its first, second, third ... allocation, write, seek or
// other system call fails, once or permanently. For each failure, the scenario must report it or end as if
// nothing had failed; nothing may be leaked, the objects used must remain usable, and a file being replaced
// must be complete.
#pragma once

#include <qecore/core/base.h>
#include <qecore/core/ref.h>

#include <span>
#include <string>

#include "hardening/native/harness.h"

namespace faults {

using namespace yk;

/// The outcome of a run of a scenario.
struct Outcome {
  HRESULT reported = S_OK;       ///< the first failure that was reported
  bool whole = true;             ///< the result is the same as without failures
  char const* broken = nullptr;  ///< a state that must never occur: half a file, an unusable object

  /// Records a result. \return whether it is a success
  bool Note(HRESULT result) noexcept {
    if (Failed(result) && Succeeded(reported)) reported = result;
    return Succeeded(result);
  }
  /// The same for functions that report failure by null or false.
  bool Note(bool succeeded) noexcept { return Note(succeeded ? S_OK : E_FAIL); }
  /// Records a failure after which the scenario cannot continue.
  Outcome& End() noexcept {
    whole = false;
    return *this;
  }
};

struct Scenario {
  char const* name;
  unsigned kinds;     ///< the kinds of calls to fail, one kind after the other
  void (*prepare)();  ///< before each run, without failures; may be null
  Outcome (*run)();
};

inline constexpr unsigned SAVING = harness::MEMORY | harness::LOCK | harness::OPEN | harness::WRITE |
                                   harness::SHORT_WRITE | harness::SEEK | harness::REPLACE | harness::FLUSH;
inline constexpr unsigned LOADING =
    harness::MEMORY | harness::LOCK | harness::OPEN | harness::READ | harness::SHORT_READ | harness::SEEK;

/// The result of `make`, without failures.
template <class Make>
auto Calmly(Make make) {
  harness::Calm const calm;
  return make();
}

// The scenarios, by file.
std::span<Scenario const> ObjectFileScenarios();
std::span<Scenario const> XmlScenarios();
std::span<Scenario const> ContainerScenarios();
std::span<Scenario const> StreamScenarios();
std::span<Scenario const> ImageScenarios();
std::span<Scenario const> PictureScenarios();
std::span<Scenario const> ModuleScenarios();

/// Leaves a single file.
void PutOnly(std::u16string const& path, std::string const& content);

/// "half a file" unless the file holds exactly the old bytes or the new ones.
char const* CheckReplaced(std::u16string const& path, std::string const& before, std::string const& after);

/// A wide literal in the library's type, for a path of the harness.
inline wchar_t const* Wide(std::u16string const& path) noexcept {
  return reinterpret_cast<wchar_t const*>(path.c_str());
}

}  // namespace faults
