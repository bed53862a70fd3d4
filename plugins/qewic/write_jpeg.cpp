// A JPEG file of a stated quality, made here: not every Imaging Component listens to the quality that it is asked
// for. Baseline, with the standard's own tables; colour at half resolution below quality 90.
#include <qecore/image/convert.h>
#include <string.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <new>

#include "codec.h"
#include "jpeg_tables.h"

namespace qewic {

using namespace yk;

namespace {

constexpr int LARGEST_SIDE = 65500;  // what decoders take
constexpr unsigned FULL_COLOUR_QUALITY = 90;

enum Marker : uint8_t {
  START = 0xD8,
  END = 0xD9,
  APPLICATION = 0xE0,
  QUANTISATION = 0xDB,
  FRAME = 0xC0,
  CODES = 0xC4,
  SCAN = 0xDA,
};

// Collects bytes and bits on their way to the stream.
class Output {
 public:
  explicit Output(Stream& target) noexcept : stream(target) {}

  void Byte(unsigned value) noexcept {
    buffer[used++] = static_cast<uint8_t>(value);
    if (used == sizeof buffer) Flush();
  }
  void Word(unsigned value) noexcept { Byte(value >> 8), Byte(value & 0xFF); }
  void Bytes(void const* data, size_t size) noexcept {
    for (size_t i = 0; i < size; ++i) Byte(static_cast<uint8_t const*>(data)[i]);
  }
  void Segment(Marker marker, size_t payload) noexcept {
    Word(0xFF00u | marker);
    Word(static_cast<unsigned>(payload + 2));
  }

  // The highest bit first; a byte FF among the bits is followed by 00.
  void Bits(unsigned value, int count) noexcept {
    pending = pending << count | value;
    for (pendingCount += count; pendingCount >= 8; pendingCount -= 8) {
      unsigned const byte = pending >> (pendingCount - 8) & 0xFF;
      Byte(byte);
      if (byte == 0xFF) Byte(0);
    }
  }
  void FillLastByte() noexcept { Bits(0x7F, 7), pendingCount = 0; }

  HRESULT Flush() noexcept {
    unsigned done = 0;
    if (Succeeded(result)) result = stream.Write(buffer, used, &done);
    if (Succeeded(result) && done != used) result = E_FAIL;
    used = 0;
    return result;
  }

 private:
  Stream& stream;
  HRESULT result = S_OK;
  uint64_t pending = 0;
  int pendingCount = 0;
  unsigned used = 0;
  uint8_t buffer[4096];
};

// Codes by value.
struct CodeTable {
  explicit CodeTable(JpegCodes const& codes) noexcept {
    unsigned code = 0;
    uint8_t const* value = codes.values;
    for (int bits = 1; bits <= 16; ++bits, code <<= 1) {
      for (int i = 0; i < codes.counts[bits - 1]; ++i) code_[*value] = code++, length[*value++] = bits;
    }
  }
  void Put(Output& out, unsigned value) const noexcept { out.Bits(code_[value], length[value]); }

  unsigned code_[256] = {};
  int length[256] = {};
};

// One 8 x 8 block of samples around 0; then of frequencies.
struct Block {
  float at[64];
};

class JpegWriter {
 public:
  JpegWriter(Stream& stream, Image2d& source, unsigned quality) noexcept;
  HRESULT Write() noexcept;

 private:
  void PutHeaders() noexcept;
  bool LoadRows(int top) noexcept;
  float Sample(int x, int y, int component) const noexcept;
  Block Gather(int left, int top, int component, int spread) const noexcept;
  void Transform(Block& block) const noexcept;
  void PutBlock(Block block, int component) noexcept;
  void PutNumber(CodeTable const& codes, unsigned zeros, int value) noexcept;

  Output out;
  Image2d& image;
  IMG_FORMAT const rowFormat;       // GRAY8 or BGR24
  int const components;             // 1 or 3
  int const spread;                 // pixels per sample of colour, in both directions
  int const unit;                   // pixels per side of what is coded together
  int const padded;                 // the width in whole units
  std::unique_ptr<uint8_t[]> rows;  // `unit` rows, repeated at the edges
  uint8_t steps[2][64];
  float cosines[8][8];  // [frequency][sample], scaled
  CodeTable const means[2] = {CodeTable(JPEG_CODES[0][0]), CodeTable(JPEG_CODES[0][1])};
  CodeTable const details[2] = {CodeTable(JPEG_CODES[1][0]), CodeTable(JPEG_CODES[1][1])};
  int lastMean[3] = {};
};

JpegWriter::JpegWriter(Stream& stream, Image2d& source, unsigned quality) noexcept
    : out(stream),
      image(source),
      rowFormat(source.format == IMG_GRAY8 || source.format == IMG_GRAYF ? IMG_GRAY8 : IMG_BGR24),
      components(rowFormat == IMG_GRAY8 ? 1 : 3),
      spread(components == 3 && quality < FULL_COLOUR_QUALITY ? 2 : 1),
      unit(8 * spread),
      padded((source.width + unit - 1) / unit * unit),
      rows(new (std::nothrow) uint8_t[static_cast<size_t>(padded) * components * unit]) {
  unsigned const scale = quality < 50 ? 5000 / quality : 200 - 2 * quality;
  for (int table = 0; table < 2; ++table) {
    for (int i = 0; i < 64; ++i) {
      steps[table][i] = static_cast<uint8_t>(std::clamp((JPEG_STEPS[table][i] * scale + 50) / 100, 1u, 255u));
    }
  }
  for (int frequency = 0; frequency < 8; ++frequency) {
    for (int x = 0; x < 8; ++x) {
      double const angle = (2 * x + 1) * frequency * 3.14159265358979323846 / 16;
      cosines[frequency][x] = static_cast<float>(std::cos(angle) * (frequency ? 0.5 : std::sqrt(0.125)));
    }
  }
}

void JpegWriter::PutHeaders() noexcept {
  out.Word(0xFF00u | START);
  out.Segment(APPLICATION, 14);
  out.Bytes("JFIF\0\1\1\0\0\1\0\1\0\0", 14);  // version 1.1, square pixels, no thumbnail
  int const tables = components == 3 ? 2 : 1;
  for (int i = 0; i < tables; ++i) {
    out.Segment(QUANTISATION, 65);
    out.Byte(i);
    out.Bytes(steps[i], 64);
  }
  out.Segment(FRAME, 6 + 3 * components);
  out.Byte(8);
  out.Word(image.height), out.Word(image.width);
  out.Byte(components);
  for (int i = 0; i < components; ++i)
    out.Byte(i + 1), out.Byte(i ? 0x11 : 0x11 * spread), out.Byte(i ? 1 : 0);
  for (int i = 0; i < 2 * tables; ++i) {
    JpegCodes const& codes = JPEG_CODES[i & 1][i >> 1];
    out.Segment(CODES, 17u + codes.valueCount);
    out.Byte((i & 1) << 4 | i >> 1);
    out.Bytes(codes.counts, 16);
    out.Bytes(codes.values, codes.valueCount);
  }
  out.Segment(SCAN, 4 + 2 * components);
  out.Byte(components);
  for (int i = 0; i < components; ++i) out.Byte(i + 1), out.Byte(i ? 0x11 : 0);
  out.Byte(0), out.Byte(63), out.Byte(0);
}

// The rows of one line of units. What lies beyond the picture repeats its edge.
bool JpegWriter::LoadRows(int top) noexcept {
  size_t const size = static_cast<size_t>(padded) * components;
  for (int y = 0; y < unit; ++y) {
    uint8_t* const row = &rows[y * size];
    unsigned char* const line = image.GetLine(std::min(top + y, image.height - 1));
    if (Failed(img::ConvertPixels(line, row, image.format, rowFormat, image.width, image.palette)))
      return false;
    uint8_t const* const last = row + (image.width - 1) * components;
    for (int x = image.width; x < padded; ++x) memcpy(row + x * components, last, components);
  }
  return true;
}

// Brightness or one of the two colour differences of a pixel, around 0.
float JpegWriter::Sample(int x, int y, int component) const noexcept {
  static constexpr float WEIGHTS[3][3] = {// of blue, green, red
                                          {0.114f, 0.587f, 0.299f},
                                          {0.5f, -0.331264f, -0.168736f},
                                          {-0.081312f, -0.418688f, 0.5f}};
  uint8_t const* const pixel = &rows[(static_cast<size_t>(y) * padded + x) * components];
  if (components == 1) return static_cast<float>(pixel[0]) - 128;
  float const* const weight = WEIGHTS[component];
  float const sum = weight[0] * pixel[0] + weight[1] * pixel[1] + weight[2] * pixel[2];
  return component ? sum : sum - 128;
}

// A block from (left, top) of the loaded rows, each sample the mean of spread x spread pixels.
Block JpegWriter::Gather(int left, int top, int component, int each) const noexcept {
  Block block;
  for (int i = 0; i < 64; ++i) {
    int const x = left + i % 8 * each, y = top + i / 8 * each;
    float sum = Sample(x, y, component);
    if (each == 2)
      sum += Sample(x + 1, y, component) + Sample(x, y + 1, component) + Sample(x + 1, y + 1, component);
    block.at[i] = sum / static_cast<float>(each * each);
  }
  return block;
}

// The discrete cosine transform: of the rows, then of the columns.
void JpegWriter::Transform(Block& block) const noexcept {
  Block half;
  for (int i = 0; i < 64; ++i) {
    float sum = 0;
    for (int x = 0; x < 8; ++x) sum += block.at[i / 8 * 8 + x] * cosines[i % 8][x];
    half.at[i] = sum;
  }
  for (int i = 0; i < 64; ++i) {
    float sum = 0;
    for (int y = 0; y < 8; ++y) sum += half.at[y * 8 + i % 8] * cosines[i / 8][y];
    block.at[i] = sum;
  }
}

// A code that says how many zeros stand before the value and how many bits it has, and the bits.
void JpegWriter::PutNumber(CodeTable const& codes, unsigned zeros, int value) noexcept {
  unsigned const size = static_cast<unsigned>(std::abs(value));
  int bits = 0;
  while (size >> bits) ++bits;
  codes.Put(out, zeros << 4 | static_cast<unsigned>(bits));
  unsigned const shown = static_cast<unsigned>(value < 0 ? value - 1 : value);
  out.Bits(shown & ((1u << bits) - 1), bits);
}

void JpegWriter::PutBlock(Block block, int component) noexcept {
  Transform(block);
  int const table = component ? 1 : 0;
  int values[64];
  for (int i = 0; i < 64; ++i) {
    values[i] = static_cast<int>(std::lround(block.at[JPEG_ZIGZAG[i]] / steps[table][i]));
  }
  PutNumber(means[table], 0, values[0] - lastMean[component]);
  lastMean[component] = values[0];
  unsigned zeros = 0;
  for (int i = 1; i < 64; ++i) {
    if (!values[i]) {
      ++zeros;
      continue;
    }
    for (; zeros > 15; zeros -= 16) details[table].Put(out, 0xF0);
    PutNumber(details[table], zeros, values[i]);
    zeros = 0;
  }
  if (zeros) details[table].Put(out, 0);  // nothing more in this block
}

HRESULT JpegWriter::Write() noexcept {
  if (!rows) return E_OUTOFMEMORY;
  PutHeaders();
  for (int top = 0; top < image.height; top += unit) {
    if (!LoadRows(top)) return YK_E_FORMAT;
    for (int left = 0; left < padded; left += unit) {
      for (int i = 0; i < spread * spread; ++i)
        PutBlock(Gather(left + i % spread * 8, i / spread * 8, 0, 1), 0);
      for (int i = 1; i < components; ++i) PutBlock(Gather(left, 0, i, spread), i);
    }
  }
  out.FillLastByte();
  out.Word(0xFF00u | END);
  return out.Flush();
}

}  // namespace

HRESULT WriteJpeg(Stream* stream, Image2d& image, unsigned quality) noexcept {
  if (image.width > LARGEST_SIDE || image.height > LARGEST_SIDE) return YK_E_FORMAT;
  if (image.format == IMG_MONO32) return YK_E_FORMAT;  // before anything is written
  JpegWriter writer(*stream, image, quality);
  return writer.Write();
}

}  // namespace qewic
