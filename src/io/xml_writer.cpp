#include <qecore/io/stream.h>
#include <qecore/values/str.h>
#include <string.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <new>
#include <string_view>

#include "core/error_p.h"
#include "xml_tree_p.h"

namespace yk::xml {
namespace {

using std::wstring_view;

// ---- escaping

struct EscapeRow {
  wchar_t character;
  wstring_view text;
};

constexpr EscapeRow ESCAPE_ROWS[] = {
    {L'\t', L"&#x9;"}, {L'\n', L"&#xA;"},  {L'\r', L"&#xD;"}, {L'"', L"&quot;"},
    {L'&', L"&amp;"},  {L'\'', L"&apos;"}, {L'<', L"&lt;"},   {L'>', L"&gt;"},
};

constexpr unsigned ESCAPE_LIMIT = 64;  // characters from here on are never escaped

struct EscapeTable {
  bool special[ESCAPE_LIMIT] = {};
  wstring_view text[ESCAPE_LIMIT];  // of a special character; an empty one drops it
};

constexpr EscapeTable ESCAPES = [] {
  EscapeTable table;
  for (unsigned c = 0; c < 32; ++c) table.special[c] = true;
  for (EscapeRow const& row : ESCAPE_ROWS) {
    table.special[row.character] = true;
    table.text[row.character] = row.text;
  }
  return table;
}();

/// Calls `piece` for each run of unescaped characters and for each escape. (`substr` would link the
/// run-time's exceptions into the library.)
template <class Piece>
void ForEachPiece(wstring_view text, Piece piece) noexcept {
  size_t begin = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    unsigned const c = text[i];
    if (c >= ESCAPE_LIMIT || !ESCAPES.special[c]) continue;
    piece(wstring_view(text.data() + begin, i - begin));
    piece(ESCAPES.text[c]);
    begin = i + 1;
  }
  piece(wstring_view(text.data() + begin, text.size() - begin));
}

wstring_view View(String const& text) noexcept { return {text.c_str(), text.Length()}; }

// ---- output

constexpr unsigned TAB_ROW = 128;

/// Tabs for indentation, in one encoding. Deeper levels write the row several times.
template <class Unit>
struct TabRow {
  Unit units[TAB_ROW];
  constexpr TabRow() noexcept { std::fill(std::begin(units), std::end(units), Unit{'\t'}); }
};

constexpr TabRow<char> TABS_8;
constexpr TabRow<wchar_t> TABS_16;

/// The writer's state: the stream, the level, the flags, and buffered bytes. Nothing is allocated for a long
/// name, text or value, so no element is ever incomplete for lack of memory.
class Writer {
 public:
  Writer(Stream& target, unsigned writeFlags) noexcept : stream(target), flags(writeFlags) {}

  /// \return S_OK or the stream's first failure, after which nothing is written
  HRESULT Document(XmlNode const& document) noexcept;

 private:
  void Tree(XmlNode const& top) noexcept;
  bool Begin(XmlNode const& node) noexcept;
  bool BeginElement(XmlNode const& node) noexcept;
  void EndElement(XmlNode const& node) noexcept;
  void Attribute(XmlAttribute const& attribute) noexcept;
  void Enclosed(wstring_view left, wstring_view text, wstring_view right) noexcept;

  void Text(wstring_view text) noexcept;
  void Escaped(wstring_view text) noexcept;
  void Indent() noexcept;
  void LineEnd() noexcept;

  void Bytes(void const* bytes, size_t size) noexcept;
  void Utf8(wstring_view text) noexcept;
  void Flush() noexcept;

  bool IsUtf16() const noexcept { return (flags & XML_UTF16) != 0; }
  bool HasLayout() const noexcept { return (flags & XML_LAYOUT) != 0; }

  Stream& stream;
  unsigned flags;
  unsigned level = 0;
  unsigned used = 0;
  HRESULT failure = S_OK;
  char buffer[0x4000] = {};
};

HRESULT Writer::Document(XmlNode const& document) noexcept {
  if (IsUtf16()) Bytes("\xFF\xFE", 2);
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
void Writer::Tree(XmlNode const& top) noexcept {
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
bool Writer::Begin(XmlNode const& node) noexcept {
  if (node.Kind() == XML_ELEMENT) return BeginElement(node);
  bool const isComment = node.Kind() == XML_COMMENT;
  Enclosed(isComment ? L"<!--" : L"<?", View(node.Text()), isComment ? L"-->" : L"?>");
  return false;
}

void Writer::Enclosed(wstring_view left, wstring_view text, wstring_view right) noexcept {
  Indent();
  Text(left);
  Text(text.empty() ? L"empty" : text);
  Text(right);
  LineEnd();
}

bool Writer::BeginElement(XmlNode const& node) noexcept {
  bool const hasContent = node.FirstChild() || !node.Text().IsEmpty();
  // Contract: an element without attributes and content is not indented.
  if (hasContent || node.FirstAttribute()) Indent();
  Text(L"<");
  Text(View(node.Name()));
  for (XmlAttribute const* one = node.FirstAttribute(); one; one = one->Next()) Attribute(*one);
  Text(hasContent ? L">" : L"/>");
  if (!hasContent || node.FirstChild()) LineEnd();
  if (!hasContent) return false;
  Escaped(View(node.Text()));
  if (node.FirstChild()) return true;
  EndElement(node);
  return false;
}

void Writer::EndElement(XmlNode const& node) noexcept {
  if (node.FirstChild()) Indent();
  Text(L"</");
  Text(View(node.Name()));
  Text(L">");
  LineEnd();
}

void Writer::Attribute(XmlAttribute const& attribute) noexcept {
  Text(L" ");
  Text(View(attribute.Name()));
  Text(L"=\"");
  Escaped(View(attribute.Value()));
  Text(L"\"");
}

void Writer::Escaped(wstring_view text) noexcept {
  ForEachPiece(text, [this](wstring_view piece) { Text(piece); });
}

void Writer::Indent() noexcept {
  if (!HasLayout()) return;
  for (unsigned left = level; left > 0;) {
    unsigned const count = std::min(left, TAB_ROW);
    Bytes(IsUtf16() ? static_cast<void const*>(TABS_16.units) : TABS_8.units, count * (IsUtf16() ? 2u : 1u));
    left -= count;
  }
}

/// Contract: CR LF, but only CR in UTF-16.
void Writer::LineEnd() noexcept {
  if (HasLayout()) Bytes(IsUtf16() ? "\r\0" : "\r\n", 2);
}

void Writer::Text(wstring_view text) noexcept {
  if (IsUtf16()) {
    Bytes(text.data(), text.size() * sizeof(wchar_t));
  } else {
    Utf8(text);
  }
}

void Writer::Utf8(wstring_view text) noexcept {
  constexpr size_t LONGEST = 3;  // bytes of a unit
  wchar_t const* from = text.data();
  for (size_t left = text.size(); left > 0;) {
    size_t const free = sizeof buffer - used;                 // Bytes may have filled it completely
    size_t const room = free > 0 ? (free - 1) / LONGEST : 0;  // minus one byte for a terminator
    size_t const count = std::min(left, room);
    if (count == 0) {
      Flush();
      continue;
    }
    used += WideToUTF8StringEx(from, buffer + used, static_cast<int>(count), -1) - 1;
    from += count;
    left -= count;
  }
}

void Writer::Bytes(void const* bytes, size_t size) noexcept {
  char const* from = static_cast<char const*>(bytes);
  while (size > 0) {
    if (used == sizeof buffer) Flush();
    size_t const count = std::min(size, sizeof buffer - used);
    memcpy(buffer + used, from, count);
    used += static_cast<unsigned>(count);
    from += count;
    size -= count;
  }
}

void Writer::Flush() noexcept {
  unsigned done = used;  // a stream that does not set it has written everything
  if (used > 0 && failure == S_OK) {
    unsigned const before = ErrorCount();
    HRESULT const result = stream.Write(buffer, used, &done);
    if (Failed(result) || done < used) failure = Failed(result) ? result : E_FAIL;
    if (Failed(failure)) FailSince(before, failure, "XmlHelper::Save", L"the document could not be written");
  }
  used = 0;
}

}  // namespace

size_t Escape(wchar_t const* text, size_t length, wchar_t* buffer) noexcept {
  size_t total = 0;
  ForEachPiece({text, length}, [&](wstring_view piece) {
    if (buffer) std::copy(piece.begin(), piece.end(), buffer + total);
    total += piece.size();
  });
  if (buffer) buffer[total] = 0;
  return total;
}

bool Write(XmlNode const& document, Stream& stream, unsigned flags, HRESULT& failure) noexcept {
  failure = S_OK;
  std::unique_ptr<Writer> const writer(Made(new (std::nothrow) Writer(stream, flags), "XmlHelper::Save"));
  if (!writer) return false;
  failure = writer->Document(document);
  return true;
}

}  // namespace yk::xml
