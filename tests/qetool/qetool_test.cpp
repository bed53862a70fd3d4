// qetool as a user sees it: arguments in; text, exit code and files out.
#include <gmock/gmock.h>
#include <qecore/core/system.h>
#include <qecore/image/file_info.h>
#include <qecore/io/file_stream.h>
#include <windows.h>

#include <filesystem>

#include "image/support.h"
#include "io/streams.h"
#include "support/prelude.h"
#include "support/temp_folder.h"

namespace {

using namespace yk;
using testing::AllOf, testing::HasSubstr, testing::StartsWith;

constexpr int NOT_STARTED = 9009;  // the shell's, which Wine's returns occasionally on a busy machine

struct ToolResult {
  int exitCode;
  string out, err;
};

struct Tool : testing::Test {
  Tool() { system->ScanModules(ProgramFolder().c_str(), caches.Path(L"cache").c_str()); }

  // Runs `qetool ARGUMENTS <INPUT` in the folder. Its texts are as in a terminal: without carriage returns.
  ToolResult Run(wstring const& arguments, wstring const& input = L"NUL") const {
    TempFolder const outputs;
    wstring const line = L"cd /d \"" + folder.Path() + L"\" && \"" + ProgramFolder() + L"qetool.exe\" " +
                         arguments + L" <" + input + L" >\"" + outputs.Path(L"out") + L"\" 2>\"" +
                         outputs.Path(L"err") + L'"';
    int code = _wsystem(line.c_str());
    if (code == NOT_STARTED) code = _wsystem(line.c_str());
    ToolResult result = {code, outputs.Read(L"out"), outputs.Read(L"err")};
    for (string* text : {&result.out, &result.err}) std::erase(*text, '\r');
    return result;
  }

  // Success prints nothing on standard error; the output is the result.
  string Good(wstring const& arguments) const {
    ToolResult const result = Run(arguments);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.err, "");
    return result.out;
  }

  // Failure is one line on standard error, and exit code 1.
  string Bad(wstring const& arguments) const {
    ToolResult const result = Run(arguments);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.err, StartsWith("qetool: "));
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    return result.err;
  }

  ImageRef Load(wstring const& name) const {
    return Own(static_cast<Image2d*>(AbstractImage::Load(folder.Path(name).c_str())));
  }

  // A picture whose pixel in column x and row y is blue x, green y, red 7.
  void MakePicture(wstring const& name, int width, int height) const {
    ImageRef const image = NewImage(IMG_BGR24, width, height);
    for (int i = 0; i < width * height; ++i) {
      int const pixel = i % width | i / width << 8 | 7 << 16;
      memcpy(image->GetLineEx(i / width, i % width), &pixel, 3);
    }
    ASSERT_EQ(image->Save(folder.Path(name).c_str()), S_OK);
  }

  // A picture of one row.
  void MakeRow(wstring const& name, IMG_FORMAT format, int width, Bytes const& row) const {
    ImageRef const image = NewImage(format, width, 1);
    memcpy(image->bits, row.data(), row.size());
    ASSERT_EQ(image->Save(folder.Path(name).c_str()), S_OK);
  }

  TempFolder folder, caches;
  Ref<System> system = Own(System::Create());
};

Bytes At(Image2d& image, int x, int y) {
  uint8_t const* const pixel = image.GetLineEx(y, x);
  return Bytes(pixel, pixel + image.bytesPerPixel);
}

// ---- help and errors

TEST_F(Tool, SaysInOneLineWhatWhereAndWhy) {
  MakePicture(L"good.png", 5, 4);
  folder.Write(L"text.txt", "this is no picture at all");
  folder.Write(L"cut.png", folder.Read(L"good.png").substr(0, 50));
  folder.Write(L"devices", "lpt1");
  EXPECT_THAT(Run(L"verify none.png").out, StartsWith("none.png: bad: the file"));
  folder.Write(L"huge.bin", "");
  std::filesystem::create_directory(folder.Path(L"folder"));
  std::filesystem::resize_file(folder.Path(L"huge.bin"), uint64_t{1} << 32);  // 0 as a stream's size
  Table<wchar_t const*, std::vector<string>> const rows = {
      {L"", {"a command is required"}},
      {L"info good.png --bogus", {"unknown option --bogus (see qetool info --help)"}},
      {L"convert good.png out.jpg --quality", {"--quality needs a value"}},
      {L"help info more", {"unexpected argument more"}},
      {L"dump good.png --bogus value", {"unknown option --bogus (see"}},
      {L"info", {"no files are given (see qetool info --help)"}},
      {L"info missing.png", {"missing.png", "file does not exist"}},
      {L"info /missing/a.png",
       {"cannot open /missing/a.png", "folder does not exist"}},  // a path, not an option
      {L"info text.txt", {"text.txt", "known type"}},
      {L"convert cut.png out.png", {"cannot read cut.png: ", "damaged"}},
      {L"convert good.png out.xyz", {"out.xyz", "png"}},
      {L"convert good.png out.png --size 10", {"--size 10"}},
      {L"convert good.png out.png --crop 0,0,6,4", {"good.png", "0,0,6,4 is not inside 5"}},
      {L"convert good.png out.png --flip x", {"--flip x"}},
      {L"convert good.png out.png --format rgb", {"rgb", "bgr24"}},
      {L"convert good.png out.jpg --quality 101", {"--quality: 101 must be a whole number from 1 to 100"}},
      {L"convert good.png CON.png", {"cannot write CON.png: CON is the name of a device"}},
      {L"convert good.png made/ --type png --list devices", {"made/lpt1.png: lpt1 is the name of a device"}},
      {L"info nul.png", {"cannot read nul.png: nul is the name of a device"}},
      {L"convert good.png nowhere\\out.png", {"the folder nowhere does not exist"}},
      {L"convert good.png good.png out.png", {"2 pictures to out.png", "the name of one picture"}},
      {L"convert good.png out.png --quality 9", {"--quality 9", "PNG"}},
      {L"convert good.png out.tga --quality 9", {"--quality 9", "TGA files takes no options"}},
      {L"convert good.png out.jpg --quality 9 --option quality=8", {"--quality 9", "--option"}},
      {L"convert good.png out.png --frame 1", {"good.png: there is no frame 1"}},
      {L"convert good.png out.png --size 30000x30000", {"good.png", "2.7 GB", "the most is 2.1 GB"}},
      {L"convert good.png out --type .xyz", {"--type .xyz", "png"}},
      {L"convert folder out.png", {"folder: it is a folder", "-r"}},
      {L"info folder", {"folder: it is a folder"}},
      {L"dump folder", {"folder: it is a folder"}},
      {L"convert -r folder out", {"no picture in folder"}},
      {L"convert missing.png good.png made --dry-run", {"cannot open missing.png: the file"}},
      {L"convert -r missing made", {"cannot open missing: the file"}},
      {L"help nothing", {"nothing", "qetool help"}},
      {L"convert good.png out.png --option quality=9", {"quality=9", "no option quality"}},
      {L"convert good.png out.png --option filter=x", {"filter=x", "one of none, sub, up"}},
      {L"convert good.png out.png --option filter=up --option Filter=sub",
       {"--option Filter=sub: filter=up is set already"}},
      {L"convert good.png out.png --option filter", {"--option: filter must be NAME=VALUE"}},
      {L"info good.png --read-option frame=1",
       {"good.png: --read-option frame=1: PNG", "when they are read"}},
      {L"info text.txt --read-option frame=1", {"cannot read text.txt: not a picture"}},
      {L"verify good.png --read-option Frame=1", {"verify reads every frame"}},
      {L"formats xyz", {"xyz"}},
      {L"convert good.png good.png text.txt", {"text.txt", "folder"}},
      {L"info good.png --cache good.png", {"good.png", "not a plug-in cache"}},
      {L"info good.png --cache nowhere/c", {"nowhere/c", "the folder nowhere does not exist"}},
      {L"plugins good.png", {"good.png: it is a file"}},
      {L"sheet folder good.png", {"cannot write folder: it is a folder"}},
      {L"plugins . --cache huge.bin", {"huge.bin", "not a plug-in cache"}},
      {L"xml text.txt -o good.png", {"text.txt:1:1"}},
      {L"dump text.txt", {"text.txt", "offset 0"}},
  };
  string const picture = folder.Read(L"good.png");
  for (auto const& [arguments, said] : rows) {
    string const error = Bad(arguments);
    for (string const& part : said) EXPECT_THAT(error, HasSubstr(part));
  }
  EXPECT_EQ(folder.Read(L"good.png"), picture);
  EXPECT_EQ(folder.Read(L"out.png"), "");
  EXPECT_EQ(folder.Read(L"text.txt"), "this is no picture at all");
}

// ---- info

TEST_F(Tool, DescribesEachPictureThatItCanRead) {
  MakePicture(L"a.png", 5, 4);
  MakePicture(L"\u00E4\u65E5.png", 6, 3);
  EXPECT_THAT(Good(L"info a.png"), StartsWith("a.png: PNG, 5 x 4 pixels, bgr24 (24 bits), "));
  EXPECT_THAT(Good(L"info *.png"),
              AllOf(HasSubstr("a.png: "), HasSubstr("\xC3\xA4\xE6\x97\xA5.png: PNG, 6 x 3")));
  EXPECT_THAT(Run(L"info missing.png a.png").out, HasSubstr("a.png: PNG"));
  Good(L"convert a.png a.gif");
  EXPECT_THAT(Good(L"info --palette a.gif"),
              AllOf(HasSubstr("GIF, 5 x 4 pixels, pal8 (8 bits), palette of 256, "), HasSubstr("255  red")));
}

TEST_F(Tool, ListsFormatsAndTheirOptions) {
  MakePicture(L"a.png", 60, 40);
  EXPECT_THAT(Good(L"formats"), AllOf(HasSubstr("*.jpg, *.jpeg, *.jpe"), HasSubstr("qewic.qem\n")));
  EXPECT_THAT(Good(L"formats png"),
              AllOf(HasSubstr("interlace=yes|no (no)"), HasSubstr("filter=none|sub|up|")));
  EXPECT_THAT(Good(L"formats JPG"), HasSubstr("quality=1..100"));
  Good(L"convert a.png b.png --option interlace=yes --option filter=none");
  EXPECT_EQ(folder.Read(L"b.png")[28], 1) << "interlaced";
}

// ---- convert

TEST_F(Tool, CropsThenResizesThenFlips) {
  MakePicture(L"in.png", 20, 10);
  Good(L"convert in.png out.png --crop 4,2,12,8 --flip h");
  ImageRef const image = Load(L"out.png");
  ASSERT_TRUE(image);
  EXPECT_EQ(std::pair(image->width, image->height), std::pair(8, 6));
  EXPECT_EQ(At(*image, 0, 0), (Bytes{11, 2, 7}));
  EXPECT_EQ(At(*image, 7, 5), (Bytes{4, 7, 7}));
  Good(L"convert in.png out.bmp --size 10x5 --flip v");
  EXPECT_EQ(At(*Load(L"out.bmp"), 0, 0), (Bytes{0, 8, 7}));  // the mean of rows 8 and 9, truncated
  for (auto const* size : {L"40x", L"x20"})
    EXPECT_THAT(Good(wstring(L"convert -v in.png out.tif --size ") + size), HasSubstr(": 40 x 20 pixels"));
}

// An opaque red pixel beside a transparent green one, and words that bytes cannot hold.
TEST_F(Tool, ResizesColoursAsFarAsTheyAreSeen) {
  MakeRow(L"edge.png", IMG_BGRA32, 2, {0, 0, 255, 255, 0, 255, 0, 0});
  MakeRow(L"words.png", IMG_GRAY16, 2, {0, 1, 3, 1});
  MakeRow(L"light.png", IMG_BGR24, 2, {0, 0, 0, 255, 255, 255});
  Table<wstring, IMG_FORMAT, Bytes> const rows = {
      {L"edge.png out.png", IMG_BGRA32, {0, 0, 255, 128}},
      {L"words.png out.png", IMG_GRAY16, {2, 1}},
      {L"light.png out.png --linear", IMG_BGR24, {188, 188, 188}}};
  for (auto const& [what, format, pixel] : rows) {
    Good(L"convert --size 1x1 " + what);
    ImageRef const image = Load(L"out.png");
    ASSERT_EQ(image->format, format);
    EXPECT_EQ(Bytes(image->bits, image->bits + image->bytesPerPixel), pixel) << testing::PrintToString(what);
  }
  EXPECT_THAT(Good(L"convert -v edge.png out.bmp"), HasSubstr("bgr24, on the background ffffff;"));
  EXPECT_EQ(At(*Load(L"out.bmp"), 1, 0), (Bytes{255, 255, 255}));
  EXPECT_THAT(Good(L"convert -v edge.png out.tga"), HasSubstr("2 x 1 pixels, bgra32;"));
  EXPECT_THAT(Good(L"convert -v words.png out.jpg --quality 90"), HasSubstr("2 x 1 pixels, bgr24;"));
  EXPECT_THAT(Run(L"convert -v words.png - --type jpg").err, HasSubstr("2 x 1 pixels, bgr24;"));
}

TEST_F(Tool, TurnsPicturesAndKeepsWhatTheirFilesSay) {
  MakePicture(L"a.png", 5, 3);
  ImageRef const camera = Load(L"a.png");
  Variant turn, inches;
  turn.Init(6u);
  inches.Init(300.0);
  camera->SetValue(img::INFO_ORIENTATION, turn);
  for (unsigned key : {img::INFO_RESOLUTION_X, img::INFO_RESOLUTION_Y}) camera->SetValue(key, inches);
  ASSERT_EQ(camera->Save(folder.Path(L"in.png").c_str()), S_OK);
  EXPECT_THAT(Good(L"info in.png"),
              HasSubstr("\n  orientation: 6, to be turned clockwise\n  resolution-x: 300"));
  Table<wstring, int, bool> const rows = {{L"", 3, true},
                                          {L" --size 6x10", 6, true},
                                          {L" --no-orient", 5, true},
                                          {L" --strip", 3, false},
                                          {L" --strip --no-orient", 5, false}};
  for (auto const& [options, width, keeps] : rows) {
    Good(L"convert in.png out.tif" + options);
    ImageRef const image = Load(L"out.tif");
    EXPECT_EQ(image->width, width) << testing::PrintToString(options);
    EXPECT_EQ(Succeeded(image->GetValue(img::INFO_RESOLUTION_X, inches)), keeps);
    unsigned number = 1;
    if (Succeeded(image->GetValue(img::INFO_ORIENTATION, turn))) turn.Get(number);
    EXPECT_EQ(number, width == 5 ? 6u : 1u);
  }
  EXPECT_THAT(Bad(L"convert in.png out.bmp --no-orient"), HasSubstr("BMP files cannot say how to turn it"));
  EXPECT_THAT(Bad(L"convert in.png out.tga --no-orient"), HasSubstr("TGA files cannot say how to turn it"));
}

// Grey never becomes transparent, and formats without a direct conversion are reached in several steps.
TEST_F(Tool, ChangesPixelFormats) {
  MakePicture(L"in.png", 4, 3);
  Table<wstring, wstring, IMG_FORMAT, Bytes> const rows = {
      {L"gray8", L"gray8", IMG_GRAY8, {3}},  // of column 2, row 1, whose grey is (2 + 1 + 7) / 3
      {L"gray8", L"bgra32", IMG_BGRA32, {3, 3, 3, 255}},
      {L"bgra32", L"bgr24", IMG_BGR24, {2, 1, 7}},
      {L"gray8", L"bgraf", IMG_BGRA64, {3, 3, 3, 3, 3, 3, 255, 255}}};
  for (auto const& [first, second, format, pixel] : rows) {
    Good(L"convert in.png first.png --format " + first);
    Good(L"convert first.png second.png --format " + second);
    ImageRef const image = Load(L"second.png");
    ASSERT_EQ(image->format, format);
    EXPECT_EQ(At(*image, 2, 1), pixel) << testing::PrintToString(second);
  }
}

TEST_F(Tool, ConvertsManyIntoAFolder) {
  for (auto const* name : {L"a.png", L"b.png", L"c.png"}) MakePicture(name, 9, 9);
  folder.Write(L"b.png", "damaged now");
  ToolResult const result = Run(L"convert *.png made/by/qetool --type JPG --quality 90 -v");
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.err, HasSubstr("b.png"));
  EXPECT_THAT(result.out, AllOf(HasSubstr("a.png -> made/by/qetool/a.JPG: 9 x 9 pixels, bgr24; read "),
                                HasSubstr("2 of 3 pictures converted")));
  EXPECT_TRUE(Load(L"made\\by\\qetool\\c.JPG"));
  EXPECT_FALSE(Load(L"made\\by\\qetool\\b.JPG"));
}

TEST_F(Tool, ConvertsFoldersListsAndStreams) {
  std::filesystem::create_directories(folder.Path(L"in/below"));
  for (auto const* name : {L"in/a.png", L"in/below/a.png", L"in/below/b.png"}) MakePicture(name, 9, 9);
  folder.Write(L"in/notes.txt", "no picture");
  folder.Write(L"list", "\xEF\xBB\xBFin/a.png\r\n\nin/below/b.png");
  EXPECT_EQ(Good(L"convert -r in in/out --type .bmp"), "3 of 3 pictures converted\n");
  EXPECT_TRUE(Load(L"in\\out\\below\\a.bmp"));
  EXPECT_EQ(Good(L"convert -r in in/out --type bmp"), "3 of 3 pictures converted\n") << "without its output";
  EXPECT_EQ(Good(L"convert --list list listed"), "2 of 2 pictures converted\n");
  EXPECT_EQ(Run(L"convert --list - listed", L"list").out, "2 of 2 pictures converted\n");
  EXPECT_EQ(Good(L"convert in/a.png typed --type bmp"), "");
  string picture = folder.Read(L"typed\\a.bmp");
  std::erase(picture, '\r');
  EXPECT_EQ(Run(L"convert - - --type bmp", L"in\\a.png").out, picture);
  EXPECT_THAT(Run(L"info -", L"in\\a.png").out, StartsWith("standard input: PNG, 9 x 9"));
}

TEST_F(Tool, KeepsOrReplacesFilesThatExist) {
  for (auto const* name : {L"a.png", L"b.png"}) MakePicture(name, 9, 9);
  Good(L"convert a.png made/");
  Table<wchar_t const*, string, int> const rows = {
      {L"--dry-run", "a.png -> made/a.png (replaced)\nb.png -> made/b.png\n", 9},
      {L"--dry-run --skip", "b.png -> made/b.png\na.png -> made/a.png (kept)\n", 9},
      {L"--skip", "1 of 2 pictures converted, 1 kept\n", 9},
      {L"--overwrite", "2 of 2 pictures converted\n", 5}};
  for (auto const& [policy, said, width] : rows) {
    EXPECT_EQ(Good(wstring(L"convert a.png b.png made --size 5x5 ") + policy), said);
    EXPECT_EQ(Load(L"made\\a.png")->width, width) << said;
  }
}

TEST_F(Tool, ReplacesFilesWholeOrNotAtAll) {
  MakePicture(L"keep.png", 9, 9);
  string const before = folder.Read(L"keep.png");
  folder.Write(L"cut.png", before.substr(0, 60));
  folder.Write(L"a.xml", "<a/>");
  {
    Ref<Stream> holder;  // whose file cannot be replaced
    FileStream::Create(folder.Path(L"keep.png").c_str(), FileStream::READ, holder.Receive());
    for (auto const* run : {L"convert cut.png keep.png", L"convert keep.png keep.png --size 3x3",
                            L"sheet keep.png keep.png", L"xml a.xml -o keep.png"}) {
      EXPECT_THAT(Bad(run), HasSubstr(run[8] == L'c' ? "cut.png: " : "cannot write keep.png: access"));
    }
  }
  EXPECT_EQ(folder.Read(L"keep.png"), before);
  Good(L"convert keep.png keep.png --size 3x3");
  EXPECT_EQ(Load(L"keep.png")->width, 3);
}

// Later pictures are done before the first, which is larger.
TEST_F(Tool, SaysAndWritesTheSameWithAnyNumberOfJobs) {
  MakePicture(L"0.png", 1200, 900);
  for (auto const* name : {L"1.png", L"2.png", L"3.png", L"4.png"}) MakePicture(name, 30, 20);
  folder.Write(L"2.png", "damaged now");
  folder.Write(L"4.png", "and this");
  std::vector<string> one;
  for (auto const* jobs : {L" --jobs 1", L" --jobs 4", L""}) {
    std::vector<string> now;
    for (auto const* what : {L"convert *.png made --size 25x", L"sheet made.bmp *.png --cell 112"}) {
      ToolResult const result = Run(what + wstring(jobs));
      now.insert(now.end(), {std::to_string(result.exitCode), result.out, result.err});
    }
    for (auto const* file : {L"made\\0.png", L"made\\3.png", L"made.bmp"}) now.push_back(folder.Read(file));
    if (one.empty()) one = now;
    EXPECT_TRUE(now == one) << testing::PrintToString(now[1] + now[2] + now[4] + now[5]);
  }
  EXPECT_THAT(one[2], AllOf(HasSubstr("2.png"), HasSubstr("4.png")));
}

// ---- Ctrl-C

BOOL WINAPI IgnoreStop(DWORD) { return TRUE; }

/// qetool in a console of its own, without a window, in which Ctrl-C can be pressed.
class RunningTool {
 public:
  RunningTool(wstring const& folder, wstring arguments, wstring const& errors) {
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    HANDLE const file =
        CreateFileW(errors.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited, CREATE_ALWAYS, 0, nullptr);
    STARTUPINFOW how = {};
    how.cb = sizeof how;
    how.dwFlags = STARTF_USESTDHANDLES;
    how.hStdOutput = how.hStdError = file;
    arguments.insert(0, L"qetool ");
    wstring const program = ProgramFolder() + L"qetool.exe";
    EXPECT_TRUE(CreateProcessW(program.c_str(), arguments.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW,
                               nullptr, folder.c_str(), &how, &process));
    CloseHandle(file);
  }
  ~RunningTool() { CloseHandle(process.hProcess), CloseHandle(process.hThread); }

  bool IsRunning() const { return WaitForSingleObject(process.hProcess, 20) == WAIT_TIMEOUT; }

  // Ctrl-C reaches all programs of a console: this one enters that of the tool until the tool has ended.
  int PressCtrlC() const {
    FreeConsole();
    EXPECT_TRUE(AttachConsole(process.dwProcessId));
    SetConsoleCtrlHandler(IgnoreStop, TRUE);
    EXPECT_TRUE(GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0));
    DWORD code = 0;
    EXPECT_EQ(WaitForSingleObject(process.hProcess, 60'000), WAIT_OBJECT_0);
    GetExitCodeProcess(process.hProcess, &code);
    FreeConsole();
    SetConsoleCtrlHandler(IgnoreStop, FALSE);
    AttachConsole(ATTACH_PARENT_PROCESS);
    return static_cast<int>(code);
  }

 private:
  PROCESS_INFORMATION process = {};
};

// It is pressed once the first picture is there; all of them would take many times longer.
TEST_F(Tool, StopsOnCtrlCBetweenWholeFiles) {
  constexpr int PICTURES = 60, SIZE = 1500;
  MakePicture(L"00.png", 40, 40);
  for (int i = 1; i < PICTURES; ++i) folder.Write(std::to_wstring(i) + L".png", folder.Read(L"00.png"));
  TempFolder const outputs;
  RunningTool const tool(folder.Path(), L"convert *.png made --size 1500x1500 --jobs 3",
                         outputs.Path(L"err"));
  wstring const made = folder.Path(L"made");
  while (!std::filesystem::exists(made + L"\\00.png") && tool.IsRunning()) continue;
  EXPECT_EQ(tool.PressCtrlC(), 130);
  EXPECT_EQ(outputs.Read(L"err"), "qetool: stopped\r\n");
  int count = 0;
  for (auto const& file : std::filesystem::directory_iterator(made)) {
    ImageRef const image = Load(L"made\\" + file.path().filename().wstring());
    EXPECT_TRUE(image && image->width == SIZE) << file.path();
    ++count;
  }
  EXPECT_LT(count, PICTURES);
}

// ---- several pictures in a file

// Two frames of one pixel: black, then white.
TEST_F(Tool, ReadsEachFrame) {
  string const frame = ",\0\0\0\0\1\0\1\0\0\2\2"s, gif = "GIF89a\1\0\1\0\x80\0\0\0\0\0\xFF\xFF\xFF"s;
  string const first = gif + frame + "\x44\1\0"s;
  folder.Write(L"two.gif", first + frame + "\x4C\1\0;"s);
  folder.Write(L"cut.gif", first + frame);
  string const good = frame + "\x4C\1\0"s, bad = frame + "\5\0\0"s;
  folder.Write(L"hidden.gif", first + good + good + bad + good + bad + good + ';');
  Good(L"convert two.gif out.png --frame 1 --format bgr24");
  EXPECT_EQ(At(*Load(L"out.png"), 0, 0), (Bytes{255, 255, 255}));
  EXPECT_THAT(Good(L"info two.gif --frame 1"), HasSubstr("GIF, 1 x 1 pixels, bgra32 (32 bits), 2 frames"));
  EXPECT_THAT(Bad(L"info two.gif --frame 2"), HasSubstr("two.gif: there is no frame 2"));
  EXPECT_EQ(Run(L"diff two.gif two.gif --read-option frame=1").out, "equal: 1 x 1 pixels\n");
  EXPECT_THAT(Good(L"info two.gif --read-option frame=1"), HasSubstr(" bgra32 "));
  EXPECT_THAT(Bad(L"info two.gif --frame 0 --read-option frame=1"), HasSubstr("--frame 0: --read-option"));
  EXPECT_EQ(Good(L"verify two.gif"), "two.gif: good: GIF, 1 x 1 pixels, 2 frames\n");
  EXPECT_THAT(Run(L"verify cut.gif").out, StartsWith("cut.gif: bad: frame 1: "));
  EXPECT_EQ(Run(L"verify hidden.gif").out, "hidden.gif: bad: frame 3: damaged: it is truncated\n");
}

// ---- diff, verify

TEST_F(Tool, ComparesPixels) {
  MakePicture(L"a.png", 9, 9);
  Good(L"convert a.png a.bmp");
  Good(L"convert a.png other.png --flip h");
  MakePicture(L"small.png", 9, 8);
  Table<wchar_t const*, int, string> const rows = {
      {L"diff a.png a.bmp", 0, "equal: 9 x 9 pixels\n"},
      // in each row, blue differs by 8, 6, 4, 2, 0, 2, 4, 6, 8
      {L"diff a.png other.png -o d.png", 1,
       "different: 72 of 81 pixels (88.9 %), by at most 3.14 % of the range; PSNR 38.64 dB\n"},
      {L"diff a.png small.png", 1, "different: 9 x 9 and 9 x 8 pixels\n"},
      {L"diff a.png small.png -o none.png", 1,
       "different: 9 x 9 and 9 x 8 pixels; no picture of the difference is written\n"},
      {L"diff - -", 2, ""},
      {L"diff a.png missing.png", 2, ""},
      {L"diff a.png", 2, ""}};
  for (auto const& [arguments, code, said] : rows) {
    ToolResult const result = Run(arguments);
    EXPECT_EQ(result.exitCode, code) << result.err;
    EXPECT_EQ(result.out, said);
  }
  EXPECT_EQ(At(*Load(L"d.png"), 0, 3), (Bytes{255, 0, 0}));
  EXPECT_EQ(At(*Load(L"d.png"), 1, 3), (Bytes{191, 0, 0}));
}

TEST_F(Tool, VerifiesPicturesAndObjectFiles) {
  MakePicture(L"a.png", 90, 90);
  folder.Write(L"cut.png", folder.Read(L"a.png").substr(0, 60));
  EXPECT_THAT(Good(L"info cut.png"), StartsWith("cut.png: PNG, 90 x 90 pixels, bgr24 "))
      << "nothing is decoded";
  folder.Write(L"a.obj", caches.Read(L"cache"));
  folder.Write(L"cut.obj", caches.Read(L"cache").substr(0, 90));
  folder.Write(L"text.txt", "neither of both, but long enough");
  EXPECT_THAT(Good(L"verify a.png a.obj"),
              AllOf(StartsWith("a.png: good: PNG, 90 x 90 pixels\na.obj: good: object file, "),
                    HasSubstr("2 of 2 files are good\n")));
  folder.Write(L"huge.bin", "");
  std::filesystem::resize_file(folder.Path(L"huge.bin"), 0xFFFF'FFFFu);  // too much to read into memory
  for (auto const* name : {L"cut.png", L"cut.obj", L"text.txt", L"huge.bin", L"."}) {
    ToolResult const result = Run(wstring(L"verify ") + name);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 1) << result.out;
    EXPECT_THAT(result.out, HasSubstr(": bad: "));
  }
}

// ---- json

TEST_F(Tool, WritesJson) {
  MakePicture(L"a.png", 5, 4);
  folder.Write(L"chunk.obj", Chunk(7, "a\\b"));
  folder.Copy(ProgramFolder() + L"qewic.qem", L"qewic.qem");
  string const picture =
      R"(    "type": "PNG",
    "width": 5,
    "height": 4,
    "format": "bgr24",
    "bits": 24,
    "frames": 1,
    "bytes": )" +
      std::to_string(folder.Read(L"a.png").size());
  EXPECT_EQ(Good(L"info --json a.png"), "[\n  {\n    \"file\": \"a.png\",\n" + picture + "\n  }\n]\n");
  EXPECT_THAT(Run(L"info --json none.png").out, HasSubstr("\"error\": \"cannot open none.png: the file"));
  EXPECT_THAT(Run(L"dump --json chunk.obj").out, HasSubstr(R"("value": "a\\b")"));
  folder.Write(L"kinds.obj", Chunk(7, "\xFF\xFE\xFD") + Chunk(7, "\2\0\0\0"s));
  EXPECT_THAT(Run(L"dump --json kinds.obj").out,
              AllOf(HasSubstr(R"("hex": "FF FE FD")"), HasSubstr("\"value\": 2\n")));
  EXPECT_THAT(
      Good(L"plugins --json . --cache my.cache"),
      AllOf(HasSubstr("\"state\": \"loaded\""), HasSubstr("\"rival\": false"), HasSubstr("\"jpeg\",\n")));
}

// ---- help

TEST_F(Tool, HelpsWithCommands) {
  EXPECT_THAT(Good(L"help"),
              AllOf(HasSubstr("Usage: qetool "), HasSubstr("\nCommands:\n"), HasSubstr("\n  verify ")));
  EXPECT_EQ(Good(L"help convert"), Good(L"convert --help"));
  EXPECT_EQ(Good(L"help jpg"), Good(L"formats jpg"));
  EXPECT_THAT(Bad(L"help jpg --plugins ."), HasSubstr("unknown command or format jpg"));
  EXPECT_EQ(Bad(L"convert"), "qetool: IN... OUT is required (see qetool convert --help)\n");
}

// ---- xml

TEST_F(Tool, WritesXmlBack) {
  folder.Write(L"a.xml", "<a><b c='1'>x</b></a>");
  EXPECT_EQ(Good(L"xml a.xml"), "<a><b c=\"1\">x</b></a>");
  Good(L"xml a.xml -o b.xml --utf16 --layout");
  EXPECT_THAT(folder.Read(L"b.xml"), StartsWith(string("\xFF\xFE<\0a\0", 6)));
  folder.Write(L"c.xml", "<a>\xF0\x9F\x98\x80</a>");
  EXPECT_THAT(Run(L"xml c.xml -o d.xml").err, HasSubstr("--utf16"));
}

// ---- plugins

TEST_F(Tool, ListsPluginsLoadedFirstAndCachedThen) {
  folder.Copy(ProgramFolder() + L"qewic.qem", L"qewic.qem");
  EXPECT_THAT(Good(L"plugins . --cache my.cache"),
              AllOf(HasSubstr(", 5 classes, loaded\n"), HasSubstr("jpg, jpeg, jpe\n")));
  EXPECT_THAT(Good(L"plugins . --cache my.cache"), HasSubstr(", 5 classes, from the cache\n"));
  EXPECT_THAT(Good(L"dump my.cache"),
              AllOf(HasSubstr("9 (file), "), HasSubstr("(file name), 18 bytes: \"qewic.qem\""),
                    HasSubstr("\"PNG filter\"")));
  folder.Remove(L"qewic.qem");
  EXPECT_THAT(Good(L"plugins . --cache my.cache"), StartsWith("no plug-ins in "));
}

// ---- sheet

TEST_F(Tool, DrawsASheetOfWhatItCanRead) {
  MakePicture(L"wide.png", 200, 50);
  MakePicture(L"tall.png", 10, 30);
  EXPECT_EQ(Good(L"sheet s.png wide.png tall.png --cell 112"), "s.png: 2 pictures, 296 x 192 pixels\n");
  ImageRef const sheet = Load(L"s.png");
  EXPECT_EQ(At(*sheet, 24 + 136 + 56 - 5, 24 + 6), Bytes({0, 0, 7})) << "the narrow one is centred, unscaled";
  ToolResult const some = Run(L"sheet t.png none.png wide.png");
  EXPECT_EQ(some.exitCode, 1);
  EXPECT_THAT(some.out, HasSubstr("t.png: 1 picture, "));
  EXPECT_THAT(some.err, HasSubstr("none.png"));
  folder.Write(L"list", "wide.png\ntall.png");
  EXPECT_EQ(Good(L"sheet s.png --list list --cell 112"), "s.png: 2 pictures, 296 x 192 pixels\n");
  EXPECT_THAT(Good(L"sheet s.png -r . --cell 112"), HasSubstr("s.png: 3 pictures, ")) << "with t.png";
}

// ---- dump

TEST_F(Tool, DumpsWhatADamagedFileStillHolds) {
  string const file = caches.Read(L"cache");  // an object file like any other
  folder.Write(L"good.obj", file);
  EXPECT_THAT(Good(L"dump --xml good.obj"), HasSubstr("<chunk tag=\"2\" name=\"version\" offset=\"6\""));
  for (size_t length : {size_t{3}, size_t{40}, file.size() / 2, file.size() - 12, file.size() - 1}) {
    folder.Write(L"cut.obj", file.substr(0, length));
    ToolResult const result = Run(L"dump cut.obj");
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.err, AllOf(StartsWith("qetool: cut.obj is damaged"), HasSubstr("at offset")));
    EXPECT_THAT(result.out, HasSubstr(length > 30 ? "(version), 4 bytes: 2 (0x2)" : "")) << length;
  }
  folder.Write(L"lines.obj", Chunk(7, string(2'000'000, '\n')));
  EXPECT_THAT(Run(L"dump lines.obj").out, AllOf(HasSubstr("bytes: \"\\n\\n"), HasSubstr("\\n\" ...\n")));
  folder.Write(L"bytes.obj", Chunk(7, "\xFF\xFE\xFD"));
  EXPECT_THAT(Run(L"dump bytes.obj").out, HasSubstr("7, 3 bytes: FF FE FD\n"));
  string deep, slow;
  for (unsigned size = 6 * 5000; size; size -= 6) deep += "\7\0"s + Le(size);
  folder.Write(L"deep.obj", deep);
  EXPECT_THAT(Good(L"dump deep.obj"), HasSubstr("29994  " + string(80, ' ') + "7, 0 bytes\n"));
  EXPECT_THAT(Run(L"dump --xml deep.obj").err, HasSubstr("too deep for XML"));
  // Next to the chunks of each level there is a chain that is damaged at its end: too many attempts to show
  // all levels.
  for (unsigned size = 12 * 20000; size; size -= 12) slow += "\7\0"s + Le(size) + "\7\0"s + Le(12);
  folder.Write(L"slow.obj", slow);
  string const shown = Good(L"dump slow.obj");
  EXPECT_LT(std::count(shown.begin(), shown.end(), '\n'), 1000);
}

}  // namespace
