// Cell matrices: shape and header row, resizing (shared matrices copied first), structure
// copies, the multi-dimension test, release without recursion and exact memory accounting.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "kernel_fixture.h"

namespace {

class MatrixTest : public KernelTest {
 protected:

  VKL_Matrix* matrix(const TObject& o) { return static_cast<VKL_Matrix*>(vkl_ptr(&o)); }

  // Fills every data cell of `m` with the string "r<row>c<col>" and the header with "f<col>".
  void fill(VKL_Matrix* m) {
    for (int64_t col = 0; col < VKL_MatrixCols(m); ++col) {
      ASSERT_TRUE(
          VKL_SetString(L, VKL_Matrix_Get(m, -1, col), ("f" + std::to_string(col)).c_str()));
      for (int64_t r = 0; r < VKL_MatrixRows(m); ++r) {
        const std::string value = "r" + std::to_string(r) + "c" + std::to_string(col);
        ASSERT_TRUE(VKL_SetString(L, VKL_Matrix_Get(m, r, col), value.c_str()));
      }
    }
  }

  static std::string text(const TObject* o) { return o ? VKL_AsString(o) : "<null>"; }

  TObject& a = cells[0];
  TObject& b = cells[1];
  TObject& c = cells[2];
};

TEST_F(MatrixTest, CreateGivesNilCellsUnderAHeaderRow) {
  VKL_Matrix* m = VKL_CreateMatrix(L, &a, 2, 3);
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(a.tag, VKL_TMATRIX);
  EXPECT_EQ(matrix(a), m);
  EXPECT_EQ(VKL_MatrixRows(m), 2);
  EXPECT_EQ(VKL_MatrixCols(m), 3);
  TObject* block = VKL_MatrixCells(m);
  for (int i = 0; i < 9; ++i) EXPECT_EQ(block[i].tag, VKL_TNIL) << i;

  // The header row is the first C cells; data row r starts at (r + 1) * C.
  EXPECT_EQ(VKL_Matrix_Get(m, -1, 0), block);
  EXPECT_EQ(VKL_Matrix_Get(m, -1, 2), block + 2);
  EXPECT_EQ(VKL_Matrix_Get(m, 0, 0), block + 3);
  EXPECT_EQ(VKL_Matrix_Get(m, 1, 2), block + 8);
  EXPECT_EQ(VKL_Matrix_Get(m, -2, 0), nullptr);
  EXPECT_EQ(VKL_Matrix_Get(m, 2, 0), nullptr);
  EXPECT_EQ(VKL_Matrix_Get(m, 0, 3), nullptr);
  EXPECT_EQ(VKL_Matrix_Get(m, 0, -1), nullptr);
  EXPECT_EQ(VKL_Matrix_Get(nullptr, 0, 0), nullptr);
}

TEST_F(MatrixTest, EmptyShapes) {
  VKL_Matrix* header_only = VKL_CreateMatrix(L, &a, 0, 2);
  ASSERT_NE(header_only, nullptr);
  EXPECT_NE(VKL_Matrix_Get(header_only, -1, 1), nullptr);
  EXPECT_EQ(VKL_Matrix_Get(header_only, 0, 0), nullptr);

  VKL_Matrix* no_columns = VKL_CreateMatrix(L, &b, 3, 0);
  ASSERT_NE(no_columns, nullptr);
  EXPECT_EQ(VKL_MatrixRows(no_columns), 3);
  EXPECT_EQ(VKL_Matrix_Get(no_columns, 0, 0), nullptr);
  EXPECT_EQ(VKL_Matrix_Get(no_columns, -1, 0), nullptr);
}

TEST_F(MatrixTest, BadSizesAreRefusedWithTheCellUnchanged) {
  VKL_SetInt(L, &a, 7);
  EXPECT_EQ(VKL_CreateMatrix(L, &a, -1, 2), nullptr);
  EXPECT_EQ(VKL_CreateMatrix(L, &a, 2, -1), nullptr);
  EXPECT_EQ(VKL_CreateMatrix(L, &a, INT64_MAX, 2), nullptr);
  EXPECT_EQ(VKL_CreateMatrix(L, &a, 2, INT64_MAX), nullptr);
  EXPECT_EQ(VKL_CreateMatrix(L, &a, int64_t{1} << 32, int64_t{1} << 32), nullptr);
  // Within int64 but far beyond any memory: refused before allocating.
  EXPECT_EQ(VKL_CreateMatrix(L, &a, int64_t{1} << 40, 4), nullptr);
  EXPECT_EQ(VKL_CreateMatrix(L, nullptr, 1, 1), nullptr);
  EXPECT_EQ(a.tag, VKL_TINT);
  EXPECT_EQ(vkl_int(&a), 7);

  EXPECT_EQ(VKL_MatrixRows(nullptr), 0);
  EXPECT_EQ(VKL_MatrixCols(nullptr), 0);
  EXPECT_EQ(VKL_MatrixCells(nullptr), nullptr);
  EXPECT_EQ(DupMatrixStruct(L, &a, nullptr), 0);
  EXPECT_EQ(DupMatrixStruct(L, nullptr, nullptr), 0);
  EXPECT_EQ(vkl_int(&a), 7);
}

TEST_F(MatrixTest, CreatingReleasesWhatTheCellHeld) {
  ASSERT_TRUE(VKL_SetString(L, &a, "a string the matrix replaces"));
  EXPECT_GT(VKL_GetMemUsed(L), 0);
  ASSERT_NE(VKL_CreateMatrix(L, &a, 1, 1), nullptr);
  EXPECT_EQ(VKL_GetMemUsed(L), 0);
}

TEST_F(MatrixTest, ResizeKeepsHeaderAndLeadingCells) {
  VKL_Matrix* m = VKL_CreateMatrix(L, &a, 2, 3);
  fill(m);
  const int64_t filled = VKL_GetMemUsed(L);

  // Growing to 8 cells: three rows, the cell at index 8 beyond the count stays nil.
  ASSERT_EQ(VKL_Matrix_Resize(L, &a, 8), 1);
  m = matrix(a);
  EXPECT_EQ(VKL_MatrixRows(m), 3);
  EXPECT_EQ(VKL_MatrixCols(m), 3);
  EXPECT_EQ(text(VKL_Matrix_Get(m, -1, 2)), "f2");
  EXPECT_EQ(text(VKL_Matrix_Get(m, 1, 2)), "r1c2");
  for (int col = 0; col < 3; ++col) EXPECT_EQ(VKL_Matrix_Get(m, 2, col)->tag, VKL_TNIL);
  EXPECT_EQ(VKL_GetMemUsed(L), filled);

  // Shrinking to 4 cells: two rows; cells at data index 4 and beyond are released.
  ASSERT_EQ(VKL_Matrix_Resize(L, &a, 4), 1);
  m = matrix(a);
  EXPECT_EQ(VKL_MatrixRows(m), 2);
  EXPECT_EQ(text(VKL_Matrix_Get(m, 0, 2)), "r0c2");
  EXPECT_EQ(text(VKL_Matrix_Get(m, 1, 0)), "r1c0");
  EXPECT_EQ(VKL_Matrix_Get(m, 1, 1)->tag, VKL_TNIL);
  EXPECT_EQ(VKL_Matrix_Get(m, 1, 2)->tag, VKL_TNIL);
  EXPECT_LT(VKL_GetMemUsed(L), filled);

  ASSERT_EQ(VKL_Matrix_Resize(L, &a, 0), 1);
  m = matrix(a);
  EXPECT_EQ(VKL_MatrixRows(m), 0);
  EXPECT_EQ(text(VKL_Matrix_Get(m, -1, 0)), "f0");
  EXPECT_EQ(VKL_GetMemUsed(L), 3 * 3);  // the three header strings "fN" and their zeros
}

TEST_F(MatrixTest, ResizeGivesAMatrixWithoutColumnsOneColumn) {
  ASSERT_NE(VKL_CreateMatrix(L, &a, 4, 0), nullptr);
  ASSERT_EQ(VKL_Matrix_Resize(L, &a, 5), 1);
  VKL_Matrix* m = matrix(a);
  EXPECT_EQ(VKL_MatrixCols(m), 1);
  EXPECT_EQ(VKL_MatrixRows(m), 5);
  ASSERT_NE(VKL_Matrix_Get(m, 4, 0), nullptr);
  EXPECT_EQ(VKL_Matrix_Get(m, 4, 0)->tag, VKL_TNIL);
  EXPECT_EQ(VKL_Matrix_Get(m, -1, 0)->tag, VKL_TNIL);
}

TEST_F(MatrixTest, ResizeCopiesASharedMatrixFirst) {
  VKL_Matrix* m = VKL_CreateMatrix(L, &a, 2, 2);
  fill(m);
  ASSERT_EQ(VKL_DupObjectEx(L, &b, &a, 0), 1);  // b shares the matrix
  ASSERT_EQ(matrix(b), m);

  ASSERT_EQ(VKL_Matrix_Resize(L, &a, 6), 1);
  VKL_Matrix* resized = matrix(a);
  EXPECT_NE(resized, m);
  EXPECT_EQ(VKL_MatrixRows(m), 2);  // the other holder sees no change
  EXPECT_EQ(VKL_MatrixRows(resized), 3);
  EXPECT_EQ(text(VKL_Matrix_Get(resized, 1, 1)), "r1c1");
  EXPECT_EQ(text(VKL_Matrix_Get(resized, -1, 1)), "f1");

  // The copy is deep: its strings are its own.
  EXPECT_NE(VKL_AsString(VKL_Matrix_Get(resized, 0, 0)), VKL_AsString(VKL_Matrix_Get(m, 0, 0)));
  ASSERT_TRUE(VKL_SetString(L, VKL_Matrix_Get(resized, 0, 0), "changed"));
  EXPECT_EQ(text(VKL_Matrix_Get(m, 0, 0)), "r0c0");

  // Each matrix now has one holder and is resized in place.
  ASSERT_EQ(VKL_Matrix_Resize(L, &a, 2), 1);
  EXPECT_EQ(matrix(a), resized);
  ASSERT_EQ(VKL_Matrix_Resize(L, &b, 1), 1);
  EXPECT_EQ(matrix(b), m);
  EXPECT_EQ(VKL_MatrixRows(m), 1);
}

TEST_F(MatrixTest, ResizeFollowsAReferenceAndRefusesBadInput) {
  VKL_Matrix* m = VKL_CreateMatrix(L, &a, 1, 2);
  ASSERT_EQ(VKL_SetRef(L, &c, &a), 1);
  ASSERT_EQ(VKL_Matrix_Resize(L, &c, 3), 1);
  EXPECT_EQ(c.tag, VKL_TREF);
  EXPECT_EQ(VKL_MatrixRows(m), 2);

  EXPECT_EQ(VKL_Matrix_Resize(L, &a, -1), 0);
  EXPECT_EQ(VKL_Matrix_Resize(L, &a, INT64_MAX), 0);
  EXPECT_EQ(VKL_Matrix_Resize(L, nullptr, 1), 0);
  EXPECT_EQ(matrix(a), m);
  EXPECT_EQ(VKL_MatrixRows(m), 2);

  VKL_SetInt(L, &b, 3);
  EXPECT_EQ(VKL_Matrix_Resize(L, &b, 1), 0);
  EXPECT_EQ(b.tag, VKL_TINT);
  EXPECT_EQ(VKL_Matrix_Resize(L, &cells[3], 1), 0);  // nil
}

TEST_F(MatrixTest, DupMatrixStructCopiesTheHeaderOnly) {
  VKL_Matrix* m = VKL_CreateMatrix(L, &a, 3, 2);
  fill(m);
  VKL_SetReal(L, &b, 1.5);
  ASSERT_EQ(DupMatrixStruct(L, &b, m), 1);
  VKL_Matrix* d = matrix(b);
  ASSERT_EQ(b.tag, VKL_TMATRIX);
  EXPECT_NE(d, m);
  EXPECT_EQ(VKL_MatrixRows(d), 3);
  EXPECT_EQ(VKL_MatrixCols(d), 2);
  EXPECT_EQ(text(VKL_Matrix_Get(d, -1, 0)), "f0");
  EXPECT_EQ(text(VKL_Matrix_Get(d, -1, 1)), "f1");
  EXPECT_NE(VKL_AsString(VKL_Matrix_Get(d, -1, 0)), VKL_AsString(VKL_Matrix_Get(m, -1, 0)));
  for (int r = 0; r < 3; ++r) {
    for (int col = 0; col < 2; ++col) EXPECT_EQ(VKL_Matrix_Get(d, r, col)->tag, VKL_TNIL);
  }

  // The destination may be the cell that holds the only reference to the source.
  ASSERT_EQ(DupMatrixStruct(L, &a, m), 1);
  EXPECT_EQ(text(VKL_Matrix_Get(matrix(a), -1, 1)), "f1");
  EXPECT_EQ(VKL_Matrix_Get(matrix(a), 0, 0)->tag, VKL_TNIL);
}

TEST_F(MatrixTest, IsMultiDim) {
  ASSERT_NE(VKL_CreateMatrix(L, &a, 1, 1), nullptr);
  EXPECT_EQ(IsMultiDim(&a), 1);
  ASSERT_EQ(VKL_SetRef(L, &b, &a), 1);
  EXPECT_EQ(IsMultiDim(&b), 1);

  const int64_t one[] = {4};
  const int64_t two[] = {2, 2};
  ASSERT_NE(VKL_CreateFixedMatrix(L, &c, VKL_FM_DOUBLE, 1, one), nullptr);
  EXPECT_EQ(IsMultiDim(&c), 0);
  ASSERT_NE(VKL_CreateFixedMatrix(L, &c, VKL_FM_DOUBLE, 2, two), nullptr);
  EXPECT_EQ(IsMultiDim(&c), 1);

  VKL_Table* t = VKL_NewHash(L, &a);
  ASSERT_NE(t, nullptr);
  EXPECT_EQ(IsMultiDim(&a), 0);  // empty
  ASSERT_NE(VKL_NewHash(L, VKL_HashSetInt(L, t, 0)), nullptr);
  ASSERT_NE(VKL_NewHash(L, VKL_HashSetSZString(L, t, "k")), nullptr);
  EXPECT_EQ(IsMultiDim(&a), 1);
  VKL_SetInt(L, VKL_HashSetInt(L, t, 1), 5);
  EXPECT_EQ(IsMultiDim(&a), 0);

  VKL_SetInt(L, &a, 1);
  EXPECT_EQ(IsMultiDim(&a), 0);
  EXPECT_EQ(IsMultiDim(nullptr), 0);
}

TEST_F(MatrixTest, StringsInsideMatricesAreAccountedAndFreed) {
  VKL_Matrix* m = VKL_CreateMatrix(L, &a, 50, 4);
  fill(m);
  EXPECT_GT(VKL_GetMemUsed(L), 0);
  ASSERT_EQ(VKL_DupObject(L, &b, &a), 1);
  ASSERT_EQ(DupMatrixStruct(L, &c, m), 1);
  VKL_SetNil(L, &a);
  VKL_SetNil(L, &b);
  VKL_SetNil(L, &c);
  EXPECT_EQ(VKL_GetMemUsed(L), 0);
}

TEST_F(MatrixTest, DeeplyNestedMatricesAreReleasedWithoutRecursion) {
  // Each matrix's only data cell holds the next matrix, two hundred thousand levels deep.
  VKL_Matrix* m = VKL_CreateMatrix(L, &a, 1, 1);
  ASSERT_TRUE(VKL_SetString(L, VKL_Matrix_Get(m, -1, 0), "top"));
  for (int level = 0; level < 200000 && m; ++level) {
    m = VKL_CreateMatrix(L, VKL_Matrix_Get(m, 0, 0), 1, 1);
  }
  ASSERT_NE(m, nullptr);
  ASSERT_TRUE(VKL_SetString(L, VKL_Matrix_Get(m, 0, 0), "bottom"));
  VKL_SetNil(L, &a);
  EXPECT_EQ(VKL_GetMemUsed(L), 0);
}

}  // namespace
