#include "image_facts.h"

#include <windows.h>

#include <qecore/io/mem_stream.h>
#include <qecore/values/string.h>
#include <string.h>

#include <algorithm>
#include <iterator>

#include "failure.h"
#include "file_facts.h"

namespace qewic {

using namespace yk;

namespace {

bool IsText(Variant const& value) noexcept {
  return value.type == Variant::NARROW_STRING || value.type == Variant::WIDE_STRING;
}

}  // namespace

bool ImageFacts::Get(img::FileInfoKey key, Variant& value) noexcept {
  HRESULT const result = image.GetValue(key, value);
  lost |= result == E_OUTOFMEMORY;
  return Succeeded(result);
}

bool ImageFacts::Any() noexcept {
  return std::any_of(std::begin(img::FILE_INFO), std::end(img::FILE_INFO),
                     [&](img::FileInfoFacts const& row) {
                       Variant value;
                       return row.key >= img::INFO_ORIENTATION && (Get(row.key, value) || lost);
                     });
}

unsigned ImageFacts::Orientation() noexcept {
  Variant value;
  unsigned number = 0;
  bool const isKnown = Get(img::INFO_ORIENTATION, value) && value.Get(number);
  return isKnown && number <= 8 ? number : 0;
}

double ImageFacts::OneResolution(img::FileInfoKey key) noexcept {
  Variant value;
  double inch = 0;
  bool const isKnown = Get(key, value) && value.Get(inch);
  constexpr double LEAST = 0.02, LIMIT = 1e6;  // in between no file type rounds it to 0 or has no room for it
  return isKnown && inch >= LEAST && inch < LIMIT ? inch : 0;
}

bool ImageFacts::Resolution(double& across, double& down) noexcept {
  across = OneResolution(img::INFO_RESOLUTION_X);
  down = OneResolution(img::INFO_RESOLUTION_Y);
  return across > 0 && down > 0;
}

void ImageFacts::Text(img::FileInfoKey key, Bytes& utf8) noexcept {
  Variant value;
  String text;
  utf8.size = 0;
  if (!Get(key, value) || !IsText(value) || !Keep(value.Get(text))) return;
  if (text.IsEmpty() || text.Length() > 20000) return;
  int const room = 3 * static_cast<int>(text.Length());
  if (!Keep(utf8.Make(static_cast<size_t>(room)))) return;
  int const length = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), static_cast<int>(text.Length()),
                                         reinterpret_cast<char*>(utf8.data.get()), room, nullptr, nullptr);
  utf8.size = static_cast<uint32_t>(std::max(length, 0));
  utf8.data[utf8.size] = 0;
}

void ImageFacts::Profile(Bytes& profile) noexcept {
  Variant value;
  profile.size = 0;
  if (!Get(img::INFO_COLOR_PROFILE, value) || value.type != Variant::BLOB) return;
  if (!Keep(profile.Make(value.size))) return;
  value.Get(profile.data.get(), profile.size);
  char const* const kind = img::GetFacts(image.format).channels == 1 ? "GRAY" : "RGB ";
  if (profile.size < 128 || memcmp(profile.data.get() + 16, kind, 4) != 0) profile.size = 0;
}

HRESULT ImageFacts::FailLost() noexcept {
  return Fail(E_OUTOFMEMORY, WRITE, L"not enough memory for what the image says of itself");
}

// ---- tags

namespace {

unsigned SizeOf(uint16_t type) noexcept { return type == Tags::SHORT ? 2 : 4; }

uint32_t Even(uint32_t size) noexcept { return (size + 1) & ~1u; }

}  // namespace

/// Replaces a tag of the same number.
Tags::Value* Tags::New(Tag tag, uint16_t type, uint32_t length) noexcept {
  Value* const end = values + count;
  Value* value = std::find_if(values, end, [=](Value const& each) { return each.tag == tag; });
  if (value == end && count == MOST) return nullptr;
  if (value == end) ++count;
  value->tag = tag, value->type = type, value->count = length;
  return value;
}

Tags::Value* Tags::AddNumbers(Tag tag, Type type, uint32_t length) noexcept {
  Value* const made = New(tag, type, length);
  size_t const size = size_t{SizeOf(type)} * length;
  if (!made || !facts.Keep(made->bytes.Make(size))) return nullptr;
  memset(made->bytes.data.get(), 0, size);
  return made;
}

void Tags::Set(Value* value, uint32_t index, uint32_t number) const noexcept {
  if (!value) return;
  unsigned const size = SizeOf(value->type);
  StoreNumber(value->bytes.data.get() + size_t{index} * size, number, size, bigEndian);
}

void Tags::AddFraction(Tag tag, double number) noexcept {
  constexpr uint32_t PARTS = 1000;
  Value* const made = AddNumbers(tag, LONG, 2);
  Set(made, 0, static_cast<uint32_t>(number * PARTS + 0.5));
  Set(made, 1, PARTS);
  if (made) made->type = RATIONAL, made->count = 1;
}

void Tags::AddFacts() noexcept {
  for (auto const& [tag, key] : TEXT_TAGS) {
    Bytes text;
    facts.Text(key, text);
    Value* const made = text.size ? New(tag, ASCII, text.size + 1) : nullptr;
    if (!made) continue;
    made->bytes = std::move(text);
    ++made->bytes.size;  // the zero
  }
  if (unsigned const orientation = facts.Orientation()) AddNumber(Tag::ORIENTATION, SHORT, orientation);
}

bool Tags::AddResolution() noexcept {
  enum : uint32_t { INCHES = 2 };
  double across = 0, down = 0;
  if (!facts.Resolution(across, down)) return false;
  AddFraction(Tag::X_RESOLUTION, across);
  AddFraction(Tag::Y_RESOLUTION, down);
  AddNumber(Tag::RESOLUTION_UNIT, SHORT, INCHES);
  return true;
}

void Tags::AddProfile() noexcept {
  Bytes profile;
  facts.Profile(profile);
  Value* const made = profile.size ? New(Tag::PROFILE, UNDEFINED, profile.size) : nullptr;
  if (made) made->bytes = std::move(profile);
}

uint64_t Tags::Size() const noexcept {
  uint64_t size = 2 + 12 * count + 4;
  for (unsigned i = 0; i < count; ++i) size += values[i].bytes.size > 4 ? Even(values[i].bytes.size) : 0;
  return size;
}

void Tags::Write(Out& out, uint32_t at) noexcept {
  std::sort(values, values + count, [](Value const& a, Value const& b) { return a.tag < b.tag; });
  uint32_t place = at + 2 + 12 * count + 4;
  out.Put(count, 2);
  for (unsigned i = 0; i < count; ++i) {
    Value const& value = values[i];
    uint8_t field[4] = {};
    uint32_t const size = value.bytes.size;
    if (size > 4) StoreNumber(field, place, 4, bigEndian);
    if (size <= 4) std::copy_n(value.bytes.data.get(), size, field);
    if (size > 4) place += Even(size);
    out.Put(static_cast<uint32_t>(value.tag), 2);
    out.Put(value.type, 2);
    out.Put(value.count, 4);
    out.Put(field, 4);
  }
  out.Put(0u, 4);
  for (unsigned i = 0; i < count; ++i) {
    if (values[i].bytes.size <= 4) continue;
    out.Put(values[i].bytes.data.get(), values[i].bytes.size);
    out.Put("", values[i].bytes.size % 2);
  }
}

void MakeExif(ImageFacts& facts, Tags& tags, Bytes& exif) noexcept {
  Ref<Stream> memory;
  exif.size = 0;
  if (tags.Count() == 0 || !facts.Keep(Succeeded(MemStream::Create(memory.Receive())))) return;
  Out out(*memory);
  out.Put("MM\0*\0\0\0\x8", 8);
  tags.Write(out, 8);
  if (!facts.Keep(Succeeded(out.Flush()) && exif.Read(*memory))) exif.size = 0;
}

}  // namespace qewic
