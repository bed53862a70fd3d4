// Tags, comments, instructions and document types.
#include "xml_reader_p.h"

namespace yk::xml {
namespace {

constexpr wchar_t DUPLICATE[] = L"duplicate attribute";

/// Whether two attributes have one name; for few.
bool HasDuplicates(XmlNode const& node) noexcept {
  for (XmlAttribute const* one = node.FirstAttribute(); one; one = one->Next()) {
    String const& name = one->Name();
    for (XmlAttribute const* other = node.FirstAttribute(); other != one; other = other->Next()) {
      if (other->Name().Length() != name.Length()) continue;
      if (EqualUnits(other->Name().c_str(), name.c_str(), name.Length())) return true;
    }
  }
  return false;
}

}  // namespace

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
  if (count <= FEW) return !HasDuplicates(node) || Fail(tag, DUPLICATE);
  if (count > XmlTree::MANY && XmlTree::IndexAll(node, count)) return true;
  attributes.Shrink(0);
  for (XmlAttribute const* one = node.FirstAttribute(); one; one = one->Next()) {
    if (!attributes.Append({one->Name().c_str(), one->Name().Length()})) return FailMemory();
  }
  std::sort(attributes.begin(), attributes.end());  // duplicates are then adjacent
  auto const duplicate = std::adjacent_find(attributes.begin(), attributes.end());
  return duplicate == attributes.end() || Fail(tag, DUPLICATE);
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

bool Reader::AddTextChild(uint32_t kind, wchar_t const* from, wchar_t const* to) noexcept {
  XmlNode* const node = XmlTree::NewNode(pool, kind, {});
  if (!node) return FailMemory();
  AddChild(*node);
  if (!XmlTree::StoreText(*node, pool, {from, static_cast<size_t>(to - from)})) return FailMemory();
  ResumeText();
  return true;
}

}  // namespace yk::xml
