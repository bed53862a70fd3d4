#include "class_info_p.h"

#include <qecore/core/memory.h>
#include <qecore/core/module_cache.h>
#include <qecore/core/ref.h>
#include <qecore/core/registry.h>
#include <qecore/io/serializer.h>
#include <qecore/values/map.h>
#include <string.h>

#include <utility>

#include "cache_record_p.h"
#include "io/records_p.h"

namespace yk {

namespace {

void FreeName(ClassInfo& info) noexcept {
  if (!(info.flags & ClassInfo::OWN_NAME)) return;
  yk_delete(const_cast<char*>(info.name));
  info.name = nullptr;
  info.flags &= ~ClassInfo::OWN_NAME;
}

/// Allocates the record's own name; null without memory.
char* NewName(ClassInfo& info, size_t length) noexcept {
  FreeName(info);
  char* const name = static_cast<char*>(yk_new(length + 1));
  info.name = name;
  if (!name) return nullptr;
  info.flags |= ClassInfo::OWN_NAME;
  name[length] = 0;
  return name;
}

bool ReadName(Deserializer& reader, ClassInfo& info) noexcept {
  unsigned const length = reader.GetChunkSize();
  if (length == 0) return true;
  char* const name = NewName(info, length);
  return name && ReadBytes(reader, name, length);
}

bool ReadInfo(Deserializer& reader, ClassInfo& info) noexcept {
  Ref<Map> const map = Ref<Map>::Adopt(Map::Create());
  if (!map) return false;
  Ref<Map>::Adopt(std::exchange(info.info, Ref<Map>(map).Detach())).Reset();
  bool const isRead = Succeeded(map->Load(&reader, nullptr));
  while (Succeeded(map->Remove(ClassInfo::INFO_RANK))) continue;  // only hosts rank filters
  return isRead;
}

bool ReadInterfaceId(Deserializer& reader, ClassInfo& info) noexcept {
  return ReadBytes(reader, &info.interfaceId, sizeof info.interfaceId);
}

bool ReadClassId(Deserializer& reader, ClassInfo& info) noexcept {
  return ReadBytes(reader, &info.classId, sizeof info.classId);
}

constexpr CacheItem<ClassInfo> ITEMS[] = {
    {cache::CLASS_ID, ReadClassId},
    {cache::INTERFACE_ID, ReadInterfaceId},
    {cache::CLASS_NAME, ReadName},
    {cache::FILTER_INFO, ReadInfo},
};

}  // namespace

void ClassInfo::Read(Deserializer* reader) noexcept {
  if (reader) ReadClassInfo(*reader, *this);
}

ClassInfo::~ClassInfo() {
  Ref<Map>::Adopt(info).Reset();
  FreeName(*this);
}

void CopyName(ClassInfo& info, char const* text) noexcept {
  size_t const length = text ? strlen(text) : 0;
  if (length == 0) {
    FreeName(info);
    info.name = nullptr;
  } else if (char* const name = NewName(info, length)) {
    memcpy(name, text, length + 1);
  }
}

// The flags are restored as saved. OWN_NAME is harmless when there is no name.
bool ReadClassInfo(Deserializer& reader, ClassInfo& info) noexcept {
  bool const flagged = ReadBytes(reader, &info.flags, sizeof info.flags);
  return ReadItems(reader, ITEMS, info) && flagged;
}

HRESULT WriteClassInfo(Serializer& writer, ClassInfo const& info, ExecutionContext* context) noexcept {
  writer.Write(&info.flags, sizeof info.flags);
  writer.WriteChunk(cache::CLASS_ID, &info.classId, sizeof info.classId);
  writer.WriteChunk(cache::INTERFACE_ID, &info.interfaceId, sizeof info.interfaceId);
  writer.WriteStringChunk(cache::CLASS_NAME, info.name);
  if (!info.info) return S_OK;
  HRESULT const begun = writer.BeginChunk(cache::FILTER_INFO);
  HRESULT const saved = info.info->Save(&writer, context);
  writer.EndChunk();
  if (Failed(begun)) return begun;
  return Failed(saved) ? saved : S_OK;
}

}  // namespace yk
