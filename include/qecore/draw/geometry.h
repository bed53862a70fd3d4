// 2-D geometry: points, rectangles and an affine matrix, the plain value types used by the whole library.
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
// Plain values: fields in the order shown, no virtual functions, no allocation, no result codes. Every type
// is zero-initialised; the matrix starts as the identity. Operations are pure arithmetic and safe for every
// input: values outside the 32-bit range, infinities and NaNs become 0x80000000, as the processor converts
// them. As safe across threads as an int.
//
// POINT, POINTL and RECTL are the platform's types: include <windows.h> to call an operation that takes one.
#pragma once

#include <qecore/core/conversions.h>

namespace yk {

/// A point or a vector.
struct point2d {
  double x = 0, y = 0;  ///< the coordinates
  friend constexpr bool operator==(point2d const&, point2d const&) noexcept = default;
};

/// A point in single precision.
struct point2df {
  float x = 0, y = 0;  ///< the coordinates
  friend constexpr bool operator==(point2df const&, point2df const&) noexcept = default;
};

/// A fixed-point point, in sixteenths of a unit: 24 is 1.5.
struct point2dfix {
  int32_t x = 0, y = 0;  ///< sixteenths
};

/// A point in space.
struct point3d {
  double x = 0, y = 0, z = 0;  ///< the coordinates
};

/// A point in space, in single precision; for Image2d::GetPixel the position to sample.
struct point3df {
  float x = 0, y = 0, z = 0;  ///< the coordinates
};

/// Four components; from Image2d::GetPixel a colour.
struct point4df {
  float x = 0, y = 0, z = 0, w = 0;  ///< as a colour: blue, green, red, alpha
};

struct xrect2d;

/// A floating-point rectangle: left, top, right, bottom, all inclusive. Empty is inverted (see Empty).
struct rect2d {
  double x1 = 0, y1 = 0, x2 = 0, y2 = 0;  ///< the edges

  /// Takes the four values as they are.
  YK_API rect2d& operator=(RECTL const& r) noexcept;
  YK_API rect2d& operator=(xrect2d const& r) noexcept;
  /// The four values as integers, truncated toward zero: 2.9 gives 2, and -2.9 gives -2.
  YK_API void Get(RECTL& r) const noexcept;

  /// Makes this the inverted rectangle, so that the first Add makes it the rectangle of what was added.
  YK_API void Empty() noexcept;
  /// Grows to include the point. Use this one for bounding boxes.
  YK_API void Add(point2d const& p) noexcept;
  /// Moves the minimum to a point below it, or else the maximum to a point above it, never both: an empty
  /// rectangle gets only a minimum and stays inverted (contract).
  YK_API void _Add(point2d const& p) noexcept;
  /// Per axis: if r's minimum is below this one's, moves the minimum and leaves the maximum unchanged; else
  /// moves the maximum up to r's. Not a union: (0,0,10,10) and (-5,-5,20,20) give (-5,-5,10,10) (contract).
  YK_API void _Add(rect2d const& r) noexcept;

  /// True when r lies inside, edges included.
  YK_API bool Contains(rect2d const& r) const noexcept;
  /// True when the two have a point in common; touching edges count.
  YK_API bool Intersect(rect2d const& r) const noexcept;
  /// Clips r to this rectangle. \return true when the result has an area
  YK_API bool Clip(rect2d& r) const noexcept;

  friend constexpr bool operator==(rect2d const&, rect2d const&) noexcept = default;
};

/// Orders two opposite corners: afterwards a.x <= b.x and a.y <= b.y.
YK_API void NormalizeRect(point2d& a, point2d& b) noexcept;

/// An integer rectangle, right and bottom exclusive. It has the layout of the platform's RECTL.
struct xrect2d {
  int32_t left = 0, top = 0, right = 0, bottom = 0;  ///< the edges

  constexpr xrect2d() noexcept = default;
  /// From the edges: left, top, right, bottom.
  constexpr xrect2d(int x1, int y1, int x2, int y2) noexcept : left(x1), top(y1), right(x2), bottom(y2) {}
  /// From two corners, each value rounded to the nearest integer, halves away from zero: 2.5 gives 3, and
  /// -2.5 gives -3.
  YK_API_INLINE explicit xrect2d(point2d const* corners) noexcept
      : left(round(corners[0].x)),
        top(round(corners[0].y)),
        right(round(corners[1].x)),
        bottom(round(corners[1].y)) {}

  /// Grows to include r. An r without area counts by its edges, too.
  YK_API void Add(xrect2d const& r) noexcept;
  /// Per axis: a value below the minimum becomes the minimum; any other becomes the maximum if it is larger.
  YK_API void Add(int x, int y) noexcept;
  /// Swaps left with right, and top with bottom, where they are in the wrong order.
  YK_API void Normalize() noexcept;
  /// Moves every edge outward; negative values shrink. Saturates at the limits of the 32-bit range.
  YK_API void Inflate(int dx, int dy) noexcept;
  /// Moves the rectangle. Saturates at the limits of the 32-bit range.
  YK_API void Offset(int dx, int dy) noexcept;
  /// Whether the point is inside: the left and top edges are, the right and bottom ones are not.
  YK_API bool IsInRect(int x, int y) const noexcept;
  YK_API bool IsInRect(POINT const& p) const noexcept;
  /// Clips r to this rectangle. \return true when something is left
  YK_API bool Clip(xrect2d& r) const noexcept;

  friend constexpr bool operator==(xrect2d const&, xrect2d const&) noexcept = default;
};

/// A 2-D affine map in row-vector form:
///
///                         | m11 m12 |
///     (x' y') = (x y 1) * | m21 m22 |       x' = x m11 + y m21 + dx
///                         | dx  dy  |       y' = x m12 + y m22 + dy
struct matrix2d {
  double m11 = 1, m12 = 0, m21 = 0, m22 = 1, dx = 0, dy = 0;  ///< the elements

  /// Maps every point to itself.
  YK_API void SetIdentity() noexcept;
  /// A scale only: the translation is cleared, too.
  YK_API void SetScale(point2d const& scale) noexcept;
  YK_API void SetScale(point2df const& scale) noexcept;
  /// A translation only.
  YK_API void SetOffset(point2d const& offset) noexcept;
  YK_API void SetOffset(point2df const& offset) noexcept;
  /// A rotation only, in radians; positive turns x toward y.
  YK_API void SetRotate(double angle) noexcept;
  /// Replaces the translation and keeps the rest.
  YK_API void OffsetTo(point2d const& offset) noexcept;
  YK_API void OffsetTo(point2df const& offset) noexcept;
  /// Adds to the translation.
  YK_API void Offset(point2d const& offset) noexcept;
  YK_API void Offset(point2df const& offset) noexcept;

  /// The elements by row and column, in column-vector notation:
  ///
  ///     0,0 m11   0,1 m12   0,2 dx
  ///     1,0 m21   1,1 m22   1,2 dy
  ///
  /// \return null for any other pair.
  YK_API double* _get(int row, int col) noexcept;
  YK_API double const* _get(int row, int col) const noexcept;
  /// The element; for any other pair, 1 on the diagonal and 0 elsewhere, as in a third row (0 0 1).
  YK_API double Get(int row, int col) const noexcept;
  /// Stores an element; ignored for any other pair.
  YK_API void Set(int row, int col, double value) noexcept;

  /// Makes this the composition of a and b, either of which may be this matrix:
  ///
  ///     m11 = a.m11 b.m11 + a.m21 b.m12        m12 = a.m22 b.m12 + a.m12 b.m11
  ///     m21 = a.m11 b.m21 + a.m21 b.m22        m22 = a.m22 b.m22 + a.m12 b.m21
  ///     dx  = a.dy b.m12 + a.dx b.m11 + b.dx   dy  = a.dy b.m22 + a.dx b.m21 + b.dy
  ///
  /// For scales and offsets this is first a, then b. With rotations it is these formulas, and not the map
  /// that applies a and then b (contract).
  YK_API void Transform(matrix2d const& a, matrix2d const& b) noexcept;
  /// Transform(*this, m), of a matrix, a scale or a rotation.
  YK_API void Transform(matrix2d const& m) noexcept;
  YK_API void Scale(point2d const& scale) noexcept;
  YK_API void Scale(point2df const& scale) noexcept;
  YK_API void Rotate(double angle) noexcept;
  /// A singular matrix becomes infinities and NaNs.
  YK_API void Invert() noexcept;

  /// True when dx, dy, m11 and m12 each differ by at most epsilon. m21 and m22 are not compared (contract).
  YK_API bool Compare(matrix2d const& other, double epsilon) const noexcept;

  /// Maps points. Integer results are computed in double precision, 0.5 is added, and the sum is truncated
  /// toward zero: 1.5 becomes 2, -1.7 becomes -1.
  YK_API void PointTransform(POINT* points, int count) const noexcept;
  YK_API void PointTransform(point2d* points, int count) const noexcept;
  YK_API_INLINE point2d PointTransform(point2d const& p) const noexcept {
    point2d mapped = p;
    PointTransform(&mapped, 1);
    return mapped;
  }
  YK_API_INLINE point2df PointTransform(point2df const& p) const noexcept {
    return Narrow(PointTransform(point2d{p.x, p.y}));
  }
  template <
      class Point = POINT>  // a template, since the platform's types are complete only where it is called
  Point PointTransform(POINT const& p) const noexcept {
    return MapToIntegers<Point>(static_cast<Point const&>(p));
  }
  template <class Point = POINTL>
  Point PointTransform(POINTL const& p) const noexcept {
    return MapToIntegers<Point>(static_cast<Point const&>(p));
  }
  template <class Point = POINT>
  Point PointTransform(point2dfix const& p) const noexcept {
    return MapToIntegers<Point>(point2d{p.x / 16.0, p.y / 16.0});
  }
  /// Ignores the translation.
  YK_API void VectorTransform(point2d* vectors, int count) const noexcept;
  YK_API_INLINE point2d VectorTransform(point2d const& v) const noexcept {
    point2d mapped = v;
    VectorTransform(&mapped, 1);
    return mapped;
  }
  YK_API_INLINE point2df VectorTransform(point2df const& v) const noexcept {
    return Narrow(VectorTransform(point2d{v.x, v.y}));
  }
  /// The normalised rectangle of the two transformed corners (left, top) and (right, bottom), which is
  /// smaller than the bounding box of a rotated rectangle. The integer form is never empty: it is at least
  /// one unit wide and high.
  template <class Rect = RECTL>
  Rect RectTransform(RECTL const& r) const noexcept {
    Rect const& from = r;
    xrect2d mapped(from.left, from.top, from.right, from.bottom);
    TransformRect(mapped);
    return Rect{mapped.left, mapped.top, mapped.right, mapped.bottom};
  }
  YK_API_INLINE rect2d RectTransform(rect2d const& r) const noexcept {
    point2d corners[] = {{r.x1, r.y1}, {r.x2, r.y2}};
    PointTransform(corners, 2);
    NormalizeRect(corners[0], corners[1]);
    return {corners[0].x, corners[0].y, corners[1].x, corners[1].y};
  }

 private:
  YK_API void MapToIntegers(double x, double y, int32_t& mappedX, int32_t& mappedY) const noexcept;
  YK_API void TransformRect(xrect2d& r) const noexcept;

  template <class Point, class From>
  Point MapToIntegers(From const& p) const noexcept {
    int32_t x = 0, y = 0;
    MapToIntegers(p.x, p.y, x, y);
    return Point{x, y};
  }

  static point2df Narrow(point2d const& p) noexcept {
    return {static_cast<float>(p.x), static_cast<float>(p.y)};
  }
};

/// A 3-D matrix, as a value to store; no function of the library computes with it.
struct matrix3d {
  double elements[12] = {};  ///< in the order in which files have them
};

static_assert(sizeof(point2d) == 16 && sizeof(point2df) == 8 && sizeof(point2dfix) == 8);
static_assert(sizeof(point3d) == 24 && sizeof(point3df) == 12 && sizeof(point4df) == 16);
static_assert(sizeof(rect2d) == 32 && sizeof(xrect2d) == 16 && alignof(xrect2d) == 4);
static_assert(sizeof(matrix2d) == 48 && offsetof(matrix2d, m21) == 16 && offsetof(matrix2d, dx) == 32);
static_assert(sizeof(matrix3d) == 96);

}  // namespace yk
