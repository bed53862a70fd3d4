#include <windows.h>
// first, for the platform's points and rectangles

#include <math.h>
#include <qecore/draw/geometry.h>

#include "support/prelude.h"

using namespace yk;

static constexpr matrix2d A = {2, 3, 5, 7, 11, 13}, B = {17, 19, 23, 29, 31, 37};

TEST(Matrix2d, ComposesAndSetsByItsFormulas) {
  static constexpr point2d P = {2, 10};
  static constexpr point2df F = {2, 10};
  std::pair<void (*)(matrix2d&), matrix2d> const rows[] = {
      {[](matrix2d& m) { m.SetIdentity(); }, {}},
      {[](matrix2d& m) { m.SetScale(P); }, {2, 0, 0, 10, 0, 0}},
      {[](matrix2d& m) { m.SetScale(F); }, {2, 0, 0, 10, 0, 0}},
      {[](matrix2d& m) { m.SetOffset(F); }, {1, 0, 0, 1, 2, 10}},
      {[](matrix2d& m) { m.SetRotate(0.5); }, {cos(0.5), sin(0.5), -sin(0.5), cos(0.5), 0, 0}},
      {[](matrix2d& m) { m.Transform(B); }, {129, 184, 191, 272, 465, 667}},
      {[](matrix2d& m) { m = B, m.Transform(A, m); }, {129, 184, 191, 272, 465, 667}},
      {[](matrix2d& m) { m.Scale(P); }, {4, 6, 50, 70, 22, 130}},
      {[](matrix2d& m) { m.Scale(F), m.Rotate(0); }, {4, 6, 50, 70, 22, 130}},
      {[](matrix2d& m) { m.Offset(P), m.Offset(F); }, {2, 3, 5, 7, 15, 33}},
      {[](matrix2d& m) { m.OffsetTo(P); }, {2, 3, 5, 7, 2, 10}},
      {[](matrix2d& m) { m.OffsetTo(F); }, {2, 3, 5, 7, 2, 10}},
      {[](matrix2d& m) { m.Set(0, 2, 9), m.Set(1, 0, 8), m.Set(2, 2, 7); }, {2, 3, 8, 7, 9, 13}}};
  for (auto const& row : rows) {
    matrix2d m = A;
    row.first(m);
    EXPECT_EQ(memcmp(&m, &row.second, sizeof m), 0) << "row " << &row - rows;
  }
}

TEST(Matrix2d, ElementsHaveRowsAndColumns) {
  double const elements[4][5] = {{1, 0, 0, 0, 0}, {0, 2, 3, 11, 0}, {0, 5, 7, 13, 0}, {0, 0, 0, 1, 0}};
  for (int i = 0; i < 20; ++i) EXPECT_EQ(A.Get(i / 5 - 1, i % 5 - 1), elements[i / 5][i % 5]) << i;
}

TEST(Matrix2d, InvertsAndComparesFourOfSix) {
  for (size_t i = 0; i < 6; ++i) {  // m11, m12, m21, m22, dx, dy
    matrix2d m = A;
    (&m.m11)[i] += 1;
    EXPECT_EQ(m.Compare(A, 0.5), i == 2 || i == 3) << i;
  }
  matrix2d m = A, singular = {1, 2, 2, 4, 5, 6};
  m.Invert();
  double const inverse[] = {-7, 3, 5, -2, 12, -7};
  for (size_t i = 0; i < 6; ++i) EXPECT_NEAR((&m.m11)[i], inverse[i], 1e-9) << i;
  singular.Invert();
  EXPECT_FALSE(isfinite(singular.m11));
}

TEST(Matrix2d, RoundsIntegersUpwardThenTowardZero) {
  std::pair<double, int> const rows[] = {{1.5, 2},   {-1.7, -1},      {-0.4, 0},
                                         {-2.5, -2}, {1e10, INT_MIN}, {NAN, INT_MIN}};
  for (auto const& [at, expected] : rows) {
    matrix2d m;
    m.SetOffset(point2d{at, -at});
    POINT points[] = {{0, 0}, {1, 1}};
    m.PointTransform(points, 1);
    EXPECT_EQ(std::pair(points[0].x, points[1].x), (std::pair<LONG, LONG>(expected, 1))) << at;
  }
}

TEST(Matrix2d, MapsPointsVectorsAndRectangles) {
  point2d points[] = {{1.5, -1}, {0, 0}};
  A.PointTransform(points, 1);
  EXPECT_TRUE(points[0] == (point2d{9, 10.5}) && points[1] == point2d{});
  EXPECT_EQ(A.PointTransform(point2df{1.5f, -1}), (point2df{9, 10.5f}));
  EXPECT_TRUE(A.PointTransform(point2dfix{24, -16}).y == 11 && A.PointTransform(POINTL{1, 2}).y == 30);
  EXPECT_EQ(A.VectorTransform(point2df{1, 2}), (point2df{12, 17}));
  matrix2d const flip = {-1, 0, 0, 1, 0.25, 0};
  EXPECT_EQ(flip.RectTransform(rect2d{1, 2, 3, 2}), (rect2d{-2.75, 2, -0.75, 2}));
  std::pair<RECTL, xrect2d> const rows[] = {{{1, 2, 1, 2}, {0, 2, 1, 3}},  // never empty
                                            {{1, INT_MAX, 3, INT_MAX}, {-2, INT_MAX - 1, 0, INT_MAX}}};
  for (auto const& [from, to] : rows) {
    RECTL const r = flip.RectTransform(from);
    EXPECT_EQ(xrect2d(r.left, r.top, r.right, r.bottom), to);
  }
}

TEST(Rect2d, GrowsConvertsAndClips) {
  rect2d r;
  r.Empty();
  r._Add(point2d{3, 4});
  EXPECT_EQ(r, (rect2d{3, 4, -1e38, -1e38}));
  r = rect2d{-1, 4, 3, 9};
  r._Add(rect2d{-5, 5, 20, 8});  // left moves; right does not, since left did
  EXPECT_EQ(r, (rect2d{-5, 4, 3, 9}));
  r._Add(rect2d{-5, 5, 20, 20});
  EXPECT_EQ(r, (rect2d{-5, 4, 20, 20}));
  r = RECTL{5, 6, 7, 8};
  RECTL i;
  rect2d{2.9, -2.9, 1e12, NAN}.Get(i);
  EXPECT_EQ(xrect2d(i.left, i.top, i.right, i.bottom), xrect2d(2, -2, INT_MIN, INT_MIN));
  struct {
    double x1, y1, x2, y2;
    int has;  // relation to `r`: 3 exactly it, 2 all of it and more, 1 a side or a corner, 0 nothing
  } const rows[] = {{5, 6, 7, 8, 3},   {4, 6, 7, 8, 2},   {5, 5, 7, 8, 2},  {5, 6, 7.5, 8, 2},
                    {5, 6, 7, 8.5, 2}, {7, 8, 9, 9, 1},   {5, 8, 7, 9, 1},  {1, 6, 4.9, 8, 0},
                    {5, 1, 7, 5.9, 0}, {7.1, 6, 9, 8, 0}, {5, 8.1, 7, 9, 0}};
  for (auto const& [x1, y1, x2, y2, has] : rows) {
    rect2d part = {x1, y1, x2, y2};
    EXPECT_EQ(r.Contains(part), has == 3) << x1;
    EXPECT_EQ(r.Intersect(part), has >= 1) << x1;
    EXPECT_EQ(r.Clip(part), has >= 2) << x1;
    EXPECT_EQ(part == r, has >= 2) << x1;
  }
  point2d low = {3, 4}, high = {2, 5};
  NormalizeRect(low, high);
  EXPECT_TRUE(low == (point2d{2, 4}) && high == (point2d{3, 5}));
}

TEST(XRect2d, GrowsMovesAndClips) {
  point2d const corners[] = {{2.5, -2.5}, {3.4, 1e10}};
  EXPECT_EQ(xrect2d(corners), xrect2d(3, -3, 3, INT_MIN));
  xrect2d r(10, 10, 0, 20), part(11, -5, 99, 1), outside(14, 0, 20, 20);
  r.Add(5, 5);  // left of and above the minimum: only the minimum moves
  EXPECT_EQ(r, xrect2d(5, 5, 0, 20));
  r.Normalize();
  r.Add(xrect2d(-9, 40, 7, 50));
  r.Inflate(-1, 2);
  r.Offset(8, -3);
  EXPECT_EQ(r, xrect2d(0, 0, 14, 49));
  for (POINT const p : {POINT{0, 0}, {13, 48}, {14, 0}, {0, 49}, {-1, 0}})
    EXPECT_EQ(r.IsInRect(p), p.x >= 0 && p.x < 14 && p.y < 49) << p.x << ',' << p.y;
  EXPECT_TRUE(!r.Clip(outside) && r.Clip(part));
  EXPECT_EQ(part, xrect2d(11, 0, 14, 1));
  r.Inflate(INT_MAX, INT_MAX);
  EXPECT_EQ(r, xrect2d(-INT_MAX, -INT_MAX, INT_MAX, INT_MAX));
}
