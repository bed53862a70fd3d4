// Reads a document token by token. Its sources: the document as a whole, markup, and text.
#pragma once

#include <algorithm>
#include <string_view>

#include "xml_chars_p.h"
#include "xml_input_p.h"
#include "xml_kernels_p.h"
#include "xml_text_p.h"
#include "xml_tree_p.h"

namespace yk::xml {

using std::wstring_view;

inline constexpr wchar_t OUT_OF_MEMORY[] = L"out of memory";
inline constexpr wchar_t UNEXPECTED_END[] = L"unexpected end of document";

/// The terminating zero matches no expected character, so this does not read past the end.
inline bool Begins(wchar_t const* at, wstring_view expected) noexcept {
  for (size_t i = 0; i < expected.size(); ++i) {
    if (at[i] != expected[i]) return false;
  }
  return true;
}

/// An open element.
struct Open {
  XmlNode* node = nullptr;
  ElementText text;
};

/// The bytes of the first chunk: more than a short document needs, and a large one has many anyway.
inline size_t FirstChunk(size_t units) noexcept {
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
  // the document (xml_reader.cpp)
  bool Document() noexcept;
  bool Token(bool (Reader::*read)() noexcept) noexcept;
  bool Refill() noexcept;
  bool Declaration() noexcept;
  bool DeclaredEncoding(wstring_view name) noexcept;
  bool PseudoAttribute(wchar_t const* name, wstring_view& value) noexcept;

  // markup (xml_reader_markup.cpp)
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

  // text (xml_reader_text.cpp)
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

/// Appends a node to the innermost element, or to the document.
inline void Reader::AddChild(XmlNode& node) noexcept {
  if (IsInElement()) {
    Top().node->FirstChild() ? gatherer.EndLaterPiece(Top().text) : gatherer.EndFirstPiece(Top().text);
  }
  XmlTree::Link(IsInElement() ? *Top().node : *document, node, nullptr);
}

/// Continues the parent's text after a child.
inline void Reader::ResumeText() noexcept {
  if (IsInElement()) gatherer.BeginPiece(Top().text);
}

inline bool Reader::At(wstring_view expected) const noexcept { return Begins(cursor, expected); }

/// \return whether there was any
inline bool Reader::SkipBlanks() noexcept {
  wchar_t const* const start = cursor;
  while (IsBlank(*cursor)) ++cursor;
  return cursor != start;
}

}  // namespace yk::xml
