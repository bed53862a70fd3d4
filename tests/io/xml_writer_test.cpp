#include <gtest/gtest.h>

#include "io/xml_support.h"

namespace {

using namespace xmltest;

TEST(XmlWriter, WritesEveryForm) {
  Tree const sample = Loaded(
      "<!--a < b--><!----><?go fast?><root>t<bare/><text>\xE4\xB8\xAD</text>"
      "<inner v=''><bare/><deep a='1' b='&#9;'/><!--c--></inner></root>");
  EXPECT_EQ(Xml().AppendChild(sample.get(), Xml().CreateNode(XML_INSTRUCTION, L"")), S_OK);
  EXPECT_EQ(Saved(sample.get(), XML_COMPACT),
            "<!--a < b--><!--empty--><?go fast?><root>t<bare/><text>\xE4\xB8\xAD</text>"
            "<inner v=\"\"><bare/><deep a=\"1\" b=\"&#x9;\"/><!--c--></inner></root><?empty?>");
  EXPECT_EQ(Saved(sample.get(), XML_LAYOUT),
            "<!--a < b-->\r\n<!--empty-->\r\n<?go fast?>\r\n<root>\r\n"
            "t<bare/>\r\n\t<text>\xE4\xB8\xAD</text>\r\n\t<inner v=\"\">\r\n<bare/>\r\n"
            "\t\t<deep a=\"1\" b=\"&#x9;\"/>\r\n\t\t<!--c-->\r\n\t</inner>\r\n</root>\r\n<?empty?>\r\n");
}

// Line ends are CR alone in UTF-16, on purpose.
TEST(XmlWriter, WritesUtf16BehindAMark) {
  Tree const document = Loaded("<a><b>x</b></a>");
  XmlNode* const a = document->FirstChild();
  EXPECT_EQ(Saved(document.get(), XML_UTF16 | XML_LAYOUT), Utf16("<a>\r\t<b>x</b>\r</a>\r"));
  EXPECT_EQ(Saved(a, XML_UTF16), Utf16("<a><b>x</b></a>")) << "a node alone";
  Xml().SetText(a, L"\xD83D\xDE00");
  EXPECT_EQ(Saved(a, XML_COMPACT), "<a>\xED\xA0\xBD\xED\xB8\x80<b>x</b></a>");
}

TEST(XmlWriter, EscapesTextsAndValues) {
  wchar_t all[64] = {};
  for (wchar_t c = 1; c < 64; ++c) all[c - 1] = c;
  std::string const expected = "&#x9;&#xA;&#xD; !&quot;#$%&amp;&apos;()*+,-./0123456789:;&lt;=&gt;?";
  wchar_t buffer[200] = {};
  EXPECT_EQ(Xml().Escape(all, nullptr), expected.size());
  EXPECT_EQ(Xml().Escape(all, buffer), expected.size());
  EXPECT_EQ(buffer, std::wstring(expected.begin(), expected.end()));
  EXPECT_EQ(Xml().Escape(nullptr, buffer), 0u);
  EXPECT_EQ(buffer[0], 0);
  Tree const a(Xml().CreateNode(XML_ELEMENT, L"a"));
  Xml().SetAttribute(a.get(), L"v", all);
  Xml().SetText(a.get(), all);
  EXPECT_EQ(Saved(a.get(), XML_COMPACT), "<a v=\"" + expected + "\">" + expected + "</a>");
}

TEST(XmlWriter, WritesLongNamesTextsAndValuesWhole) {
  for (size_t const length : {239u, 240u, 5461u, 5462u, 20000u}) {
    std::string const name(length, 'n'), text = name + "&amp;";
    std::string const full =
        "<" + name + " " + name + "=\"" + text + "\">" + text + "<" + name + "/></" + name + ">";
    EXPECT_EQ(Saved(Loaded(full).get(), XML_COMPACT), full);
  }
}

/// A chain of elements, the innermost with a text. With recursion, the deepest would need many times the stack.
TEST(XmlWriter, WritesAndFreesTreesOfAnyDepth) {
  for (unsigned const depth : {300u, 200000u}) {
    XmlNode* node = Xml().CreateNode(XML_ELEMENT, L"e");
    Xml().SetText(node, L"x");
    for (unsigned i = 1; i < depth; ++i) {
      XmlNode* const parent = Xml().CreateNode(XML_ELEMENT, L"e");
      EXPECT_EQ(Xml().AppendChild(parent, std::exchange(node, parent)), S_OK);
    }
    Tree const chain(node);
    EXPECT_EQ(Saved(node, XML_COMPACT).size(), depth * 7 + 1);
    if (depth > 300) continue;
    std::string const innermost = std::string(299, '\t') + "<e>x</e>";  // more tabs than are kept ready
    EXPECT_NE(Saved(node, XML_LAYOUT).find("\n" + innermost), std::string::npos);
    EXPECT_NE(Saved(node, XML_LAYOUT | XML_UTF16).find(Utf16("\r" + innermost).substr(2)), std::string::npos);
  }
}

// Line ends and tabs may fill the writer's buffer to its last byte.
TEST(XmlWriter, WritesLargeDocumentsWhole) {
  for (size_t length = 1; length < 40; ++length) {
    std::string expected = "<r>\r\n";
    for (int i = 0; i < 1000; ++i) expected += "\t<i>" + std::string(length, 'x') + "</i>\r\n";
    expected += "</r>\r\n";
    EXPECT_TRUE(Saved(Loaded(expected).get(), XML_LAYOUT) == expected) << length;
  }
}

TEST(XmlWriter, StopsAndTellsWhenTheStreamFails) {
  Tree const whole = Loaded("<a>" + std::string(100000, 'x') + "</a>");
  std::pair<SpyStream::Fault, HRESULT> const rows[] = {
      {SpyStream::WRITE, YK_E_ACCESS}, {SpyStream::SHORT, E_FAIL}, {SpyStream::NONE, S_OK}};
  for (auto const& [fault, failure] : rows) {
    SpyStream stream;
    stream.fault = fault;
    stream.left = 1;
    EXPECT_EQ(Xml().Save(whole.get(), &stream, 0), S_OK);
    EXPECT_EQ(Xml().GetFailure(), failure);
    EXPECT_EQ(stream.bytes.size() < 40000, Failed(failure));
  }
}

// ---- trees

TEST(XmlTree, LinksUnlinksAndFinds) {
  Tree const document = Loaded("<list><a/><!--note--><b/></list>");
  XmlNode* const list = document->FirstChild();
  XmlNode* const a = Xml().FindChild(list, L"a", nullptr);
  XmlNode* const b = Xml().FindChild(list, nullptr, a);
  XmlNode* const a2 = Xml().CreateNode(XML_ELEMENT, L"a");
  EXPECT_EQ(Xml().InsertChild(list, a2, b), S_OK);
  EXPECT_EQ(Line(list), L"list(a !'note' a b)");
  EXPECT_EQ(Xml().FindChild(list, L"a", a), a2);
  EXPECT_EQ(Xml().FindChild(list, L"a", a2), nullptr);
  EXPECT_EQ(Xml().RemoveNode(b), S_OK);
  EXPECT_EQ(Xml().RemoveNode(b), YK_E_NOTFOUND);
  EXPECT_EQ(Xml().InsertChild(list, b, a), S_OK);
  Xml().FreeNode(a2);
  EXPECT_EQ(Line(list), L"list(b a !'note')");
  for (wchar_t const* name : {L"a", L"b", L"c"}) Xml().SetAttribute(b, name, L"old");
  EXPECT_EQ(Xml().SetAttribute(b, L"b", L"new"), S_OK);
  for (wchar_t const* name : {L"c", L"a"}) EXPECT_EQ(Xml().RemoveAttribute(b, name), S_OK);
  EXPECT_EQ(Xml().RemoveAttribute(b, L"c"), YK_E_NOTFOUND);
  EXPECT_EQ(Xml().SetAttribute(b, L"d", nullptr), S_OK);
  EXPECT_EQ(Line(b), L"b@b=new@d=");
}

TEST(XmlTree, RefusesWhatIsNoTree) {
  Tree const document = Loaded("<outer><inner/></outer><!--c-->"), other = Loaded("<a/>");
  XmlNode *const outer = document->FirstChild(), *const inner = outer->FirstChild(),
                 *const comment = outer->Next();
  Tree const loose(Xml().CreateNode(XML_ELEMENT, L"loose"));
  EXPECT_EQ(Xml().RemoveNode(outer), S_OK);
  Tree const owned(outer);
  std::tuple<XmlNode*, XmlNode*, XmlNode*> const rows[] = {
      {comment, loose.get(), nullptr},
      {outer, other.get(), nullptr},  // no parent, no child
      {outer, inner, nullptr},        // which is there already
      {loose.get(), loose.get(), nullptr},
      {inner, outer, nullptr},         // into itself
      {outer, loose.get(), comment}};  // before a stranger
  for (auto const& [parent, node, before] : rows)
    EXPECT_EQ(Xml().InsertChild(parent, node, before), E_INVALIDARG) << Line(node);
  EXPECT_EQ(Xml().Save(nullptr, Memory().get(), 0), E_INVALIDARG);
  EXPECT_EQ(Xml().Load(Memory("<a/>").get(), nullptr, nullptr), E_INVALIDARG);
}

TEST(XmlTree, RefusesWhatXmlCannotExpress) {
  std::tuple<uint32_t, std::vector<wchar_t const*>, bool> const rows[] = {
      {XML_ELEMENT, {nullptr, L"", L"1a", L"a b", L"\xD800", L"a\xDC00", L"-"}, false},
      {XML_COMMENT, {L"a--b", L"a-", L"\x01", L"\xFFFE"}, false},
      {XML_INSTRUCTION, {L"a?>", L"XML a", L" a", L"a\xFFFF"}, false},
      {XML_DOCUMENT, {L""}, false},
      {2, {L"a"}, false},
      {XML_COMMENT, {L"a-b"}, true},
      {XML_INSTRUCTION, {L"xml-a b"}, true}};
  for (auto const& [kind, contents, taken] : rows) {
    for (wchar_t const* content : contents)
      EXPECT_EQ(Tree(Xml().CreateNode(kind, content)) != nullptr, taken) << kind << (content ? content : L"");
  }
  Tree const element(Xml().CreateNode(XML_ELEMENT, L"e"));
  EXPECT_EQ(Xml().SetText(element.get(), L"\xDC00"), E_INVALIDARG);
  EXPECT_EQ(Xml().SetAttribute(element.get(), L"=", L""), E_INVALIDARG);
  EXPECT_EQ(Xml().SetName(element.get(), L""), E_INVALIDARG);
  EXPECT_EQ(Line(element), L"e");
}

}  // namespace
