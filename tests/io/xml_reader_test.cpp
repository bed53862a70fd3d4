#include <gtest/gtest.h>

#include <sstream>

#include "io/xml_support.h"

namespace {

using namespace xmltest;

// And back again, from every form that the writer has.
TEST(XmlReader, ReadsWhatIsWellFormed) {
  std::pair<std::string, std::wstring> const rows[] = {
      {"<a x='1' y = \"&lt;'&#x9;\"/>", L"(a@x=1@y=<'\t)"},
      {"<a x='\t\n\r\n'/>", L"(a@x=   )"},
      {"<a>&amp;&lt;&gt;&quot;&apos;&#65;&#x42;&#x1F600;</a>", L"(a'&<>\"'AB\xD83D\xDE00')"},
      {"<a>1<![CDATA[<&]]]]><![CDATA[>]]></a>", L"(a'1<&]]>')"},
      {"<!--x--><?y z?><a><!--y--><?t?></a><!-- -->", L"(!'x' ?'y z' a(!'y' ?'t') !' ')"},
      {"<a v='&#10; &#13;&#9;'> &#13; <b> &#10;</b>\n<!--\n- -->&#32;<c/> </a>",
       L"(a@v=\n \r\t' \r  '(b' \n' !'\n- ' c))"},
      {"<p>one <b>two</b> three<br/>\n four</p>", L"(p'one  three\n four'(b'two' br))"},
      {"<a>\n  <b>\n    <c/>\n    <d/>\n  </b>\n</a>\n", L"(a(b(c d)))"},
      {"<a>\n<![CDATA[ ]]>\n<b/></a>", L"(a' \n'(b))"},
      {"<a>1\r\n2\r3\n4</a>", L"(a'1\n2\n3\n4')"},
      {"\xEF\xBB\xBF<a/>", L"(a)"},
      {"<?xml version='1.0' encoding='utf-8' standalone='yes' ?>\n<a/>", L"(a)"},
      {"<!DOCTYPE a [<!ENTITY b \"]>'\"> <!-- ' > --> <?p ']>?> ]><a/>", L"(a)"},
      {"<!DOCTYPE a PUBLIC 'x>' 'http://y/'><a/>", L"(a)"},
      {"<a>z\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80</a>", L"(a'z\xE9\x4E2D\xD83D\xDE00')"},
      {"<\xC3\xA9:-.1/>", L"(\xE9:-.1)"},
      {Utf16("<a/>").substr(2), L"(a)"},
      {Utf16("<?xml version=\"1.1\" encoding=\"UTF-16\"?><a/>"), L"(a)"},
  };
  for (auto const& [bytes, line] : rows) {
    Tree const document = Loaded(bytes);
    ASSERT_EQ(Line(document), line) << bytes;
    for (unsigned flags = 0; flags < 4; ++flags) {
      std::string const saved = Saved(document.get(), flags);
      EXPECT_EQ(Line(Loaded(saved)), line) << "written as " << saved;
    }
  }
}

/// Expects that a document is refused at the place of the '^' in it, which is no part of it.
void ExpectRefused(std::string document, bool utf16 = false, std::string const& tail = {}) {
  size_t const place = document.find('^');
  unsigned const line = 1 + static_cast<unsigned>(std::count(&document[0], &document[place], '\n'));
  size_t const before = place == 0 ? std::string::npos : document.rfind('\n', place - 1);  // -1 is column 1
  document.erase(place, 1);
  XmlError error = {};
  EXPECT_EQ(Line(Loaded((utf16 ? Utf16(document) : document) + tail, &error)), L"refused") << document;
  EXPECT_EQ(error.code, YK_E_BADFILE) << document;
  EXPECT_EQ(error.line, line) << document;
  EXPECT_EQ(error.column, place - before) << document;
  EXPECT_GT(wcslen(error.text), 8u) << document;
}

TEST(XmlReader, SaysWhereAndWhyItRefuses) {
  // a line per subject, a bar between documents
  std::istringstream documents(
      "^|  \n ^|^text|<a>^|<a^|<a>^</b>|<a></a^|^</a>|<a></a ^|<a>^</a x>|<a/>^<b/>|<a/>^text|<a/>^&lt;|^< "
      "a/>|"
      "<a x^/>|<a x=^1/>|<a x='1'^y='2'/>|<a x='^<'/>|<a x=^'1/>|^<a\nx='1' y='2'\nx='3'/>|<a ^=''/>|"
      "<a>\n^&unknown;</a>|<a>^&lt</a>|<a>^& </a>|<a>^&#;</a>|<a>^&#x;</a>|<a>^&#0;</a>|<a>^&#xD800;</a>|"
      "<a>^&#x110000;</a>|<a>^&#99999999999999999999;</a>|<a>^]]></a>|<a>^<!b></a>|"
      "<a><!-- ^-- --></a>|<a><!-- ^--|<a>^<!--|<a>^<![CDATA[]]</a>|<a/>^<![CDATA[]]>|"
      "<a><?^1?></a>|<a>^<?x|<a><?x^='1'?></a>|<a/>\n^<?xml version='1.0'?>|"
      "<a>^<!DOCTYPE a></a>|<!DOCTYPE a>^<!DOCTYPE a><a/>|^<!DOCTYPE a [|^<!DOCTYPE a '>|<!DOCTYPE a ^]>|"
      "<!DOCTYPE ^>|^<?xml encoding='UTF-8'?><a/>|^<?xml version='1.x'?><a/>|"
      "<?xml version='1.0' encoding='^ISO-8859-1'?><a>\xE9</a>|<?xml version='1.0' encoding='^UTF-16'?><a/>|"
      "<a>^\x01</a>|<a>^\x80</a>|<a>^\xC0\x80</a>|<a>^\xF4\x90\x80\x80</a>|<a>^\xED\xA0\xBD</a>|"
      "<a>^\xEF\xBF\xBF</a>|<a>^\xC3");
  for (std::string document; std::getline(documents, document, '|');) ExpectRefused(document);
  ExpectRefused("<a>^", false, std::string("\0</a>", 5));
  ExpectRefused("<?xml version='1.0' encoding='^UTF-8'?><a/>", true);
  ExpectRefused("<a/>^", true, "x");
  ExpectRefused("^", false, std::string("\xFE\xFF\0<\0a", 6));
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

// Inputs on which a careless reader takes time that grows with the square of their size.
TEST(XmlReader, TakesLinearTime) {
  std::string attributes = "<a", children = "<a>";
  for (int i = 0; i < 10000; ++i) {
    attributes += " same-beginning-" + std::to_string(i) + "=''";
    children += "  t<b/>";
  }
  EXPECT_FALSE(Loaded(attributes + " same-beginning-7=''/>"));
  EXPECT_TRUE(Loaded(children + "</a>"));
}

}  // namespace
