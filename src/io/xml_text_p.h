// The texts of the elements that a reader has open: gathered piece by piece, and freed of layout.
//
//   <a>PIECE<b>..</b>PIECE<c/>PIECE</a>        one piece in front of each child, one behind the last
//
// The writer puts all text into the first piece, its own line ends and tabs around it and nothing else
// between the children, and it escapes the line ends and tabs of the text. Other programs lay out with
// spaces, too. So blank pieces are layout and dropped; around the first piece one line end and the tabs
// behind go; and a first piece of spaces alone, which can be either, is text if all else is laid out as the
// writer does it.
#pragma once

#include <qecore/io/xml.h>

#include <string_view>

#include "io/xml_buffer_p.h"

namespace yk::xml {

/// What is known of one open element's text.
struct ElementText {
  size_t start = 0;       // where it begins in the buffer; those of the elements around it lie below
  size_t piece = 0;       // where its present piece begins
  size_t rawTabs = 0;     // tabs at the end of the piece that stand there as such, not as references
  bool rawBreak = false;  // the piece begins with a line end that stands there as such
  bool solid = false;     // the piece has a character that is no blank, or one that was referred to or quoted

  size_t doubtful = 0;         // length of a first piece of spaces alone
  bool doubtfulBreak = false;  // a line end stood in front of it
  bool doubtfulTabs = false;   // tabs stood behind it
  bool foreign = false;        // a later piece is not as the writer writes it
};

class TextGatherer {
 public:
  void Open(ElementText& element) noexcept;
  void BeginPiece(ElementText& element) noexcept;
  /// What stands for itself; not empty. The Add functions answer false when there is no memory.
  bool AddRaw(ElementText& element, std::wstring_view raw) noexcept;
  /// What was quoted or referred to.
  bool AddSolid(ElementText& element, std::wstring_view solid) noexcept;
  /// Where a child begins; `first` says that it is the element's first.
  void EndPiece(ElementText& element, bool first) noexcept;
  /// The whole text. It stands until the next call.
  std::wstring_view Close(ElementText& element, XmlNode const* firstChild) noexcept;

  /// For the values of attributes: used above all texts, and given back.
  Buffer<wchar_t> buffer;

 private:
  void EndFirstPiece(ElementText& element) noexcept;
  void EndLaterPiece(ElementText& element) noexcept;
};

}  // namespace yk::xml
