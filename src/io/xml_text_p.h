// The texts of a reader's open elements: collected piece by piece, without layout.
//
//   <a>PIECE<b>..</b>PIECE<c/>PIECE</a>        one piece before each child, one after the last
//
// The writer puts all text into the first piece, surrounded by its own line ends and tabs, with nothing else
// between the children, and it escapes the line ends and tabs of the text. Other programs indent with spaces,
// too. So blank pieces are layout and dropped; a line end at the start of the first piece, and then also the
// tabs at its end, are removed; and a first piece of only spaces, which can be either, counts as text if
// everything else is laid out as by the writer.
#pragma once

#include <qecore/io/xml.h>

#include <string_view>

#include "core/buffer_p.h"

namespace yk::xml {

/// The state of an open element's text.
struct ElementText {
  size_t start = 0;       // where it begins in the buffer, after the texts of the enclosing elements
  size_t piece = 0;       // where its current piece begins
  size_t rawTabs = 0;     // literal tabs, not references, at the end of the piece
  bool rawBreak = false;  // the piece begins with a literal line end
  bool solid = false;     // the piece has a non-blank character, or one from a reference or CDATA section

  size_t doubtful = 0;         // length of a first piece of only spaces
  bool doubtfulBreak = false;  // a line end preceded it
  bool doubtfulTabs = false;   // tabs followed it
  bool foreign = false;        // a later piece is not as the writer writes it
};

class TextGatherer {
 public:
  void Open(ElementText& element) noexcept;
  void BeginPiece(ElementText& element) noexcept;
  /// Literal text; not empty. The Add functions return false when there is no memory.
  bool AddRaw(ElementText& element, std::wstring_view raw) noexcept;
  /// Text from a CDATA section or a reference.
  bool AddSolid(ElementText& element, std::wstring_view solid) noexcept;
  /// Ends the piece before the element's first child, or before a later one.
  void EndFirstPiece(ElementText& element) noexcept;
  void EndLaterPiece(ElementText& element) noexcept;
  /// The whole text, valid until the next call.
  std::wstring_view Close(ElementText& element, XmlNode const* firstChild) noexcept;

  /// For attribute values: used temporarily, after all texts.
  Buffer<wchar_t> buffer;
};

}  // namespace yk::xml
