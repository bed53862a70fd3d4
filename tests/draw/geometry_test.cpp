#include <gtest/gtest.h>
#include <windows.h>
// first: the platform's points and rectangles are complete below

#include <math.h>
#include <qecore/draw/geometry.h>
#include <initializer_list>

using namespace yk;

namespace {

constexpr matrix2d A = {2, 3, 5, 7, 11, 13};
constexpr matrix2d B = {17, 19, 23, 29, 31, 37};

bool AreEqual(matrix2d const& a, matrix2d const& b) { return memcmp(&a, &b, sizeof a) == 0; }

}  // namespace

TEST(Matrix2d, ComposesAndSetsByItsFormulas) {
  matrix2d first = A, second = B, m = A;
  first.Transform(B);
  second.Transform(A, second);
  EXPECT_PRED2(AreEqual, first, (matrix2d{129, 184, 191, 272, 465, 667}));
  EXPECT_PRED2(AreEqual, second, first);
  m.Scale(point2df{2, 10});
  m.Rotate(0);
  m.Offset(point2df{10, 20});
  EXPECT_PRED2(AreEqual, m, (matrix2d{4, 6, 50, 70, 32, 150}));
  m.OffsetTo(point2df{-1, -2});
  EXPECT_PRED2(AreEqual, m, (matrix2d{4, 6, 50, 70, -1, -2}));
  m.SetRotate(0.5);
  EXPECT_PRED2(AreEqual, m, (matrix2d{cos(0.5), sin(0.5), -sin(0.5), cos(0.5), 0, 0}));
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
    EXPECT_EQ(points[0].x, expected) << at;
    EXPECT_EQ(points[1].x, 1) << at;
  }
  EXPECT_EQ(A.PointTransform(point2dfix{24, -16}).y, 11);  // (1.5, -1) goes to (9, 10.5)
}

TEST(Matrix2d, MapsVectorsAndRectangles) {
  EXPECT_EQ(A.VectorTransform(point2df{1, 2}), (point2df{12, 17}));
  matrix2d const flip = {-1, 0, 0, 1, 0.25, 0};
  EXPECT_EQ(flip.RectTransform(rect2d{1, 2, 3, 2}), (rect2d{-2.75, 2, -0.75, 2}));
  RECTL const r = flip.RectTransform(RECTL{1, 2, 1, 2});  // never empty
  EXPECT_EQ(xrect2d(r.left, r.top, r.right, r.bottom), xrect2d(0, 2, 1, 3));
}

TEST(Rect2d, GrowsConvertsAndCuts) {
  rect2d r, part = {0, 7, 6, 20}, touching = {7, 8, 9, 9};
  r.Empty();
  r._Add(point2d{3, 4});
  EXPECT_EQ(r, (rect2d{3, 4, -1e38, -1e38}));
  r = rect2d{-1, 4, 3, 9};
  r._Add(rect2d{-5, 5, 20, 20});  // left and bottom move; right stays, since left has moved
  EXPECT_EQ(r, (rect2d{-5, 4, 3, 20}));
  r = RECTL{5, 6, 7, 8};
  RECTL i;
  rect2d{2.9, -2.9, 1e12, NAN}.Get(i);
  EXPECT_EQ(xrect2d(i.left, i.top, i.right, i.bottom), xrect2d(2, -2, INT_MIN, INT_MIN));
  EXPECT_TRUE(r.Contains(r));
  EXPECT_FALSE(r.Contains(rect2d{5, 6, 7, 8.5}));
  EXPECT_TRUE(r.Intersect(touching));
  EXPECT_FALSE(r.Intersect(rect2d{7.1, 8, 9, 9}));
  EXPECT_FALSE(r.Clip(touching));
  EXPECT_TRUE(r.Clip(part));
  EXPECT_EQ(part, (rect2d{5, 7, 6, 8}));
}

TEST(XRect2d, GrowsMovesAndCuts) {
  point2d const corners[] = {{2.5, -2.5}, {3.4, 1e10}};
  EXPECT_EQ(xrect2d(corners), xrect2d(3, -3, 3, INT_MIN));
  xrect2d r(10, 10, 0, 20), part(11, -5, 99, 1), outside(12, 0, 20, 20);
  r.Add(5, 5);  // left of and above the minimum: only that moves
  EXPECT_EQ(r, xrect2d(5, 5, 0, 20));
  r.Normalize();
  r.Add(xrect2d(-9, 40, 0, 50));
  r.Inflate(-1, 2);
  r.Offset(8, -3);
  EXPECT_EQ(r, xrect2d(0, 0, 12, 49));
  for (POINT const p : {POINT{0, 0}, {11, 48}, {12, 0}, {0, 49}, {-1, 0}}) {
    EXPECT_EQ(r.IsInRect(p), p.x >= 0 && p.x < 12 && p.y < 49) << p.x << ',' << p.y;
  }
  EXPECT_FALSE(r.Clip(outside));
  EXPECT_TRUE(r.Clip(part));
  EXPECT_EQ(part, xrect2d(11, 0, 12, 1));
  r.Inflate(INT_MAX, INT_MAX);
  EXPECT_EQ(r, xrect2d(-INT_MAX, -INT_MAX, INT_MAX, INT_MAX));
}
