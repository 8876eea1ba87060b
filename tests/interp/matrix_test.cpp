// Dense matrices from and to script values: what converts, what is refused (leaving the
// outputs as they were), and tables written back.
#include <vkl/matrix.h>

#include <vector>

#include "interp_fixture.h"

namespace {

class MatrixTest : public InterpTest {
 protected:
  // cells[i] parsed from a literal.
  TObject* value(int i, const char* literal) {
    VKL_FreeObjectContent(L, &cells[i]);
    EXPECT_EQ(VKL_StrToObj(L, literal, &cells[i]), 1) << literal;
    return &cells[i];
  }

  // Converts a literal: true and its elements in `out`, or false.
  bool array(const char* literal, std::vector<double>* out, int32_t* rows, int32_t* cols) {
    double* data = sentinel_data();
    *rows = *cols = -7;
    const int ok = ObjToDoubleArray2(L, value(0, literal), &data, rows, cols);
    return finish(ok, data, int64_t{*rows} * *cols, out);
  }
  bool vector(const char* literal, std::vector<double>* out, int32_t* n) {
    double* data = sentinel_data();
    *n = -7;
    const int ok = ObjToDoubleVector(L, value(0, literal), &data, n);
    return finish(ok, data, *n, out);
  }

  // A refused conversion leaves the outputs alone; an accepted one of no elements gives null.
  bool finish(int ok, double* data, int64_t count, std::vector<double>* out) {
    if (!ok) {
      EXPECT_EQ(data, sentinel_data());
      return false;
    }
    if (count == 0) {
      EXPECT_EQ(data, nullptr);
    }
    out->assign(data, data + count);
    VKL_Free(data);
    return true;
  }

  double* sentinel_data() { return &sentinel_; }
  double sentinel_ = 0;
};

TEST_F(MatrixTest, RowTablesOfAnyNumberKind) {
  std::vector<double> d;
  int32_t r, c;
  ASSERT_TRUE(array("array(array(1, 2.5, 3L), array(-4, 5e300, 9007199254740993))", &d, &r, &c));
  EXPECT_EQ(r, 2);
  EXPECT_EQ(c, 3);
  EXPECT_EQ(d, (std::vector<double>{1, 2.5, 3, -4, 5e300, 9007199254740992.0}));
}

TEST_F(MatrixTest, TableOfNumbersIsOneColumn) {
  std::vector<double> d;
  int32_t r, c;
  ASSERT_TRUE(array("array(1, 2, 3)", &d, &r, &c));
  EXPECT_EQ(r, 3);
  EXPECT_EQ(c, 1);
  EXPECT_EQ(d, (std::vector<double>{1, 2, 3}));
}

TEST_F(MatrixTest, EmptyShapes) {
  std::vector<double> d;
  int32_t r, c;
  ASSERT_TRUE(array("array()", &d, &r, &c));
  EXPECT_EQ(r, 0);
  EXPECT_EQ(c, 0);
  ASSERT_TRUE(array("array(array(), array())", &d, &r, &c));
  EXPECT_EQ(r, 2);
  EXPECT_EQ(c, 0);
}

TEST_F(MatrixTest, RefusedShapesAndElements) {
  std::vector<double> d;
  int32_t r, c;
  const char* const refused[] = {
      "array(array(1, 2), array(3))",           // ragged
      "array(array(1), array(2, 3))",           // ragged, longer later
      "array(array(1, 2), 3)",                  // a number among rows
      "array(1, array(2))",                     // a row among numbers
      "array(array(1, \"2\"))",                 // numeric text is no number
      "array(array(1, nil))",
      "array(1, 2, \"k\": 3)",                  // a key a matrix has no place for
      "array(array(1, 2, \"k\": 3))",
      "array(1: 1, 2: 2)",                      // keys not from 0
      "array(array(1: 5))",
      "5",
      "\"text\"",
      "nil",
  };
  for (const char* literal : refused) {
    EXPECT_FALSE(array(literal, &d, &r, &c)) << literal;
    EXPECT_EQ(r, -7) << literal;
    EXPECT_EQ(c, -7) << literal;
  }
}

TEST_F(MatrixTest, ReferenceAndFixedMatrices) {
  double* data = nullptr;
  int32_t r = 0, c = 0;
  value(1, "array(array(7, 8))");
  TObject* ref = &cells[2];
  ASSERT_EQ(VKL_SetRef(L, ref, &cells[1]), 1);
  ASSERT_EQ(ObjToDoubleArray2(L, ref, &data, &r, &c), 1);
  EXPECT_EQ(r, 1);
  EXPECT_EQ(c, 2);
  EXPECT_EQ(data[1], 8);
  VKL_Free(data);

  const int64_t dims[] = {2, 3};
  VKL_FixedMatrix* fm = VKL_CreateFixedMatrix(L, &cells[3], VKL_FM_DOUBLE, 2, dims);
  ASSERT_NE(fm, nullptr);
  auto* buffer = static_cast<double*>(VKL_FMGetBuffer(fm));
  for (int i = 0; i < 6; ++i) buffer[i] = i + 0.5;
  ASSERT_EQ(ObjToDoubleArray2(L, &cells[3], &data, &r, &c), 1);
  EXPECT_EQ(r, 2);
  EXPECT_EQ(c, 3);
  EXPECT_EQ(data[4], 4.5);
  VKL_Free(data);

  const int64_t length[] = {4};
  VKL_FixedMatrix* ints = VKL_CreateFixedMatrix(L, &cells[4], VKL_FM_INT32, 1, length);
  ASSERT_NE(ints, nullptr);
  static_cast<int32_t*>(VKL_FMGetBuffer(ints))[3] = -9;
  int32_t n = 0;
  ASSERT_EQ(ObjToDoubleVector(L, &cells[4], &data, &n), 1);
  EXPECT_EQ(n, 4);
  EXPECT_EQ(data[3], -9);
  VKL_Free(data);
}

TEST_F(MatrixTest, VectorsFromOneRowOrColumn) {
  std::vector<double> d;
  int32_t n;
  ASSERT_TRUE(vector("array(1, 2.5)", &d, &n));
  EXPECT_EQ(d, (std::vector<double>{1, 2.5}));
  ASSERT_TRUE(vector("array(array(1, 2, 3))", &d, &n));
  EXPECT_EQ(d, (std::vector<double>{1, 2, 3}));
  ASSERT_TRUE(vector("array(array(4), array(5))", &d, &n));
  EXPECT_EQ(d, (std::vector<double>{4, 5}));
  ASSERT_TRUE(vector("array()", &d, &n));
  EXPECT_EQ(n, 0);
  EXPECT_FALSE(vector("array(array(1, 2), array(3, 4))", &d, &n));
  EXPECT_FALSE(vector("array(array(), array())", &d, &n));
  EXPECT_FALSE(vector("array(1, \"x\")", &d, &n));
  EXPECT_EQ(n, -7);
}

TEST_F(MatrixTest, WritingRowsReplacesOnlyTheirKeys) {
  const double data[] = {1, 2, 3, 4, 5, 6};
  VKL_Table* t = VKL_ForceTable(L, value(0, "array(\"old\", array(9), \"k\": 1)"), 0);
  ASSERT_NE(t, nullptr);
  ASSERT_EQ(DoubleArrayToHash(L, t, data, 3, 2), 1);
  char* text = VKL_ObjToStr(L, &cells[0], 1);
  EXPECT_STREQ(text, "array(array(1.0, 2.0), array(3.0, 4.0), array(5.0, 6.0), \"k\": 1)");
  VKL_Free(text);

  VKL_Table* v = VKL_ForceTable(L, value(1, "array()"), 0);
  ASSERT_EQ(DoubleVectorToHash(L, v, data, 2), 1);
  ASSERT_EQ(DoubleArrayToHash(L, v, nullptr, 0, 5), 1);
  ASSERT_EQ(DoubleArrayToHash(L, v, data, 0, 0), 1);
  text = VKL_ObjToStr(L, &cells[1], 1);
  EXPECT_STREQ(text, "array(1.0, 2.0)");
  VKL_Free(text);

  EXPECT_EQ(DoubleArrayToHash(L, v, nullptr, 1, 1), 0);
  EXPECT_EQ(DoubleArrayToHash(L, v, data, -1, 1), 0);
  EXPECT_EQ(DoubleVectorToHash(L, v, data, -1), 0);
  EXPECT_EQ(DoubleVectorToHash(L, nullptr, data, 1), 0);
}

TEST_F(MatrixTest, RoundTripHoldsNoPayloadBytes) {
  // Numbers and tables are not payload: converting and writing back leave the count at zero,
  // and the fixture checks it is zero once the cells are released.
  double* data = nullptr;
  int32_t r = 0, c = 0;
  ASSERT_EQ(ObjToDoubleArray2(L, value(0, "array(array(1, 2), array(3, 4))"), &data, &r, &c), 1);
  VKL_Table* t = VKL_NewHash(L, &cells[1]);
  ASSERT_EQ(DoubleArrayToHash(L, t, data, r, c), 1);
  VKL_Free(data);
  EXPECT_EQ(VKL_GetMemUsed(L), 0);
  EXPECT_EQ(VKL_ObjEqual(&cells[1], value(2, "array(array(1.0, 2.0), array(3.0, 4.0))")), 1);
}

}  // namespace
