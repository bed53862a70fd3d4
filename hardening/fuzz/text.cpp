// Texts: String under arbitrary sequences of edits compared with a simple model, UTF-8 in both directions,
// formats, and wildcard patterns.
#include <qecore/io/file_find.h>
#include <qecore/values/str.h>
#include <qecore/values/string.h>

#include <string_view>

#include "target.h"

namespace fuzz {

using namespace yk;

// ---- strings

namespace {

constexpr size_t LONGEST = 20000;  // beyond this a string is reset: growth alone finds nothing more

std::u16string ModelOf(wchar_t const* text, size_t length) { return {text, text + length}; }
std::u16string ModelOf(std::vector<wchar_t> const& text) { return ModelOf(text.data(), text.size() - 1); }

/// A string and its expected content. A step that the model cannot reproduce sets `model` from the string.
struct Text {
  String string;
  std::u16string model;

  void Believe() { model = ModelOf(string.c_str(), string.Length()); }

  void Compare() {
    Require(string.c_str()[string.Length()] == 0, "a string is terminated");
    Require(string.IsEmpty() == (string.Length() == 0), "no block has the length 0");
    std::u16string const is = ModelOf(string.c_str(), string.Length());
    if (!MayFail()) Require(is == model, "a string equals its model");
    model = is;
  }
};

void Assign(Text& a, Text&, Input& in) {
  std::vector<wchar_t> const text = in.Wide(80);
  a.string = text.data();
  a.model = ModelOf(text);
}

void AssignNarrow(Text& a, Text&, Input& in) {
  a.string = String(in.Narrow(80).data());  // by the code page, which the model does not have
  a.Believe();
}

void Copy(Text& a, Text& b, Input&) {
  a.string = b.string;
  a.model = b.model;
}

void Move(Text& a, Text& b, Input&) {
  a.string = std::move(b.string);
  a.Believe();
  b.Believe();
}

void Join(Text& a, Text& b, Input&) {
  a.string = a.string + b.string;
  a.model += b.model;
}

void Append(Text& a, Text& b, Input&) {
  a.string += b.string;
  a.model += std::u16string(b.model);
}

void AppendText(Text& a, Text&, Input& in) {
  std::vector<wchar_t> const text = in.Wide(40);
  a.string += text.data();
  a.model += ModelOf(text);
}

void AppendOwnTail(Text& a, Text&, Input& in) {
  size_t const from = std::min<size_t>(in.Byte(), a.model.find_first_of(u'\0'));
  size_t const start = std::min(from, a.model.size());
  a.string += a.string.c_str() + start;
  a.model += std::u16string(a.model.c_str() + start);
}

void Insert(Text& a, Text& b, Input& in) {
  size_t const at = in.Byte();
  bool const done = a.string.AtInsert(at, b.string.c_str());
  std::u16string const text = b.model.c_str();  // up to the first zero
  bool const expected = at <= a.model.size() && !text.empty();
  if (!MayFail()) Require(done == expected, "an insertion reports whether it was done");
  if (expected) a.model.insert(at, text);
}

void Delete(Text& a, Text&, Input& in) {
  size_t const at = in.Byte(), count = in.Byte();
  bool const done = a.string.AtDelete(at, count);
  if (a.model.find(u'\0') != a.model.npos) return a.Believe();  // characters after a zero stay, as documented
  if (at > a.model.size() || count > a.model.size() - at)
    return Require(!done, "no deletion outside of the string");
  a.model.erase(at, count);
}

void Cut(Text& a, Text&, Input& in) {
  size_t const at = in.Byte(), count = in.Byte();
  a.string.Cut(at, count);
  if (a.model.find(u'\0') != a.model.npos) return a.Believe();
  if (at < a.model.size()) a.model.erase(at, count);
}

void TakeLeft(Text& a, Text&, Input& in) {
  size_t const count = in.Byte();
  a.string = a.string.Left(count);
  a.model = a.model.substr(0, count);
}

void TakeRight(Text& a, Text&, Input& in) {
  size_t const count = in.Byte();
  a.string = a.string.Right(count);
  if (count < a.model.size()) a.model.erase(0, a.model.size() - count);
}

void Trim(Text& a, Text&, Input&) {
  a.string.Trim();
  if (a.model.find(u'\0') != a.model.npos) return a.Believe();
  size_t const first = a.model.find_first_not_of(u" \t");
  size_t const last = a.model.find_last_not_of(u" \t");
  a.model = first == a.model.npos ? u"" : a.model.substr(first, last - first + 1);
}

void Resize(Text& a, Text&, Input& in) {
  size_t const before = a.string.Length(), length = in.Byte();
  if (!a.string.Realloc(length)) return;
  a.model.resize(length, u'y');
  for (size_t i = before; i < length; ++i) a.string.SetAt(i, L'y');
}

void SetCharacter(Text& a, Text&, Input& in) {
  size_t const at = in.Byte();
  wchar_t const c = in.Byte();
  Require(a.string.SetAt(at, c) == (at < a.model.size()), "only characters of the string can be set");
  if (at < a.model.size()) a.model[at] = c;
}

void Search(Text& a, Text& b, Input& in) {
  wchar_t const c = 1 + in.Below(255);
  if (a.model.find(u'\0') != a.model.npos || b.model.find(u'\0') != b.model.npos) return;
  size_t const first = a.model.empty() || b.model.empty() ? String::npos : a.model.find(b.model);
  size_t const last = a.model.empty() || b.model.empty() ? String::npos : a.model.rfind(b.model);
  Require(a.string.Find(b.string) == first, "the first match is found");
  Require(a.string.RFind(b.string) == last, "the last match is found");
  Require(a.string.Find(c) == a.model.find(c), "a character is found");
  Require((a.string.Compare(b.string) == 0) == (a.model == b.model), "equal texts compare equal");
  Require((a.string.Compare(b.string) < 0) == (a.model < b.model), "texts are ordered by their units");
  a.string.Find(in.Narrow(6).data());
}

void Print(Text& a, Text& b, Input&) {
  a.string.printf(L"%d%s", 3, b.string.c_str());
  a.Believe();
}

void PrintBehind(Text& a, Text& b, Input&) {
  a.string.printf_add(L"%s!%5.3f", b.string.c_str(), 1.5);
  a.Believe();
}

void BecomePath(Text& a, Text& b, Input&) {
  String const base = a.string;
  a.string.FileConcatePaths(base, b.string);
  a.Believe();
}

void ReadGuid(Text& a, Text&, Input& in) {
  Guid id = {in.Take<uint32_t>(), 2, 3, {4}}, back;
  a.string = String(id);
  if (!MayFail()) Require(back.Init(a.string) && back == id, "an identifier survives conversion to text");
  if (back.Init(in.Narrow(60).data())) back.toString(std::make_unique<char[]>(Guid::TEXT_SIZE).get());
  a.Believe();
}

void CopyOut(Text& a, Text&, Input& in) {
  size_t const size = 1 + in.Below(40);
  auto const wide = std::make_unique<wchar_t[]>(size);
  auto const narrow = std::make_unique<char[]>(size);
  a.string.Get(wide.get(), size);
  a.string.Get(narrow.get(), size);
  a.string.GetUTF8(narrow.get(), size);
  a.string.GetInt();
  a.string.At(in.Byte());
}

void AppendNarrow(Text& a, Text&, Input& in) {
  a.string += in.Narrow(40).data();
  a.Believe();
}

/// A member that the model does not reproduce.
template <auto MEMBER>
void Change(Text& a, Text&, Input&) {
  (a.string.*MEMBER)();
  a.Believe();
}

template <auto MEMBER>
void Become(Text& a, Text&, Input&) {
  a.string = (a.string.*MEMBER)();
  a.Believe();
}

using TextStep = void (*)(Text&, Text&, Input&);
constexpr TextStep TEXT_STEPS[] = {Assign,
                                   AssignNarrow,
                                   Copy,
                                   Move,
                                   Join,
                                   Append,
                                   AppendText,
                                   AppendOwnTail,
                                   AppendNarrow,
                                   Insert,
                                   Delete,
                                   Cut,
                                   TakeLeft,
                                   TakeRight,
                                   Trim,
                                   Resize,
                                   SetCharacter,
                                   Search,
                                   Print,
                                   PrintBehind,
                                   BecomePath,
                                   ReadGuid,
                                   CopyOut,
                                   Change<&String::MakeUpper>,
                                   Change<&String::MakeLower>,
                                   Change<&String::DoubleTerminate>,
                                   Change<&String::RemoveExtension>,
                                   Change<&String::TerminatePath>,
                                   Change<&String::UnterminatePath>,
                                   Change<&String::Empty>,
                                   Become<&String::FileExt>,
                                   Become<&String::FilePath>,
                                   Become<&String::FileShortName>,
                                   Become<&String::Parse_C_string>};

}  // namespace

void EditStrings(Input& in) {
  Text texts[3];
  for (int turns = 0; in.More() && turns < 200; ++turns) {
    Text& a = in.Pick(texts);
    in.Step(TEXT_STEPS)(a, in.Pick(texts), in);
    if (a.string.Length() > LONGEST) Change<&String::Empty>(a, a, in);
    for (Text& text : texts) text.Compare();
  }
}

// ---- UTF-8

namespace {

size_t LengthOf(std::vector<wchar_t> const& text) { return text.size() - 1; }

void ConvertThereAndBack(std::vector<wchar_t> const& text, std::vector<char>& utf8) {
  int const needed = str::WToUTF8(text.data(), nullptr, 0);
  utf8.assign(needed, 'q');
  Require(str::WToUTF8(text.data(), utf8.data(), needed) == needed, "counting and writing agree");
  Require(static_cast<int>(strlen(utf8.data())) == needed - 1, "the terminator is counted");
  int const units = str::UTF8ToW(utf8.data(), nullptr, 0);
  Require(units == static_cast<int>(LengthOf(text)), "the number of units is preserved");
  std::vector<wchar_t> back(units + 1);
  Require(str::UTF8ToW(utf8.data(), back.data(), units) == units, "counting and reading agree");
  Require(back == text, "a text survives conversion to UTF-8");
}

void ConvertIntoLess(std::vector<wchar_t> const& text, int needed, Input& in) {
  int const size = in.Byte();
  std::vector<char> part(size, 'q');
  str::WToUTF8(text.data(), part.data(), size);
  if (size > 0) Require(part[std::min(size, needed) - 1] == 0, "a truncated text is terminated");
  int const count = in.Byte() % static_cast<int>(text.size());
  WideToUTF8StringEx(text.data(), size > 0 ? part.data() : nullptr, count, size);
}

void ReadAnyBytes(Input& in) {
  std::vector<char> const bytes = in.Narrow(255);
  int const units = str::UTF8ToW(bytes.data(), nullptr, 0);
  std::vector<wchar_t> text(units + 1), cut(in.Byte() + 1);
  Require(str::UTF8ToW(bytes.data(), text.data(), units) == units, "counting and reading agree");
  int const most = static_cast<int>(cut.size()) - 1;
  Require(str::UTF8ToW(bytes.data(), cut.data(), most) <= most, "no more units than requested");
}

template <class Char>
void ConcatThrice(std::vector<Char> const& text, Input& in) {
  std::vector<Char> room(1 + in.Below(30), 'q');
  if (in.Flag()) room[0] = 0;
  for (int i = 0; i < 3; ++i) str::Concat(room.data(), room.size(), text.data());
  Require(std::find(room.begin(), room.end(), Char{0}) != room.end(), "a concatenated text is terminated");
}

void EditInPlace(Input& in) {
  std::vector<char> narrow = in.Narrow(40), escaped = narrow;
  std::vector<wchar_t> wide = in.Wide(40);
  ConcatThrice(narrow, in);
  ConcatThrice(wide, in);
  preprocess_C(escaped.data());
  str::AllTrim(narrow.data());
  GetDirLen(wide.data());
  wtoa_BufSize(wide.data());
  str::AllTrim(wide.data());
  wide.push_back(0);  // the room that TerminatePath requires
  wide.shrink_to_fit();
  str::TerminatePath(wide.data());
}

}  // namespace

void ConvertUtf8(Input& in) {
  std::vector<wchar_t> const text = in.Wide(255);
  std::vector<char> utf8;
  ConvertThereAndBack(text, utf8);
  ConvertIntoLess(text, static_cast<int>(utf8.size()), in);
  ReadAnyBytes(in);
  EditInPlace(in);
}

// ---- formats

namespace {

// A text of either width, whichever type a directive assumes.
constexpr wchar_t ARGUMENT[] = L"AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA\0";
constexpr size_t ARGUMENTS = 64;

// At most as many directives as arguments, and no width or precision from an argument, which would differ in
// each run.
void Tame(std::vector<wchar_t>& format) {
  std::replace(format.begin(), format.end(), L'*', L'-');
  size_t directives = 0;
  for (wchar_t& c : format) {
    if (c == L'%' && ++directives > ARGUMENTS) c = L'-';
  }
}

template <class Call, size_t... I>
void CallWith(Call call, std::index_sequence<I...>) {
  call((static_cast<void>(I), ARGUMENT)...);
}

/// Calls with as many texts as there can be directives.
template <class Call>
void WithArguments(Call call) {
  CallWith(call, std::make_index_sequence<ARGUMENTS>());
}

void RequireTerminated(std::vector<wchar_t> const& out) {
  if (!out.empty())
    Require(std::find(out.begin(), out.end(), L'\0') != out.end(), "a formatted text is terminated");
}

}  // namespace

void FormatText(Input& in) {
  std::vector<wchar_t> format = in.Wide(60), argumentFormat = in.Wide(60);
  Tame(format);
  Tame(argumentFormat);
  std::vector<wchar_t> out(in.Byte());
  wchar_t* const room = out.empty() ? nullptr : out.data();
  WithArguments([&](auto... texts) {
    qeprintf2(room, out.size(), format.data(), argumentFormat.data(), texts...);
    RequireTerminated(out);
    int const length = str::printf(room, out.size(), format.data(), texts...);
    RequireTerminated(out);
    int const measured = str::printf(static_cast<wchar_t*>(nullptr), 0, format.data(), texts...);
    Require(length < 0 || length == measured, "a text has the measured length");
    String string;
    string.printf(format.data(), texts...);
  });
}

// Many directives and long texts: the limits of qeprintf2's internal buffers.
void FormatLongText(Input& in) {
  std::vector<wchar_t> format, argumentFormat;
  size_t const length = in.Take<uint16_t>() % 9000;
  uint8_t const pattern[] = {in.Byte(), in.Byte(), in.Byte(), in.Byte(), in.Byte()};
  for (size_t i = 0; i < length; ++i)
    argumentFormat.push_back(L"AB x%AB%%5l"[pattern[i % std::size(pattern)] % 11]);
  for (unsigned count = in.Below(16); count > 0; --count) {
    argumentFormat.insert(argumentFormat.end(), {L'%', L'd'});
    format.insert(format.end(), {L'%', static_cast<wchar_t>(L'0' + in.Below(10))});
  }
  argumentFormat.push_back(0);
  format.push_back(0);
  Tame(argumentFormat);
  std::vector<wchar_t> out(1 + in.Take<uint16_t>() % 5000);
  WithArguments([&](auto... texts) {
    qeprintf2(out.data(), out.size(), format.data(), argumentFormat.data(), texts...);
  });
  RequireTerminated(out);
}

// ---- wildcards

namespace {

std::u16string_view constexpr SPECIAL = u"*?[.";

bool IsPlain(std::vector<wchar_t> const& text) {
  return std::none_of(text.begin(), text.end(),
                      [](wchar_t c) { return c > 126 || (c && SPECIAL.find(c) != SPECIAL.npos); });
}

}  // namespace

void MatchWildcard(Input& in) {
  std::vector<wchar_t> const pattern = in.Wide(255), name = in.Wide(255);
  bool const matches = RegularCompare(pattern.data(), name.data());
  if (!IsPlain(pattern) || !IsPlain(name)) return;
  harness::Calm const calm;
  bool const same = String(pattern.data()).CompareNoCase(String(name.data())) == 0;
  Require(matches == same, "a pattern without wildcards matches itself");
}

}  // namespace fuzz
