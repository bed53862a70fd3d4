// Shared by the targets: their table, the check, and small helpers.
#pragma once

#include <qecore/core/ref.h>
#include <qecore/core/streamable.h>
#include <qecore/io/stream.h>
#include <qecore/values/map.h>

#include <source_location>
#include <span>
#include <string>

#include "hardening/native/harness.h"
#include "input.h"

namespace fuzz {

/// Collects the initial inputs of a target's corpus: samples of valid data.
class Seeds {
 public:
  virtual void Add(std::string const& name, std::string const& input) = 0;

 protected:
  ~Seeds() = default;
};

struct Target {
  char const* name;
  void (*run)(Input& in);
  void (*addSeeds)(Seeds& seeds);  ///< null: the fuzzer needs none
  void (*prepare)();               ///< called once, for state that all inputs share and never free
  unsigned longest;                ///< the maximum bytes of an input
  size_t largest = 4 << 20;        ///< the largest allocation granted: more takes time and finds nothing
};

/// All of them, in the order in which `./run fuzz` runs them.
std::span<Target const> Targets() noexcept;

/// True while the plan of this input makes a call fail: missing results are then acceptable.
bool MayFail() noexcept;

/// Ends the program, and records the input as a finding, unless `holds`.
void Require(bool holds, char const* what,
             std::source_location where = std::source_location::current()) noexcept;

/// A memory stream with these bytes, positioned at its start. Nothing fails here.
yk::Ref<yk::Stream> StreamOf(void const* bytes, size_t size);

/// The content of a memory stream.
std::string BytesOf(yk::Stream& stream);

/// An object that holds only a map, to be referenced and registered.
class Thing final : public yk::Destroys<Thing, yk::qe_Streamable> {
 private:
  yk::Ref<yk::Map> map = yk::Ref<yk::Map>::Adopt(yk::Map::Create());
};

/// Calls steps of a table with the state, chosen by the input, `most` times or until the input ends.
template <class Steps, class... State>
void Play(Input& in, int most, Steps const& steps, State&... state) {
  for (int i = 0; i < most && in.More(); ++i) in.Step(steps)(state..., in);
}

// ---- the targets

void ReadObjectFile(Input& in);
void ReadChunkTree(Input& in);
void WriteObjectFile(Input& in);
void ReadCache(Input& in);
void CallRegistry(Input& in);
void ReadXml(Input& in);
void EditXml(Input& in);
void MatchWildcard(Input& in);
void DetectFileType(Input& in);
void EditStrings(Input& in);
void ConvertUtf8(Input& in);
void FormatText(Input& in);
void FormatLongText(Input& in);
void UseVariants(Input& in);
void UseArrays(Input& in);
void UseMemStream(Input& in);
void UseArena(Input& in);
void EditImages(Input& in);
void Draw(Input& in);
void UndoAndRedo(Input& in);
void ReadPictureHeaders(Input& in);
void ReadPictures(Input& in);

void PrepareImages();
void PreparePictures();

void SeedObjectFile(Seeds& seeds);
void SeedChunkTree(Seeds& seeds);
void SeedCache(Seeds& seeds);
void SeedXml(Seeds& seeds);
void SeedFileType(Seeds& seeds);
void SeedPictures(Seeds& seeds);

}  // namespace fuzz
