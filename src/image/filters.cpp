#include <qecore/image/image_file.h>

#include <qecore/core/error.h>
#include <qecore/io/file_find.h>
#include <qecore/io/file_formats.h>
#include <wchar.h>

#include <algorithm>

#include "core/error_p.h"
#include "core/registry_p.h"
#include "filters_p.h"

namespace yk {

namespace {

int NumberIn(ClassInfo const& filter, unsigned key) noexcept {
  Variant value;
  int number = 0;
  return filter.info && Succeeded(filter.info->GetValue(key, value)) && value.Get(number) ? number : 0;
}

String TextIn(ClassInfo const& filter, unsigned key) noexcept {
  Variant value;
  String text;
  if (filter.info && Succeeded(filter.info->GetValue(key, value))) value.Get(text);
  return text;
}

bool IsImageFilter(ClassInfo const& info) noexcept { return info.interfaceId == ykFlt2d::Id(); }

/// Whether a class has an interface, and another one.
bool IsForAnother(Guid const& id) noexcept {
  ClassInfo const* const info = FindClass(id);
  return info && !IsImageFilter(*info) && !(info->interfaceId == Guid{});
}

/// A filter may give L"png" or L"*.png".
String PatternAt(ClassInfo const& filter, int index) noexcept {
  String const pattern = TextIn(filter, ClassInfo::INFO_PATTERN + static_cast<unsigned>(index));
  bool const isExtension = !pattern.IsEmpty() && !wcspbrk(pattern.c_str(), L"*?.[");
  return isExtension ? String(L"*.") + pattern : pattern;
}

/// Calls `use` with each pattern until it returns true, which is then the result. A cache may state any
/// number of them. Empty patterns have no entry, but a filter does not have many of them in succession.
template <class Use>
bool AnyPattern(ClassInfo const& filter, Use use) noexcept {
  constexpr int MOST_EMPTY = 16;
  int const count = std::min(NumberIn(filter, ClassInfo::INFO_PATTERN_COUNT), int{MAX_PATTERNS});
  for (int i = 0, empty = 0; i < count && empty < MOST_EMPTY; ++i) {
    String const pattern = PatternAt(filter, i);
    empty = pattern.IsEmpty() ? empty + 1 : 0;
    if (empty == 0 && use(pattern)) return true;
  }
  return false;
}

wchar_t const* NameIn(wchar_t const* path) noexcept {
  wchar_t const* name = path;
  for (; *path; ++path) {
    if (*path == L'\\' || *path == L'/') name = path + 1;
  }
  return name;
}

ClassInfo const& FilterAt(Array& filters, int index) noexcept {
  return *static_cast<ClassInfo const*>(filters.At(index));
}

/// Inserts a filter after those of the same rank. \return false without memory
bool InsertByRank(Array& list, ClassInfo* filter) noexcept {
  int const rank = NumberIn(*filter, ClassInfo::INFO_RANK);
  int at = list.Count();
  while (at > 0 && NumberIn(FilterAt(list, at - 1), ClassInfo::INFO_RANK) < rank) --at;
  return list.AtInsert(at, filter);
}

/// The records of all image filters, borrowed, in the order in which they are tried. E_FAIL: there is no
/// System; E_OUTOFMEMORY.
HRESULT RankedFilters(char const* operation, Ref<Array>& list) noexcept {
  Ref<Array> all;
  HRESULT const copied = CopyFilters(operation, all);
  if (Failed(copied)) return copied;
  list = Ref<Array>::Adopt(Array::Create(0));
  if (!list) return E_OUTOFMEMORY;
  for (int i = 0; i < all->Count(); ++i) {
    auto* const filter = static_cast<ClassInfo*>(all->At(i));
    if (IsImageFilter(*filter) && !InsertByRank(*list, filter)) return E_OUTOFMEMORY;
  }
  return S_OK;
}

}  // namespace

HRESULT ListFilters(char const* operation, Buffer<Guid>& ids) noexcept {
  Ref<Array> list;
  HRESULT const ranked = RankedFilters(operation, list);
  for (int i = 0; Succeeded(ranked) && i < list->Count(); ++i) {
    if (!ids.Append(FilterAt(*list, i).classId)) return FailMemory(operation, sizeof(Guid));
  }
  return ranked;
}

ClassInfo const* FindFilter(Guid const& id) noexcept {
  ClassInfo const* const info = FindClass(id);
  return info && IsImageFilter(*info) ? info : nullptr;
}

bool HasPatternFor(ClassInfo const& filter, wchar_t const* path) noexcept {
  wchar_t const* const name = NameIn(path);
  return AnyPattern(filter, [=](String const& pattern) { return RegularCompare(pattern.c_str(), name); });
}

bool IsForType(ClassInfo const& filter, Guid const& type) noexcept {
  if (filter.classId == type) return true;
  FileFormat const* const format = FindFileFormat(type);
  if (!format) return false;
  for (FileExtension const& extension : format->extensions) {
    if (extension.text && HasPatternFor(filter, (String(L"a.") + extension.text).c_str())) return true;
  }
  return false;
}

FailureText PatternsOf(ClassInfo const& filter) noexcept {
  FailureText all;
  AnyPattern(filter, [&](String const& pattern) {
    all.Add(L"%s%s", all.IsEmpty() ? L"" : L", ", pattern.c_str());
    return false;
  });
  return all;
}

FailureText LabelOf(Guid const& type) noexcept {
  FailureText label;
  FileFormat const* const format = FindFileFormat(type);
  ClassInfo const* const info = format ? nullptr : FindClass(type);
  if (format) label.Add(L"%S", format->shortName);
  if (info) label.Add(L"%s", TextIn(*info, ClassInfo::INFO_NAME).c_str());
  if (info && info->name && label.IsEmpty()) label.Add(L"%S", info->name);
  if (label.IsEmpty()) label.Add(L"unknown");
  return label;
}

HRESULT FailWith(wchar_t const* path, unsigned before, HRESULT code, char const* operation,
                 wchar_t const* what) noexcept {
  size_t const length = wcslen(path);
  bool isNamed = false;
  for (Error const* cause = ErrorCount() != before ? LastError() : nullptr; cause; cause = cause->cause)
    isNamed = isNamed || (wcsncmp(cause->text, path, length) == 0 && cause->text[length] == L':');
  return isNamed ? FailSince(before, code, operation, L"%s", what)
                 : FailSince(before, code, operation, L"%s %s", what, path);
}

// The interface is compared twice: once the plug-in is loaded, it may differ from what the cache says.
HRESULT CreateFilter(Guid const& id, char const* operation, Ref<ykFlt2d>& filter) noexcept {
  bool const isKnown = FindClass(id);
  FailureText const label = LabelOf(id);
  unsigned const before = ErrorCount();
  HRESULT const result = IsForAnother(id) ? E_NOINTERFACE : CreateInterface(id, filter.ReceiveVoid());
  if (IsForAnother(id)) {
    filter.Reset();
    return Fail(E_NOINTERFACE, operation, L"the plug-in for %s files is not an image filter", label.c_str());
  }
  if (Succeeded(result) && filter) return result;
  if (result == YK_E_NOTFOUND && !isKnown)
    return Fail(result, operation, L"there is no plug-in for %s files", label.c_str());
  return FailSince(before, Failed(result) ? result : E_FAIL, operation,
                   L"the plug-in for %s files cannot be started", label.c_str());
}

Ref<ykFlt2dEx> ExtendedOf(ykFlt2d& filter) noexcept {
  return Ref<ykFlt2d>::Share(&filter).Query<ykFlt2dEx>();
}

HRESULT img::FindFilters(wchar_t const* path, Array** filters) noexcept {
  constexpr char OPERATION[] = "img::FindFilters";
  if (!filters) return FailNull(OPERATION, L"filters");
  *filters = nullptr;
  Ref<Array> list;
  HRESULT const ranked = RankedFilters(OPERATION, list);
  if (Failed(ranked)) return ranked;
  for (int i = list->Count() - 1; path && i >= 0; --i) {
    if (!HasPatternFor(FilterAt(*list, i), path)) list->AtDelete(i);
  }
  *filters = list.Detach();
  return S_OK;
}

HRESULT img::RankFilter(Guid const& classId, int rank) noexcept {
  constexpr char OPERATION[] = "img::RankFilter";
  ClassInfo const* const info = FindClass(classId);
  if (!info) return Fail(YK_E_NOTFOUND, OPERATION, L"the class is not registered");
  if (!IsImageFilter(*info) || !info->info)
    return Fail(E_INVALIDARG, OPERATION, L"the class %s is not an image filter", LabelOf(classId).c_str());
  Variant value;
  value.Init(rank);
  value.flags |= Variant::TRANSIENT;
  return info->info->SetValue(ClassInfo::INFO_RANK, value);
}

}  // namespace yk
