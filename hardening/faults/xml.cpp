// XML: saved, loaded, edited.
#include <qecore/io/file_stream.h>
#include <qecore/io/mem_stream.h>
#include <qecore/io/save_file.h>
#include <qecore/io/xml.h>
#include <qecore/values/string.h>

#include "faults.h"

namespace faults {

namespace {

constexpr char16_t PATH[] = u"C:\\document.xml";
constexpr char OLD_FILE[] = "<old/>";
constexpr int CHILDREN = 400;  // more than the writer's buffer holds

/// A helper and a document, created and destroyed without failures.
struct Document {
  Document() noexcept {
    harness::Calm const calm;
    xml = Ref<XmlHelper>::Adopt(XmlHelper::Create());
  }
  ~Document() {
    harness::Calm const calm;
    if (node) xml->FreeNode(node);
  }

  void Fill() {
    harness::Calm const calm;
    node = xml->CreateDocument();
    XmlNode* const list = xml->CreateNode(XML_ELEMENT, L"list");
    xml->AppendChild(node, list);
    for (int i = 0; i < CHILDREN; ++i) {
      XmlNode* const child = xml->CreateNode(XML_ELEMENT, L"child");
      xml->SetText(child, L"text & more");
      xml->SetAttribute(child, L"name", L"value");
      xml->AppendChild(list, child);
    }
  }

  bool IsComplete() const {
    if (!node || !node->FirstChild()) return false;
    int sound = 0;
    for (XmlNode const* child = node->FirstChild()->FirstChild(); child; child = child->Next()) {
      XmlAttribute const* const attribute = child->FirstAttribute();
      sound += child->Text() == L"text & more" && attribute && attribute->Value() == L"value";
    }
    return sound == CHILDREN;
  }

  Ref<XmlHelper> xml;
  XmlNode* node = nullptr;
};

std::string const& Sound() {
  static std::string const bytes = Calmly([] {
    Document document;
    document.Fill();
    Ref<Stream> stream;
    if (Failed(MemStream::Create(stream.Receive()))) abort();
    document.xml->Save(document.node, stream.get(), XML_LAYOUT);
    void* content = nullptr;
    static_cast<MemStream&>(*stream).GetBuffer(&content);
    return std::string(static_cast<char*>(content), stream->GetSize());
  });
  return bytes;
}

void PutOldFile() {
  Sound();  // created before anything fails
  PutOnly(PATH, OLD_FILE);
}

void PutSoundFile() { PutOnly(PATH, Sound()); }

// The host checks only the helper.
Outcome SaveStraight() {
  Outcome outcome;
  Document document;
  document.Fill();
  {
    Ref<Stream> stream;
    if (!outcome.Note(FileStream::Create(Wide(PATH), FileStream::CREATE, stream.Receive())))
      return outcome.End();
    outcome.Note(document.xml->Save(document.node, stream.get(), XML_LAYOUT));
    outcome.Note(document.xml->GetFailure());
  }
  outcome.whole = harness::ReadFile(PATH) == Sound();
  return outcome;
}

Outcome SaveWhole() {
  Outcome outcome;
  Document document;
  document.Fill();
  SaveFile file;
  if (outcome.Note(file.Open(Wide(PATH)))) {
    outcome.Note(document.xml->Save(document.node, file.GetStream(), XML_LAYOUT));
    if (Succeeded(outcome.reported)) outcome.Note(file.Commit());
  }
  file.Discard();
  outcome.whole = harness::ReadFile(PATH) == Sound();
  outcome.broken = CheckReplaced(PATH, OLD_FILE, Sound());
  return outcome;
}

Outcome Load() {
  Outcome outcome;
  Document document;
  Ref<Stream> stream;
  if (!outcome.Note(FileStream::Create(Wide(PATH), FileStream::READ, stream.Receive()))) return outcome.End();
  XmlError error{};
  HRESULT const result = document.xml->Load(stream.get(), &document.node, &error);
  outcome.Note(result);
  if (Failed(result) && (error.code != result || !error.text))
    outcome.broken = "an error without code or text";
  if (Succeeded(result) != (document.node != nullptr))
    outcome.broken = "a document without success, or none with it";
  outcome.whole = document.IsComplete();
  return outcome;
}

Outcome Edit() {
  Outcome outcome;
  Document document;
  XmlHelper& xml = *document.xml;
  document.node = xml.CreateDocument();
  XmlNode* const element = xml.CreateNode(XML_ELEMENT, L"a");
  if (!outcome.Note(document.node != nullptr) | !outcome.Note(element != nullptr))
    return xml.FreeNode(element), outcome.End();
  outcome.Note(xml.SetText(element, L"text"));
  outcome.Note(xml.SetAttribute(element, L"name", L"first"));
  outcome.Note(xml.SetAttribute(element, L"name", L"second"));
  outcome.Note(xml.SetName(element, L"b"));
  xml.AppendChild(document.node, element);
  XmlNode* const comment = xml.CreateNode(XML_COMMENT, L"a note\r\non two lines");
  bool const noted =
      outcome.Note(comment != nullptr) && outcome.Note(xml.SetText(comment, L"a longer note\non two"));
  xml.FreeNode(comment);
  XmlAttribute const* const attribute = element->FirstAttribute();
  outcome.whole = noted && element->Name() == L"b" && element->Text() == L"text" && attribute &&
                  attribute->Value() == L"second";
  if (element->Name().IsEmpty()) outcome.broken = "an element without a name";
  if (attribute && attribute->Name().IsEmpty()) outcome.broken = "an attribute without a name";
  return outcome;
}

// More attributes than are searched one by one; an index that cannot grow must not cost any of them.
Outcome EditAttributes() {
  constexpr unsigned COUNT = 52, CALLS = 80;
  Outcome outcome;
  Document document;
  XmlHelper& xml = *document.xml;
  document.node = xml.CreateNode(XML_ELEMENT, L"e");
  if (!outcome.Note(document.node != nullptr)) return outcome.End();
  bool set[COUNT] = {};
  auto const name = [](unsigned i) { return std::wstring(L"n") + static_cast<wchar_t>(0x0391 + i); };
  for (unsigned i = 0; i < CALLS; ++i) {
    std::wstring const one = Calmly([&] { return name(i % COUNT); });
    set[i % COUNT] |= outcome.Note(xml.SetAttribute(document.node, one.c_str(), L"v"));
  }
  harness::Calm const calm;
  for (unsigned i = 0; i < COUNT; ++i) {
    bool const found = xml.FindAttribute(document.node, name(i).c_str()) != nullptr;
    if (found != set[i]) outcome.broken = "an attribute that is set is not found";
    outcome.whole = outcome.whole && found;
  }
  return outcome;
}

// Every form of a document, in both encodings.
Outcome LoadForms() {
  constexpr char FORMS[] =
      "<!--c\r\n--><?i x?><a v='1&#10;2' w='&amp;'>t &lt; u<![CDATA[<x>]]> <b> </b>\r\n <c/></a>";
  constexpr char SAVED[] = "<!--c\n--><?i x?><a v=\"1&#xA;2\" w=\"&amp;\">t &lt; u&lt;x&gt; <b> </b><c/></a>";
  Outcome outcome;
  for (int const width : {1, 2}) {
    Document document;
    std::string bytes = width == 2 ? "\xFF\xFE" : "";
    for (char const* at = FORMS; *at; ++at) (bytes += *at).append(static_cast<size_t>(width - 1), '\0');
    auto const memory = [](std::string const& content) {
      Ref<Stream> stream;
      if (Failed(MemStream::Create(stream.Receive()))) abort();
      stream->Write(content.data(), static_cast<unsigned>(content.size()));
      stream->Seek(0, Stream::FROM_START);
      return stream;
    };
    Ref<Stream> const stream = Calmly([&] { return memory(bytes); });
    bool const loaded = outcome.Note(document.xml->Load(stream.get(), &document.node, nullptr));
    harness::Calm const calm;
    Ref<Stream> const saved = memory("");
    document.xml->Save(document.node, saved.get(), XML_COMPACT);
    void* content = nullptr;
    static_cast<MemStream&>(*saved).GetBuffer(&content);
    bool const same = content && std::string(static_cast<char*>(content), saved->GetSize()) == SAVED;
    if (loaded && !same) outcome.broken = "a different document, and S_OK";
    outcome.whole = outcome.whole && same;
  }
  return outcome;
}

constexpr Scenario SCENARIOS[] = {
    {"xml: save", SAVING, PutOldFile, SaveStraight},
    {"xml: save whole", SAVING, PutOldFile, SaveWhole},
    {"xml: load", LOADING, PutSoundFile, Load},
    {"xml: load every form", harness::MEMORY, nullptr, LoadForms},
    {"xml: edit", harness::MEMORY, nullptr, Edit},
    {"xml: edit attributes", harness::MEMORY, nullptr, EditAttributes},
};

}  // namespace

std::span<Scenario const> XmlScenarios() { return SCENARIOS; }

}  // namespace faults
