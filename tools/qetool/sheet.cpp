// qetool sheet: a contact sheet, drawn entirely by the library.
#include <qecore/draw/color.h>
#include <qecore/draw/device_context.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>

#include "commands.h"
#include "formats.h"
#include "help.h"
#include "image_edit.h"
#include "input.h"
#include "jobs.h"
#include "pictures.h"
#include "plan.h"
#include "resize.h"
#include "text.h"

namespace qetool {

using namespace yk;

namespace {

struct Options {
  std::string output;
  InputOptions inputs;
  ReadOptions reading;
  int columns = 0;
  int cell = 320;
  unsigned quality = 0, jobs = 0;
  ExistingOptions existing;
};

constexpr unsigned Colour(unsigned red, unsigned green, unsigned blue, unsigned alpha = 255) {
  return red | green << 8 | blue << 16 | alpha << 24;
}

constexpr unsigned TOP = Colour(58, 66, 82), BOTTOM = Colour(18, 20, 28);  // of the page
constexpr unsigned LIGHT = Colour(255, 255, 255, 150), DARK = Colour(0, 0, 0, 170);
constexpr unsigned MAT = Colour(30, 33, 42), PANEL = Colour(0, 0, 0, 90);
constexpr unsigned NAME = Colour(240, 242, 246), DETAIL = Colour(160, 168, 182);

// Where the channels overlap, their colours mix to white.
constexpr unsigned CHANNEL_FILLS[] = {Colour(40, 90, 235, 140), Colour(50, 190, 70, 140),
                                      Colour(230, 50, 45, 140)};
constexpr unsigned CHANNEL_LINES[] = {Colour(110, 150, 255), Colour(120, 230, 130), Colour(255, 120, 110)};

constexpr int BORDER = 24, GAP = 24, MAT_WIDTH = 3, BEVEL = 3, FRAME = MAT_WIDTH + BEVEL;
constexpr int LINE_HEIGHT = 18, HISTOGRAM_HEIGHT = 56, PADDING = 5;
constexpr int LABELS = 2 * PADDING + 2 * LINE_HEIGHT + HISTOGRAM_HEIGHT;  // the height of all that
constexpr int MAX_SIDE = 20000;                                           // of the page: 1.2 GB

// ---- the content of a cell

using Levels =
    std::array<float, 256>;  // how often each value of a channel occurs; 1 is the top of the diagram

struct Entry {
  std::string name, details;
  ImageRef thumbnail;
  std::array<Levels, 3> histogram;  // blue, green, red
};

// The highest bar except for a few outliers, such as an overexposed sky or a black border.
float Ceiling(std::array<Levels, 3> const& histogram) {
  std::vector<float> bars;
  for (Levels const& levels : histogram) bars.insert(bars.end(), levels.begin(), levels.end());
  auto const at = bars.begin() + static_cast<std::ptrdiff_t>(bars.size() * 49 / 50);
  std::nth_element(bars.begin(), at, bars.end());
  return std::max(*at, 1.0f) * 1.1f;
}

std::array<Levels, 3> CountLevels(Image2d& image) {
  std::array<Levels, 3> counts = {};
  for (int y = image.height - 1; y >= 0; --y) {  // as they are in memory
    unsigned char const* pixel = image.GetLine(y);
    for (int x = 0; x < image.width; ++x, pixel += image.bytesPerPixel) {
      for (size_t channel = 0; channel < 3; ++channel) ++counts[channel][pixel[channel]];
    }
  }
  float const ceiling = Ceiling(counts);
  for (Levels& levels : counts) {
    for (float& level : levels) level = std::min(level / ceiling, 1.0f);
  }
  return counts;
}

// As large as fits into a square, in proportion, never enlarged.
void ShrinkInto(ImageRef& image, int side, Listener& listener) {
  double const scale = std::min(1.0, static_cast<double>(side) / std::max(image->width, image->height));
  auto const scaled = [=](int length) { return std::max(1, static_cast<int>(std::lround(length * scale))); };
  Resize(image, scaled(image->width), scaled(image->height), Light::AS_STORED, listener);
}

Entry MakeEntry(std::string const& path, Options const& options, Listener& listener) {
  Picture picture = LoadPicture(path, listener, options.reading);
  MakeUpright(picture.image);
  Entry entry = {NameOf(ShownName(path)),
                 Format("%s, %d \xC3\x97 %d, %s bytes", TypeName(picture.type).c_str(), picture.image->width,
                        picture.image->height, Grouped(picture.fileSize).c_str()),
                 picture.image,
                 {}};
  ChangeFormat(entry.thumbnail, PlainFormat(*entry.thumbnail), listener);
  entry.histogram = CountLevels(*entry.thumbnail);
  ShrinkInto(entry.thumbnail, options.cell - 2 * FRAME, listener);
  return entry;
}

// ---- drawing

// A memory device context.
class MemoryDc {
 public:
  MemoryDc() = default;
  ~MemoryDc() { DeleteDC(handle); }
  MemoryDc(MemoryDc const&) = delete;
  MemoryDc& operator=(MemoryDc const&) = delete;

  HDC Get() const { return handle; }

 private:
  HDC handle = CreateCompatibleDC(nullptr);
};

// A font, selected into a device context for a scope.
class Font {
 public:
  Font(HDC dc, int size, int weight)
      : dc(dc),
        font(CreateFontW(-size, 0, 0, 0, weight, 0, 0, 0, DEFAULT_CHARSET, 0, 0, ANTIALIASED_QUALITY, 0,
                         L"Tahoma")),
        before(SelectObject(dc, font)) {}
  ~Font() {
    SelectObject(dc, before);
    DeleteObject(font);
  }
  Font(Font const&) = delete;
  Font& operator=(Font const&) = delete;

 private:
  HDC dc;
  HFONT font;
  HGDIOBJ before;
};

void CopyPixel(unsigned char* to, unsigned char const* from, void*) { std::copy_n(from, 3, to); }

// Composites a pixel with alpha over the sheet.
void PutOver(unsigned char* to, unsigned char const* from, void*) {
  for (int i = 0; i < 3; ++i) {
    to[i] = static_cast<unsigned char>((to[i] * (255 - from[3]) + from[i] * from[3] + 127) / 255);
  }
}

// Centred in a strip as wide as the cell; the thumbnails of a row share a bottom edge.
void DrawThumbnail(IDC& dc, Image2d& image, int side, int height) {
  int const left = (side - image.width) / 2, top = height - FRAME - image.height;
  xrect2d frame(left, top, left + image.width, top + image.height);
  frame.Inflate(MAT_WIDTH, MAT_WIDTH);
  dc.SetColor(MAT);
  dc.FillRect(frame);
  dc.DrawImage(&image, left, top, nullptr, image.format == IMG_BGRA32 ? PutOver : CopyPixel, nullptr);
  frame.Inflate(BEVEL, BEVEL);
  dc.FrameBevel(frame, LIGHT, DARK, BEVEL);
}

void DrawTextLine(IDC& dc, std::string const& text, unsigned colour, int top, int width) {
  xrect2d line(0, top, width, top + LINE_HEIGHT);
  dc.SetColor(colour);
  dc.DrawText(ToWide(text), &line, DT_CENTER | DT_SINGLELINE | DT_VCENTER | DT_NOPREFIX | DT_END_ELLIPSIS);
}

void DrawHistogram(IDC& dc, std::array<Levels, 3> const& histogram, xrect2d const& r) {
  dc.SetColor(PANEL);
  dc.FillRect(r);
  float const right = static_cast<float>(r.right - 1), bottom = static_cast<float>(r.bottom - 1);
  for (size_t channel = 0; channel < 3; ++channel) {
    std::vector<point2df> outline, area;
    for (size_t i = 0; i < 256; ++i) {
      outline.push_back({r.left + (right - r.left) * (static_cast<float>(i) / 255),
                         bottom - (bottom - r.top) * histogram[channel][i]});
      // an area lies between pixels where a line runs through their middles
      area.push_back({outline.back().x + 0.5f, outline.back().y + 0.5f});
    }
    area.push_back({right + 0.5f, bottom + 1});
    area.push_back({r.left + 0.5f, bottom + 1});
    dc.SetColor(CHANNEL_FILLS[channel]);
    dc.FillPolygon(area.data(), static_cast<int>(area.size()), IDC::NON_ZERO);
    dc.SetColor(CHANNEL_LINES[channel]);
    dc.DrawPolyline(outline.data(), static_cast<int>(outline.size()), false);
  }
}

// Draws the labels under a thumbnail.
void DrawLabels(IDC& dc, Entry const& entry, int side, int top) {
  {
    Font const bold(dc.memoryDC, 14, FW_BOLD);
    DrawTextLine(dc, entry.name, NAME, top, side);
  }
  {
    Font const plain(dc.memoryDC, 12, FW_NORMAL);
    DrawTextLine(dc, entry.details, DETAIL, top + LINE_HEIGHT, side);
  }
  top += 2 * LINE_HEIGHT + PADDING;
  DrawHistogram(dc, entry.histogram, {0, top, side, top + HISTOGRAM_HEIGHT});
}

// ---- the sheet

struct Row {
  int top;     // on the sheet
  int height;  // of the thumbnails and their frames
};

struct Layout {
  int side;  // the width of a cell
  int columns;
  std::vector<Row> rows;
  int width, height;
};

// Columns: the given number; otherwise one row of up to four, or else about as many columns as rows.
int CountColumns(Options const& options, int cells) {
  int const natural = cells <= 4 ? cells : static_cast<int>(std::ceil(std::sqrt(cells)));
  return std::min(options.columns ? options.columns : natural, cells);
}

Layout PlanLayout(Options const& options, std::vector<Entry> const& entries) {
  int const count = static_cast<int>(entries.size());
  int const columns = CountColumns(options, count);
  Layout layout = {options.cell, columns, {}, 2 * BORDER + columns * (options.cell + GAP) - GAP, BORDER};
  for (int first = 0; first < count && layout.height <= MAX_SIDE; first += columns) {
    int tallest = 0;
    for (int i = first; i < std::min(first + columns, count); ++i) {
      tallest = std::max(tallest, entries[static_cast<size_t>(i)].thumbnail->height + 2 * FRAME);
    }
    if (first) layout.height += GAP;
    layout.rows.push_back({layout.height, tallest});
    layout.height += tallest + LABELS;
  }
  layout.height += BORDER;
  if (layout.width > MAX_SIDE || layout.height > MAX_SIDE) {
    throw Failure{Format("%d pictures in %d columns of %d pixels make a sheet larger than %d pixels", count,
                         columns, options.cell, MAX_SIDE)};
  }
  return layout;
}

// The picture of the sheet, and a device context for text.
class Sheet {
 public:
  explicit Sheet(Layout const& layout)
      : layout(layout), image(NewImage(IMG_BGR24, layout.width, layout.height)) {
    if (!dc || Failed(dc->Attach(memory.Get(), image.get()))) {
      throw Failure{"cannot draw on the sheet: " + LastReason()};
    }
    dc->FillGradientV({0, 0, layout.width, layout.height}, TOP, BOTTOM);
  }
  ~Sheet() {
    dc->Detach();  // cppcheck-suppress ignoredReturnValue  // taken for Ref's
  }
  Sheet(Sheet const&) = delete;
  Sheet& operator=(Sheet const&) = delete;

  void Draw(Entry const& entry, int cell) {
    Row const& row = layout.rows[static_cast<size_t>(cell / layout.columns)];
    dc->SetOrigin(BORDER + cell % layout.columns * (layout.side + GAP), row.top);
    DrawThumbnail(*dc, *entry.thumbnail, layout.side, row.height);
    DrawLabels(*dc, entry, layout.side, row.height + PADDING);
  }

  Image2d& Image() { return *image; }

 private:
  Layout const& layout;
  MemoryDc memory;
  ImageRef image;
  Ref<IDC> dc = Ref<IDC>::Adopt(IDC::Create());
};

// A picture that cannot be read leaves no gap, and does not prevent the others from being shown.
std::vector<Entry> LoadEntries(std::vector<Input> const& files, Options const& options, Watch& watch) {
  std::vector<Entry> all(files.size()), entries;
  Jobs loading(files.size(), options.jobs, watch,
               [&](size_t i, Listener& listener) { all[i] = MakeEntry(files[i].path, options, listener); });
  for (size_t i = 0; i < files.size(); ++i) {
    watch.Next(files[i].path, files.size());
    try {
      loading.Await(files[i].path);
      entries.push_back(std::move(all[i]));
    } catch (Failure const& failure) {
      watch.Clear();
      Report(failure.text);
    }
  }
  if (entries.empty()) throw Failure{"there is no picture to show on the sheet"};
  return entries;
}

void Run(Options const& options, Host& host) {
  Watch watch;
  host.Start(watch);
  CheckOutput(options.output);
  Guid const filter = FilterFor(host, options.output);
  CheckQuality(options.quality, {filter});
  if (!Existing(options.existing).MayWrite(options.output)) {
    printf("%s is kept\n", options.output.c_str());
    return;
  }
  std::vector<Input> const files = CollectInputs(options.inputs, host, options.output);
  std::vector<Entry> const entries = LoadEntries(files, options, watch);
  Layout const layout = PlanLayout(options, entries);
  Sheet sheet(layout);
  for (size_t i = 0; i < entries.size(); ++i) sheet.Draw(entries[i], static_cast<int>(i));
  SavePicture(filter, sheet.Image(), options.output, ParseOptions(filter, {}, options.quality), watch);
  watch.Clear();
  printf("%s: %zu picture%s, %d x %d pixels\n", options.output.c_str(), entries.size(),
         entries.size() == 1 ? "" : "s", sheet.Image().width, sheet.Image().height);
  if (entries.size() < files.size()) throw CLI::RuntimeError(1);
}

}  // namespace

void AddSheet(CLI::App& app, Host& host) {
  CLI::App& command = *app.add_subcommand("sheet", "Draw a contact sheet: thumbnails, names, histograms");
  auto const options = std::make_shared<Options>();
  command.add_option("output", options->output, "The sheet; its extension determines the file type")
      ->type_name("OUT")
      ->required();
  command
      .add_option("files", options->inputs.paths,
                  "Pictures (with the wildcards * and ?), folders with -r, or - for standard input")
      ->type_name("FILE...");
  AddSettings(command, FILTER_READ, options->reading.settings);
  AddInputOptions(command, options->inputs);
  command.add_option("--columns", options->columns, "Cells side by side; by default about as many as rows")
      ->type_name("N")
      ->check(WholeNumber(1, 100));
  command.add_option("--cell", options->cell, "Side of a cell in pixels; by default 320")
      ->type_name("N")
      ->check(WholeNumber(64, 2000));
  command
      .add_option("--quality", options->quality,
                  "Quality of the sheet, 1 to 100, if its file type has one, such as JPEG")
      ->type_name("N")
      ->check(WholeNumber(1, 100));
  AddExistingOptions(command, options->existing);
  AddJobsOption(command, options->jobs);
  host.AddOptions(command);
  command.callback([options, &host] { Run(*options, host); });
}

}  // namespace qetool
