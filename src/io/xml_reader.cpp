#include <string.h>

#include <algorithm>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

#include "core/error_p.h"
#include "xml_chars_p.h"
#include "xml_input_p.h"
#include "xml_kernels_p.h"
#include "xml_text_p.h"
#include "xml_tree_p.h"

namespace yk::xml {
namespace {

using std::wstring_view;

constexpr wchar_t DUPLICATE[] = L"duplicate attribute";
constexpr wchar_t OUT_OF_MEMORY[] = L"out of memory";
constexpr wchar_t UNEXPECTED_END[] = L"unexpected end of document";

struct Entity {
  wstring_view name;
  wchar_t character;
};

constexpr Entity ENTITIES[] = {
    {L"amp", L'&'}, {L"lt", L'<'}, {L"gt", L'>'}, {L"quot", L'"'}, {L"apos", L'\''},
};

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

/// The terminating zero matches no expected character, so this does not read past the end.
bool Begins(wchar_t const* at, wstring_view expected) noexcept {
  for (size_t i = 0; i < expected.size(); ++i) {
    if (at[i] != expected[i]) return false;
  }
  return true;
}

wchar_t const* WhyUnread(HRESULT code) noexcept {
  return code == E_OUTOFMEMORY ? OUT_OF_MEMORY : L"stream cannot be read";
}

/// Whether two attributes have one name; for few.
bool HasTwins(XmlNode const& node) noexcept {
  for (XmlAttribute const* one = node.FirstAttribute(); one; one = one->Next()) {
    String const& name = one->Name();
    for (XmlAttribute const* other = node.FirstAttribute(); other != one; other = other->Next()) {
      if (other->Name().Length() != name.Length()) continue;
      if (EqualUnits(other->Name().c_str(), name.c_str(), name.Length())) return true;
    }
  }
  return false;
}

uint32_t DigitValue(wchar_t c) noexcept {
  if (c >= L'0' && c <= L'9') return c - L'0';
  if (c >= L'a' && c <= L'f') return c - L'a' + 10;
  if (c >= L'A' && c <= L'F') return c - L'A' + 10;
  return 16;
}

bool IsXmlCharacter(uint32_t c) noexcept {
  if (c < 32) return IsAllowedControl(static_cast<wchar_t>(c));
  return c < 0xD800 || (c >= 0xE000 && c < 0xFFFE) || (c >= 0x10000 && c <= 0x10FFFF);
}

/// An open element.
struct Open {
  XmlNode* node = nullptr;
  ElementText text;
};

/// The bytes of the first chunk: more than a short document needs, and a large one has many anyway.
size_t FirstChunk(size_t units) noexcept {
  constexpr size_t LEAST = 0x200, MOST = 0x10000, FOR_A_UNIT = 6;
  return std::clamp(units * FOR_A_UNIT, LEAST, MOST);
}

class Reader {
 public:
  explicit Reader(Input& source) noexcept
      : input(source),
        cursor(source.begin()),
        end(source.end()),
        pool(FirstChunk(static_cast<size_t>(source.end() - source.begin())), names) {}
  ~Reader();

  XmlNode* Read(XmlError& error) noexcept;

 private:
  bool Document() noexcept;
  bool Token(bool (Reader::*read)() noexcept) noexcept;
  bool Refill() noexcept;
  bool Declaration() noexcept;
  bool DeclaredEncoding(wstring_view name) noexcept;
  bool PseudoAttribute(wchar_t const* name, wstring_view& value) noexcept;
  bool Markup() noexcept;
  bool Comment() noexcept;
  bool Instruction() noexcept;
  bool DocumentType() noexcept;
  bool SkipLiteral() noexcept;
  bool StartTag() noexcept;
  bool Enter(XmlNode& node) noexcept;
  bool Attributes(XmlNode& node, size_t& count) noexcept;
  bool Attribute(XmlNode& node, size_t length) noexcept;
  bool AttributeValue(wstring_view& value) noexcept;
  bool CollectedValue(wchar_t const* start, wchar_t quote, wstring_view& value) noexcept;
  bool CheckDuplicates(XmlNode& node, size_t count, wchar_t const* tag) noexcept;
  bool EndTag() noexcept;

  bool Characters() noexcept;
  bool RawRun() noexcept;
  bool ReferenceInText() noexcept;
  bool CData() noexcept;
  bool Reference(wchar_t* units, wstring_view& out) noexcept;
  bool Number(uint32_t& value) noexcept;

  void AddChild(XmlNode& node) noexcept;
  void ResumeText() noexcept;
  bool AddTextChild(uint32_t kind, wchar_t const* from, wchar_t const* to) noexcept;

  bool At(wstring_view text) const noexcept;
  wchar_t const* Find(wchar_t const* from, wstring_view text) const noexcept;
  bool SkipBlanks() noexcept;
  bool Fail(wchar_t const* at, wchar_t const* why) noexcept;
  bool FailAtEnd(wchar_t const* at, wchar_t const* why) noexcept;
  bool FailMemory() noexcept;
  void Locate(XmlError& error) const noexcept;

  Open& Top() noexcept { return open.end()[-1]; }
  bool IsInElement() const noexcept { return open.Count() > 0; }

  Input& input;
  wchar_t const* cursor;
  wchar_t const* end;
  XmlNode* document = nullptr;
  bool hasRoot = false;
  bool hasDocumentType = false;

  HRESULT code = S_OK;
  wchar_t const* faultAt = nullptr;
  wchar_t const* faultText = nullptr;
  bool ranOut = false;  // the fault is that the text ends too early

  TextGatherer gatherer;
  wstring_view onlyRun;             // the whole text of an element about to end, which is not in the gatherer
  Buffer<wstring_view> attributes;  // the names of one element
  Buffer<Open> open;
  Names names = {};
  Pool pool;
};

// ---- the document

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
  faultText = WhyUnread(code);
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

// ---- markup

bool Reader::Markup() noexcept {
  switch (cursor[1]) {
    case L'/':
      return EndTag();
    case L'?':
      return Instruction();
    case L'!':
      if (At(L"<!--")) return Comment();
      if (At(L"<![CDATA[") && IsInElement()) return CData();
      if (At(L"<!DOCTYPE") && IsBlank(cursor[9])) return DocumentType();
      return Fail(cursor, L"markup is not allowed here");
    default:
      return StartTag();
  }
}

bool Reader::Comment() noexcept {
  wchar_t const* const from = cursor + 4;
  wchar_t const* const to = Find(from, L"--");
  if (!to) return FailAtEnd(cursor, L"unterminated comment");
  if (to[2] != L'>') return Fail(to, L"'--' is not allowed in a comment");
  cursor = to + 3;
  return AddTextChild(XML_COMMENT, from, to);
}

bool Reader::Instruction() noexcept {
  wchar_t const* const from = cursor + 2;
  size_t const target = NameLength(from);
  wchar_t const* const to = Find(from, L"?>");
  if (!to) return FailAtEnd(cursor, L"unterminated processing instruction");
  if (target == 0) return Fail(from, L"name expected after '<?'");
  if (IsReservedTarget(from, target)) return Fail(cursor, L"XML declaration must start the document");
  if (from + target != to && !IsBlank(from[target])) return Fail(from + target, L"whitespace expected");
  cursor = to + 2;
  return AddTextChild(XML_INSTRUCTION, from, to);
}

/// Skips a document type with all its declarations.
bool Reader::DocumentType() noexcept {
  if (hasRoot) return Fail(cursor, L"DOCTYPE must precede the root element");
  if (hasDocumentType) return Fail(cursor, L"duplicate DOCTYPE");
  wchar_t const* const start = cursor;
  cursor += 9;
  SkipBlanks();
  size_t const name = NameLength(cursor);
  if (name == 0) return Fail(cursor, L"name expected after '<!DOCTYPE'");
  size_t brackets = 0;
  for (cursor += name; cursor != end; ++cursor) {
    if (*cursor == L'>' && brackets == 0) {
      ++cursor;
      return hasDocumentType = true;
    }
    if (*cursor == L'[') ++brackets;
    if (*cursor == L']' && brackets-- == 0) return Fail(cursor, L"']' without matching '['");
    if (!SkipLiteral()) break;
  }
  return FailAtEnd(start, L"unterminated DOCTYPE");
}

/// Moves from the start of a comment, a processing instruction or a quoted literal to its last character;
/// otherwise a no-op. False when it is unterminated.
bool Reader::SkipLiteral() noexcept {
  wstring_view closing;
  if (At(L"<!--")) closing = L"-->";
  if (At(L"<?")) closing = L"?>";
  if (*cursor == L'"' || *cursor == L'\'') closing = {cursor, 1};
  if (closing.empty()) return true;
  wchar_t const* const found = Find(cursor + 1, closing);
  if (found) cursor = found + closing.size() - 1;
  return found != nullptr;
}

bool Reader::StartTag() noexcept {
  wchar_t const* const tag = cursor;
  size_t const length = NameLength(tag + 1);
  if (length == 0) return Fail(tag, L"name expected after '<'");
  if (!IsInElement() && hasRoot) return Fail(tag, L"more than one root element");
  if (open.Count() == XML_DEPTH_LIMIT) return Fail(tag, L"elements are nested too deeply");
  XmlNode* const node = XmlTree::NewNode(pool, XML_ELEMENT, {tag + 1, length});
  if (!node) return FailMemory();
  cursor += 1 + length;
  size_t const texts = gatherer.buffer.Count();
  size_t count = 0;
  if (!Attributes(*node, count) || !CheckDuplicates(*node, count, tag)) {
    gatherer.buffer.Shrink(texts);
    XmlTree::Free(node);
    return false;
  }
  return Enter(*node);
}

/// Adds an element at the end of its start tag.
bool Reader::Enter(XmlNode& node) noexcept {
  AddChild(node);
  hasRoot = true;
  if (At(L"/>")) {
    cursor += 2;
    ResumeText();
    return true;
  }
  ++cursor;  // Attributes has checked that this is '>'
  if (!open.Append({&node, {}})) return FailMemory();
  gatherer.Open(Top().text);
  return true;
}

bool Reader::Attributes(XmlNode& node, size_t& count) noexcept {
  for (;; ++count) {
    bool const separated = SkipBlanks();
    if (*cursor == L'>' || At(L"/>")) return true;
    if (cursor == end) return FailAtEnd(end, UNEXPECTED_END);
    size_t const length = NameLength(cursor);
    if (length == 0) return Fail(cursor, L"invalid character in tag");
    if (!separated) return Fail(cursor, L"whitespace expected");
    if (!Attribute(node, length)) return false;
  }
}

bool Reader::Attribute(XmlNode& node, size_t length) noexcept {
  wstring_view const name(cursor, length);
  cursor += length;
  SkipBlanks();
  if (*cursor != L'=') return Fail(cursor, L"'=' expected");
  ++cursor;
  SkipBlanks();
  size_t const before = gatherer.buffer.Count();
  wstring_view value;
  if (!AttributeValue(value)) return false;
  XmlAttribute* const attribute = XmlTree::NewAttribute(pool, name, value);
  if (!attribute) return FailMemory();
  XmlTree::Append(node, *attribute);
  gatherer.buffer.Shrink(before);
  return true;
}

/// The value lies in the document, or at the end of the gatherer's buffer.
bool Reader::AttributeValue(wstring_view& value) noexcept {
  wchar_t const quote = *cursor;
  if (quote != L'"' && quote != L'\'') return Fail(cursor, L"quoted value expected");
  wchar_t const* const start = cursor++;
  cursor = ValueEnd(cursor, quote);
  if (*cursor != quote) return CollectedValue(start, quote, value);
  value = {start + 1, static_cast<size_t>(cursor++ - start - 1)};
  return true;
}

/// A value that differs from its text in the document.
bool Reader::CollectedValue(wchar_t const* start, wchar_t quote, wstring_view& value) noexcept {
  Buffer<wchar_t>& buffer = gatherer.buffer;
  size_t const before = buffer.Count();
  for (wchar_t const* from = start + 1;; from = cursor) {
    cursor = ValueEnd(from, quote);
    if (!buffer.Append(from, static_cast<size_t>(cursor - from))) return FailMemory();
    if (*cursor == quote) break;
    if (cursor == end) return FailAtEnd(start, L"unterminated attribute value");
    if (*cursor == L'<') return Fail(cursor, L"'<' is not allowed in an attribute value");
    wchar_t units[2] = {L' '};
    wstring_view piece(units, 1);
    if (*cursor != L'&') {
      ++cursor;  // a blank
    } else if (!Reference(units, piece)) {
      return false;
    }
    if (!buffer.Append(piece.data(), piece.size())) return FailMemory();
  }
  ++cursor;
  value = {buffer.begin() + before, buffer.Count() - before};
  return true;
}

/// Attribute names must be unique.
bool Reader::CheckDuplicates(XmlNode& node, size_t count, wchar_t const* tag) noexcept {
  constexpr size_t FEW = 8;
  if (count <= FEW) return !HasTwins(node) || Fail(tag, DUPLICATE);
  if (count > XmlTree::MANY && XmlTree::IndexAll(node, count)) return true;
  attributes.Shrink(0);
  for (XmlAttribute const* one = node.FirstAttribute(); one; one = one->Next()) {
    if (!attributes.Append({one->Name().c_str(), one->Name().Length()})) return FailMemory();
  }
  std::sort(attributes.begin(), attributes.end());  // twins are then adjacent
  auto const twin = std::adjacent_find(attributes.begin(), attributes.end());
  return twin == attributes.end() || Fail(tag, DUPLICATE);
}

bool Reader::EndTag() noexcept {
  wchar_t const* const name = cursor + 2;
  if (!IsInElement()) return Fail(cursor, L"end tag without start tag");
  String const& expected = Top().node->Name();
  size_t const length = expected.Length();
  if (!EqualUnits(name, expected.c_str(), length) || ContinuesName(name[length])) {
    return Fail(cursor, L"end tag does not match start tag");
  }
  wchar_t const* const tag = cursor;
  cursor = name + length;
  SkipBlanks();
  if (cursor == end) return FailAtEnd(end, UNEXPECTED_END);
  if (*cursor != L'>') return Fail(tag, L"'>' expected");
  ++cursor;
  XmlNode& node = *Top().node;
  wstring_view const whole = onlyRun.empty() ? gatherer.Close(Top().text, node.FirstChild()) : onlyRun;
  onlyRun = {};
  if (!XmlTree::StoreText(node, pool, whole)) return FailMemory();
  open.Shrink(open.Count() - 1);
  ResumeText();
  return true;
}

// ---- text

bool Reader::Characters() noexcept {
  if (IsInElement()) return *cursor == L'&' ? ReferenceInText() : RawRun();
  return SkipBlanks() || Fail(cursor, L"text outside the root element");
}

/// Literal text, up to the next markup or reference.
bool Reader::RawRun() noexcept {
  wchar_t const* const from = cursor;
  for (cursor = TextEnd(from); *cursor == L']'; cursor = TextEnd(cursor + 1)) {
    if (At(L"]]>")) return Fail(cursor, L"']]>' is not allowed in text");
  }
  if (cursor == end && !input.IsAtEnd()) return Fail(end, UNEXPECTED_END);
  wstring_view const run(from, static_cast<size_t>(cursor - from));
  Open const& top = Top();
  if (Begins(cursor, L"</") && !top.node->FirstChild() && gatherer.buffer.Count() == top.text.start)
    return onlyRun = run, true;
  return gatherer.AddRaw(Top().text, run) || FailMemory();
}

bool Reader::ReferenceInText() noexcept {
  wchar_t units[2];
  wstring_view character;
  if (!Reference(units, character)) return false;
  return gatherer.AddSolid(Top().text, character) || FailMemory();
}

/// A CDATA section.
bool Reader::CData() noexcept {
  wchar_t const* const from = cursor + 9;
  wchar_t const* const to = Find(from, L"]]>");
  if (!to) return FailAtEnd(cursor, L"unterminated CDATA section");
  cursor = to + 3;
  return gatherer.AddSolid(Top().text, {from, static_cast<size_t>(to - from)}) || FailMemory();
}

/// Reads a reference; `units` is room for the one or two units of its character.
bool Reader::Reference(wchar_t* units, wstring_view& out) noexcept {
  wchar_t const* const start = cursor++;
  uint32_t value = 0;
  if (*cursor == L'#') {
    if (!Number(value)) return Fail(start, L"invalid character reference");
  } else {
    wstring_view const name(cursor, NameLength(cursor));
    auto const row = std::find_if(std::begin(ENTITIES), std::end(ENTITIES),
                                  [name](Entity const& known) { return known.name == name; });
    if (row == std::end(ENTITIES)) return Fail(start, L"unknown entity");
    value = row->character;
    cursor += name.size();
  }
  if (*cursor != L';') return Fail(start, L"';' expected");
  ++cursor;
  bool const isPair = value >= 0x10000;
  units[0] = static_cast<wchar_t>(isPair ? 0xD7C0 + (value >> 10) : value);
  units[1] = static_cast<wchar_t>(0xDC00 + (value & 0x3FF));
  out = {units, isPair ? 2u : 1u};
  return true;
}

/// "#" and decimal digits, or "#x" and hexadecimal ones.
bool Reader::Number(uint32_t& value) noexcept {
  uint32_t const base = cursor[1] == L'x' ? 16 : 10;
  cursor += base == 16 ? 2 : 1;
  wchar_t const* const digits = cursor;
  for (uint32_t digit; (digit = DigitValue(*cursor)) < base; ++cursor) {
    value = std::min<uint32_t>(value * base + digit, 0x110000);
  }
  return cursor != digits && IsXmlCharacter(value);
}

// ---- helpers

/// Appends a node to the innermost element, or to the document.
void Reader::AddChild(XmlNode& node) noexcept {
  if (IsInElement()) {
    Top().node->FirstChild() ? gatherer.EndLaterPiece(Top().text) : gatherer.EndFirstPiece(Top().text);
  }
  XmlTree::Link(IsInElement() ? *Top().node : *document, node, nullptr);
}

/// Continues the parent's text after a child.
void Reader::ResumeText() noexcept {
  if (IsInElement()) gatherer.BeginPiece(Top().text);
}

bool Reader::AddTextChild(uint32_t kind, wchar_t const* from, wchar_t const* to) noexcept {
  XmlNode* const node = XmlTree::NewNode(pool, kind, {});
  if (!node) return FailMemory();
  AddChild(*node);
  if (!XmlTree::StoreText(*node, pool, {from, static_cast<size_t>(to - from)})) return FailMemory();
  ResumeText();
  return true;
}

bool Reader::At(wstring_view expected) const noexcept { return Begins(cursor, expected); }

wchar_t const* Reader::Find(wchar_t const* from, wstring_view sought) const noexcept {
  for (wchar_t const* at = from; at < end; ++at) {
    at = NextOf(at, sought.front());
    if (at != end && Begins(at, sought)) return at;
  }
  return nullptr;
}

/// \return whether there was any
bool Reader::SkipBlanks() noexcept {
  wchar_t const* const start = cursor;
  while (IsBlank(*cursor)) ++cursor;
  return cursor != start;
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

}  // namespace

XmlNode* Read(Stream& stream, XmlError& error) noexcept {
  Input input(stream);
  if (!input.Refill(input.begin())) {
    error = {input.Code(), 0, 0, WhyUnread(input.Code())};
    return nullptr;
  }
  std::unique_ptr<Reader> const reader(Made(new (std::nothrow) Reader(input), "XmlHelper::Load"));
  if (reader) return reader->Read(error);
  error = {E_OUTOFMEMORY, 0, 0, OUT_OF_MEMORY};
  return nullptr;
}

}  // namespace yk::xml
