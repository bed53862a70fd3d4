// A host with an Edit menu: it paints on an image and sets its properties in named transactions, and moves
// back and forth through them.
//
// Properties need no undo item of the host: RecordValue records them. Pixels do: PixelItem below.
#include <qecore/core/diagnostics.h>
#include <qecore/core/ref.h>
#include <qecore/core/system.h>
#include <qecore/image/image.h>
#include <qecore/undo/undo_manager.h>
#include <qecore/values/variant.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <new>
#include <vector>

#include "../print.h"

namespace {

using namespace yk;

// The host chooses the numbers of its properties; the library does not interpret them.
enum Property : unsigned { TITLE = 1, STARS = 2 };

struct Area {
  int left, top, right, bottom;
};

// ---- the undo item for a change of pixels

//! [item]
/// Stores the pixels of a rectangle, and exchanges them with the image's at each undo and redo.
class PixelItem final : public UndoItemOf<PixelItem> {
 public:
  /// Created before the change. Null when there is no memory, which AddItem refuses.
  static PixelItem* Create(Image2d* image, Area area) { return new (std::nothrow) PixelItem(image, area); }

  HRESULT Undo() noexcept override { return Exchange(); }
  HRESULT Redo() noexcept override { return Exchange(); }
  wchar_t const* GetName() noexcept override { return L"pixels"; }
  int GetSize() noexcept override { return static_cast<int>(sizeof *this + kept.size()); }

 private:
  PixelItem(Image2d* painted, Area changed) : image(Ref<Image2d>::Share(painted)), area(changed) {
    for (int y = area.top; y < area.bottom; ++y) {
      kept.insert(kept.end(), image->GetLineEx(y, area.left), image->GetLineEx(y, area.right));
    }
  }

  HRESULT Exchange() noexcept {
    unsigned char* mine = kept.data();
    for (int y = area.top; y < area.bottom; ++y) {
      unsigned char* const from = image->GetLineEx(y, area.left);
      unsigned char* const to = image->GetLineEx(y, area.right);
      mine = std::swap_ranges(from, to, mine);
    }
    return S_OK;
  }

  Ref<Image2d> image;
  Area area;
  std::vector<unsigned char> kept;
};
//! [item]

// ---- the document

class Document {
 public:
  Document() = default;
  ~Document() {
    if (undo) undo->SetChangeCallback(nullptr);  // otherwise the manager's destructor would call it, too
  }

  bool Open() {
    image = Ref<Image2d>::Adopt(Image2d::Create());
    if (!image || Failed(image->Create(IMG_GRAY8, 32, 6))) return false;
    image->ClearColor(0);
    if (Failed(CreateInterface(ids::UNDO_MANAGER, undo.ReceiveVoid()))) return false;
    undo->SetChangeCallback(ShowMenu);
    return true;
  }

  //! [changes]
  /// Part of a transaction: one rectangle of one grey.
  void Paint(Area area, unsigned char grey) {
    undo->AddItem(PixelItem::Create(image.get(), area));
    for (int y = area.top; y < area.bottom; ++y) {
      memset(image->GetLineEx(y, area.left), grey, static_cast<size_t>(area.right - area.left));
    }
  }

  /// Part of a transaction. With `merge`, a change that follows another one of the same property is merged
  /// with it: a slider that is dragged makes one entry in the history.
  template <class Value>
  void Set(Property key, Value value, bool merge = false) {
    undo->RecordValue(image.get(), key, merge);
    Variant variant;
    variant.Init(value);
    image->SetValue(key, variant);
  }

  void Begin() { undo->BeginTransaction(); }
  void End(wchar_t const* name) { undo->EndTransaction(name); }
  //! [changes]

  void Undo() {
    puts("\n-- Undo");
    if (undo->Undo() == E_FAIL) puts("nothing to undo");
    Show();
  }

  void Redo() {
    puts("\n-- Redo");
    if (undo->Redo() == E_FAIL) puts("nothing to redo");
    Show();
  }

  void Show() const {
    Variant value;
    String title;
    int stars = 0;
    if (Failed(image->GetValue(TITLE, value)) || !value.Get(title)) title = L"(untitled)";
    if (Failed(image->GetValue(STARS, value)) || !value.Get(stars)) stars = 0;
    printf("%ls %.*s\n", title.c_str(), stars, "*****");
    for (int y = 0; y < image->height; ++y) {
      unsigned char const* const line = image->GetLine(y);
      putchar('[');
      for (int x = 0; x < image->width; ++x) putchar(" .:-=+*#%@"[line[x] * 10 / 256]);
      puts("]");
    }
  }

 private:
  //! [menu]
  /// The manager calls this whenever its history has changed.
  static void ShowMenu(UndoManager* manager) {
    String name;
    printf("\n  Edit\n");
    bool const canUndo = Succeeded(manager->GetUndoName(name));
    printf("  | Undo %-22ls Ctrl+Z%s\n", canUndo ? name.c_str() : L"", canUndo ? "" : "   (grey)");
    bool const canRedo = Succeeded(manager->GetRedoName(name));
    printf("  | Redo %-22ls Ctrl+Y%s\n", canRedo ? name.c_str() : L"", canRedo ? "" : "   (grey)");
    printf("  | History\n");
    Ref<Array> list;
    if (Failed(manager->GetUndoList(list.Receive(), 0))) return;
    for (int i = 0; i < list->Count(); ++i) {
      Transaction const* const entry = static_cast<Transaction*>(list->At(i));
      printf("  |   %d %ls\n", list->Count() - i, entry->name.c_str());
    }
  }
  //! [menu]

  Ref<Image2d> image;
  Ref<UndoManager> undo;
};

//! [work]
void Work(Document& document) {
  document.Begin();
  document.Set(TITLE, L"Meadow");
  document.Paint({0, 4, 32, 6}, 110);
  document.End(L"New Picture");

  document.Begin();
  document.Paint({23, 1, 29, 3}, 255);
  document.Set(TITLE, L"Meadow with Sun");
  document.End(L"Paint Sun");

  for (int stars = 1; stars <= 4; ++stars) {  // a slider being dragged: one entry
    document.Begin();
    document.Set(STARS, stars, true);
    document.End(L"Rate");
  }
  document.Show();
}
//! [work]

}  // namespace

extern "C" int wmain() {
  SetErrorHandler(Print);  // nobody would close a message box
  Ref<System> const system = Ref<System>::Adopt(System::Create());
  Document document;
  if (!system || !document.Open()) {
    fputs("undo: the library does not start\n", stderr);
    return 1;
  }
  Work(document);
  for (int i = 0; i < 4; ++i) document.Undo();
  document.Redo();
  document.Redo();

  document.Begin();
  document.Paint({4, 1, 12, 2}, 180);
  document.End(L"Paint Cloud");  // "Rate" can no longer be redone
  document.Show();
  document.Redo();
  return 0;
}
