// XML: the reader over arbitrary bytes, trees under arbitrary sequences of edits; every tree that was loaded
// or built must be equal after it is saved, in each of the four ways, and loaded again.
#include <qecore/io/mem_stream.h>
#include <qecore/io/xml.h>
#include <stdio.h>

#include <utility>

#include "target.h"

namespace fuzz {

using namespace yk;

namespace {

constexpr unsigned ALL_FLAGS = XML_LAYOUT | XML_UTF16;

char const* DifferenceOfAttributes(XmlNode const& a, XmlNode const& b) {
  XmlAttribute const *x = a.FirstAttribute(), *y = b.FirstAttribute();
  for (; x && y; x = x->Next(), y = y->Next()) {
    if (x->Name() != y->Name()) return "an attribute's name";
    if (x->Value() != y->Value()) return "an attribute's value";
  }
  return x || y ? "the number of attributes" : nullptr;
}

char const* DifferenceOfNodes(XmlNode const& a, XmlNode const& b) {
  if (a.Kind() != b.Kind()) return "a node's kind";
  if (a.Name() != b.Name()) return "a node's name";
  if (a.Text() != b.Text()) return "a node's text";
  return DifferenceOfAttributes(a, b);
}

/// Null for equal trees.
char const* Difference(XmlNode const* first, XmlNode const* second) {
  std::vector<std::pair<XmlNode const*, XmlNode const*>> todo{{first, second}};
  while (!todo.empty()) {
    auto const [a, b] = todo.back();
    todo.pop_back();
    if (!a && !b) continue;
    if (!a || !b) return "the number of nodes";
    if (char const* const difference = DifferenceOfNodes(*a, *b)) return difference;
    todo.push_back({a->Next(), b->Next()});
    todo.push_back({a->FirstChild(), b->FirstChild()});
  }
  return nullptr;
}

[[noreturn]] void Report(unsigned flags, char const* what, Stream& saved) {
  std::string const bytes = BytesOf(saved);
  fprintf(stderr, "fuzz: XML: saved with the flags %u and loaded, it differs in %s:\n%.2000s\n", flags, what,
          bytes.c_str());
  abort();
}

void RoundTrip(XmlHelper& xml, XmlNode const* document, unsigned flags) {
  Ref<Stream> out;
  if (Failed(MemStream::Create(out.Receive())) || Failed(xml.Save(document, out.get(), flags))) return;
  out->Seek(0, Stream::FROM_START);
  XmlNode* again = nullptr;
  HRESULT const result = xml.Load(out.get(), &again, nullptr);
  if (!MayFail()) {
    if (Failed(result)) Report(flags, "that it does not load", *out);
    if (char const* const what = Difference(document, again)) Report(flags, what, *out);
  }
  if (again) xml.FreeNode(again);
}

bool HasControls(String const& text) {
  for (size_t i = 0; i < text.Length(); ++i) {
    wchar_t const c = text.At(i);
    if (c < L' ' && c != L'\t' && c != L'\n' && c != L'\r') return true;
  }
  return false;
}

bool IsChangedByTheWriter(XmlNode const& node) {
  bool const mustNotBeEmpty = node.Kind() == XML_COMMENT || node.Kind() == XML_INSTRUCTION;
  if ((mustNotBeEmpty && node.Text().IsEmpty()) || HasControls(node.Text())) return true;
  for (XmlAttribute const* a = node.FirstAttribute(); a; a = a->Next()) {
    if (HasControls(a->Value())) return true;
  }
  return false;
}

/// What the writer's two exceptions (xml.h) would change.
bool HasOddities(XmlNode const* document) {
  std::vector<XmlNode const*> todo{document};
  while (!todo.empty()) {
    XmlNode const* const node = todo.back();
    todo.pop_back();
    if (!node) continue;
    if (IsChangedByTheWriter(*node)) return true;
    todo.push_back(node->Next());
    todo.push_back(node->FirstChild());
  }
  return false;
}

}  // namespace

// how, document
void ReadXml(Input& in) {
  unsigned const how = in.Byte();
  std::vector<uint8_t> const bytes = in.Rest();
  Ref<Stream> const stream = StreamOf(bytes.data(), bytes.size());
  Ref<XmlHelper> const xml = Ref<XmlHelper>::Adopt(XmlHelper::Create());
  if (!xml) return;
  XmlNode* document = nullptr;
  XmlError error{};
  HRESULT const result = xml->Load(stream.get(), &document, how & 1 ? nullptr : &error);
  Require(Succeeded(result) == (document != nullptr), "success comes with a document");
  if (Failed(result))
    return Require((how & 1) || (error.code == result && error.text), "an error has a code and a text");
  if (!HasOddities(document)) RoundTrip(*xml, document, how >> 1 & ALL_FLAGS);
  xml->FreeNode(document);
}

// ---- edits

namespace {

struct Editing {
  Ref<XmlHelper> xml;
  XmlNode* document;
  std::vector<XmlNode*> loose;  // owned here
  std::vector<XmlNode*> all;    // the document, the loose ones, and their descendants

  XmlNode* Any(Input& in) const { return in.Pick(all); }

  void Collect() {
    all.clear();
    std::vector<XmlNode*> todo{document};
    todo.insert(todo.end(), loose.begin(), loose.end());
    while (!todo.empty()) {
      XmlNode* const node = todo.back();
      todo.pop_back();
      all.push_back(node);
      for (XmlNode* child = node->FirstChild(); child; child = child->Next()) {
        Require(child->Parent() == node, "a child refers to its parent");
        todo.push_back(child);
      }
    }
  }
};

void Create(Editing& e, Input& in) {
  std::vector<wchar_t> const content = in.Wide(12);
  uint32_t const kind = in.OneIn(4) ? in.Below(6) : XML_ELEMENT;
  if (XmlNode* const node = e.xml->CreateNode(kind, content.data())) e.loose.push_back(node);
}

XmlNode* ChooseBefore(Editing& e, XmlNode* parent, Input& in) {
  if (in.OneIn(16)) return e.Any(in);
  if (in.Flag()) return nullptr;
  XmlNode* before = parent->FirstChild();
  for (unsigned skip = in.Below(4); before && skip > 0; --skip) before = before->Next();
  return before;
}

void Insert(Editing& e, Input& in) {
  if (e.loose.empty()) return;
  unsigned const which = in.Byte() % e.loose.size();
  XmlNode* const parent = e.Any(in);
  if (Failed(e.xml->InsertChild(parent, e.loose[which], ChooseBefore(e, parent, in)))) return;
  e.loose.erase(e.loose.begin() + which);
}

void Remove(Editing& e, Input& in) {
  XmlNode* const node = e.Any(in);
  if (node != e.document && Succeeded(e.xml->RemoveNode(node))) e.loose.push_back(node);
}

void Free(Editing& e, Input& in) {
  XmlNode* const node = e.Any(in);
  if (node == e.document) return;
  std::erase(e.loose, node);
  e.xml->FreeNode(node);
}

void Rename(Editing& e, Input& in) {
  XmlNode* const node = e.Any(in);
  e.xml->SetName(node, in.Wide(10).data());
}

void SetText(Editing& e, Input& in) {
  XmlNode* const node = e.Any(in);
  std::vector<wchar_t> const text = in.Wide(30);
  e.xml->SetText(node, in.OneIn(8) ? nullptr : text.data());
}

void SetAttribute(Editing& e, Input& in) {
  XmlNode* const node = e.Any(in);
  std::vector<wchar_t> const name = in.Wide(6), value = in.Wide(30);
  HRESULT const result = e.xml->SetAttribute(node, name.data(), in.OneIn(8) ? nullptr : value.data());
  if (Succeeded(result))
    Require(e.xml->FindAttribute(node, name.data()) != nullptr, "a set attribute is found");
}

void RemoveAttribute(Editing& e, Input& in) {
  XmlNode* const node = e.Any(in);
  std::vector<wchar_t> const name = in.Wide(6);
  if (Succeeded(e.xml->RemoveAttribute(node, name.data())))
    Require(!e.xml->FindAttribute(node, name.data()), "a removed attribute is not found");
}

void Find(Editing& e, Input& in) {
  XmlNode* const node = e.Any(in);
  std::vector<wchar_t> const name = in.Wide(6);
  XmlNode* const child = e.xml->FindChild(node, in.Flag() ? name.data() : nullptr, nullptr);
  if (child) e.xml->FindChild(node, nullptr, child);
}

void Escape(Editing& e, Input& in) {
  std::vector<wchar_t> const text = in.Wide(40);
  size_t const length = e.xml->Escape(text.data(), nullptr);
  std::vector<wchar_t> escaped(length + 1, L'?');
  Require(e.xml->Escape(text.data(), escaped.data()) == length, "counting and writing agree");
  Require(escaped[length] == 0, "an escaped text is terminated");
}

using Step = void (*)(Editing&, Input&);
constexpr Step STEPS[] = {Create,  Create,       Insert,       Insert,          Remove, Free,  Rename,
                          SetText, SetAttribute, SetAttribute, RemoveAttribute, Find,   Escape};

bool HasOneRoot(XmlNode const& document) {
  int roots = 0;
  for (XmlNode const* child = document.FirstChild(); child; child = child->Next())
    roots += child->Kind() == XML_ELEMENT;
  return roots == 1;
}

}  // namespace

void EditXml(Input& in) {
  Editing e;
  e.xml = Ref<XmlHelper>::Adopt(XmlHelper::Create());
  e.document = e.xml ? e.xml->CreateDocument() : nullptr;
  if (!e.document) return;
  e.Collect();
  for (int turns = 0; turns < 120 && in.More(); ++turns) {
    in.Step(STEPS)(e, in);
    e.Collect();
  }
  if (HasOneRoot(*e.document) && !HasOddities(e.document)) {
    for (unsigned flags = 0; flags <= ALL_FLAGS; ++flags) RoundTrip(*e.xml, e.document, flags);
  }
  for (XmlNode* const node : e.loose) e.xml->FreeNode(node);
  e.xml->FreeNode(e.document);
}

void SeedXml(Seeds& seeds) {
  static constexpr char const* DOCUMENTS[] = {
      "<a/>",
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<a b='c' d=\"&amp;&#10;&#x41;\">text<!-- no "
      "-->\t<b/>more</a>",
      "<!DOCTYPE a [<!ENTITY x \"y\"><!-- ] -->]><a><![CDATA[<&>]]><?target data?></a>",
      "\xEF\xBB\xBF<caf\xC3\xA9>\xE2\x82\xAC &lt;&gt;&quot;&apos;</caf\xC3\xA9>",
      "<a><a><a><a><a/></a></a></a></a>",
  };
  int number = 0;
  for (char const* const document : DOCUMENTS) {
    seeds.Add(std::to_string(number), std::string(1, '\0') + document);
    std::string wide = "\xFF\xFE";
    for (char const* c = document; *c; ++c) wide += {*c, '\0'};
    seeds.Add(std::to_string(number++) + "-wide", std::string(1, '\2') + wide);
  }
}

}  // namespace fuzz
