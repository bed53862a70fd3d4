#include <qecore/draw/geometry.h>

#include <math.h>
#include <qecore/core/conversions.h>
#include <windows.h>

#include <algorithm>

#include "core/conversions_p.h"
#include "geometry_p.h"

namespace yk {
namespace {

int RoundUpward(double value) noexcept { return TruncateToInt(value + 0.5); }

double MapX(matrix2d const& m, double x, double y) noexcept { return x * m.m11 + y * m.m21 + m.dx; }
double MapY(matrix2d const& m, double x, double y) noexcept { return x * m.m12 + y * m.m22 + m.dy; }

matrix2d ScaleMatrix(double x, double y) noexcept { return {x, 0, 0, y, 0, 0}; }

// Widens the range to include p, at either end.
void Extend(double& low, double& high, double p) noexcept {
  if (p < low) low = p;
  if (p > high) high = p;
}

// Moves the low end, or else the high end: the growth of rect2d::_Add.
void ExtendOneEnd(double& low, double& high, double from, double to) noexcept {
  if (from < low) {
    low = from;
  } else if (to > high) {
    high = to;
  }
}

void ExtendOneEnd(int& low, int& high, int value) noexcept {
  if (value < low) {
    low = value;
  } else {
    high = std::max(high, value);
  }
}

// Makes an empty range one unit long; at the maximum it grows downward.
void Widen(int32_t& low, int32_t& high) noexcept {
  if (low != high) return;
  high < INT32_MAX ? ++high : --low;
}

template <class Number>
void Order(Number& a, Number& b) noexcept {
  if (a > b) std::swap(a, b);
}

}  // namespace

// ---- rect2d

rect2d& rect2d::operator=(RECTL const& r) noexcept {
  return *this = xrect2d(r.left, r.top, r.right, r.bottom);
}

rect2d& rect2d::operator=(xrect2d const& r) noexcept {
  x1 = r.left;
  y1 = r.top;
  x2 = r.right;
  y2 = r.bottom;
  return *this;
}

void rect2d::Get(RECTL& r) const noexcept {
  r = {TruncateToInt(x1), TruncateToInt(y1), TruncateToInt(x2), TruncateToInt(y2)};
}

void rect2d::Empty() noexcept {
  x1 = y1 = 1e38;
  x2 = y2 = -1e38;
}

void rect2d::Add(point2d const& p) noexcept {
  Extend(x1, x2, p.x);
  Extend(y1, y2, p.y);
}

void rect2d::_Add(point2d const& p) noexcept {
  ExtendOneEnd(x1, x2, p.x, p.x);
  ExtendOneEnd(y1, y2, p.y, p.y);
}

void rect2d::_Add(rect2d const& r) noexcept {
  ExtendOneEnd(x1, x2, r.x1, r.x2);
  ExtendOneEnd(y1, y2, r.y1, r.y2);
}

bool rect2d::Contains(rect2d const& r) const noexcept {
  return r.x1 >= x1 && r.y1 >= y1 && x2 >= r.x2 && y2 >= r.y2;
}

bool rect2d::Intersect(rect2d const& r) const noexcept {
  return !(r.x1 > x2 || r.y1 > y2 || x1 > r.x2 || y1 > r.y2);
}

bool rect2d::Clip(rect2d& r) const noexcept {
  r.x1 = std::max(r.x1, x1);
  r.y1 = std::max(r.y1, y1);
  r.x2 = std::min(r.x2, x2);
  r.y2 = std::min(r.y2, y2);
  return r.x2 > r.x1 && r.y2 > r.y1;
}

void NormalizeRect(point2d& a, point2d& b) noexcept {
  Order(a.x, b.x);
  Order(a.y, b.y);
}

// ---- xrect2d

void xrect2d::Add(xrect2d const& r) noexcept {
  left = std::min(left, r.left);
  top = std::min(top, r.top);
  right = std::max(right, r.right);
  bottom = std::max(bottom, r.bottom);
}

void xrect2d::Add(int x, int y) noexcept {
  ExtendOneEnd(left, right, x);
  ExtendOneEnd(top, bottom, y);
}

void xrect2d::Normalize() noexcept {
  Order(left, right);
  Order(top, bottom);
}

void xrect2d::Inflate(int dx, int dy) noexcept {
  left = ClampToInt(int64_t{left} - dx);
  top = ClampToInt(int64_t{top} - dy);
  right = AddClamped(right, dx);
  bottom = AddClamped(bottom, dy);
}

void xrect2d::Offset(int dx, int dy) noexcept {
  left = AddClamped(left, dx);
  top = AddClamped(top, dy);
  right = AddClamped(right, dx);
  bottom = AddClamped(bottom, dy);
}

bool xrect2d::IsInRect(int x, int y) const noexcept {
  return x >= left && y >= top && x < right && y < bottom;
}

bool xrect2d::IsInRect(POINT const& p) const noexcept { return IsInRect(p.x, p.y); }

bool xrect2d::Clip(xrect2d& r) const noexcept {
  r.left = std::max(r.left, left);
  r.top = std::max(r.top, top);
  r.right = std::min(r.right, right);
  r.bottom = std::min(r.bottom, bottom);
  return r.left < r.right && r.top < r.bottom;
}

// ---- matrix2d

void matrix2d::SetIdentity() noexcept { *this = {}; }

void matrix2d::SetScale(point2d const& scale) noexcept { *this = ScaleMatrix(scale.x, scale.y); }
void matrix2d::SetScale(point2df const& scale) noexcept { *this = ScaleMatrix(scale.x, scale.y); }

void matrix2d::SetOffset(point2d const& offset) noexcept { *this = {1, 0, 0, 1, offset.x, offset.y}; }
void matrix2d::SetOffset(point2df const& offset) noexcept { *this = {1, 0, 0, 1, offset.x, offset.y}; }

void matrix2d::SetRotate(double angle) noexcept {
  double const c = cos(angle);
  double const s = sin(angle);
  *this = {c, s, -s, c, 0, 0};
}

void matrix2d::OffsetTo(point2d const& offset) noexcept {
  dx = offset.x;
  dy = offset.y;
}

void matrix2d::OffsetTo(point2df const& offset) noexcept { OffsetTo(point2d{offset.x, offset.y}); }

void matrix2d::Offset(point2d const& offset) noexcept {
  dx += offset.x;
  dy += offset.y;
}

void matrix2d::Offset(point2df const& offset) noexcept { Offset(point2d{offset.x, offset.y}); }

double* matrix2d::_get(int row, int col) noexcept {
  double* const elements[2][3] = {{&m11, &m12, &dx}, {&m21, &m22, &dy}};
  bool const exists = row >= 0 && row < 2 && col >= 0 && col < 3;
  return exists ? elements[row][col] : nullptr;
}

double const* matrix2d::_get(int row, int col) const noexcept {
  return const_cast<matrix2d*>(this)->_get(row, col);
}

double matrix2d::Get(int row, int col) const noexcept {
  if (double const* const element = _get(row, col)) return *element;
  return row == col ? 1.0 : 0.0;
}

void matrix2d::Set(int row, int col, double value) noexcept {
  if (double* const element = _get(row, col)) *element = value;
}

void matrix2d::Transform(matrix2d const& a, matrix2d const& b) noexcept {
  *this = {a.m11 * b.m11 + a.m21 * b.m12,      a.m22 * b.m12 + a.m12 * b.m11,
           a.m11 * b.m21 + a.m21 * b.m22,      a.m22 * b.m22 + a.m12 * b.m21,
           a.dy * b.m12 + a.dx * b.m11 + b.dx, a.dy * b.m22 + a.dx * b.m21 + b.dy};
}

void matrix2d::Transform(matrix2d const& m) noexcept { Transform(*this, m); }

void matrix2d::Scale(point2d const& scale) noexcept { Transform(ScaleMatrix(scale.x, scale.y)); }
void matrix2d::Scale(point2df const& scale) noexcept { Transform(ScaleMatrix(scale.x, scale.y)); }

void matrix2d::Rotate(double angle) noexcept {
  matrix2d rotation;
  rotation.SetRotate(angle);
  Transform(rotation);
}

void matrix2d::Invert() noexcept {
  double const k = 1 / (m11 * m22 - m12 * m21);
  matrix2d inverse = {m22 * k, -m12 * k, -m21 * k, m11 * k, 0, 0};
  inverse.dx = -(dx * inverse.m11 + dy * inverse.m21);
  inverse.dy = -(dx * inverse.m12 + dy * inverse.m22);
  *this = inverse;
}

bool matrix2d::Compare(matrix2d const& other, double epsilon) const noexcept {
  // Contract: m21 and m22 are not compared
  for (double matrix2d::*element : {&matrix2d::dx, &matrix2d::dy, &matrix2d::m11, &matrix2d::m12}) {
    if (fabs(this->*element - other.*element) > epsilon) return false;
  }
  return true;
}

void matrix2d::PointTransform(POINT* points, int count) const noexcept {
  for (int i = 0; i < count; ++i) points[i] = PointTransform(points[i]);
}

void matrix2d::PointTransform(point2d* points, int count) const noexcept {
  for (int i = 0; i < count; ++i) {
    points[i] = {MapX(*this, points[i].x, points[i].y), MapY(*this, points[i].x, points[i].y)};
  }
}

void matrix2d::VectorTransform(point2d* vectors, int count) const noexcept {
  for (int i = 0; i < count; ++i) {
    point2d const v = vectors[i];
    vectors[i] = {v.x * m11 + v.y * m21, v.x * m12 + v.y * m22};
  }
}

void matrix2d::MapToIntegers(double x, double y, int32_t& mappedX, int32_t& mappedY) const noexcept {
  mappedX = RoundUpward(MapX(*this, x, y));
  mappedY = RoundUpward(MapY(*this, x, y));
}

void matrix2d::TransformRect(xrect2d& r) const noexcept {
  xrect2d mapped;
  MapToIntegers(r.left, r.top, mapped.left, mapped.top);
  MapToIntegers(r.right, r.bottom, mapped.right, mapped.bottom);
  mapped.Normalize();
  Widen(mapped.left, mapped.right);
  Widen(mapped.top, mapped.bottom);
  r = mapped;
}

}  // namespace yk
