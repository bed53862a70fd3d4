#include "xml_text_p.h"

#include <algorithm>

#include "xml_chars_p.h"

namespace yk::xml {
namespace {

/// An element without attributes, text and children, which the writer does not indent (contract).
bool IsBare(XmlNode const& node) noexcept {
  return node.Kind() == XML_ELEMENT && !node.FirstAttribute() && !node.FirstChild() && node.Text().IsEmpty();
}

}  // namespace

void TextGatherer::Open(ElementText& element) noexcept {
  element = {};
  element.start = buffer.Count();
  BeginPiece(element);
}

void TextGatherer::BeginPiece(ElementText& element) noexcept {
  element.piece = buffer.Count();
  element.rawTabs = 0;
  element.rawBreak = element.solid = false;
}

bool TextGatherer::AddRaw(ElementText& element, std::wstring_view raw) noexcept {
  if (buffer.Count() == element.piece && raw.front() == L'\n') element.rawBreak = true;
  if (!std::all_of(raw.begin(), raw.end(), IsBlank)) element.solid = true;
  auto const isTab = [](wchar_t c) { return c == L'\t'; };
  element.rawTabs = std::find_if_not(raw.rbegin(), raw.rend(), isTab) - raw.rbegin();
  return buffer.Append(raw.data(), raw.size());
}

bool TextGatherer::AddSolid(ElementText& element, std::wstring_view solid) noexcept {
  element.solid = true;
  element.rawTabs = 0;
  return buffer.Append(solid.data(), solid.size());
}

void TextGatherer::EndFirstPiece(ElementText& element) noexcept {
  size_t const tabs = element.rawBreak ? element.rawTabs : 0;
  buffer.Shrink(buffer.Count() - tabs);
  if (element.rawBreak) buffer.Remove(element.piece, 1);
  if (element.solid) return;

  wchar_t const* const end = buffer.end();
  wchar_t const* const piece = buffer.begin() + element.piece;
  if (std::all_of(piece, end, [](wchar_t c) { return c == L' '; })) {
    element.doubtful = buffer.Count() - element.piece;
    element.doubtfulBreak = element.rawBreak;
    element.doubtfulTabs = tabs > 0;
  } else {
    buffer.Shrink(element.piece);
  }
}

void TextGatherer::EndLaterPiece(ElementText& element) noexcept {
  size_t const length = buffer.Count() - element.piece;
  size_t const written = element.doubtfulBreak ? element.rawTabs + (element.rawBreak ? 1 : 0) : 0;
  if (length != written || element.rawBreak != element.doubtfulBreak) element.foreign = true;
  if (!element.solid) buffer.Shrink(element.piece);
}

std::wstring_view TextGatherer::Close(ElementText& element, XmlNode const* firstChild) noexcept {
  if (firstChild) {
    EndLaterPiece(element);
    bool const tabsAsWritten = element.doubtfulTabs == (element.doubtfulBreak && !IsBare(*firstChild));
    if (element.foreign || !tabsAsWritten) buffer.Remove(element.start, element.doubtful);
  }
  size_t const length = buffer.Count() - element.start;
  buffer.Shrink(element.start);
  return {buffer.begin() + element.start, length};
}

}  // namespace yk::xml
