#include <qecore/io/xml.h>
#include <qecore/values/str.h>

#include <memory>
#include <sstream>

#include "streams.h"

using namespace yk;

static XmlHelper& Xml() {
  static Ref<XmlHelper> const helper = Own(XmlHelper::Create());
  return *helper;
}

using Tree = std::unique_ptr<XmlNode, decltype([](XmlNode* node) { Xml().FreeNode(node); })>;

static std::string Saved(XmlNode const* node, unsigned flags) {
  Ref<Stream> const stream = Memory();
  EXPECT_EQ(Xml().Save(node, stream.get(), flags), S_OK);
  return Content(*stream);
}

/// Null, with `error` filled, for a document that is rejected.
static Tree Loaded(std::string const& bytes, XmlError* error = nullptr) {
  XmlNode* document = nullptr;
  HRESULT const result = Xml().Load(Memory(bytes).get(), &document, error);
  EXPECT_EQ(Succeeded(result), document != nullptr);
  return Tree(document);
}

/// "name@attribute=value'text'(child child)" for an element, "!'text'" for a comment, "?'text'" for an
/// instruction.
static std::wstring Line(XmlNode const* node) {
  std::wstring line = node->Name().c_str();
  if (node->Kind() == XML_COMMENT) line += L"!";
  if (node->Kind() == XML_INSTRUCTION) line += L"?";
  for (XmlAttribute* a = node->FirstAttribute(); a; a = a->Next())
    line += std::wstring(L"@") + a->Name().c_str() + L"=" + a->Value().c_str();
  if (!node->Text().IsEmpty()) line += std::wstring(L"'") + node->Text().c_str() + L"'";
  for (XmlNode* child = node->FirstChild(); child; child = child->Next())
    line += (child == node->FirstChild() ? L"(" : L" ") + Line(child);
  return node->FirstChild() ? line + L")" : line;
}

static std::wstring Line(Tree const& tree) { return tree ? Line(tree.get()) : L"refused"; }

/// The same ASCII characters in UTF-16LE, after a byte order mark.
static std::string Utf16(std::string const& ascii) {
  std::string bytes = "\xFF\xFE";
  for (char const c : ascii) (bytes += c) += '\0';
  return bytes;
}

// ---- reading

// And back again, from every form that the writer produces.
TEST(XmlReader, ReadsWhatIsWellFormed) {
  std::pair<std::string, std::wstring> const rows[] = {
      {"<a x='1' y = \"&lt;'&#x9;\" z='\t\n\r\n'/>", L"(a@x=1@y=<'\t@z=   )"},
      {"<a>&amp;&lt;&gt;&quot;&apos;&#65;&#x42;&#x1F600;</a>", L"(a'&<>\"'AB\xD83D\xDE00')"},
      {"<a>1<![CDATA[<&]]]]><![CDATA[>]]></a>", L"(a'1<&]]>')"},
      {"<!--x--><?xml-a?><a><?y?><?xmk?><!--y--><?xnl z?></a><!-- -->",
       L"(!'x' ?'xml-a' a(?'y' ?'xmk' !'y' ?'xnl z') !' ')"},
      {"<a v='&#10; &#13;&#9;'> &#13; <b> &#10;</b>\n<!--\n- -->&#32;<c/> </a>",
       L"(a@v=\n \r\t' \r  '(b' \n' !'\n- ' c))"},
      {"<p>one <b>two</b> three<br/>\n four</p>", L"(p'one  three\n four'(b'two' br))"},
      {"<a>\n<![CDATA[ ]]>\n<b/></a>", L"(a' \n'(b))"},
      {"<a>1\r\n2\r3\n4</a>", L"(a'1\n2\n3\n4')"},
      {"<?xml version='1.0' encoding='utf-8' standalone='yes' ?>\n<a/>", L"(a)"},
      {"<!DOCTYPE a [<!ENTITY b \"]>'\"> <!-- ' > --> <?p ']>?> ]><a/>", L"(a)"},
      {"<\xC3\xA9:-.1\xC2\xB7 _='z\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80'/>",
       L"(\xE9:-.1\xB7@_=z\xE9\x4E2D\xD83D\xDE00)"},
      {"<?xml version='1.0' standalone='no'?><a>&#xabC;&#xE000;&#x10000;</a>",
       L"(a'\xABC\xE000\xD800\xDC00')"},
      {Utf16("<a/>").substr(2), L"(a)"},
      {Utf16("<?xml version=\"1.1\" encoding=\"UTF-16\"?><a/>"), L"(a)"},
  };
  for (auto const& [bytes, line] : rows) {
    Tree const document = Loaded(bytes);
    ASSERT_EQ(Line(document), line) << bytes;
    for (unsigned flags : {0u, 1u, 2u, 3u})
      EXPECT_EQ(Line(Loaded(Saved(document.get(), flags))), line) << "written with " << flags;
  }
}

/// Expects that a document is rejected at the position of the '^' in it, which is not part of it.
static void ExpectRefused(std::string document, bool utf16 = false, std::string const& tail = {}) {
  size_t const place = document.find('^');
  unsigned const line = 1 + static_cast<unsigned>(std::count(&document[0], &document[place], '\n'));
  size_t const before = place == 0 ? std::string::npos : document.rfind('\n', place - 1);  // -1 is column 1
  document.erase(place, 1);
  XmlError error = {};
  EXPECT_FALSE(Loaded((utf16 ? Utf16(document) : document) + tail, &error)) << document;
  EXPECT_EQ(std::tuple(error.code, error.line, error.column), std::tuple(YK_E_BADFILE, line, place - before))
      << document;
  EXPECT_GT(wcslen(error.text), 8u) << document;
}

TEST(XmlReader, SaysWhereAndWhyItRefuses) {
  // a bar between documents
  std::istringstream documents(
      "^|  \n ^|^text|<a>^|<a^|<a>^</b>|^</a>|<a></a ^|<a>^</a x>|<a/>^<b/>|<a/>^text|<a/>^&lt;|^< a/>|"
      "<a x^/>|<a x=^1/>|<a x='1'^y='2'/>|<a x='^<'/>|<a x=^'1/>|^<a\nx='1' y='2'\nx='3'/>|<a ^=''/>|"
      "<a>\n^&unknown;</a>|<a>^&lt</a>|<a>^&#;</a>|<a>^&#x;</a>|<a>^&#0;</a>|<a>^&#xD800;</a>|"
      "<a>^&#x110000;</a>|<a>^&#99999999999999999999;</a>|<a>^]]></a>|<a>^<!b></a>|<a><!-- ^-- --></a>|"
      "<a>^<!--|<a>^<![CDATA[]]</a>|<a/>^<![CDATA[]]>|<a><?^1?></a>|<a>^<?x|<a><?x^='1'?></a>|"
      "<a/>\n^<?xml version='1.0'?>|<a>^<!DOCTYPE a></a>|<!DOCTYPE a>^<!DOCTYPE a><a/>|^<!DOCTYPE a [|"
      "<!DOCTYPE a ^]>|<!DOCTYPE ^>|^<?xml encoding='UTF-8'?><a/>|^<?xml version='1.x'?><a/>|"
      "<?xml version='1.0' encoding='^ISO-8859-1'?><a>\xE9</a>|"
      "<?xml version='1.0' encoding='^UTF-16'?><a/>|^<?xml?><a/>|^<?xml version='1.'?><a/>|"
      "^<?xml version='2.0'?><a/>|^<?xml version='1-0'?><a/>|<?xml version^?>|<?xml version=^1?>|"
      "<?xml version='1.0' encoding^?>|<?xml version='1.0' standalone=^'?>|^<?xml version='1.0' x?>|"
      "^<?xml version='1.0' standalone='x'?>|<?xml version='1.0' encoding='^{'?><a/>|<a>^&#xFFFE;</a>|"
      "<a>^&#xG;</a>|<a>^&#x:;</a>|<a>^&#xg;</a>|<a>^&#/;</a>|^<!DOCTYPEa><a/>|^<!DOCTYPE a '><a/>|"
      "^<!DOCTYPE a [<!--]><a/>|<a^\xC3\x97/>|^<\xC2\xB7/>|<a>^\x01</a>|<a>^\x80</a>|<a>^\xC0\x80</a>|"
      "<a>^\xF4\x90\x80\x80</a>|<a>^\xED\xA0\xBD</a>|<a>^\xC3");
  for (std::string document; std::getline(documents, document, '|');) ExpectRefused(document);
  ExpectRefused("<a>^", false, std::string("\0</a>", 5));
  ExpectRefused("<?xml version='1.0' encoding='^UTF-8'?><a/>", true);
  ExpectRefused("<a/>^", true, "x");
  ExpectRefused("^", false, std::string("\xFE\xFF\0<\0a", 6));
}

// Tokens longer than what is read ahead, cut off at many places.
TEST(XmlReader, ReadsLongTokensInLargeDocuments) {
  std::string const fill = std::string(2100, 'm') + "\r\n" + std::string(2100, '\t');
  std::string const value = std::string(2100, 'v') + "&amp;&#xE9;" + std::string(2100, 'w');
  std::string const name(4200, 'n');
  std::string const sample = "<" + name + " " + name + "='" + value + "'>a" + fill + "<!--" + fill +
                             "--><![CDATA[" + fill + "]]>]]&#x" + std::string(4200, '0') + "41;\r\n<?p " +
                             fill + "?></" + name + ">";
  for (auto const recoded : {+[](std::string const& text) { return text; }, Utf16}) {
    std::wstring const single = Line(Loaded(recoded(sample))->FirstChild());
    for (size_t shift = 0; shift < 33000; shift += 1499) {
      std::string document = "<r><!--" + std::string(shift, 'c') + "-->";
      for (int i = 0; i < 6; ++i) document += sample;
      Tree const loaded = Loaded(recoded(document + "</r>"));
      ASSERT_TRUE(loaded) << shift;
      XmlNode* node = loaded->FirstChild()->FirstChild()->Next();
      for (int i = 0; i < 6; ++i, node = node->Next()) ASSERT_TRUE(Line(node) == single) << shift << ' ' << i;
      ExpectRefused(document + "\n <b>^&unknown;" + sample);
    }
  }
}

TEST(XmlReader, LimitsTheDepth) {
  for (unsigned const depth : {1000u, 1001u, 1000000u}) {
    std::string start, end;
    for (unsigned i = 0; i < depth; ++i) start += "<a>", end += "</a>";
    XmlError error = {};
    EXPECT_EQ(Loaded(start + end, &error) != nullptr, depth == 1000) << depth;
    EXPECT_EQ(error.column, depth > 1000 ? 3001u : 0u);
  }
}

TEST(XmlReader, FindsARepeatedNameAmongThousands) {
  std::string attributes = "<a";
  for (int i = 0; i < 10000; ++i) attributes += " same-beginning-" + std::to_string(i) + "=''";
  EXPECT_TRUE(Loaded(attributes + "/>"));
  EXPECT_FALSE(Loaded(attributes + " same-beginning-7=''/>"));
}

// ---- writing

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

// Line ends are CR alone in UTF-16 (contract).
TEST(XmlWriter, WritesUtf16AfterAMark) {
  Tree const document = Loaded("<a><b>x</b></a>");
  XmlNode* const a = document->FirstChild();
  EXPECT_EQ(Saved(document.get(), XML_UTF16 | XML_LAYOUT), Utf16("<a>\r\t<b>x</b>\r</a>\r"));
  EXPECT_EQ(Saved(a, XML_UTF16), Utf16("<a><b>x</b></a>")) << "a single node";
  Xml().SetText(a, L"\xD83D\xDE00");
  EXPECT_EQ(Saved(a, XML_COMPACT), "<a>\xED\xA0\xBD\xED\xB8\x80<b>x</b></a>");
}

TEST(XmlWriter, EscapesTextsAndValues) {
  wchar_t all[64] = {};
  for (wchar_t c = 1; c < 64; ++c) all[c - 1] = c;
  std::string const expected = "&#x9;&#xA;&#xD; !&quot;#$%&amp;&apos;()*+,-./0123456789:;&lt;=&gt;?";
  wchar_t buffer[200] = {};
  for (wchar_t* out : {static_cast<wchar_t*>(nullptr), buffer})
    EXPECT_EQ(Xml().Escape(all, out), expected.size());
  EXPECT_EQ(buffer, std::wstring(expected.begin(), expected.end()));
  Tree const a(Xml().CreateNode(XML_ELEMENT, L"a"));
  Xml().SetAttribute(a.get(), L"v", all);
  Xml().SetText(a.get(), all);
  EXPECT_EQ(Saved(a.get(), XML_COMPACT), "<a v=\"" + expected + "\">" + expected + "</a>");
}

// Characters that end a run of plain ones, at every place of texts of every length.
TEST(XmlWriter, WritesRunsAsEscapeDefines) {
  for (size_t length = 1; length < 40; ++length) {
    for (size_t place = 0; place < length; ++place) {
      std::wstring text(length, L'x');
      text[place] = L"&\"'<>\t\x01\xE9\x4E2D\xFFFD"[(length + place) % 10];
      text[length - 1] = L";=!%\x7F\x80\x83E"[place % 7];
      Tree const a(Xml().CreateNode(XML_ELEMENT, L"a"));
      Xml().SetText(a.get(), text.c_str());
      std::wstring wide(6 * length, L'?');
      wide = L"\xFEFF<a>" + wide.substr(0, Xml().Escape(text.c_str(), wide.data())) + L"</a>";
      std::string narrow(3 * wide.size(), '?');
      narrow.resize(static_cast<size_t>(str::WToUTF8(wide.c_str() + 1, narrow.data(), -1) - 1));
      ASSERT_EQ(Saved(a.get(), XML_COMPACT), narrow) << length << ' ' << place;
      std::string const bytes(reinterpret_cast<char const*>(wide.data()), 2 * wide.size());
      ASSERT_EQ(Saved(a.get(), XML_UTF16), bytes) << length << ' ' << place;
    }
  }
}

TEST(XmlWriter, WritesLongNamesTextsAndValuesWhole) {
  for (size_t const length : {239u, 240u, 5461u, 5462u, 20000u}) {
    std::string const name(length, 'n'), text = name + "&amp;";
    std::string const full = "<" + name + " " + name + "=\"" + text + "\">" + text + "</" + name + ">";
    EXPECT_EQ(Saved(Loaded(full).get(), XML_COMPACT), full);
  }
}

/// A chain of elements, the innermost with a text. With recursion, the deepest would need many times the
/// stack.
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
    std::string const innermost = std::string(299, '\t') + "<e>x</e>";  // more tabs than are buffered
    EXPECT_NE(Saved(node, XML_LAYOUT).find("\n" + innermost), std::string::npos);
    EXPECT_NE(Saved(node, XML_LAYOUT | XML_UTF16).find(Utf16("\r" + innermost).substr(2)), std::string::npos);
  }
}

// Line ends and tabs may fill the writer's buffer completely.
TEST(XmlWriter, WritesLargeDocumentsWhole) {
  for (size_t length = 1; length < 40; ++length) {
    std::string expected = "<r>\r\n";
    for (int i = 0; i < 1000; ++i) expected += "\t<i>" + std::string(length, 'x') + "</i>\r\n";
    expected += "</r>\r\n";
    EXPECT_TRUE(Saved(Loaded(expected).get(), XML_LAYOUT) == expected) << length;
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
  for (HRESULT result : {S_OK, YK_E_NOTFOUND}) EXPECT_EQ(Xml().RemoveNode(b), result);
  EXPECT_EQ(Xml().InsertChild(list, b, a), S_OK);
  Xml().FreeNode(a2);
  EXPECT_EQ(Line(list), L"list(b a !'note')");
  for (wchar_t const* name : {L"a", L"b", L"c"}) Xml().SetAttribute(b, name, L"old");
  ExpectEach(S_OK, {Xml().SetAttribute(b, L"b", L"new"), Xml().RemoveAttribute(b, L"c"),
                    Xml().RemoveAttribute(b, L"a"), Xml().SetAttribute(b, L"d", nullptr)});
  EXPECT_EQ(Xml().RemoveAttribute(b, L"c"), YK_E_NOTFOUND);
  EXPECT_EQ(Line(b), L"b@b=new@d=");
}

static std::wstring Digits(unsigned number) {
  std::string const digits = std::to_string(number);
  return {digits.begin(), digits.end()};
}

// From a few to many, and back, in an element that was built and in one that was loaded.
TEST(XmlTree, KeepsManyAttributesInOrder) {
  std::string document = "<e";
  for (int i = 0; i < 200; i += 2) document += " n" + std::to_string(i) + "='0'";
  Tree const built(Xml().CreateNode(XML_ELEMENT, L"e")), loaded = Loaded(document + "/>");
  for (XmlNode* const node : {built.get(), loaded->FirstChild()}) {
    std::vector<std::pair<std::wstring, std::wstring>> expected;
    for (XmlAttribute* a = node->FirstAttribute(); a; a = a->Next())
      expected.emplace_back(a->Name().c_str(), a->Value().c_str());
    for (unsigned step = 0; step < 3000; ++step) {
      std::wstring const name = L"n" + Digits(step * 7919 % 331), value = Digits(step);
      bool const shrinks = step > 1500 && step % 3 > 0;
      auto const row = std::ranges::find(expected, name, &decltype(expected)::value_type::first);
      XmlAttribute* const found = Xml().FindAttribute(node, name.c_str());
      ASSERT_EQ(found ? found->Value().c_str() : L"", row != expected.end() ? row->second : L"") << step;
      HRESULT const result = shrinks ? Xml().RemoveAttribute(node, name.c_str())
                                     : Xml().SetAttribute(node, name.c_str(), value.c_str());
      ASSERT_EQ(result, shrinks && !found ? YK_E_NOTFOUND : S_OK);
      if (!shrinks && found) row->second = value;
      if (!shrinks && !found) expected.emplace_back(name, value);
      if (shrinks && found) expected.erase(row);
    }
    std::wstring line = L"e";
    for (auto const& [name, value] : expected) line += L"@" + name + L"=" + value;
    EXPECT_EQ(Line(node), line);
  }
}

TEST(XmlTree, RefusesWhatIsNoTree) {
  Tree const document = Loaded("<outer><inner/></outer><!--c-->"), loose(Xml().CreateNode(XML_ELEMENT, L"e"));
  XmlNode *const outer = document->FirstChild(), *const inner = outer->FirstChild(), *loaded = outer;
  EXPECT_EQ(Xml().RemoveNode(outer), S_OK);
  Tree const owned(outer);
  XmlNode* const comment = document->FirstChild();
  // into a comment, a document, a node in a tree, into itself, before a node of another tree
  ExpectEach(E_INVALIDARG,
             {Xml().InsertChild(comment, loose.get(), nullptr),
              Xml().InsertChild(outer, document.get(), nullptr), Xml().InsertChild(outer, inner, nullptr),
              Xml().InsertChild(inner, outer, nullptr), Xml().InsertChild(outer, loose.get(), comment)});
  ExpectEach(E_INVALIDARG, {Xml().Save(nullptr, Memory().get(), 0), Xml().Load(nullptr, &loaded, nullptr),
                            Xml().SetText(document.get(), L"a"), Xml().SetName(comment, L"a"),
                            Xml().SetAttribute(comment, L"a", L"")});
  ExpectEach(YK_E_NOTFOUND, {Xml().RemoveNode(outer), Xml().RemoveAttribute(outer, L"a")});
  ExpectEach<XmlNode*>(
      nullptr, {loaded, Xml().FindChild(outer, nullptr, outer), Xml().FindChild(nullptr, nullptr, nullptr)});
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
  Tree const element(Xml().CreateNode(XML_ELEMENT, L"e")),
      comment(Xml().CreateNode(XML_COMMENT, L"\n1\r\n2\r3\n"));
  ExpectEach(E_INVALIDARG,
             {Xml().SetText(element.get(), L"\xDC00"), Xml().SetAttribute(element.get(), L"=", L""),
              Xml().SetAttribute(element.get(), L"a", L"\xD800"), Xml().SetName(element.get(), L"")});
  EXPECT_EQ(Line(element), L"e");
  EXPECT_EQ(Line(comment), L"!'\n1\n2\n3\n'");
}
