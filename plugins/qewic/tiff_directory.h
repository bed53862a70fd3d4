// The directory of a TIFF file: numbered fields of one or more values, in the file's byte order.
#pragma once

#include "reading.h"

namespace qewic {

/// The numbers of fields.
enum class Tag : uint16_t {
  WIDTH = 256,
  HEIGHT = 257,
  BITS = 258,
  COMPRESSION = 259,
  PHOTOMETRIC = 262,
  FILL_ORDER = 266,
  DESCRIPTION = 270,
  CAMERA_MAKER = 271,
  CAMERA_MODEL = 272,
  STRIP_OFFSETS = 273,
  ORIENTATION = 274,
  SAMPLES = 277,
  ROWS_PER_STRIP = 278,
  STRIP_SIZES = 279,
  X_RESOLUTION = 282,
  Y_RESOLUTION = 283,
  PLANAR = 284,
  RESOLUTION_UNIT = 296,
  SOFTWARE = 305,
  TIME = 306,
  AUTHOR = 315,
  PREDICTOR = 317,
  COLOURS = 320,
  TILE_WIDTH = 322,
  TILE_HEIGHT = 323,
  TILE_OFFSETS = 324,
  TILE_SIZES = 325,
  EXTRA_SAMPLES = 338,
  SAMPLE_FORMAT = 339,
  COEFFICIENTS = 529,
  SUBSAMPLING = 530,
  BLACK_AND_WHITE = 532,
  COPYRIGHT = 33432,
  PROFILE = 34675,
};

/// Values of Tag::COMPRESSION.
enum class TiffCompression : uint32_t {
  NONE = 1,
  FAX_FIRST = 2,
  FAX_LAST = 4,
  LZW = 5,
  OLD_JPEG = 6,
  JPEG = 7,
  DEFLATE = 8,
  OLD_DEFLATE = 32946,
  PACK_BITS = 32773,
};

/// The value of Tag::EXTRA_SAMPLES for an alpha that colours are not multiplied by.
inline constexpr uint32_t TIFF_STRAIGHT_ALPHA = 2;

/// One directory. Values are read when they are asked for.
class TiffDirectory {
 public:
  enum class Opened { SOUND, TRUNCATED, INVALID, EMPTY, BIG, MISSING };

  /// Reads a file's header, at `base`, and the directory of a page, from 0. Records no failure. MISSING: the
  /// file is sound, but has fewer pages.
  Opened Open(StreamAdapter& file, uint64_t base = 0, uint32_t page = 0) noexcept;

  /// Reads the directory at this offset of a file, which was the Following one of another page.
  Opened OpenAt(StreamAdapter& file, uint32_t directory) noexcept;

  /// The offset of the next page's directory; 0: the opened page is the last.
  uint32_t Following() const noexcept { return Next(opened); }

  /// How many pages the opened file has.
  uint32_t CountPages() const noexcept;

  bool Has(Tag tag) const noexcept { return Find(tag) != nullptr; }
  /// How many values a field has; 0: it is missing.
  uint32_t Count(Tag tag) const noexcept;
  /// A value; `missing` when the field is missing, has fewer or is not a number. The quotient, for fractions.
  uint32_t Number(Tag tag, uint32_t missing, uint32_t index = 0) const noexcept;
  double Fraction(Tag tag, double missing, uint32_t index = 0) const noexcept;
  /// Whether a value that was asked for is beyond the end of the file, or of a type that no reader knows.
  bool IsBroken() const noexcept { return broken; }
  bool IsBigEndian() const noexcept { return bigEndian; }
  uint32_t Word(uint8_t const* at, unsigned size) const noexcept {
    return bigEndian ? Big(at, size) : Little(at, size);
  }
  /// The place of a field's values in the file, and their bytes; 0: it is missing.
  uint32_t Place(Tag tag, uint64_t& offset) const noexcept;

 private:
  struct Field {
    Tag tag;
    uint16_t type;
    uint32_t count;
    uint64_t offset;  // of the values
  };
  static constexpr unsigned MOST_FIELDS = 64;

  Field const* Find(Tag tag) const noexcept;
  bool ReadField(uint64_t at) noexcept;
  Opened ReadHeader() noexcept;
  Opened ReadFields(uint32_t directory) noexcept;
  uint32_t Next(uint32_t directory) const noexcept;
  bool HasFields(uint32_t directory) const noexcept;

  StreamAdapter* file = nullptr;
  uint64_t base = 0;
  uint32_t first = 0, opened = 0;  // directories, counted from `base`
  bool bigEndian = false;
  mutable bool broken = false;
  unsigned count = 0;
  Field fields[MOST_FIELDS] = {};
};

}  // namespace qewic
