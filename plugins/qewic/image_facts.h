// What an image's properties say of it (image/file_info.h), for a file that is being written.
#pragma once

#include <qecore/image/file_info.h>
#include <qecore/image/image.h>

#include "out.h"
#include "tiff_directory.h"

namespace qewic {

class ImageFacts {
 public:
  explicit ImageFacts(yk::Image2d& of) noexcept : image(of) {}

  /// Whether there is anything to say.
  bool Any() noexcept;
  /// 0: it is not known.
  unsigned Orientation() noexcept;
  /// Whether both are known, in pixels per inch.
  bool Resolution(double& across, double& down) noexcept;
  /// Empty: there is none.
  void Text(yk::img::FileInfoKey key, Bytes& utf8) noexcept;
  /// The profile, if it is one for the image's kind of pixels; empty otherwise.
  void Profile(Bytes& profile) noexcept;

  /// Notes whether memory was there. \return `isMade`
  bool Keep(bool isMade) noexcept {
    lost |= !isMade;
    return isMade;
  }
  /// Whether memory was missing for any part.
  bool IsLost() const noexcept { return lost; }
  /// Records it.
  static HRESULT FailLost() noexcept;

 private:
  bool Get(yk::img::FileInfoKey key, yk::Variant& value) noexcept;
  double OneResolution(yk::img::FileInfoKey key) noexcept;

  yk::Image2d& image;
  bool lost = false;
};

/// The tags of a TIFF file, and of EXIF in others. What they need is allocated when they are added.
class Tags {
 public:
  enum Type : uint16_t { ASCII = 2, SHORT = 3, LONG = 4, RATIONAL = 5, UNDEFINED = 7 };
  struct Value {
    Tag tag;
    uint16_t type;
    uint32_t count;
    Bytes bytes;  // in the file's byte order
  };

  Tags(ImageFacts& of, bool highestFirst) noexcept : facts(of), bigEndian(highestFirst) {}

  /// What the image says of itself, except its resolution and profile.
  void AddFacts() noexcept;
  /// False: it is not known.
  bool AddResolution() noexcept;
  void AddProfile() noexcept;
  void AddFraction(Tag tag, double number) noexcept;
  /// `count` numbers, all 0 until they are set. Null: no memory, which the facts note.
  Value* AddNumbers(Tag tag, Type type, uint32_t count) noexcept;
  void AddNumber(Tag tag, Type type, uint32_t number) noexcept { Set(AddNumbers(tag, type, 1), 0, number); }
  /// Sets one of them; null is allowed.
  void Set(Value* value, uint32_t index, uint32_t number) const noexcept;

  unsigned Count() const noexcept { return count; }
  /// Of what Write writes.
  uint64_t Size() const noexcept;
  /// Writes the directory, which begins `at` bytes after the place that offsets count from, and its values.
  void Write(Out& out, uint32_t at) noexcept;

 private:
  static constexpr unsigned MOST = 32;

  Value* New(Tag tag, uint16_t type, uint32_t length) noexcept;

  ImageFacts& facts;
  bool const bigEndian;
  unsigned count = 0;
  Value values[MOST] = {};
};

/// The tags as PNG and JPEG files can have them; empty without any.
void MakeExif(ImageFacts& facts, Tags& tags, Bytes& exif) noexcept;

}  // namespace qewic
