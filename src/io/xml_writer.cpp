#include <qecore/io/xml.h>

#include <qecore/io/stream.h>
#include <qecore/values/str.h>

#include <algorithm>
#include <memory>
#include <new>
#include <string_view>

#include "core/error_p.h"
#include "xml_kernels_p.h"
#include "xml_tree_p.h"

namespace yk::xml {
namespace {

using std::string_view;

// ---- escaping

struct EscapeRow {
  wchar_t character;
  string_view text;
};

constexpr EscapeRow ESCAPE_ROWS[] = {
    {L'\t', "&#x9;"}, {L'\n', "&#xA;"},  {L'\r', "&#xD;"}, {L'"', "&quot;"},
    {L'&', "&amp;"},  {L'\'', "&apos;"}, {L'<', "&lt;"},   {L'>', "&gt;"},
};

constexpr unsigned ESCAPE_LIMIT = 64;  // characters from here on are never escaped

struct EscapeTable {
  string_view text[ESCAPE_LIMIT];  // of a special character; an empty one drops it
};

constexpr EscapeTable ESCAPES = [] {
  EscapeTable table;
  for (EscapeRow const& row : ESCAPE_ROWS) table.text[row.character] = row.text;
  return table;
}();

constexpr bool EverySpecialHasARow() noexcept {
  for (unsigned c = 0; c < 0x10000; ++c) {
    bool const hasRow = c < ESCAPE_LIMIT && (c < 32 || !ESCAPES.text[c].empty());
    if (IsSpecial(static_cast<wchar_t>(c)) != hasRow) return false;
  }
  return true;
}
static_assert(EverySpecialHasARow());

// ---- output

/// The writer's state: the stream, the level, the flags, and buffered units, bytes in UTF-8. Nothing is
/// allocated for a long name, text or value, so no element is ever incomplete for lack of memory.
template <class Unit>
class Writer {
 public:
  Writer(Stream& target, unsigned writeFlags) noexcept : stream(target), flags(writeFlags) {}

  /// \return S_OK or the stream's first failure, after which nothing is written
  HRESULT Document(XmlNode const& document) noexcept;

 private:
  static constexpr bool IS_UTF8 = sizeof(Unit) == 1;

  void Tree(XmlNode const& top) noexcept;
  bool Begin(XmlNode const& node) noexcept;
  bool BeginElement(XmlNode const& node) noexcept;
  void EndElement(XmlNode const& node) noexcept;
  void Attribute(XmlAttribute const& attribute) noexcept;
  void Enclosed(string_view left, String const& text, string_view right) noexcept;

  template <bool ESCAPED>
  void Text(String const& text) noexcept;
  size_t Odd(wchar_t const* text, size_t length) noexcept;
  void Ascii(string_view text) noexcept;
  void Indent() noexcept;
  void LineEnd() noexcept;
  void NeedRoom(size_t units) noexcept;
  void Flush() noexcept;

  bool HasLayout() const noexcept { return (flags & XML_LAYOUT) != 0; }

  Stream& stream;
  unsigned flags;
  unsigned level = 0;
  unsigned used = 0;
  HRESULT failure = S_OK;
  static constexpr size_t SIZE = 0x4000 / sizeof(Unit);
  Unit buffer[SIZE + LANES];
};

template <class Unit>
HRESULT Writer<Unit>::Document(XmlNode const& document) noexcept {
  if (!IS_UTF8) buffer[used++] = static_cast<Unit>(0xFEFF);
  if (document.Kind() != XML_DOCUMENT) {
    Tree(document);
  } else {
    for (XmlNode const* node = document.FirstChild(); node && failure == S_OK; node = node->Next())
      Tree(*node);
  }
  Flush();
  return failure;
}

/// A node and its descendants, without recursion: trees may have any depth.
template <class Unit>
void Writer<Unit>::Tree(XmlNode const& top) noexcept {
  XmlNode const* node = &top;
  while (failure == S_OK) {
    if (Begin(*node)) {
      ++level;
      node = node->FirstChild();
      continue;
    }
    while (node != &top && !node->Next()) {
      node = node->Parent();
      --level;
      EndElement(*node);
    }
    if (node == &top) return;
    node = node->Next();
  }
}

/// \return whether children follow, and then EndElement
template <class Unit>
bool Writer<Unit>::Begin(XmlNode const& node) noexcept {
  if (node.Kind() == XML_ELEMENT) return BeginElement(node);
  if (node.Kind() == XML_COMMENT) Enclosed("<!--", node.Text(), "-->");
  if (node.Kind() == XML_INSTRUCTION) Enclosed("<?", node.Text(), "?>");
  return false;  // nodes of any other kind are not written
}

template <class Unit>
void Writer<Unit>::Enclosed(string_view left, String const& text, string_view right) noexcept {
  Indent();
  Ascii(left);
  if (text.IsEmpty()) Ascii("empty");
  Text<false>(text);
  Ascii(right);
  LineEnd();
}

template <class Unit>
bool Writer<Unit>::BeginElement(XmlNode const& node) noexcept {
  bool const hasContent = node.FirstChild() || !node.Text().IsEmpty();
  // Contract: an element without attributes and content is not indented.
  if (hasContent || node.FirstAttribute()) Indent();
  Ascii("<");
  Text<false>(node.Name());
  for (XmlAttribute const* one = node.FirstAttribute(); one; one = one->Next()) Attribute(*one);
  Ascii(hasContent ? ">" : "/>");
  if (!hasContent || node.FirstChild()) LineEnd();
  if (!hasContent) return false;
  Text<true>(node.Text());
  if (node.FirstChild()) return true;
  EndElement(node);
  return false;
}

template <class Unit>
void Writer<Unit>::EndElement(XmlNode const& node) noexcept {
  if (node.FirstChild()) Indent();
  Ascii("</");
  Text<false>(node.Name());
  Ascii(">");
  LineEnd();
}

template <class Unit>
void Writer<Unit>::Attribute(XmlAttribute const& attribute) noexcept {
  Ascii(" ");
  Text<false>(attribute.Name());
  Ascii("=\"");
  Text<true>(attribute.Value());
  Ascii("\"");
}

/// Copies what is plain; Odd writes the rest.
template <class Unit>
template <bool ESCAPED>
void Writer<Unit>::Text(String const& text) noexcept {
  wchar_t const* from = text.c_str();
  size_t left = text.Length();
  // A block has room for a multiple of LANES characters, terminator included.
  size_t readable = left / LANES * LANES + LANES;
  while (left > 0) {
    NeedRoom(1);
    size_t const count = std::min(left, SIZE - used);
    size_t done = CopyPlain<ESCAPED>(from, count, readable, buffer + used);
    used += static_cast<unsigned>(done);
    if (done < count) done += Odd(from + done, left - done);
    from += done;
    left -= done;
    readable -= done;
  }
}

/// Writes what a text begins with: a character to escape, or some that UTF-8 encodes in several bytes.
/// \return its length
template <class Unit>
size_t Writer<Unit>::Odd(wchar_t const* text, size_t length) noexcept {
  if (IsSpecial(*text)) return Ascii(ESCAPES.text[*text]), 1;
  if constexpr (!IS_UTF8) return 0;
  constexpr size_t MOST = 64, LONGEST = 3;  // units at a time; bytes of a unit
  size_t count = 1;
  while (count < std::min(length, MOST) && text[count] >= 0x80) ++count;
  NeedRoom(count * LONGEST + 1);  // with a terminator
  char* const to = reinterpret_cast<char*>(buffer + used);
  used += static_cast<unsigned>(WideToUTF8StringEx(text, to, static_cast<int>(count), -1) - 1);
  return count;
}

/// At most LANES characters.
template <class Unit>
void Writer<Unit>::Ascii(string_view text) noexcept {
  NeedRoom(text.size());
  for (char const c : text) buffer[used++] = static_cast<Unit>(c);
}

template <class Unit>
void Writer<Unit>::Indent() noexcept {
  for (unsigned i = 0; HasLayout() && i < level; ++i) Ascii("\t");
}

/// Contract: CR LF, but only CR in UTF-16.
template <class Unit>
void Writer<Unit>::LineEnd() noexcept {
  if (HasLayout()) Ascii(IS_UTF8 ? "\r\n" : "\r");
}

template <class Unit>
void Writer<Unit>::NeedRoom(size_t units) noexcept {
  if (SIZE - used < units) Flush();
}

template <class Unit>
void Writer<Unit>::Flush() noexcept {
  unsigned const size = used * sizeof(Unit);
  unsigned done = size;  // a stream that does not set it has written everything
  if (size > 0 && failure == S_OK) {
    unsigned const before = ErrorCount();
    HRESULT const result = stream.Write(buffer, size, &done);
    if (Failed(result) || done < size) failure = Failed(result) ? result : E_FAIL;
    if (Failed(failure)) FailSince(before, failure, "XmlHelper::Save", L"the document could not be written");
  }
  used = 0;
}

/// False when there was no memory.
template <class Unit>
bool WriteAs(XmlNode const& document, Stream& stream, unsigned flags, HRESULT& failure) noexcept {
  using Writer = Writer<Unit>;
  std::unique_ptr<Writer> const writer(Made(new (std::nothrow) Writer(stream, flags), "XmlHelper::Save"));
  if (writer) failure = writer->Document(document);
  return writer != nullptr;
}

}  // namespace

size_t Escape(wchar_t const* text, size_t length, wchar_t* buffer) noexcept {
  size_t total = 0;
  for (size_t i = 0; i < length; ++i) {
    bool const isPlain = !IsSpecial(text[i]);
    string_view const escape = isPlain ? string_view() : ESCAPES.text[text[i]];
    if (buffer && isPlain) buffer[total] = text[i];
    if (buffer) std::copy(escape.begin(), escape.end(), buffer + total);
    total += isPlain ? 1 : escape.size();
  }
  if (buffer) buffer[total] = 0;
  return total;
}

bool Write(XmlNode const& document, Stream& stream, unsigned flags, HRESULT& failure) noexcept {
  failure = S_OK;
  return flags & XML_UTF16 ? WriteAs<wchar_t>(document, stream, flags, failure)
                           : WriteAs<char>(document, stream, flags, failure);
}

}  // namespace yk::xml
