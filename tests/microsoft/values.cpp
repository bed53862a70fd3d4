// Strings, variants and containers.
#include "runtime.h"

#include <qecore/core/conversions.h>
#include <qecore/core/memory.h>
#include <qecore/core/ref.h>
#include <qecore/draw/geometry.h>
#include <qecore/values/array.h>
#include <qecore/values/map.h>
#include <qecore/values/str.h>
#include <qecore/values/string.h>
#include <qecore/values/variant.h>

#include <new>

using namespace yk;

namespace {

bool Constructors() {
  String const copied(L"copied"), window(static_cast<HWND>(nullptr));
  String moved = String(copied);
  return String("ansi") == L"ansi" && String(L"wide", 2) == "wi" && String('c') == L"c" &&
         String(L'w') == L"w" && String(copied) == copied && moved == L"copied" && window.IsEmpty() &&
         String(Guid{}).Length() == 38;
}

bool Assignment() {
  String a, b(L"b"), c;
  a = b;
  a += b;
  a += L"c";
  a += "d";
  c = L"text";
  c = static_cast<String&&>(a);
  a.printf(L"%s %d %.2f", L"x", 7, 0.5);
  a.printf_add(L"%c", L'!');
  return c == L"bbcd" && a == L"x 7 0.50!" && b + c == L"bbbcd" && (a.Empty(), a.IsEmpty());
}

bool PartsByValue() {
  String const path(L"c:\\folder\\name.txt");
  return path.Left(2) == L"c:" && path.Right(3) == L"txt" && path.FileExt() == L"txt" &&
         path.FilePath() == L"c:\\folder" && path.FileShortName() == L"name.txt" &&
         String(L"a\\nb").Parse_C_string() == L"a\nb";
}

bool Access() {
  String text(L"caf\u00E9 12");
  wchar_t wide[20];
  char narrow[20], utf8[20];
  text.Get(wide, 20);
  String(L"12").Get(narrow, 20);
  text.GetUTF8(utf8, 20);
  return text.At(0) == L'c' && text.SetAt(0, L'C') && text.At(0) == L'C' &&
         Same<wchar_t>(wide, L"caf\u00E9 12") && Same<char>(narrow, "12") &&
         Same<char>(utf8, "caf\xC3\xA9 12") && String(L"12x").GetInt() == 12;
}

bool Searching() {
  String const text(L"abcabc");
  return text.Find(L'b') == 1 && text.Find(L"ca") == 2 && text.Find("bc") == 1 &&
         text.Find(String(L"z")) == String::npos && text.RFind(L"bc") == 4 && text.RFind(String(L"a")) == 3 &&
         text.Compare(String(L"abd")) < 0 && text.CompareNoCase(String(L"ABCABC")) == 0 &&
         text == String(L"abcabc") && text < String(L"b");
}

bool Editing() {
  String text(L" ab ");
  bool ok = text.Trim() && text == L"ab" && text.AtInsert(1, L"xyz") && text == L"axyzb" &&
            text.AtDelete(1, 1) && text == L"ayzb" && text.Cut(2, 9) && text == L"ay" && text.MakeUpper() &&
            text == L"AY" && text.MakeLower() && text == L"ay" && text.DoubleTerminate() &&
            text.Length() == 3 && text.Realloc(1);
  String path(L"a/b.c");
  path.RemoveExtension();
  path.TerminatePath();
  ok = ok && path == L"a/b\\";
  path.UnterminatePath();
  return ok && path == L"a/b" && path.FileConcatePaths(String(L"c:\\x\\y"), String(L"..\\z")) &&
         path == L"c:\\x\\z";
}

bool PlainTexts() {
  wchar_t wide[40] = L" a ";
  char narrow[40] = " n ", ansi[40];
  str::AllTrim(wide);
  str::AllTrim(narrow);
  bool ok = str::Length(wide) == 1 && str::Length(narrow) == 1 && str::Concat(wide, 40, L"b") == 2 &&
            str::Concat(narrow, 40, "b") == 2;
  str::TerminatePath(wide);
  wchar_t* const wideCopy = str::New(wide);
  char* const narrowCopy = str::New(narrow);
  ok = ok && Same(wideCopy, L"ab\\") && Same<char>(narrowCopy, "nb");
  yk_delete(wideCopy);  // the library's own heap
  yk_delete(narrowCopy);
  ok = ok && str::printf(wide, 40, L"%d", 5) == 1 && str::printf(narrow, 40, "%s", "x") == 1 &&
       str::WToUTF8(L"\u00E9", narrow, 40) == 3 && str::UTF8ToW(narrow, wide, 39) == 1 &&
       WideToUTF8StringEx(L"ab", narrow, 2, 40) == 3 && GetDirLen(L"a\\b") == 2 &&
       wtoa(L"z", ansi, 40) == 2 && wtoa_BufSize(L"zz") == 3 && atow("yy", wide, 40) == 3;
  char escaped[] = "a\\nb";
  preprocess_C(escaped);
  return ok && Same<char>(escaped, "a\nb") && qescanf(escaped, "%d") == 0 &&
         qeprintf2(wide, 40, L"%2 of %1", L"%d%s", 3, L"files") > 0 && Same<wchar_t>(wide, L"files of 3");
}

int Wide(wchar_t* out, wchar_t const* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  int const length = str::vprintf(out, 20, format, arguments);
  va_end(arguments);
  return length;
}

int Narrow(char* out, char const* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  int const length = str::vprintf(out, 20, format, arguments);
  va_end(arguments);
  return length;
}

bool ArgumentLists() {
  wchar_t wide[20];
  char narrow[20];
  return Wide(wide, L"%d-%.1f", 1, 2.5) == 5 && Same<wchar_t>(wide, L"1-2.5") &&
         Narrow(narrow, "%s", "x") == 1 && round(2.5) == 3 && round(-2.5) == -3;
}

template <class In, class Out>
bool Kept(In const& in, Out const& expected) {
  Variant v;
  v.Init(in);
  Out out{};
  return v.Get(out) && out == expected;
}

bool Scalars() {
  return Kept(true, true) && Kept(short{-7}, -7) && Kept(-8, -8) && Kept(int64_t{9}, 9) &&
         Kept(uint8_t{10}, 10u) && Kept(static_cast<unsigned short>(11), static_cast<unsigned short>(11)) &&
         Kept(12u, 12u) && Kept(uint64_t{13}, uint8_t{13}) && Kept(1.5f, 1.5f) && Kept(2.5, 2.5);
}

template <class Value>
unsigned PayloadOf(Value const& value) {
  Variant v;
  void* data = nullptr;
  v.Init(value);
  unsigned const size = v.GetDataPtr(&data);
  return data ? size : 0;
}

bool Payloads() {
  Variant v, copy;
  char text[20];
  unsigned char bytes[4];
  wchar_t wide[20];
  String string;
  point2d point;
  v.Init("narrow");
  bool ok = v.Get(text, 20) == 6 && Same<char>(text, "narrow");
  v.Init(L"wide");
  ok = ok && v.Get(wide, 20) == 4 && v.Get(string) && string == L"wide";
  v.Init(String(L"str"));
  copy.Init(v);
  ok = ok && copy.Compare(v) && v.Get(copy) == S_OK;
  v.Init("abc", 3, false);
  ok = ok && v.Get(bytes, 4) == 3 && bytes[2] == 'c';
  v.Init(point2d{1, 2});
  ok = ok && v.Get(point) && point == point2d{1, 2};
  v.Init(point2df{3, 4});
  ok = ok && v.Get(point) && point == point2d{3, 4};
  v.Swap(copy);
  v.Done();
  return ok && PayloadOf(point3d{}) == 24 && PayloadOf(point3df{}) == 12 && PayloadOf(matrix2d{}) == 48 &&
         PayloadOf(matrix3d{}) == 96 && v.type == Variant::EMPTY;
}

int ByNumber(void const* element, void const* key, void const*) {
  return static_cast<int>(reinterpret_cast<intptr_t>(element) - reinterpret_cast<intptr_t>(key));
}
void* Number(intptr_t number) { return reinterpret_cast<void*>(number); }

int deleted = 0;
void CountDeletion(void*) { ++deleted; }

bool Arrays() {
  Ref<Array> const array = Ref<Array>::Adopt(Array::Create(0));
  constexpr intptr_t NUMBERS[] = {3, 1, 2};
  for (intptr_t const i : NUMBERS) array->Add(Number(i));
  bool ok = array->Sort(ByNumber, nullptr) && array->At(0) == Number(1) && array->Find(Number(3)) == 2;
  Ref<SortedArray> const sorted = Ref<SortedArray>::Adopt(SortedArray::Create(ByNumber, nullptr));
  for (intptr_t const i : NUMBERS) sorted->Add(Number(i));
  ok = ok && sorted->Find(Number(2)) == 1 && sorted->Count() == 3 && sorted->AtDelete(0);
  Ref<Array> owner = Ref<Array>::Adopt(Array::CreateEx(CountDeletion));
  owner->Add(Number(1));
  owner.Reset();
  Ref<DataArray> const data = Ref<DataArray>::Adopt(DataArray::Create());
  ok = ok && data->SetRecord(8, CountDeletion) == S_OK && data->AtInsert(0) && data->Count() == 1;
  data->FreeAll();
  return ok && deleted == 2 && Array::MAX_COUNT == 0xFFFFFF;
}

// An array of the program's own class.
class Numbers : public Destroys<Numbers, Array> {
 public:
  Numbers() : Destroys(0) {}
};

bool OwnArrays() {
  Ref<Numbers> const numbers = Ref<Numbers>::Adopt(new (std::nothrow) Numbers);
  return numbers->Add(Number(4)) == 0 && numbers->Find(Number(4)) == 0 && numbers->IsTypeOf(ids::ARRAY);
}

bool Maps() {
  Ref<Map> const map = Ref<Map>::Adopt(Map::Create());
  Variant value;
  value.Init(5);
  int number = 0;
  bool const ok =
      map->SetValue(1, value) == S_OK && map->GetValue(1, value) == S_OK && value.Get(number) && number == 5;
  value.Init(map.get());
  return ok && map->Count() == 1 && value.GetI() == map.get() && map->Remove(1) == S_OK &&
         Failed(Map::Register());
}

constexpr Case CASES[] = {
    {"constructors of strings", Constructors},
    {"assignment", Assignment},
    {"parts by value", PartsByValue},
    {"access", Access},
    {"searching", Searching},
    {"editing", Editing},
    {"plain texts", PlainTexts},
    {"lists", ArgumentLists},
    {"scalars", Scalars},
    {"payloads", Payloads},
    {"arrays", Arrays},
    {"maps", Maps},
    {"own arrays", OwnArrays},
};

}  // namespace

Cases const VALUES = CasesOf(CASES);
