// Work of which the time of an item should not depend on the number of items.
#include <qecore/core/module.h>
#include <qecore/core/system.h>
#include <qecore/io/file.h>
#include <qecore/undo/undo_manager.h>
#include <qecore/values/array.h>
#include <stdlib.h>
#include <windows.h>

#include <algorithm>
#include <new>

#include "documents.h"

namespace bench {

using namespace yk;

namespace {

using XmlRef = Ref<XmlHelper>;

class Thing final : public Destroys<Thing, Unknown> {};

HRESULT MakeThing(ClassInfo const*, void** out) {
  *out = new (std::nothrow) Thing;
  return *out ? S_OK : E_OUTOFMEMORY;
}

Variant NumberOf(size_t number) {
  Variant value;
  value.Init(static_cast<int>(number));
  return value;
}

// ---- containers

unsigned KeyOf(size_t i) { return static_cast<unsigned>(i * 2654435761u); }

Ref<Map> MakeMap(size_t size) {
  Ref<Map> map = Ref<Map>::Adopt(Map::Create());
  for (size_t i = 0; i < size; ++i) map->SetValue(KeyOf(i), NumberOf(i));
  return map;
}

Work AppendToArray(size_t size, double&) {
  return [=] {
    Ref<Array> const array = Ref<Array>::Adopt(Array::Create(0));
    for (size_t i = 0; i < size; ++i) array->Add(array.get());
  };
}

Work AppendRecords(size_t size, double&) {
  return [=] {
    Ref<DataArray> const array = Ref<DataArray>::Adopt(DataArray::Create());
    array->SetRecord(16, nullptr);
    for (size_t i = 0; i < size; ++i) array->AtInsert(static_cast<int>(i));
  };
}

Work LookUp(size_t size, double& items) {
  constexpr size_t LOOKUPS = 1000;
  items = LOOKUPS;
  Ref<Map> const map = MakeMap(size);
  return [=] {
    Variant value;
    for (size_t i = 0; i < LOOKUPS; ++i) map->GetValue(KeyOf(i * 7919 % size), value);
    Keep(value);
  };
}

Work BuildMap(size_t size, double&) {
  return [=] { Keep(MakeMap(size)); };
}

Work EmptyMap(size_t size, double&) {
  return [=] {
    Ref<Map> const map = MakeMap(size);
    for (size_t i = 0; i < size; ++i) map->Remove(KeyOf(i));
  };
}

// ---- undo

/// Records all values of a map, and once more, merged with those recorded.
Work RecordValues(size_t size, double&) {
  return [=] {
    Ref<UndoManager> const manager = Ref<UndoManager>::Adopt(UndoManager::Create());
    Ref<Map> const map = MakeMap(size);
    for (bool merge : {false, true}) {
      manager->BeginTransaction();
      for (size_t i = 0; i < size; ++i) manager->RecordValue(map.get(), KeyOf(i), merge);
      manager->EndTransaction(L"recorded");
    }
  };
}

// ---- the registry

Guid NumberedClass(size_t number) { return {static_cast<uint32_t>(number), 0x7701, 0x4702, {9, 9, 9, 9}}; }

void RegisterClasses(size_t count) {
  for (size_t i = 0; i < count; ++i) {
    ClassInfo info;
    info.classId = info.interfaceId = NumberedClass(i);
    info.create = MakeThing;
    info.name = "thing";
    info.flags = ClassInfo::STATIC_NAME;
    RegisterInterface(&info);
  }
}

void NewSystem() {
  System::ptr()->Release();
  if (!System::Create()) abort();
}

Work CreateLast(size_t size, double& items) {
  items = 1000;
  NewSystem();
  RegisterClasses(size);
  return [=] {
    for (int i = 0; i < 1000; ++i) {
      Ref<Unknown> object;
      CreateInterface(NumberedClass(size - 1), object.ReceiveVoid());
    }
  };
}

/// The plug-in of the examples, copied.
Work ScanPlugins(size_t size, double&) {
  auto const folder = std::make_shared<String>(TemporaryPath(L"plugins"));
  *folder += std::to_wstring(size).c_str();
  wchar_t path[1000];
  GetModuleFileNameW(nullptr, path, 1000);
  String plugin = String(path).FilePath();
  plugin += L"\\plugin_tga.qem";
  file::NewFolder(folder->c_str());
  for (size_t i = 0; i < size; ++i) {
    String copy;
    copy.printf(L"%s\\%u.qem", folder->c_str(), static_cast<unsigned>(i));
    if (!file::IsFileExist(copy) && !CopyFileW(plugin.c_str(), copy.c_str(), TRUE)) abort();
  }
  Work const scan = [=] {
    NewSystem();
    String cache(*folder);
    cache += L".cache";
    System::ptr()->ScanModules(*folder, cache);
  };
  scan();
  return scan;
}

// ---- streams and object files

Work WriteKilobytes(size_t size, double& items) {
  constexpr unsigned PIECE = 1024;
  items = static_cast<double>(size);
  return [=] {
    static constexpr char BYTES[PIECE] = {};
    StreamRef const stream = NewMemory();
    for (size_t done = 0; done < size; done += PIECE) stream->Write(BYTES, PIECE);
  };
}

Work SaveToMemory(size_t size, double&) {
  auto const tree = std::make_shared<Node>(MakeTree(size));
  return [=] { SaveTree(*tree, NewMemory().get()); };
}

void SaveToPath(Node const& tree, String const& path) {
  SaveFile file;
  if (Failed(file.Open(path))) abort();
  SaveTree(tree, file.GetStream());
  if (Failed(file.Commit())) abort();
}

Work SaveToFile(size_t size, double&) {
  auto const tree = std::make_shared<Node>(MakeTree(size));
  return [=] { SaveToPath(*tree, TemporaryPath(L"saved")); };
}

Work LoadFromFile(size_t size, double&) {
  auto const path = std::make_shared<String>(TemporaryPath(L"tree"));
  *path += std::to_wstring(size).c_str();
  SaveToPath(MakeTree(size), *path);
  return [=] { Keep(LoadTree(OpenFile(*path, FileStream::READ).get())); };
}

Work WriteReferences(size_t size, double&) {
  auto const objects = std::make_shared<std::vector<Ref<Unknown>>>();
  for (size_t i = 0; i < size; ++i) objects->push_back(Ref<Unknown>::Adopt(new Thing));
  return [=] {
    StreamRef const stream = NewMemory();
    Ref<Serializer> const writer = Ref<Serializer>::Adopt(Serializer::Create());
    writer->Open(stream.get(), 0);
    for (Ref<Unknown> const& object : *objects) writer->WriteReference(object.get());
    writer->Close();
  };
}

// ---- XML

template <unsigned FLAGS>
Work WriteXml(size_t size, double&) {
  XmlRef const xml = XmlRef::Adopt(XmlHelper::Create());
  std::shared_ptr<XmlNode> const document(MakeCatalogue(*xml, size),
                                          [=](XmlNode* node) { xml->FreeNode(node); });
  return [=] { xml->Save(document.get(), NewMemory().get(), FLAGS); };
}

/// Inserts children before the last, and frees them from the last to the first.
Work EditChildren(size_t size, double&) {
  return [=] {
    XmlRef const xml = XmlRef::Adopt(XmlHelper::Create());
    XmlNode* const list = xml->CreateNode(XML_ELEMENT, L"list");
    XmlNode* const last = xml->CreateNode(XML_ELEMENT, L"last");
    xml->AppendChild(list, last);
    std::vector<XmlNode*> children;
    for (size_t i = 0; i < size; ++i) {
      children.push_back(xml->CreateNode(XML_ELEMENT, L"item"));
      xml->InsertChild(list, children.back(), last);
    }
    while (!children.empty()) {
      xml->FreeNode(children.back());
      children.pop_back();
    }
    xml->FreeNode(list);
  };
}

Work SetAttributes(size_t size, double&) {
  auto const names = std::make_shared<std::vector<std::wstring>>();
  for (size_t i = 0; i < size; ++i) names->push_back(L"attribute" + std::to_wstring(i));
  return [=] {
    XmlRef const xml = XmlRef::Adopt(XmlHelper::Create());
    XmlNode* const element = xml->CreateNode(XML_ELEMENT, L"e");
    for (std::wstring const& name : *names) xml->SetAttribute(element, name.c_str(), L"v");
    xml->FreeNode(element);
  };
}

constexpr size_t MEGABYTE = 1 << 20;

}  // namespace

void AddContainerGrowth() {
  AddGrowth("Array::Add", 2, {10000, 316000, 10000000}, AppendToArray);
  AddGrowth("DataArray::AtInsert, at the end", 2, {10000, 100000, 1000000}, AppendRecords);
  AddGrowth("Map look-up", 4, {10, 3160, 1000000}, LookUp);
  AddGrowth("Map build", 2, {1000, 10000, 100000}, BuildMap);
  AddGrowth("Map build and removal from the front", 2, {100, 1000, 4000}, EmptyMap);
  AddGrowth("RecordValue, and merged", 2, {1000, 3160, 10000}, RecordValues);
}

void AddFileGrowth() {
  AddGrowth("writes of 1 KB to memory, a byte", 2, {MEGABYTE, 8 * MEGABYTE, 64 * MEGABYTE}, WriteKilobytes);
  AddGrowth("objects saved to memory", 2, {1000, 18000, 330000}, SaveToMemory);
  AddGrowth("objects saved to a file", 2, {1000, 3160, 10000}, SaveToFile);
  AddGrowth("objects loaded from a file", 2, {1000, 3160, 10000}, LoadFromFile);
  AddGrowth("WriteReference", 2, {1000, 10000, 100000}, WriteReferences);
  AddGrowth("XML records written as UTF-8", 2, {500, 5000, 50000}, WriteXml<XML_LAYOUT>);
  AddGrowth("XML records written as UTF-16", 2, {500, 5000, 50000}, WriteXml<XML_UTF16>);
  AddGrowth("XML children inserted and freed at the end", 2, {1000, 5480, 30000}, EditChildren);
  AddGrowth("XML attributes of an element", 2, {100, 710, 5000}, SetAttributes);
  AddGrowth("CreateInterface, the last class", 2, {100, 1000, 10000}, CreateLast);
  AddGrowth("plug-in of a scan, from the cache", 2, {10, 100, 1000}, ScanPlugins);
}

}  // namespace bench
