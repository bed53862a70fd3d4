#include "builtin_classes_p.h"

#include <qecore/core/registry.h>
#include <qecore/io/xml.h>
#include <qecore/undo/undo_manager.h>
#include <qecore/values/map.h>

#include "image/image_p.h"

namespace yk {

namespace {

/// The factory of a class that has a static Create(). It makes nothing for another class's record.
template <class Class, Guid const& ID>
HRESULT Make(ClassInfo const* info, void** out) {
  *out = nullptr;
  if (!(info->classId == ID)) return E_NOINTERFACE;
  *out = Class::Create();
  return *out ? S_OK : E_OUTOFMEMORY;
}

template <class Class, Guid const& ID>
HRESULT Register(Guid const& interfaceId, char const* name) noexcept {
  ClassInfo info;
  info.classId = ID;
  info.interfaceId = interfaceId;
  info.name = name;
  info.create = Make<Class, ID>;
  info.flags = ClassInfo::STATIC_NAME;
  return RegisterInterface(&info);
}

HRESULT RegisterUndoManager() noexcept {
  return Register<UndoManager, ids::UNDO_MANAGER>(ids::UNDO_MANAGER, "UndoManager");
}

HRESULT RegisterXmlHelper() noexcept {
  return Register<XmlHelper, ids::XML_HELPER>(ids::UNKNOWN, "XMLHelper");
}

constexpr HRESULT (*IN_ORDER[])() noexcept = {img::RegisterImageClass, Map::Register, RegisterUndoManager,
                                              RegisterXmlHelper};

}  // namespace

bool RegisterBuiltinClasses() noexcept {
  for (auto const registerClass : IN_ORDER) {
    if (Failed(registerClass())) return false;
  }
  return true;
}

}  // namespace yk
