#include "tiff_directory.h"

#include <algorithm>
#include <iterator>

namespace qewic {

namespace {

enum Type : uint16_t { BYTE = 1, SHORT = 3, LONG = 4, RATIONAL = 5 };

// Bytes of a value; 0 for types that no field of pictures has.
constexpr unsigned SIZES[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};

unsigned SizeOf(unsigned type) noexcept { return type < std::size(SIZES) ? SIZES[type] : 0; }

}  // namespace

TiffDirectory::Opened TiffDirectory::ReadHeader() noexcept {
  uint8_t head[8];
  if (!file->ReadAt(base, head, sizeof head)) return Opened::TRUNCATED;
  bigEndian = head[0] == 'M';
  uint32_t const version = Word(head + 2, 2);
  if (head[0] != head[1] || (head[0] != 'I' && head[0] != 'M')) return Opened::INVALID;
  if (version == 43) return Opened::BIG;
  if (version != 42) return Opened::INVALID;
  first = Word(head + 4, 4);
  return Opened::SOUND;
}

TiffDirectory::Opened TiffDirectory::ReadFields(uint32_t directory) noexcept {
  uint8_t head[2];
  uint64_t const at = base + directory;
  opened = directory;
  if (!file->ReadAt(at, head, sizeof head)) return Opened::TRUNCATED;
  uint32_t const present = Word(head, 2);
  for (uint32_t i = 0; i < present; ++i)
    if (!ReadField(at + 2 + uint64_t{i} * 12)) return Opened::TRUNCATED;
  return present ? Opened::SOUND : Opened::EMPTY;
}

TiffDirectory::Opened TiffDirectory::Open(StreamAdapter& from, uint64_t start, uint32_t page) noexcept {
  file = &from, base = start, count = 0;
  Opened const header = ReadHeader();
  if (header != Opened::SOUND) return header;
  if (page > 0 && page >= CountPages()) return Opened::MISSING;
  uint32_t directory = first;
  for (; page > 0; --page) directory = Next(directory);
  return ReadFields(directory);
}

TiffDirectory::Opened TiffDirectory::OpenAt(StreamAdapter& from, uint32_t directory) noexcept {
  file = &from, base = 0, count = 0;
  Opened const header = ReadHeader();
  return header == Opened::SOUND ? ReadFields(directory) : header;
}

/// The directory after this one; 0: it is the last.
uint32_t TiffDirectory::Next(uint32_t directory) const noexcept {
  uint8_t bytes[4];
  uint64_t const at = base + directory;
  if (!file->ReadAt(at, bytes, 2) || !file->ReadAt(at + 2 + 12 * Word(bytes, 2), bytes, 4)) return 0;
  uint32_t const next = Word(bytes, 4);
  return next && HasFields(next) ? next : 0;
}

bool TiffDirectory::HasFields(uint32_t directory) const noexcept {
  uint8_t bytes[2];
  return file->ReadAt(base + directory, bytes, sizeof bytes) && Word(bytes, 2) > 0;
}

// A damaged chain may lead back into itself. A mark that moves on at powers of two meets any loop; then
// `since` is its length, and its directories are counted once.
uint32_t TiffDirectory::CountPages() const noexcept {
  uint32_t pages = 0, mark = 0, since = 1, span = 1, at = first;
  for (; at != 0 && at != mark; at = Next(at), ++pages, ++since)
    if (since == span) mark = at, since = 0, span *= 2;
  if (at == 0) return std::max(pages, 1u);
  uint32_t ahead = first;
  for (uint32_t i = 0; i < since; ++i) ahead = Next(ahead);
  uint32_t const most = pages;  // in case the stream changes meanwhile
  for (pages = since, at = first; at != ahead && pages < most; at = Next(at), ahead = Next(ahead)) ++pages;
  return pages;
}

// Fields are sorted by their number. No writer has so many that one which is asked for is beyond the room.
bool TiffDirectory::ReadField(uint64_t at) noexcept {
  uint8_t bytes[12];
  if (!file->ReadAt(at, bytes, sizeof bytes)) return false;
  Field field = {Tag(Word(bytes, 2)), static_cast<uint16_t>(Word(bytes + 2, 2)), Word(bytes + 4, 4), at + 8};
  if (uint64_t{field.count} * SizeOf(field.type) > 4) field.offset = base + Word(bytes + 8, 4);
  if (count < MOST_FIELDS && SizeOf(field.type) && !Find(field.tag)) fields[count++] = field;
  return true;
}

TiffDirectory::Field const* TiffDirectory::Find(Tag tag) const noexcept {
  auto const* const end = fields + count;
  auto const* const found = std::find_if(fields, end, [=](Field const& field) { return field.tag == tag; });
  return found == end ? nullptr : found;
}

uint32_t TiffDirectory::Count(Tag tag) const noexcept {
  Field const* const field = Find(tag);
  return field ? field->count : 0;
}

uint32_t TiffDirectory::Place(Tag tag, uint64_t& offset) const noexcept {
  Field const* const field = Find(tag);
  if (!field) return 0;
  offset = field->offset;
  uint64_t const size = uint64_t{field->count} * SizeOf(field->type);
  return size > file->Extent() ? 0 : static_cast<uint32_t>(size);
}

double TiffDirectory::Fraction(Tag tag, double missing, uint32_t index) const noexcept {
  Field const* const field = Find(tag);
  if (!field || index >= field->count) return missing;
  unsigned const size = SizeOf(field->type);
  bool const isKnown =
      field->type == BYTE || field->type == SHORT || field->type == LONG || field->type == RATIONAL;
  uint8_t bytes[8];
  if (!isKnown || !file->ReadAt(field->offset + uint64_t{index} * size, bytes, size)) {
    broken = true;
    return missing;
  }
  if (field->type != RATIONAL) return Word(bytes, size);
  uint32_t const below = Word(bytes + 4, 4);
  return below ? static_cast<double>(Word(bytes, 4)) / below : missing;
}

uint32_t TiffDirectory::Number(Tag tag, uint32_t missing, uint32_t index) const noexcept {
  double const value = Fraction(tag, missing, index);
  return value >= 0 && value < 4294967296.0 ? static_cast<uint32_t>(value) : missing;
}

}  // namespace qewic
