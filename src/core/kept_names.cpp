// Exports of functions that are compiled in the caller now. Programs that were linked when the library still
// contained them import their names.
#if defined(__MINGW32__)

#define QECORE_KEPT_NAMES
// first, for the platform's types
#include <windows.h>

#include <qecore/core/lock.h>
#include <qecore/core/registry.h>
#include <qecore/core/system.h>
#include <qecore/draw/geometry.h>
#include <qecore/image/image.h>
#include <qecore/io/file_find.h>
#include <qecore/io/save_file.h>
#include <qecore/undo/undo_manager.h>
#include <qecore/values/array.h>
#include <qecore/values/string.h>

namespace yk {

// These four are templates now, so their old names are given by hand. A member takes its object first.
#define KEPT_AS(name) __asm__(name) __attribute__((used, dllexport))

POINT KeptPoint(matrix2d const* m, POINT const& p) noexcept
    KEPT_AS("_ZNK2yk8matrix2d14PointTransformERK8tagPOINT");
POINTL KeptPointL(matrix2d const* m, POINTL const& p) noexcept
    KEPT_AS("_ZNK2yk8matrix2d14PointTransformERK7_POINTL");
POINT KeptFixedPoint(matrix2d const* m, point2dfix const& p) noexcept
    KEPT_AS("_ZNK2yk8matrix2d14PointTransformERKNS_10point2dfixE");
RECTL KeptRect(matrix2d const* m, RECTL const& r) noexcept
    KEPT_AS("_ZNK2yk8matrix2d13RectTransformERK6_RECTL");

POINT KeptPoint(matrix2d const* m, POINT const& p) noexcept { return m->PointTransform(p); }
POINTL KeptPointL(matrix2d const* m, POINTL const& p) noexcept { return m->PointTransform(p); }
POINT KeptFixedPoint(matrix2d const* m, point2dfix const& p) noexcept { return m->PointTransform(p); }
RECTL KeptRect(matrix2d const* m, RECTL const& r) noexcept { return m->RectTransform(r); }

}  // namespace yk

#endif
