// 2-D geometry: points, rectangles and an affine matrix, the plain values of the whole library.
//
//   matrix2d place;
//   place.SetScale(point2d{2, 2});
//   place.OffsetTo(point2d{100, 50});
//   point2d corner = place.PointTransform(point2d{10, 10});   // (120, 70)
//
//   rect2d bounds;
//   bounds.Empty();
//   for (point2d const& p : outline) bounds.Add(p);
//
// Plain values: fields in the order shown, no virtual functions, no allocation, no result codes; every type
// starts as zero and the matrix as the identity. Operations are pure arithmetic and safe for every input: a
// number that no 32-bit integer holds, infinity and not-a-number become 0x80000000, as the processor has it.
// Threads: as for an int.
//
// POINT, POINTL and RECTL are the platform's: who calls an operation that takes one includes <windows.h>.
#pragma once

#include <qecore/core/base.h>

namespace yk {

/// A point or a vector.
struct point2d {
  double x = 0, y = 0;
  friend constexpr bool operator==(point2d const&, point2d const&) noexcept = default;
};

/// A point in single precision.
struct point2df {
  float x = 0, y = 0;
  friend constexpr bool operator==(point2df const&, point2df const&) noexcept = default;
};

/// A point in sixteenths of a unit: 24 is 1.5.
struct point2dfix {
  int32_t x = 0, y = 0;
};

struct point3d {
  double x = 0, y = 0, z = 0;
};

/// A point in space; for Image2d::GetPixel the place that is sampled.
struct point3df {
  float x = 0, y = 0, z = 0;
};

/// Four components; from Image2d::GetPixel a colour.
struct point4df {
  float x = 0, y = 0, z = 0, w = 0;
};

struct xrect2d;

/// A floating rectangle: left, top, right, bottom, all of them inside. The empty one is inverted (see Empty).
struct rect2d {
  double x1 = 0, y1 = 0, x2 = 0, y2 = 0;

  YK_API rect2d& operator=(RECTL const& r) noexcept;
  YK_API rect2d& operator=(xrect2d const& r) noexcept;
  /// The four values as integers, truncated toward zero: 2.9 gives 2, and so does -2.9 give -2.
  YK_API void Get(RECTL& r) const noexcept;

  /// Makes this the inverted rectangle that any Add turns into the rectangle of what was added.
  YK_API void Empty() noexcept;
  /// Grows to take in the point. This is the operation for bounding boxes.
  YK_API void Add(point2d const& p) noexcept;
  /// Moves the minimum to a point below it or else the maximum to a point above it, never both: an empty
  /// rectangle gets its minimum and stays inverted. Intended.
  YK_API void _Add(point2d const& p) noexcept;
  /// Per axis: where r's minimum is below this one's, moves the minimum and leaves the maximum alone; else
  /// moves the maximum up to r's. Not a union: (0,0,10,10) and (-5,-5,20,20) give (-5,-5,10,10). Intended.
  YK_API void _Add(rect2d const& r) noexcept;

  /// True when r lies inside, edges included.
  YK_API bool Contains(rect2d const& r) const noexcept;
  /// True when the two share a point; touching edges do.
  YK_API bool Intersect(rect2d const& r) const noexcept;
  /// Cuts r down to what lies inside this. \return true when some area is left.
  YK_API bool Clip(rect2d& r) const noexcept;

  friend constexpr bool operator==(rect2d const&, rect2d const&) noexcept = default;
};

/// Orders two opposite corners: afterwards a.x <= b.x and a.y <= b.y.
YK_API void NormalizeRect(point2d& a, point2d& b) noexcept;

/// An integer rectangle, right and bottom outside. The layout of the platform's RECTL.
struct xrect2d {
  int32_t left = 0, top = 0, right = 0, bottom = 0;

  constexpr xrect2d() noexcept = default;
  constexpr xrect2d(int left, int top, int right, int bottom) noexcept
      : left(left), top(top), right(right), bottom(bottom) {}
  /// From two corners, each value rounded to the nearest, halves away from zero: 2.5 gives 3, -2.5 gives -3.
  YK_API explicit xrect2d(point2d const* corners) noexcept;

  /// Grows to take in r. An r without area counts by its edges, too.
  YK_API void Add(xrect2d const& r) noexcept;
  /// Per axis: a value below the minimum becomes the minimum; any other becomes the maximum if it is larger.
  YK_API void Add(int x, int y) noexcept;
  /// Swaps left with right, top with bottom, where they are the wrong way round.
  YK_API void Normalize() noexcept;
  /// Moves every edge outward; negative values shrink. Stops at the ends of the 32-bit range.
  YK_API void Inflate(int dx, int dy) noexcept;
  /// Moves the rectangle. Stops at the ends of the 32-bit range.
  YK_API void Offset(int dx, int dy) noexcept;
  YK_API bool IsInRect(int x, int y) const noexcept;
  YK_API bool IsInRect(POINT const& p) const noexcept;
  /// Cuts r down to what lies inside this. \return true when something is left.
  YK_API bool Clip(xrect2d& r) const noexcept;

  friend constexpr bool operator==(xrect2d const&, xrect2d const&) noexcept = default;
};

/// A 2-D affine map in row-vector form:
///
///                         | m11 m12 |
///     (x' y') = (x y 1) * | m21 m22 |       x' = x m11 + y m21 + dx
///                         | dx  dy  |       y' = x m12 + y m22 + dy
struct matrix2d {
  double m11 = 1, m12 = 0, m21 = 0, m22 = 1, dx = 0, dy = 0;

  YK_API void SetIdentity() noexcept;
  /// A scale and nothing else: the translation is cleared, too.
  YK_API void SetScale(point2d const& scale) noexcept;
  YK_API void SetScale(point2df const& scale) noexcept;
  /// A translation and nothing else.
  YK_API void SetOffset(point2d const& offset) noexcept;
  YK_API void SetOffset(point2df const& offset) noexcept;
  /// A rotation and nothing else, in radians; positive turns x toward y.
  YK_API void SetRotate(double angle) noexcept;
  /// Replaces the translation and keeps the rest.
  YK_API void OffsetTo(point2d const& offset) noexcept;
  YK_API void OffsetTo(point2df const& offset) noexcept;
  /// Adds to the translation.
  YK_API void Offset(point2d const& offset) noexcept;
  YK_API void Offset(point2df const& offset) noexcept;

  /// The elements by row and column, as a column vector would have them:
  ///
  ///     0,0 m11   0,1 m12   0,2 dx
  ///     1,0 m21   1,1 m22   1,2 dy
  ///
  /// \return null for any other pair.
  YK_API double* _get(int row, int col) noexcept;
  YK_API double const* _get(int row, int col) const noexcept;
  /// The element; where there is none 1 on the diagonal and 0 beside it, as in a third row (0 0 1).
  YK_API double Get(int row, int col) const noexcept;
  /// Stores an element; ignored where there is none.
  YK_API void Set(int row, int col, double value) noexcept;

  /// Makes this the composition of a and b, either of which may be this matrix:
  ///
  ///     m11 = a.m11 b.m11 + a.m21 b.m12        m12 = a.m22 b.m12 + a.m12 b.m11
  ///     m21 = a.m11 b.m21 + a.m21 b.m22        m22 = a.m22 b.m22 + a.m12 b.m21
  ///     dx  = a.dy b.m12 + a.dx b.m11 + b.dx   dy  = a.dy b.m22 + a.dx b.m21 + b.dy
  ///
  /// For scales and offsets that is a first and then b. With rotations it is these formulas and not the map
  /// that applies a and then b; intended.
  YK_API void Transform(matrix2d const& a, matrix2d const& b) noexcept;
  YK_API void Transform(matrix2d const& m) noexcept;
  YK_API void Scale(point2d const& scale) noexcept;
  YK_API void Scale(point2df const& scale) noexcept;
  YK_API void Rotate(double angle) noexcept;
  /// A matrix without an inverse becomes infinities and not-a-numbers.
  YK_API void Invert() noexcept;

  /// True when dx, dy, m11 and m12 each differ by no more than epsilon. m21 and m22 are not compared;
  /// intended.
  YK_API bool Compare(matrix2d const& other, double epsilon) const noexcept;

  // Results that are integers are computed in double precision, get 0.5 added and are truncated toward zero:
  // 1.5 becomes 2, -1.7 becomes -1.
  YK_API point2d PointTransform(point2d const& p) const noexcept;
  YK_API point2df PointTransform(point2df const& p) const noexcept;
  YK_API POINT PointTransform(POINT const& p) const noexcept;
  YK_API POINTL PointTransform(POINTL const& p) const noexcept;
  YK_API POINT PointTransform(point2dfix const& p) const noexcept;
  YK_API void PointTransform(POINT* points, int count) const noexcept;
  YK_API void PointTransform(point2d* points, int count) const noexcept;
  /// Without the translation.
  YK_API point2d VectorTransform(point2d const& v) const noexcept;
  YK_API point2df VectorTransform(point2df const& v) const noexcept;
  /// The ordered rectangle of the two transformed corners (left, top) and (right, bottom), which is less than
  /// the image of a rotated rectangle. The integer form is never empty: it is one unit wide and high at
  /// least.
  YK_API RECTL RectTransform(RECTL const& r) const noexcept;
  YK_API rect2d RectTransform(rect2d const& r) const noexcept;
};

/// A 3-D matrix to be carried about; nothing in the library computes with it.
struct matrix3d {
  double elements[12] = {};
};

static_assert(sizeof(point2d) == 16 && sizeof(point2df) == 8 && sizeof(point2dfix) == 8);
static_assert(sizeof(point3d) == 24 && sizeof(point3df) == 12 && sizeof(point4df) == 16);
static_assert(sizeof(rect2d) == 32 && sizeof(xrect2d) == 16 && alignof(xrect2d) == 4);
static_assert(sizeof(matrix2d) == 48 && offsetof(matrix2d, m21) == 16 && offsetof(matrix2d, dx) == 32);
static_assert(sizeof(matrix3d) == 96);

}  // namespace yk
