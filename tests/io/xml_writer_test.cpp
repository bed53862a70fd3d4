#include <gtest/gtest.h>
#include <windows.h>

#include "io/xml_support.h"

namespace {

using namespace xmltest;

XmlNode* Add(XmlNode* parent, uint32_t kind, wchar_t const* content, wchar_t const* text = nullptr) {
  XmlNode* const node = Xml().CreateNode(kind, content);
  EXPECT_EQ(Xml().SetText(node, text ? text : node->Text().c_str()), S_OK);
  EXPECT_EQ(Xml().AppendChild(parent, node), S_OK);
  return node;
}

/// One node of each form that the writer knows.
Tree Sample() {
  Tree document(Xml().CreateDocument());
  Add(document.get(), XML_COMMENT, L"a < b");
  Add(document.get(), XML_COMMENT, nullptr);
  Add(document.get(), XML_INSTRUCTION, L"go fast");
  Add(document.get(), XML_INSTRUCTION, L"");
  XmlNode* const root = Add(document.get(), XML_ELEMENT, L"root", L"t");
  Add(root, XML_ELEMENT, L"bare");
  Add(root, XML_ELEMENT, L"text", L"\x4E2D");
  XmlNode* const inner = Add(root, XML_ELEMENT, L"inner");
  Xml().SetAttribute(inner, L"v", L"");
  Add(inner, XML_ELEMENT, L"bare");
  XmlNode* const deep = Add(inner, XML_ELEMENT, L"deep");
  Xml().SetAttribute(deep, L"a", L"1");
  Xml().SetAttribute(deep, L"b", L"\t");
  Add(inner, XML_COMMENT, L"c");
  return document;
}

TEST(XmlWriter, WritesEveryFormCompactAndLaidOut) {
  Tree const sample = Sample();
  EXPECT_EQ(Saved(sample.get(), XML_COMPACT),
            "<!--a < b--><!--empty--><?go fast?><?empty?><root>t<bare/><text>\xE4\xB8\xAD</text>"
            "<inner v=\"\"><bare/><deep a=\"1\" b=\"&#x9;\"/><!--c--></inner></root>");
  EXPECT_EQ(Saved(sample.get(), XML_LAYOUT),
            "<!--a < b-->\r\n<!--empty-->\r\n<?go fast?>\r\n<?empty?>\r\n<root>\r\n"
            "t<bare/>\r\n\t<text>\xE4\xB8\xAD</text>\r\n\t<inner v=\"\">\r\n<bare/>\r\n"
            "\t\t<deep a=\"1\" b=\"&#x9;\"/>\r\n\t\t<!--c-->\r\n\t</inner>\r\n</root>\r\n");
}

// Line ends are CR alone in UTF-16, on purpose.
TEST(XmlWriter, WritesUtf16BehindAMark) {
  Tree document(Xml().CreateDocument());
  XmlNode* const a = Add(document.get(), XML_ELEMENT, L"a");
  Add(a, XML_ELEMENT, L"b", L"x");
  EXPECT_EQ(Saved(document.get(), XML_UTF16), Utf16("<a><b>x</b></a>"));
  EXPECT_EQ(Saved(document.get(), XML_UTF16 | XML_LAYOUT), Utf16("<a>\r\t<b>x</b>\r</a>\r"));
  EXPECT_EQ(Saved(a, XML_UTF16), Utf16("<a><b>x</b></a>")) << "a node alone";
  Xml().SetText(a, L"\xD83D\xDE00");
  EXPECT_EQ(Saved(a, XML_COMPACT), "<a>\xED\xA0\xBD\xED\xB8\x80<b>x</b></a>");
}

TEST(XmlWriter, EscapesTextsAndValues) {
  wchar_t all[64] = {};
  for (wchar_t c = 1; c < 64; ++c) all[c - 1] = c;
  std::string const expected = "&#x9;&#xA;&#xD; !&quot;#$%&amp;&apos;()*+,-./0123456789:;&lt;=&gt;?";
  std::wstring const wide(expected.begin(), expected.end());
  wchar_t buffer[200] = {};
  EXPECT_EQ(Xml().Escape(all, nullptr), wide.size());
  EXPECT_EQ(Xml().Escape(all, buffer), wide.size());
  EXPECT_EQ(buffer, wide);
  EXPECT_EQ(Xml().Escape(nullptr, buffer), 0u);
  EXPECT_EQ(buffer[0], 0);
  Tree const a(Xml().CreateNode(XML_ELEMENT, L"a"));
  Xml().SetAttribute(a.get(), L"v", all);
  Xml().SetText(a.get(), all);
  EXPECT_EQ(Saved(a.get(), XML_COMPACT), "<a v=\"" + expected + "\">" + expected + "</a>");
}

TEST(XmlWriter, WritesLongNamesTextsAndValuesWhole) {
  for (size_t const length : {229u, 230u, 239u, 240u, 249u, 250u, 256u, 5461u, 5462u, 20000u}) {
    std::string const narrow(length, 'n'), text = narrow + "&amp;";
    std::wstring const name(length, L'n');
    Tree const node(Xml().CreateNode(XML_ELEMENT, name.c_str()));
    EXPECT_EQ(Saved(node.get(), XML_COMPACT), "<" + narrow + "/>");
    Xml().SetAttribute(node.get(), name.c_str(), (name + L"&").c_str());
    Xml().SetText(node.get(), (name + L"&").c_str());
    EXPECT_EQ(Saved(node.get(), XML_COMPACT),
              "<" + narrow + " " + narrow + "=\"" + text + "\">" + text + "</" + narrow + ">");
  }
}

/// A chain of elements, the innermost with a text.
Tree Chain(unsigned depth) {
  Tree document(Xml().CreateDocument());
  XmlNode* node = document.get();
  for (unsigned i = 0; i < depth; ++i) node = Add(node, XML_ELEMENT, L"e");
  Xml().SetText(node, L"x");
  return document;
}

TEST(XmlWriter, IndentsBeyondItsRowOfTabs) {
  for (bool const utf16 : {false, true}) {
    std::string const bytes = Saved(Chain(300).get(), XML_LAYOUT | (utf16 ? XML_UTF16 : 0u));
    std::string const innermost = std::string(299, '\t') + "<e>x</e>";
    EXPECT_NE(bytes.find(utf16 ? Utf16(innermost).substr(2) : innermost), bytes.npos);
    EXPECT_EQ(std::count(bytes.begin(), bytes.end(), '\t'), 299 * 300 - 299);
  }
}

// Line ends and tabs may fill the writer's buffer to its last byte.
TEST(XmlWriter, WritesLargeDocumentsWhole) {
  for (size_t length = 1; length < 40; ++length) {
    Tree const root(Xml().CreateNode(XML_ELEMENT, L"r"));
    std::string expected = "<r>\r\n";
    for (int i = 0; i < 1000; ++i) {
      XmlNode* const item = Xml().CreateNode(XML_ELEMENT, L"i");
      Xml().SetText(item, std::wstring(length, L'x').c_str());
      Xml().AppendChild(root.get(), item);
      expected += "\t<i>" + std::string(length, 'x') + "</i>\r\n";
    }
    EXPECT_TRUE(Saved(root.get(), XML_LAYOUT) == expected + "</r>\r\n") << length;
  }
}

TEST(XmlWriter, StopsAndTellsWhenTheStreamFails) {
  Tree const whole = Loaded("<a>" + std::string(100000, 'x') + "</a>");
  for (auto const fault : {SpyStream::WRITE, SpyStream::SHORT, SpyStream::NONE}) {
    SpyStream stream;
    stream.fault = fault;
    stream.left = 1;
    EXPECT_EQ(Xml().Save(whole.get(), &stream, 0), S_OK);
    bool const failed = fault != SpyStream::NONE;
    EXPECT_EQ(Xml().GetFailure(), failed ? fault == SpyStream::SHORT ? E_FAIL : YK_E_ACCESS : S_OK);
    EXPECT_EQ(stream.bytes.size() < 40000, failed);
  }
}

constexpr unsigned DEEP = 10000;

DWORD WINAPI SaveDeepChain(void* size) {
  return *static_cast<DWORD*>(size) = static_cast<DWORD>(Saved(Chain(DEEP).get(), XML_COMPACT).size());
}

// With recursion, this depth would need many times the thread's stack.
TEST(XmlWriter, WritesAndFreesTreesOfAnyDepth) {
  DWORD size = 0;
  HANDLE const thread =
      CreateThread(nullptr, 0x20000, SaveDeepChain, &size, STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
  WaitForSingleObject(thread, INFINITE);
  CloseHandle(thread);
  EXPECT_EQ(size, DEEP * 7 + 1);
}

// ---- trees

TEST(XmlTree, LinksUnlinksAndFinds) {
  Tree const list(Xml().CreateNode(XML_ELEMENT, L"list"));
  XmlNode* const a = Add(list.get(), XML_ELEMENT, L"a");
  Add(list.get(), XML_COMMENT, L"note");
  XmlNode* const b = Add(list.get(), XML_ELEMENT, L"b");
  XmlNode* const a2 = Xml().CreateNode(XML_ELEMENT, L"a");
  EXPECT_EQ(Xml().InsertChild(list.get(), a2, b), S_OK);
  EXPECT_EQ(Line(list), L"list(a !'note' a b)");
  EXPECT_EQ(Xml().FindChild(list.get(), L"a", nullptr), a);
  EXPECT_EQ(Xml().FindChild(list.get(), nullptr, a), a2);
  EXPECT_EQ(Xml().FindChild(list.get(), L"a", a2), nullptr);
  EXPECT_EQ(Xml().RemoveNode(b), S_OK);
  EXPECT_EQ(Xml().RemoveNode(b), YK_E_NOTFOUND);
  EXPECT_EQ(Xml().InsertChild(list.get(), b, a), S_OK);
  Xml().FreeNode(a2);
  Add(list.get(), XML_ELEMENT, L"z");
  EXPECT_EQ(Line(list), L"list(b a !'note' z)");
}

TEST(XmlTree, RefusesWhatIsNoTree) {
  Tree const outer(Xml().CreateNode(XML_ELEMENT, L"outer")), other(Xml().CreateNode(XML_ELEMENT, L"other"));
  Tree const comment(Xml().CreateNode(XML_COMMENT, L"c")), document(Xml().CreateDocument());
  XmlNode* const inner = Add(outer.get(), XML_ELEMENT, L"inner");
  auto const insert = [](XmlNode* parent, XmlNode* node, XmlNode* before = nullptr) {
    return Xml().InsertChild(parent, node, before);
  };
  EXPECT_EQ(insert(comment.get(), other.get()), E_INVALIDARG);
  EXPECT_EQ(insert(outer.get(), document.get()), E_INVALIDARG);
  EXPECT_EQ(insert(outer.get(), inner), E_INVALIDARG) << "it is there already";
  EXPECT_EQ(insert(other.get(), other.get()), E_INVALIDARG);
  EXPECT_EQ(insert(inner, outer.get()), E_INVALIDARG) << "into its own child";
  EXPECT_EQ(insert(outer.get(), other.get(), comment.get()), E_INVALIDARG) << "before a stranger";
  EXPECT_EQ(Xml().Save(nullptr, Memory().get(), 0), E_INVALIDARG);
}

TEST(XmlTree, KeepsAttributesInOrder) {
  Tree const node(Xml().CreateNode(XML_ELEMENT, L"e"));
  for (wchar_t const* name : {L"a", L"b", L"c"}) Xml().SetAttribute(node.get(), name, name);
  Xml().SetAttribute(node.get(), L"b", L"new");
  EXPECT_EQ(Line(node), L"e@a=a@b=new@c=c");
  for (wchar_t const* name : {L"c", L"a"}) EXPECT_EQ(Xml().RemoveAttribute(node.get(), name), S_OK);
  EXPECT_EQ(Xml().RemoveAttribute(node.get(), L"c"), YK_E_NOTFOUND);
  EXPECT_EQ(Xml().SetAttribute(node.get(), L"d", nullptr), S_OK);
  EXPECT_EQ(Line(node), L"e@b=new@d=");
}

TEST(XmlTree, RefusesWhatXmlCannotExpress) {
  auto const takes = [](uint32_t kind, wchar_t const* content) {
    return Tree(Xml().CreateNode(kind, content)) != nullptr;
  };
  for (wchar_t const* name : {L"", L"1a", L"a b", L"\xD800", L"a\xDC00", L"-"})
    EXPECT_FALSE(takes(XML_ELEMENT, name));
  for (wchar_t const* text : {L"a--b", L"a-", L"\x01", L"\xFFFE"})
    EXPECT_FALSE(takes(XML_COMMENT, text)) << text;
  for (wchar_t const* text : {L"a?>", L"XML a", L" a", L"a\xFFFF"})
    EXPECT_FALSE(takes(XML_INSTRUCTION, text));
  EXPECT_FALSE(takes(XML_ELEMENT, nullptr) || takes(XML_DOCUMENT, L"") || takes(2, L"a"));
  EXPECT_TRUE(takes(XML_ELEMENT, L"_a-1.\x4E2D") && takes(XML_COMMENT, L"a-b") &&
              takes(XML_INSTRUCTION, L"xml-a b"));

  Tree const element(Xml().CreateNode(XML_ELEMENT, L"e"));
  EXPECT_EQ(Xml().SetText(element.get(), L"\xDC00"), E_INVALIDARG);
  EXPECT_EQ(Xml().SetAttribute(element.get(), L"=", L""), E_INVALIDARG);
  EXPECT_EQ(Xml().SetName(element.get(), L""), E_INVALIDARG);
  EXPECT_EQ(Line(element), L"e");
}

}  // namespace
