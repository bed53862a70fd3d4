// Fault injection: a scenario is run again and again while its first, second, third ... request for memory,
// write, seek or other call of the system fails, once and from there on. Whatever fails, the scenario must
// say so or end as if nothing had failed; nothing may be left alive, what it used must still be usable, and a
// file that it replaces must be whole.
#pragma once

#include <qecore/core/base.h>
#include <qecore/core/ref.h>

#include <span>
#include <string>

#include "hardening/native/harness.h"

namespace faults {

using namespace yk;

/// How a run of a scenario ended.
struct Outcome {
  HRESULT told = S_OK;           ///< the first failure that anything said
  bool whole = true;             ///< the result is what it is when nothing fails
  char const* broken = nullptr;  ///< what must never be, whatever failed: half a file, an object of no use

  /// Takes note of a result. \return whether it is a success
  bool Note(HRESULT result) noexcept {
    if (Failed(result) && Succeeded(told)) told = result;
    return Succeeded(result);
  }
  /// The same for what tells its failure by null or false.
  bool Note(bool succeeded) noexcept { return Note(succeeded ? S_OK : E_FAIL); }
  /// What was lost with everything else: the scenario cannot go on.
  Outcome& End() noexcept {
    whole = false;
    return *this;
  }
};

struct Scenario {
  char const* name;
  unsigned kinds;     ///< of the calls that are made to fail, one kind after the other
  void (*prepare)();  ///< before each run, undisturbed; may be null
  Outcome (*run)();
};

inline constexpr unsigned SAVING = harness::MEMORY | harness::LOCK | harness::OPEN | harness::WRITE |
                                   harness::SHORT_WRITE | harness::SEEK | harness::REPLACE | harness::FLUSH;
inline constexpr unsigned LOADING =
    harness::MEMORY | harness::LOCK | harness::OPEN | harness::READ | harness::SHORT_READ | harness::SEEK;

/// What `make` gives, undisturbed.
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

/// Leaves one file and nothing else.
void PutOnly(std::u16string const& path, std::string const& content);

/// "half a file" unless the file holds the old bytes or the new ones.
char const* CheckReplaced(std::u16string const& path, std::string const& before, std::string const& after);

/// A wide literal as the library takes it, for a path of the harness.
inline wchar_t const* Wide(std::u16string const& path) noexcept {
  return reinterpret_cast<wchar_t const*>(path.c_str());
}

}  // namespace faults
