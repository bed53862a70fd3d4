#include "xml_reader_p.h"

#include <memory>
#include <new>
#include <utility>

#include "core/error_p.h"

namespace yk::xml {
namespace {

struct Encoding {
  wstring_view name;
  bool utf16;
};

constexpr Encoding ENCODINGS[] = {
    {L"UTF-8", false}, {L"UTF8", false},    {L"US-ASCII", false},       {L"ASCII", false},
    {L"UTF-16", true}, {L"UTF-16LE", true}, {L"ISO-10646-UCS-2", true},
};

constexpr wchar_t ToUpper(wchar_t c) noexcept { return c >= L'a' && c <= L'z' ? c - 32 : c; }

bool EqualNoCase(wstring_view a, wstring_view b) noexcept {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](wchar_t x, wchar_t y) { return ToUpper(x) == ToUpper(y); });
}

wchar_t const* UnreadableText(HRESULT code) noexcept {
  return code == E_OUTOFMEMORY ? OUT_OF_MEMORY : L"stream cannot be read";
}

}  // namespace

Reader::~Reader() {
  if (document) XmlTree::Free(document);
}

XmlNode* Reader::Read(XmlError& error) noexcept {
  document = XmlTree::NewNode(pool, XML_DOCUMENT, {});
  bool const whole = document ? Document() : FailMemory();
  if (input.IsAtEnd() && input.Fault() && (whole || ranOut)) Fail(end, input.Fault());
  if (code == S_OK) return std::exchange(document, nullptr);
  Locate(error);
  return nullptr;
}

bool Reader::Document() noexcept {
  constexpr ptrdiff_t MARGIN = 0x400;  // longer than most tokens, so that few are read twice
  if (!Token(&Reader::Declaration)) return false;
  for (;;) {
    if (end - cursor < MARGIN && !input.IsAtEnd() && !Refill()) return false;
    if (cursor == end) break;
    if (!Token(*cursor == L'<' ? &Reader::Markup : &Reader::Characters)) return false;
  }
  if (IsInElement()) return FailAtEnd(end, L"unclosed element");
  return hasRoot || FailAtEnd(end, L"missing root element");
}

/// Reads a token. What fails may only be truncated by the window's end, and is then read again; until then it
/// has changed nothing but the cursor.
bool Reader::Token(bool (Reader::*read)() noexcept) noexcept {
  for (;;) {
    wchar_t const* const start = cursor;
    if ((this->*read)()) return true;
    if (input.IsAtEnd() || code == E_OUTOFMEMORY) return false;
    code = S_OK;
    ranOut = false;
    cursor = start;
    if (!Refill()) return false;
  }
}

/// Moves the window to the cursor and extends it.
bool Reader::Refill() noexcept {
  if (!onlyRun.empty() && !gatherer.AddRaw(Top().text, std::exchange(onlyRun, {}))) return FailMemory();
  bool const isFilled = input.Refill(cursor);
  cursor = input.begin();
  end = input.end();
  faultAt = nullptr;
  if (isFilled) return true;
  code = input.Code();
  faultText = UnreadableText(code);
  return false;
}

/// The optional declaration: it must agree with what the first bytes have shown already.
bool Reader::Declaration() noexcept {
  if (!At(L"<?xml") || !(IsBlank(cursor[5]) || cursor[5] == L'?')) return true;
  wchar_t const* const start = cursor;
  cursor += 5;
  wstring_view version, encoding, standalone;
  if (!PseudoAttribute(L"version", version) || !PseudoAttribute(L"encoding", encoding) ||
      !PseudoAttribute(L"standalone", standalone)) {
    return false;
  }
  SkipBlanks();
  bool const isVersion = version.size() > 2 && version[0] == L'1' && version[1] == L'.' &&
                         version.find_first_not_of(L"0123456789", 2) == version.npos;
  bool const isStandalone = !standalone.data() || standalone == L"yes" || standalone == L"no";
  if (!At(L"?>") || !isVersion || !isStandalone) return Fail(start, L"invalid XML declaration");
  cursor += 2;
  return !encoding.data() || DeclaredEncoding(encoding);
}

bool Reader::DeclaredEncoding(wstring_view name) noexcept {
  for (Encoding const& encoding : ENCODINGS) {
    if (!EqualNoCase(encoding.name, name)) continue;
    return encoding.utf16 == input.IsUtf16() ||
           Fail(std::to_address(name.begin()), L"declared encoding does not match the document");
  }
  return Fail(std::to_address(name.begin()), L"unsupported encoding");
}

/// One optional "name = value" of a declaration; `value` stays null without it.
bool Reader::PseudoAttribute(wchar_t const* name, wstring_view& value) noexcept {
  wchar_t const* const before = cursor;
  bool const separated = SkipBlanks();
  if (!separated || !At(name)) {
    cursor = before;
    return true;
  }
  cursor += wcslen(name);
  SkipBlanks();
  if (*cursor != L'=') return Fail(cursor, L"'=' expected");
  ++cursor;
  SkipBlanks();
  wchar_t const quote = *cursor;
  wchar_t const* const close = quote == L'"' || quote == L'\'' ? Find(cursor + 1, {&quote, 1}) : nullptr;
  if (!close) return Fail(cursor, L"quoted value expected");
  value = {cursor + 1, static_cast<size_t>(close - cursor - 1)};
  cursor = close + 1;
  return true;
}

// ---- helpers

wchar_t const* Reader::Find(wchar_t const* from, wstring_view sought) const noexcept {
  for (wchar_t const* at = from; at < end; ++at) {
    at = NextOf(at, sought.front());
    if (at != end && Begins(at, sought)) return at;
  }
  return nullptr;
}

bool Reader::Fail(wchar_t const* at, wchar_t const* why) noexcept {
  code = YK_E_BADFILE;
  faultAt = at;
  faultText = why;
  if (at == end) ranOut = true;
  return false;
}

/// A fault at `at` caused by the end of the text.
bool Reader::FailAtEnd(wchar_t const* at, wchar_t const* why) noexcept {
  ranOut = true;
  return Fail(at, why);
}

bool Reader::FailMemory() noexcept {
  code = E_OUTOFMEMORY;
  faultText = OUT_OF_MEMORY;
  return false;
}

void Reader::Locate(XmlError& error) const noexcept {
  error = {code, 0, 0, faultText};
  if (!faultAt) return;
  Place place = input.Start();
  place.Pass(input.begin(), faultAt);
  error.line = place.line;
  error.column = place.column;
}

XmlNode* Read(Stream& stream, XmlError& error) noexcept {
  Input input(stream);
  if (!input.Refill(input.begin())) {
    error = {input.Code(), 0, 0, UnreadableText(input.Code())};
    return nullptr;
  }
  std::unique_ptr<Reader> const reader(Made(new (std::nothrow) Reader(input), "XmlHelper::Load"));
  if (reader) return reader->Read(error);
  error = {E_OUTOFMEMORY, 0, 0, OUT_OF_MEMORY};
  return nullptr;
}

}  // namespace yk::xml
