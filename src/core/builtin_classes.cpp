#include "builtin_classes_p.h"

#include <qecore/image/image.h>
#include <qecore/io/xml.h>
#include <qecore/undo/undo_manager.h>
#include <qecore/values/map.h>

#include "registry_p.h"

namespace yk {

namespace {

HRESULT RegisterImage() noexcept { return RegisterOwn<Image2d>(AbstractImage::Id(), nullptr); }

HRESULT RegisterUndoManager() noexcept { return RegisterOwn<UndoManager>(UndoManager::Id(), "UndoManager"); }

HRESULT RegisterXmlHelper() noexcept { return RegisterOwn<XmlHelper>(ids::UNKNOWN, "XMLHelper"); }

constexpr HRESULT (*IN_ORDER[])() noexcept = {RegisterImage, Map::Register, RegisterUndoManager,
                                              RegisterXmlHelper};

}  // namespace

bool RegisterBuiltinClasses() noexcept {
  for (auto const registerClass : IN_ORDER) {
    if (Failed(registerClass())) return false;
  }
  return true;
}

}  // namespace yk
