#include <gtest/gtest.h>
#include <windows.h>
// first: the platform's points and rectangles are complete below

#include <math.h>
#include <qecore/draw/geometry.h>

#include <limits>

using namespace yk;

namespace {

constexpr double ENDLESS = std::numeric_limits<double>::infinity();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();
constexpr matrix2d A = {2, 3, 5, 7, 11, 13};
constexpr matrix2d B = {17, 19, 23, 29, 31, 37};

void ExpectElements(matrix2d const& m, double m11, double m12, double m21, double m22, double dx, double dy) {
  double const expected[] = {m11, m12, m21, m22, dx, dy};
  EXPECT_EQ(memcmp(&m, expected, sizeof expected), 0)
      << m.m11 << ' ' << m.m12 << ' ' << m.m21 << ' ' << m.m22 << ' ' << m.dx << ' ' << m.dy;
}

}  // namespace

TEST(Matrix2d, ComposesByItsFormulas) {
  matrix2d m;
  m.Transform(A, B);
  ExpectElements(m, 129, 184, 191, 272, 465, 667);
  matrix2d first = A, second = B;
  first.Transform(B);
  second.Transform(A, second);
  ExpectElements(first, 129, 184, 191, 272, 465, 667);
  ExpectElements(second, 129, 184, 191, 272, 465, 667);
  first = A;
  first.Scale(point2df{2, 10});
  ExpectElements(first, 4, 6, 50, 70, 22, 130);
  first = A;
  first.Rotate(0);
  ExpectElements(first, 2, 3, 5, 7, 11, 13);
}

TEST(Matrix2d, SettersSayWhatTheyKeep) {
  matrix2d m = A;
  m.Offset(point2d{1, 2});
  m.Offset(point2df{10, 20});
  ExpectElements(m, 2, 3, 5, 7, 22, 35);
  m.OffsetTo(point2df{-1, -2});
  ExpectElements(m, 2, 3, 5, 7, -1, -2);
  m.SetScale(point2d{4, 5});
  ExpectElements(m, 4, 0, 0, 5, 0, 0);
  m.SetOffset(point2df{6, 7});
  ExpectElements(m, 1, 0, 0, 1, 6, 7);
  m.SetRotate(0.5);
  ExpectElements(m, cos(0.5), sin(0.5), -sin(0.5), cos(0.5), 0, 0);
}

TEST(Matrix2d, ElementsHaveRowsAndColumns) {
  matrix2d m = A;
  double const expected[4][4] = {{2, 3, 11, 0}, {5, 7, 13, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};
  for (int row = -1; row < 4; ++row) {
    for (int col = -1; col < 4; ++col) {
      bool const inside = row >= 0 && row < 2 && col >= 0 && col < 3;
      EXPECT_EQ(m._get(row, col) != nullptr, inside) << row << ',' << col;
      double const outside = row == col ? 1.0 : 0.0;
      EXPECT_EQ(m.Get(row, col), row < 0 || col < 0 ? outside : expected[row][col]) << row << ',' << col;
      m.Set(row, col, m.Get(row, col) + (inside ? 100 : 5));
    }
  }
  ExpectElements(m, 102, 103, 105, 107, 111, 113);
}

TEST(Matrix2d, InvertsAndNeverFails) {
  matrix2d m = A;
  m.Invert();
  point2d const back = m.PointTransform(A.PointTransform(point2d{3, -4}));
  EXPECT_NEAR(back.x, 3, 1e-12);
  EXPECT_NEAR(back.y, -4, 1e-12);
  m = {1, 2, 2, 4, 5, 6};
  m.Invert();
  EXPECT_FALSE(isfinite(m.m11) || isfinite(m.m12) || isfinite(m.dx));
}

TEST(Matrix2d, ComparesFourOfSix) {
  struct {
    double matrix2d::*element;
    bool counts;
  } const rows[] = {{&matrix2d::dx, true},  {&matrix2d::dy, true},   {&matrix2d::m11, true},
                    {&matrix2d::m12, true}, {&matrix2d::m21, false}, {&matrix2d::m22, false}};
  for (auto const& row : rows) {
    matrix2d m = A;
    m.*row.element += 1;
    EXPECT_EQ(m.Compare(A, 0.5), !row.counts);
    EXPECT_TRUE(m.Compare(A, 1));
  }
}

TEST(Matrix2d, RoundsIntegersUpwardThenTowardZero) {
  struct {
    double at;
    int expected;
  } const rows[] = {{1.4, 1},         {1.5, 2},           {-1.7, -1},
                    {-0.4, 0},        {-2.5, -2},         {1e10, INT_MIN},
                    {-1e10, INT_MIN}, {ENDLESS, INT_MIN}, {NOT_A_NUMBER, INT_MIN}};
  for (auto const& row : rows) {
    matrix2d m;
    m.SetOffset(point2d{row.at, -row.at});
    POINT points[] = {{0, 0}, {1, 1}};
    m.PointTransform(points, 1);
    EXPECT_EQ(points[0].x, row.expected) << row.at;
    EXPECT_EQ(points[1].x, 1);
    EXPECT_EQ(m.PointTransform(POINTL{0, 0}).x, row.expected) << row.at;
    EXPECT_EQ(m.PointTransform(point2dfix{0, 0}).x, row.expected) << row.at;
  }
  POINT const p = A.PointTransform(point2dfix{24, -16});  // (1.5, -1)
  EXPECT_EQ(p.x, 9);                                      // 2 * 1.5 - 5 + 11
  EXPECT_EQ(p.y, 11);                                     // 4.5 - 7 + 13 = 10.5
}

TEST(Matrix2d, MapsPointsVectorsAndRectangles) {
  point2d points[] = {{1, 2}, {0, 0}};
  A.PointTransform(points, 2);
  EXPECT_EQ(points[0], (point2d{23, 30}));
  EXPECT_EQ(points[1], (point2d{11, 13}));
  EXPECT_EQ(A.VectorTransform(point2df{1, 2}), (point2df{12, 17}));
  EXPECT_EQ(A.VectorTransform(point2d{1, 2}), (point2d{12, 17}));
  matrix2d flip = {-1, 0, 0, 1, 0.25, 0};
  EXPECT_EQ(flip.RectTransform(rect2d{1, 2, 3, 2}), (rect2d{-2.75, 2, -0.75, 2}));
  RECTL const r = flip.RectTransform(RECTL{1, 2, 1, 2});
  EXPECT_EQ(xrect2d(r.left, r.top, r.right, r.bottom), xrect2d(0, 2, 1, 3));  // never empty
}

TEST(Rect2d, GrowsInThreeWays) {
  rect2d r;
  r.Empty();
  EXPECT_EQ(r, (rect2d{1e38, 1e38, -1e38, -1e38}));
  r._Add(point2d{3, 4});
  EXPECT_EQ(r, (rect2d{3, 4, -1e38, -1e38}));
  r.Empty();
  r.Add(point2d{3, 4});
  r.Add(point2d{-1, 9});
  EXPECT_EQ(r, (rect2d{-1, 4, 3, 9}));
  r._Add(point2d{-2, 10});
  EXPECT_EQ(r, (rect2d{-2, 4, 3, 10}));
  r = rect2d{0, 0, 10, 10};
  r._Add(rect2d{-5, -5, 20, 20});
  EXPECT_EQ(r, (rect2d{-5, -5, 10, 10}));
  r._Add(rect2d{0, 0, 20, 20});
  EXPECT_EQ(r, (rect2d{-5, -5, 20, 20}));
}

TEST(Rect2d, ConvertsContainsAndCuts) {
  rect2d r;
  r = xrect2d(1, 2, 3, 4);
  EXPECT_EQ(r, (rect2d{1, 2, 3, 4}));
  r = RECTL{5, 6, 7, 8};
  EXPECT_EQ(r, (rect2d{5, 6, 7, 8}));
  RECTL integers;
  rect2d{2.9, -2.9, 1e12, NOT_A_NUMBER}.Get(integers);
  EXPECT_EQ(xrect2d(integers.left, integers.top, integers.right, integers.bottom),
            xrect2d(2, -2, INT_MIN, INT_MIN));
  EXPECT_TRUE(r.Contains(r));
  EXPECT_FALSE(r.Contains(rect2d{5, 6, 7, 8.5}));
  EXPECT_TRUE(r.Intersect(rect2d{7, 8, 9, 9}));
  EXPECT_FALSE(r.Intersect(rect2d{7.1, 8, 9, 9}));
  rect2d touching = {7, 8, 9, 9};
  EXPECT_FALSE(r.Clip(touching));
  rect2d part = {0, 7, 6, 20};
  EXPECT_TRUE(r.Clip(part));
  EXPECT_EQ(part, (rect2d{5, 7, 6, 8}));
  point2d a = {3, 1}, b = {2, 4};
  NormalizeRect(a, b);
  EXPECT_TRUE(a == (point2d{2, 1}) && b == (point2d{3, 4}));
}

TEST(XRect2d, GrowsMovesAndCuts) {
  point2d const corners[] = {{2.5, -2.5}, {3.4, 1e10}};
  EXPECT_EQ(xrect2d(corners), xrect2d(3, -3, 3, INT_MIN));
  xrect2d r(10, 10, 0, 20);
  r.Normalize();
  EXPECT_EQ(r, xrect2d(0, 10, 10, 20));
  r.Add(-5, 30);
  EXPECT_EQ(r, xrect2d(-5, 10, 10, 30));
  xrect2d inverted(10, 10, 0, 0);
  inverted.Add(5, 5);  // below the minimum: only that moves
  EXPECT_EQ(inverted, xrect2d(5, 5, 0, 0));
  r.Add(xrect2d(-9, 40, 0, 50));
  EXPECT_EQ(r, xrect2d(-9, 10, 10, 50));
  r.Inflate(-1, 2);
  EXPECT_EQ(r, xrect2d(-8, 8, 9, 52));
  r.Offset(8, -8);
  EXPECT_EQ(r, xrect2d(0, 0, 17, 44));
  EXPECT_TRUE(r.IsInRect(0, 0) && r.IsInRect(POINT{16, 43}));
  EXPECT_FALSE(r.IsInRect(17, 0) || r.IsInRect(0, 44) || r.IsInRect(-1, 0));
  xrect2d part(16, -5, 99, 1);
  EXPECT_TRUE(r.Clip(part));
  EXPECT_EQ(part, xrect2d(16, 0, 17, 1));
  EXPECT_FALSE(r.Clip(part = xrect2d(17, 0, 20, 20)));
  r.Inflate(INT_MAX, INT_MAX);
  EXPECT_EQ(r, xrect2d(-INT_MAX, -INT_MAX, INT_MAX, INT_MAX));
}
