#include "write_facts.h"

#include <qecore/io/mem_stream.h>
#include <string.h>

#include <algorithm>

#include "failure.h"
#include "file_facts.h"
#include "image_facts.h"
#include "out.h"

namespace qewic {

using namespace yk;

namespace {

// ---- BMP

void StorePerMetre(uint8_t* at, double perInch) noexcept {
  StoreNumber(at, static_cast<uint32_t>(perInch / INCH + 0.5), 4, false);
}

void WriteBmp(Out& out, Bytes& file, ImageFacts& facts) noexcept {
  constexpr uint32_t HEAD = 54;
  uint8_t* const bytes = file.data.get();
  double across = 0, down = 0;
  if (facts.Resolution(across, down) && file.size >= HEAD && Little(bytes + 14, 4) >= 40) {
    StorePerMetre(bytes + 38, across);
    StorePerMetre(bytes + 42, down);
  }
  out.Put(bytes, file.size);
}

// ---- JPEG

constexpr uint32_t MOST_OF_SEGMENT = 65533;

void PutSegment(Out& out, uint8_t kind, void const* head, uint32_t headSize, void const* data,
                uint32_t size) noexcept {
  out.Put(0xFF00u | kind, 2);
  out.Put(2 + headSize + size, 2);
  out.Put(head, headSize);
  out.Put(data, size);
}

void PutJpegProfile(Out& out, Bytes const& profile) noexcept {
  constexpr uint32_t HEAD = 14, MOST = MOST_OF_SEGMENT - HEAD;
  uint32_t const parts = (profile.size + MOST - 1) / MOST;
  for (uint32_t i = 0; i < parts && parts < 256; ++i) {
    uint8_t head[HEAD] = "ICC_PROFILE";
    head[12] = static_cast<uint8_t>(i + 1);
    head[13] = static_cast<uint8_t>(parts);
    PutSegment(out, 0xE2, head, HEAD, profile.data.get() + i * MOST, std::min(MOST, profile.size - i * MOST));
  }
}

void WriteJpegFile(Out& out, Bytes& file, ImageFacts& facts) noexcept {
  uint8_t* const bytes = file.data.get();
  bool const hasJfif = file.size > 20 && Big(bytes, 4) == 0xFFD8FFE0 && memcmp(bytes + 6, "JFIF", 5) == 0;
  uint32_t const head = hasJfif ? 4 + Big(bytes + 4, 2) : 2;
  if (file.size < head + 2) return out.Put(bytes, file.size);
  double across = 0, down = 0;
  bool const fits =
      facts.Resolution(across, down) && across >= 1 && down >= 1 && across < 65535 && down < 65535;
  if (hasJfif && fits) {
    uint32_t const sides[] = {static_cast<uint32_t>(across + 0.5), static_cast<uint32_t>(down + 0.5)};
    bytes[13] = 1;  // inches
    for (unsigned i = 0; i < 4; ++i) bytes[14 + i] = static_cast<uint8_t>(sides[i / 2] >> (i % 2 ? 0 : 8));
  }
  out.Put(bytes, head);
  Tags tags(facts, true);
  tags.AddFacts();
  tags.AddResolution();
  Bytes exif, profile, comment;
  MakeExif(facts, tags, exif);
  if (exif.size && exif.size + 6 <= MOST_OF_SEGMENT)
    PutSegment(out, 0xE1, "Exif\0\0", 6, exif.data.get(), exif.size);
  facts.Profile(profile);
  PutJpegProfile(out, profile);
  facts.Text(img::INFO_COMMENT, comment);
  if (comment.size) PutSegment(out, 0xFE, "", 0, comment.data.get(), comment.size);
  out.Put(bytes + head, file.size - head);
}

}  // namespace

struct FactsJob {
  Out& out;
  Bytes& file;
  ImageFacts& facts;
};

void WriteJpegFacts(FactsJob& job) noexcept { WriteJpegFile(job.out, job.file, job.facts); }

void WriteBmpFacts(FactsJob& job) noexcept { WriteBmp(job.out, job.file, job.facts); }

FactsWriter::FactsWriter(Function function, Stream* target, Image2d& of) noexcept
    : write(function), stream(target), image(of), adds(function && ImageFacts(of).Any()) {}

Stream* FactsWriter::Target() noexcept {
  if (!adds) return stream;
  return Succeeded(MemStream::Create(encoded.Receive())) ? encoded.get() : nullptr;
}

HRESULT FactsWriter::Finish(HRESULT result) noexcept {
  if (!encoded || yk::Failed(result)) return result;
  unsigned const before = ErrorCount();
  Bytes file;
  if (!file.Read(*encoded)) return Fail(E_OUTOFMEMORY, WRITE, L"not enough memory for a copy of the file");
  Out out(*stream);
  ImageFacts facts(image);
  FactsJob job = {out, file, facts};
  write(job);
  return facts.IsLost() ? ImageFacts::FailLost() : out.Finish(before);
}

}  // namespace qewic
