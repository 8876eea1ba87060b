// Fixed matrices: element types and shapes, offsets, index iteration, element cells, type
// conversions, reshaping, resizing and dimension exchange (shared matrices copied first), table
// conversions, bad input, release without recursion and exact memory accounting.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <vector>

#include "kernel_fixture.h"

namespace {

using Index = std::vector<int64_t>;

class FixedMatrixTest : public KernelTest {
 protected:

  VKL_FixedMatrix* create(TObject* o, int type, std::initializer_list<int64_t> dims) {
    const Index d(dims);
    return VKL_CreateFixedMatrix(L, o, type, static_cast<int>(d.size()), d.data());
  }
  static VKL_FixedMatrix* fm(const TObject& o) {
    return static_cast<VKL_FixedMatrix*>(vkl_ptr(&o));
  }
  static Index dims_of(const VKL_FixedMatrix* m) {
    Index d(16);
    d.resize(static_cast<size_t>(VKL_FMGetDims(m, d.data())));
    return d;
  }
  // Element i of a double matrix set to i * 0.5, of an int32 or int64 one to i * 10.
  static void fill_numbers(VKL_FixedMatrix* m) {
    for (int64_t i = 0; i < VKL_FMGetCount(m); ++i) {
      void* p = VKL_FMGetBufferByOffset(m, i);
      if (VKL_FMGetType(m) == VKL_FM_DOUBLE) {
        const double v = static_cast<double>(i) * 0.5;
        memcpy(p, &v, sizeof v);
      } else if (VKL_FMGetType(m) == VKL_FM_INT32) {
        const int32_t v = static_cast<int32_t>(i * 10);
        memcpy(p, &v, sizeof v);
      } else {
        const int64_t v = i * 10;
        memcpy(p, &v, sizeof v);
      }
    }
  }
  static TObject* cell(const VKL_FixedMatrix* m, int64_t offset) {
    return static_cast<TObject*>(VKL_FMGetBufferByOffset(m, offset));
  }
  // Makes `o` a table of integers (kind 0 or 20 as the value needs) keyed 0..n-1.
  VKL_Table* int_array(TObject* o, std::initializer_list<int64_t> values) {
    VKL_Table* t = VKL_NewHash(L, o);
    int32_t key = 0;
    for (int64_t v : values) VKL_SetIntAuto(L, VKL_HashSetInt(L, t, key++), v);
    return t;
  }

  TObject& a = cells[0];
  TObject& b = cells[1];
  TObject& c = cells[2];
};

TEST_F(FixedMatrixTest, ElementTypesSizesAndZeroedBuffers) {
  struct Case {
    int type;
    int size;
  };
  for (const Case k : {Case{VKL_FM_INT32, 4}, Case{VKL_FM_DOUBLE, 8}, Case{VKL_FM_INT64A, 8},
                       Case{VKL_FM_INT64, 8}, Case{VKL_FM_CELLS, 18}}) {
    VKL_FixedMatrix* m = create(&a, k.type, {3, 4});
    ASSERT_NE(m, nullptr) << k.type;
    EXPECT_EQ(a.tag, VKL_TFIXEDMATRIX);
    EXPECT_EQ(VKL_FMGetType(m), k.type);
    EXPECT_EQ(VKL_FMGetElementsize(m), k.size);
    EXPECT_EQ(VKL_FMGetCount(m), 12);
    EXPECT_EQ(dims_of(m), (Index{3, 4}));
    EXPECT_EQ(VKL_FMGetRawLineSize(m), 4 * k.size);
    const auto* bytes = static_cast<const uint8_t*>(VKL_FMGetBuffer(m));
    for (int64_t i = 0; i < 12; ++i) {
      if (k.type == VKL_FM_CELLS) {
        EXPECT_EQ(cell(m, i)->tag, VKL_TNIL);
      } else {
        for (int j = 0; j < k.size; ++j) EXPECT_EQ(bytes[i * k.size + j], 0);
      }
    }
  }
}

TEST_F(FixedMatrixTest, BadTypesAndShapesAreRefusedWithTheCellUnchanged) {
  VKL_SetInt(L, &a, 7);
  for (int type : {-1, 2, 6, 10, 17, 19, 21, 255}) EXPECT_EQ(create(&a, type, {2}), nullptr);
  EXPECT_EQ(create(&a, VKL_FM_DOUBLE, {2, -1}), nullptr);
  EXPECT_EQ(create(&a, VKL_FM_DOUBLE, {int64_t{1} << 40, int64_t{1} << 40}), nullptr);
  EXPECT_EQ(create(&a, VKL_FM_DOUBLE, {INT64_MAX}), nullptr);
  // Within int64 but far beyond any memory: refused before allocating.
  EXPECT_EQ(create(&a, VKL_FM_INT32, {int64_t{1} << 45}), nullptr);
  // A zero dimension does not excuse absurd other dimensions.
  EXPECT_EQ(create(&a, VKL_FM_INT32, {0, int64_t{1} << 40, int64_t{1} << 40}), nullptr);

  EXPECT_EQ(VKL_FMGetMaxDims(), 16);
  const Index seventeen(17, 1);
  EXPECT_EQ(VKL_CreateFixedMatrix(L, &a, VKL_FM_INT32, 17, seventeen.data()), nullptr);
  EXPECT_EQ(VKL_CreateFixedMatrix(L, &a, VKL_FM_INT32, 0, seventeen.data()), nullptr);
  EXPECT_EQ(VKL_CreateFixedMatrix(L, &a, VKL_FM_INT32, -3, seventeen.data()), nullptr);
  EXPECT_EQ(VKL_CreateFixedMatrix(L, &a, VKL_FM_INT32, 2, nullptr), nullptr);
  EXPECT_EQ(VKL_CreateFixedMatrix(L, nullptr, VKL_FM_INT32, 1, seventeen.data()), nullptr);
  EXPECT_EQ(a.tag, VKL_TINT);
  EXPECT_EQ(vkl_int(&a), 7);

  const Index sixteen(16, 2);
  VKL_FixedMatrix* m = VKL_CreateFixedMatrix(L, &a, VKL_FM_INT32, 16, sixteen.data());
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(VKL_FMGetCount(m), 65536);
}

TEST_F(FixedMatrixTest, NullMatricesReadAsEmpty) {
  int64_t index[2] = {0, 0};
  EXPECT_EQ(VKL_FMGetType(nullptr), -1);
  EXPECT_EQ(VKL_FMGetDims(nullptr, index), 0);
  EXPECT_EQ(VKL_FMGetCount(nullptr), 0);
  EXPECT_EQ(VKL_FMGetElementsize(nullptr), 0);
  EXPECT_EQ(VKL_FMGetBuffer(nullptr), nullptr);
  EXPECT_EQ(VKL_FMGetOffsetByDims(nullptr, index), -1);
  EXPECT_EQ(VKL_FMGetBufferByDims(nullptr, index), nullptr);
  EXPECT_EQ(VKL_FMGetBufferByOffset(nullptr, 0), nullptr);
  EXPECT_EQ(VKL_FMGetRawLineSize(nullptr), 0);
  EXPECT_EQ(VKL_FMInc(nullptr, index), 0);
  EXPECT_EQ(VKL_FMIncFixedDim(nullptr, index, 0), 0);
  EXPECT_EQ(VKL_FMGetDouble(nullptr, 0), 0);
  EXPECT_EQ(VKL_FMGetInt64(nullptr, 0), 0);
  EXPECT_EQ(VKL_SetFMElement(L, &a, nullptr, 0), 0);
  EXPECT_EQ(VKL_FMToFM(L, &a, nullptr, -1), 0);
  EXPECT_EQ(VKL_FMDimExchange(L, &a, nullptr, 0, 0), 0);
  EXPECT_EQ(VKL_FixedmatrixToHash(L, &a, nullptr), 0);
  EXPECT_EQ(VKL_HashToFixedmatrix(L, &a, nullptr, -1), 0);
  EXPECT_EQ(a.tag, VKL_TNIL);
  VKL_FreeFixedMatrix(L, nullptr);
}

TEST_F(FixedMatrixTest, OffsetsByIndex) {
  VKL_FixedMatrix* m = create(&a, VKL_FM_DOUBLE, {2, 3, 4});
  ASSERT_NE(m, nullptr);
  const int64_t last[] = {1, 2, 3};
  const int64_t middle[] = {1, 0, 2};
  EXPECT_EQ(VKL_FMGetOffsetByDims(m, last), 23);
  EXPECT_EQ(VKL_FMGetOffsetByDims(m, middle), 14);
  EXPECT_EQ(VKL_FMGetBufferByDims(m, middle), static_cast<uint8_t*>(VKL_FMGetBuffer(m)) + 14 * 8);
  EXPECT_EQ(VKL_FMGetBufferByOffset(m, 23), static_cast<uint8_t*>(VKL_FMGetBuffer(m)) + 23 * 8);
  for (const Index& bad : {Index{2, 0, 0}, Index{0, 3, 0}, Index{0, 0, 4}, Index{-1, 0, 0}}) {
    EXPECT_EQ(VKL_FMGetOffsetByDims(m, bad.data()), -1);
    EXPECT_EQ(VKL_FMGetBufferByDims(m, bad.data()), nullptr);
  }
  EXPECT_EQ(VKL_FMGetOffsetByDims(m, nullptr), -1);
  EXPECT_EQ(VKL_FMGetBufferByOffset(m, 24), nullptr);
  EXPECT_EQ(VKL_FMGetBufferByOffset(m, -1), nullptr);
}

// Collects the offsets VKL_FMInc visits from the zero index, and checks the wrap.
std::vector<int64_t> visit_order(const VKL_FixedMatrix* m) {
  Index index(16, 0);
  std::vector<int64_t> order;
  if (VKL_FMGetCount(m) == 0) return order;
  do {
    order.push_back(VKL_FMGetOffsetByDims(m, index.data()));
  } while (VKL_FMInc(m, index.data()) && order.size() <= 1000);
  for (int64_t i : index) EXPECT_EQ(i, 0);
  return order;
}

TEST_F(FixedMatrixTest, IncrementRunsInStorageOrder) {
  for (const Index& dims : {Index{3}, Index{1}, Index{2, 3}, Index{3, 1}, Index{1, 4},
                            Index{2, 1, 3}, Index{2, 3, 4}}) {
    VKL_FixedMatrix* m =
        VKL_CreateFixedMatrix(L, &a, VKL_FM_INT32, static_cast<int>(dims.size()), dims.data());
    ASSERT_NE(m, nullptr);
    std::vector<int64_t> expected(static_cast<size_t>(VKL_FMGetCount(m)));
    for (size_t i = 0; i < expected.size(); ++i) expected[i] = static_cast<int64_t>(i);
    EXPECT_EQ(visit_order(m), expected) << dims.size() << " dims";
  }

  // The index itself, for two dimensions: the last one runs fastest.
  VKL_FixedMatrix* m = create(&a, VKL_FM_INT32, {2, 2});
  int64_t index[2] = {0, 0};
  ASSERT_EQ(VKL_FMInc(m, index), 1);
  EXPECT_EQ(index[0], 0);
  EXPECT_EQ(index[1], 1);
  ASSERT_EQ(VKL_FMInc(m, index), 1);
  EXPECT_EQ(index[0], 1);
  EXPECT_EQ(index[1], 0);
}

TEST_F(FixedMatrixTest, IncrementOverEmptyMatricesAndBadIndexes) {
  for (const Index& dims : {Index{0}, Index{0, 3}, Index{3, 0}, Index{2, 0, 2}}) {
    VKL_FixedMatrix* m =
        VKL_CreateFixedMatrix(L, &a, VKL_FM_DOUBLE, static_cast<int>(dims.size()), dims.data());
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(VKL_FMGetCount(m), 0);
    EXPECT_EQ(VKL_FMGetBuffer(m), nullptr);
    Index index(dims.size(), 0);
    EXPECT_EQ(VKL_FMInc(m, index.data()), 0);
    EXPECT_EQ(VKL_FMGetOffsetByDims(m, index.data()), -1);
  }

  VKL_FixedMatrix* m = create(&a, VKL_FM_INT32, {2, 3});
  int64_t outside[2] = {5, -1};
  EXPECT_EQ(VKL_FMInc(m, outside), 0);
  EXPECT_EQ(outside[0], 0);
  EXPECT_EQ(outside[1], 0);
  EXPECT_EQ(VKL_FMInc(m, nullptr), 0);
}

TEST_F(FixedMatrixTest, IncrementWithAFixedDimension) {
  VKL_FixedMatrix* m = create(&a, VKL_FM_INT32, {2, 3, 2});
  int64_t index[3] = {0, 2, 0};
  std::vector<int64_t> order;
  do {
    order.push_back(VKL_FMGetOffsetByDims(m, index));
  } while (VKL_FMIncFixedDim(m, index, 1) && order.size() < 100);
  EXPECT_EQ(order, (std::vector<int64_t>{4, 5, 10, 11}));
  EXPECT_EQ(index[0], 0);
  EXPECT_EQ(index[1], 2);  // held where it was
  EXPECT_EQ(index[2], 0);

  // Fixing the only dimension of a vector leaves one position.
  VKL_FixedMatrix* v = create(&b, VKL_FM_INT32, {4});
  int64_t i = 3;
  EXPECT_EQ(VKL_FMIncFixedDim(v, &i, 0), 0);
  EXPECT_EQ(i, 3);

  EXPECT_EQ(VKL_FMIncFixedDim(m, index, 3), 0);
  EXPECT_EQ(VKL_FMIncFixedDim(m, index, -1), 0);
  int64_t fixed_outside[3] = {0, 3, 0};
  EXPECT_EQ(VKL_FMIncFixedDim(m, fixed_outside, 1), 0);
}

TEST_F(FixedMatrixTest, ReadingElementsAsNumbers) {
  VKL_FixedMatrix* i32 = create(&a, VKL_FM_INT32, {2});
  const int32_t iv[] = {-5, INT32_MAX};
  memcpy(VKL_FMGetBuffer(i32), iv, sizeof iv);
  EXPECT_EQ(VKL_FMGetDouble(i32, 0), -5.0);
  EXPECT_EQ(VKL_FMGetInt64(i32, 1), INT32_MAX);

  VKL_FixedMatrix* dbl = create(&b, VKL_FM_DOUBLE, {5});
  const double dv[] = {2.75, -2.75, std::nan(""), 1e30, -1e30};
  memcpy(VKL_FMGetBuffer(dbl), dv, sizeof dv);
  EXPECT_EQ(VKL_FMGetDouble(dbl, 0), 2.75);
  EXPECT_EQ(VKL_FMGetInt64(dbl, 0), 2);
  EXPECT_EQ(VKL_FMGetInt64(dbl, 1), -2);
  EXPECT_EQ(VKL_FMGetInt64(dbl, 2), 0);
  EXPECT_EQ(VKL_FMGetInt64(dbl, 3), INT64_MAX);
  EXPECT_EQ(VKL_FMGetInt64(dbl, 4), INT64_MIN);
  EXPECT_EQ(VKL_FMGetDouble(dbl, 5), 0);  // out of range
  EXPECT_EQ(VKL_FMGetDouble(dbl, -1), 0);

  for (int type : {VKL_FM_INT64, VKL_FM_INT64A}) {
    VKL_FixedMatrix* i64 = create(&c, type, {1});
    const int64_t big = (int64_t{1} << 53) + 1;
    memcpy(VKL_FMGetBuffer(i64), &big, sizeof big);
    EXPECT_EQ(VKL_FMGetInt64(i64, 0), big);
    EXPECT_EQ(VKL_FMGetDouble(i64, 0), static_cast<double>(big));
  }

  VKL_FixedMatrix* cellm = create(&c, VKL_FM_CELLS, {1});
  VKL_SetInt(L, cell(cellm, 0), 9);
  EXPECT_EQ(VKL_FMGetDouble(cellm, 0), 0);
  EXPECT_EQ(VKL_FMGetInt64(cellm, 0), 0);
}

TEST_F(FixedMatrixTest, ElementCellsHoldTheirMatrix) {
  VKL_FixedMatrix* m = create(&a, VKL_FM_DOUBLE, {2, 2});
  fill_numbers(m);
  ASSERT_TRUE(VKL_SetString(L, &b, "replaced by the element"));
  ASSERT_EQ(VKL_SetFMElement(L, &b, m, 3), 1);
  EXPECT_EQ(b.tag, VKL_TFMELEMENT);
  EXPECT_EQ(vkl_ptr(&b), m);
  EXPECT_EQ(vkl_elem_offset(&b), 3);
  EXPECT_EQ(VKL_DoubleCheck(&b), 1);
  EXPECT_EQ(VKL_AsDouble(&b), 1.5);

  // The element shares the matrix: reshaping it through `a` works on a copy.
  const int64_t flat[] = {4};
  ASSERT_EQ(VKL_FMReshape(L, &a, 1, flat), 1);
  EXPECT_NE(fm(a), m);
  EXPECT_EQ(vkl_ptr(&b), m);

  // The element reads through to the buffer of the matrix only it holds now.
  const double seven = 7.25;
  memcpy(VKL_FMGetBufferByOffset(m, 3), &seven, sizeof seven);
  EXPECT_EQ(VKL_AsDouble(&b), 7.25);
  EXPECT_EQ(VKL_AsInt64(&b), 7);
  EXPECT_EQ(VKL_FMGetDouble(fm(a), 3), 1.5);

  ASSERT_EQ(VKL_DupObject(L, &c, &b), 1);
  EXPECT_EQ(vkl_ptr(&c), m);
  VKL_SetNil(L, &c);
  // An element cell may be set to another element of the matrix it holds the last reference of.
  ASSERT_EQ(VKL_SetFMElement(L, &b, m, 0), 1);
  EXPECT_EQ(VKL_AsDouble(&b), 0.0);

  EXPECT_EQ(VKL_SetFMElement(L, &c, m, 4), 0);
  EXPECT_EQ(VKL_SetFMElement(L, &c, m, -1), 0);
  EXPECT_EQ(VKL_SetFMElement(L, nullptr, m, 0), 0);
  EXPECT_EQ(c.tag, VKL_TNIL);

  // Any element type gives an element cell; cells read 0.
  VKL_FixedMatrix* cm = create(&a, VKL_FM_CELLS, {1});
  VKL_SetInt(L, cell(cm, 0), 3);
  ASSERT_EQ(VKL_SetFMElement(L, &c, cm, 0), 1);
  EXPECT_EQ(VKL_AsDouble(&c), 0);
}

TEST_F(FixedMatrixTest, ConversionsBetweenNumericTypes) {
  VKL_FixedMatrix* d = create(&a, VKL_FM_DOUBLE, {6});
  const double dv[] = {1.9, -1.9, 3e9, -3e9, std::nan(""), 1e19};
  memcpy(VKL_FMGetBuffer(d), dv, sizeof dv);

  ASSERT_EQ(VKL_FMToFM(L, &b, d, VKL_FM_INT32), 1);
  VKL_FixedMatrix* i32 = fm(b);
  EXPECT_EQ(VKL_FMGetType(i32), VKL_FM_INT32);
  EXPECT_EQ(dims_of(i32), Index{6});
  const std::vector<int64_t> want32 = {1, -1, INT32_MAX, INT32_MIN, 0, INT32_MAX};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(VKL_FMGetInt64(i32, i), want32[i]) << i;

  ASSERT_EQ(VKL_FMToFM(L, &c, d, VKL_FM_INT64A), 1);
  const std::vector<int64_t> want64 = {1, -1, 3000000000, -3000000000, 0, INT64_MAX};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(VKL_FMGetInt64(fm(c), i), want64[i]) << i;

  // int64 to int32 saturates; int64 under either code copies exactly; to double converts.
  ASSERT_EQ(VKL_FMToFM(L, &b, fm(c), VKL_FM_INT32), 1);
  EXPECT_EQ(VKL_FMGetInt64(fm(b), 2), INT32_MAX);
  EXPECT_EQ(VKL_FMGetInt64(fm(b), 3), INT32_MIN);
  ASSERT_EQ(VKL_FMToFM(L, &b, fm(c), VKL_FM_INT64), 1);
  EXPECT_EQ(VKL_FMGetType(fm(b)), VKL_FM_INT64);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(VKL_FMGetInt64(fm(b), i), want64[i]) << i;
  ASSERT_EQ(VKL_FMToFM(L, &b, fm(c), VKL_FM_DOUBLE), 1);
  EXPECT_EQ(VKL_FMGetDouble(fm(b), 2), 3e9);

  // -1 keeps the type; the copy has its own buffer.
  ASSERT_EQ(VKL_FMToFM(L, &b, d, -1), 1);
  EXPECT_EQ(VKL_FMGetType(fm(b)), VKL_FM_DOUBLE);
  EXPECT_NE(fm(b), d);
  EXPECT_EQ(VKL_ObjEqual(&a, &b), 1);
  const double zero = 0;
  memcpy(VKL_FMGetBuffer(d), &zero, sizeof zero);
  EXPECT_EQ(VKL_FMGetDouble(fm(b), 0), 1.9);

  // Without copyData the elements are zero.
  ASSERT_NE(VKL_CreateFixedMatrixFromFixedMatrix(L, &b, d, VKL_FM_INT32, 0), nullptr);
  EXPECT_EQ(dims_of(fm(b)), Index{6});
  EXPECT_EQ(VKL_FMGetInt64(fm(b), 2), 0);

  VKL_FixedMatrix* before = fm(b);
  EXPECT_EQ(VKL_FMToFM(L, &b, d, 3), 0);
  EXPECT_EQ(VKL_CreateFixedMatrixFromFixedMatrix(L, &b, d, 99, 1), nullptr);
  EXPECT_EQ(fm(b), before);
  EXPECT_EQ(VKL_FMToFM(L, nullptr, d, -1), 0);
}

TEST_F(FixedMatrixTest, ConversionsBetweenCellsAndNumbers) {
  VKL_FixedMatrix* d = create(&a, VKL_FM_DOUBLE, {2, 2});
  fill_numbers(d);
  ASSERT_EQ(VKL_FMToFM(L, &b, d, VKL_FM_CELLS), 1);
  VKL_FixedMatrix* cm = fm(b);
  EXPECT_EQ(dims_of(cm), (Index{2, 2}));
  EXPECT_EQ(cell(cm, 3)->tag, VKL_TREAL);
  EXPECT_EQ(vkl_real(cell(cm, 3)), 1.5);

  VKL_FixedMatrix* i = create(&c, VKL_FM_INT32, {2});
  fill_numbers(i);
  ASSERT_EQ(VKL_FMToFM(L, &b, i, VKL_FM_CELLS), 1);
  EXPECT_EQ(cell(fm(b), 1)->tag, VKL_TINT);
  EXPECT_EQ(vkl_int(cell(fm(b), 1)), 10);
  VKL_FixedMatrix* i64 = create(&cells[3], VKL_FM_INT64A, {2});
  fill_numbers(i64);
  ASSERT_EQ(VKL_FMToFM(L, &b, i64, VKL_FM_CELLS), 1);
  EXPECT_EQ(cell(fm(b), 1)->tag, VKL_TINT64);
  EXPECT_EQ(vkl_int64(cell(fm(b), 1)), 10);

  // Cells to numbers: numbers keep their value (element cells too), anything else reads 0.
  VKL_FixedMatrix* src = create(&a, VKL_FM_CELLS, {6});
  VKL_SetInt(L, cell(src, 0), -4);
  VKL_SetReal(L, cell(src, 1), 2.5);
  VKL_SetInt64(L, cell(src, 2), int64_t{1} << 40);
  ASSERT_TRUE(VKL_SetString(L, cell(src, 3), "12"));
  ASSERT_EQ(VKL_SetFMElement(L, cell(src, 4), i, 1), 1);
  // cell 5 stays nil
  ASSERT_EQ(VKL_FMToFM(L, &b, src, VKL_FM_DOUBLE), 1);
  const std::vector<double> want = {-4, 2.5, 1099511627776.0, 0, 10, 0};
  for (int k = 0; k < 6; ++k) EXPECT_EQ(VKL_FMGetDouble(fm(b), k), want[k]) << k;
  ASSERT_EQ(VKL_FMToFM(L, &b, src, VKL_FM_INT32), 1);
  EXPECT_EQ(VKL_FMGetInt64(fm(b), 1), 2);
  EXPECT_EQ(VKL_FMGetInt64(fm(b), 2), INT32_MAX);
}

TEST_F(FixedMatrixTest, CellMatrixCopiesAreDeep) {
  VKL_FixedMatrix* src = create(&a, VKL_FM_CELLS, {3});
  ASSERT_TRUE(VKL_SetString(L, cell(src, 0), "first"));
  int_array(cell(src, 1), {1, 2, 3});
  const int64_t used = VKL_GetMemUsed(L);
  ASSERT_EQ(VKL_FMToFM(L, &b, src, -1), 1);
  VKL_FixedMatrix* copy = fm(b);
  EXPECT_EQ(VKL_GetMemUsed(L), 2 * used);
  EXPECT_NE(VKL_AsString(cell(copy, 0)), VKL_AsString(cell(src, 0)));
  EXPECT_NE(vkl_ptr(cell(copy, 1)), vkl_ptr(cell(src, 1)));
  EXPECT_EQ(VKL_ObjEqual(&a, &b), 1);

  // Without copyData the cells are nil.
  ASSERT_NE(VKL_CreateFixedMatrixFromFixedMatrix(L, &c, src, -1, 0), nullptr);
  EXPECT_EQ(cell(fm(c), 0)->tag, VKL_TNIL);
}

TEST_F(FixedMatrixTest, ReshapeKeepsTheElementsInOrder) {
  VKL_FixedMatrix* m = create(&a, VKL_FM_INT32, {2, 6});
  fill_numbers(m);
  const int64_t three_by_four[] = {3, 4};
  ASSERT_EQ(VKL_FMReshape(L, &a, 2, three_by_four), 1);
  EXPECT_EQ(fm(a), m);  // unshared: changed in place
  EXPECT_EQ(dims_of(m), (Index{3, 4}));
  const int64_t at[] = {2, 1};
  EXPECT_EQ(VKL_FMGetInt64(m, VKL_FMGetOffsetByDims(m, at)), 90);

  const int64_t wrong_count[] = {5, 2};
  const int64_t negative[] = {-3, -4};
  EXPECT_EQ(VKL_FMReshape(L, &a, 2, wrong_count), 0);
  EXPECT_EQ(VKL_FMReshape(L, &a, 2, negative), 0);
  EXPECT_EQ(VKL_FMReshape(L, &a, 0, three_by_four), 0);
  EXPECT_EQ(VKL_FMReshape(L, &a, 17, three_by_four), 0);
  EXPECT_EQ(VKL_FMReshape(L, &a, 2, nullptr), 0);
  EXPECT_EQ(VKL_FMReshape(L, &c, 2, three_by_four), 0);  // nil
  EXPECT_EQ(dims_of(m), (Index{3, 4}));

  // Shared: the other holder keeps its shape.
  ASSERT_EQ(VKL_DupObjectEx(L, &b, &a, 0), 1);
  const int64_t flat[] = {12};
  ASSERT_EQ(VKL_FMReshape(L, &a, 1, flat), 1);
  EXPECT_NE(fm(a), m);
  EXPECT_EQ(dims_of(fm(a)), Index{12});
  EXPECT_EQ(dims_of(fm(b)), (Index{3, 4}));
  EXPECT_EQ(VKL_FMGetInt64(fm(a), 11), 110);
  // b is now the only holder of the old matrix and reshapes it in place.
  const int64_t six_by_two[] = {6, 2};
  ASSERT_EQ(VKL_FMReshape(L, &b, 2, six_by_two), 1);
  EXPECT_EQ(fm(b), m);

  // Empty matrices reshape among shapes of count 0.
  create(&c, VKL_FM_DOUBLE, {0, 3});
  const int64_t other_empty[] = {4, 0, 2};
  EXPECT_EQ(VKL_FMReshape(L, &c, 3, other_empty), 1);
  EXPECT_EQ(dims_of(fm(c)), (Index{4, 0, 2}));
}

TEST_F(FixedMatrixTest, ResizeTheFirstDimension) {
  VKL_FixedMatrix* m = create(&a, VKL_FM_INT64, {2, 3});
  fill_numbers(m);
  ASSERT_EQ(VKL_FM_Resize(L, &a, 4), 1);
  m = fm(a);
  EXPECT_EQ(dims_of(m), (Index{4, 3}));
  EXPECT_EQ(VKL_FMGetCount(m), 12);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(VKL_FMGetInt64(m, i), i * 10);
  for (int i = 6; i < 12; ++i) EXPECT_EQ(VKL_FMGetInt64(m, i), 0);

  ASSERT_EQ(VKL_FM_Resize(L, &a, 1), 1);
  m = fm(a);
  EXPECT_EQ(VKL_FMGetCount(m), 3);
  EXPECT_EQ(VKL_FMGetInt64(m, 2), 20);
  ASSERT_EQ(VKL_FM_Resize(L, &a, 0), 1);
  EXPECT_EQ(VKL_FMGetCount(fm(a)), 0);
  ASSERT_EQ(VKL_FM_Resize(L, &a, 2), 1);
  EXPECT_EQ(VKL_FMGetInt64(fm(a), 5), 0);

  EXPECT_EQ(VKL_FM_Resize(L, &a, -1), 0);
  EXPECT_EQ(VKL_FM_Resize(L, &a, INT64_MAX), 0);
  EXPECT_EQ(VKL_FM_Resize(L, &a, int64_t{1} << 45), 0);
  EXPECT_EQ(VKL_FM_Resize(L, nullptr, 1), 0);
  EXPECT_EQ(dims_of(fm(a)), (Index{2, 3}));
  VKL_SetInt(L, &b, 1);
  EXPECT_EQ(VKL_FM_Resize(L, &b, 1), 0);
}

TEST_F(FixedMatrixTest, ResizeCopiesASharedMatrixAndReleasesDroppedCells) {
  VKL_FixedMatrix* m = create(&a, VKL_FM_CELLS, {4});
  for (int i = 0; i < 4; ++i) ASSERT_TRUE(VKL_SetString(L, cell(m, i), "cell text"));
  const int64_t four = VKL_GetMemUsed(L);
  ASSERT_EQ(VKL_SetRef(L, &c, &a), 1);

  ASSERT_EQ(VKL_DupObjectEx(L, &b, &a, 0), 1);
  ASSERT_EQ(VKL_FM_Resize(L, &c, 2), 1);  // through the reference
  EXPECT_NE(fm(a), m);
  EXPECT_EQ(fm(b), m);
  EXPECT_EQ(VKL_FMGetCount(m), 4);
  EXPECT_EQ(VKL_FMGetCount(fm(a)), 2);
  EXPECT_EQ(VKL_GetMemUsed(L), four + four / 2);

  VKL_SetNil(L, &b);  // the old matrix goes, with its four strings
  EXPECT_EQ(VKL_GetMemUsed(L), four / 2);
  ASSERT_EQ(VKL_FM_Resize(L, &a, 3), 1);
  EXPECT_EQ(cell(fm(a), 2)->tag, VKL_TNIL);
  ASSERT_EQ(VKL_FM_Resize(L, &a, 1), 1);
  EXPECT_EQ(VKL_GetMemUsed(L), four / 4);
}

TEST_F(FixedMatrixTest, DimensionExchange) {
  VKL_FixedMatrix* m = create(&a, VKL_FM_INT32, {2, 3});
  fill_numbers(m);  // row-major 0 10 20 / 30 40 50
  ASSERT_EQ(VKL_FMDimExchange(L, &b, m, 0, 1), 1);
  VKL_FixedMatrix* t = fm(b);
  EXPECT_EQ(dims_of(t), (Index{3, 2}));
  const std::vector<int64_t> transposed = {0, 30, 10, 40, 20, 50};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(VKL_FMGetInt64(t, i), transposed[i]) << i;

  // Three dimensions, first and last exchanged: element (i, j, k) moves to (k, j, i).
  VKL_FixedMatrix* cube = create(&a, VKL_FM_DOUBLE, {2, 3, 4});
  fill_numbers(cube);
  ASSERT_EQ(VKL_FMDimExchange(L, &b, cube, 2, 0), 1);
  VKL_FixedMatrix* x = fm(b);
  EXPECT_EQ(dims_of(x), (Index{4, 3, 2}));
  int64_t index[3] = {0, 0, 0};
  do {
    const int64_t moved[] = {index[2], index[1], index[0]};
    EXPECT_EQ(VKL_FMGetDouble(x, VKL_FMGetOffsetByDims(x, moved)),
              VKL_FMGetDouble(cube, VKL_FMGetOffsetByDims(cube, index)));
  } while (VKL_FMInc(cube, index));

  // The same dimension twice gives a copy.
  ASSERT_EQ(VKL_FMDimExchange(L, &b, cube, 1, 1), 1);
  EXPECT_NE(fm(b), cube);
  EXPECT_EQ(VKL_ObjEqual(&a, &b), 1);

  // The destination may hold the source.
  ASSERT_EQ(VKL_FMDimExchange(L, &a, cube, 0, 1), 1);
  EXPECT_EQ(dims_of(fm(a)), (Index{3, 2, 4}));

  VKL_FixedMatrix* before = fm(b);
  EXPECT_EQ(VKL_FMDimExchange(L, &b, fm(a), 0, 3), 0);
  EXPECT_EQ(VKL_FMDimExchange(L, &b, fm(a), -1, 0), 0);
  EXPECT_EQ(VKL_FMDimExchange(L, nullptr, fm(a), 0, 1), 0);
  EXPECT_EQ(fm(b), before);

  // Empty matrices exchange their dimensions only.
  create(&c, VKL_FM_INT32, {0, 5});
  ASSERT_EQ(VKL_FMDimExchange(L, &c, fm(c), 0, 1), 1);
  EXPECT_EQ(dims_of(fm(c)), (Index{5, 0}));
}

TEST_F(FixedMatrixTest, DimensionExchangeOfCellsCopiesThem) {
  VKL_FixedMatrix* m = create(&a, VKL_FM_CELLS, {2, 2});
  const char* texts[] = {"a0", "a1", "b0", "b1"};
  for (int i = 0; i < 4; ++i) ASSERT_TRUE(VKL_SetString(L, cell(m, i), texts[i]));
  const int64_t used = VKL_GetMemUsed(L);
  ASSERT_EQ(VKL_FMDimExchange(L, &b, m, 1, 0), 1);
  EXPECT_EQ(VKL_GetMemUsed(L), 2 * used);
  EXPECT_STREQ(VKL_AsString(cell(fm(b), 1)), "b0");
  EXPECT_STREQ(VKL_AsString(cell(fm(b), 2)), "a1");
  VKL_SetNil(L, &a);
  EXPECT_EQ(VKL_GetMemUsed(L), used);
}

TEST_F(FixedMatrixTest, TableRoundTrip) {
  VKL_Table* rows = VKL_NewHash(L, &a);
  int_array(VKL_HashSetInt(L, rows, 0), {1, 2, 3});
  int_array(VKL_HashSetInt(L, rows, 1), {4, 5, 6});
  ASSERT_EQ(VKL_HashToFixedmatrix(L, &b, rows, -1), 1);
  VKL_FixedMatrix* m = fm(b);
  EXPECT_EQ(VKL_FMGetType(m), VKL_FM_INT32);
  EXPECT_EQ(dims_of(m), (Index{2, 3}));
  for (int i = 0; i < 6; ++i) EXPECT_EQ(VKL_FMGetInt64(m, i), i + 1);
  ASSERT_EQ(VKL_FixedmatrixToHash(L, &c, m), 1);
  EXPECT_EQ(c.tag, VKL_TTABLE);
  EXPECT_EQ(VKL_ObjEqual(&a, &c), 1);

  // An int64 among integers picks int64; a real picks double; both come back as such.
  int_array(VKL_HashSetInt(L, rows, 1), {4, int64_t{1} << 40, 6});
  ASSERT_EQ(VKL_HashToFixedmatrix(L, &b, rows, -1), 1);
  EXPECT_EQ(VKL_FMGetType(fm(b)), VKL_FM_INT64);
  EXPECT_EQ(VKL_FMGetInt64(fm(b), 4), int64_t{1} << 40);
  ASSERT_EQ(VKL_FixedmatrixToHash(L, &c, fm(b)), 1);
  const TObject* back = VKL_HashGetInt(vkl_table(VKL_HashGetInt(vkl_table(&c), 0)), 0);
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(back->tag, VKL_TINT64);

  VKL_SetReal(L, VKL_HashGetInt(vkl_table(VKL_HashGetInt(rows, 0)), 2), 0.5);
  ASSERT_EQ(VKL_HashToFixedmatrix(L, &b, rows, -1), 1);
  EXPECT_EQ(VKL_FMGetType(fm(b)), VKL_FM_DOUBLE);
  EXPECT_EQ(VKL_FMGetDouble(fm(b), 2), 0.5);
  EXPECT_EQ(VKL_FMGetDouble(fm(b), 4), 1099511627776.0);
  ASSERT_EQ(VKL_FixedmatrixToHash(L, &c, fm(b)), 1);
  EXPECT_EQ(VKL_ObjEqual(&a, &c), 0);  // every value is a real now
  back = VKL_HashGetInt(vkl_table(VKL_HashGetInt(vkl_table(&c), 1)), 0);
  EXPECT_EQ(back->tag, VKL_TREAL);
  EXPECT_EQ(vkl_real(back), 4.0);

  // A chosen element type converts.
  ASSERT_EQ(VKL_HashToFixedmatrix(L, &b, rows, VKL_FM_INT32), 1);
  EXPECT_EQ(VKL_FMGetType(fm(b)), VKL_FM_INT32);
  EXPECT_EQ(VKL_FMGetInt64(fm(b), 2), 0);
  EXPECT_EQ(VKL_FMGetInt64(fm(b), 4), INT32_MAX);
  ASSERT_EQ(VKL_HashToFixedmatrix(L, &b, rows, VKL_FM_CELLS), 1);
  EXPECT_EQ(cell(fm(b), 2)->tag, VKL_TREAL);
  EXPECT_EQ(cell(fm(b), 4)->tag, VKL_TINT64);
  ASSERT_EQ(VKL_FixedmatrixToHash(L, &c, fm(b)), 1);
  EXPECT_EQ(VKL_ObjEqual(&a, &c), 1);
}

TEST_F(FixedMatrixTest, TableRoundTripInThreeDimensionsAndEmptyShapes) {
  VKL_Table* top = VKL_NewHash(L, &a);
  for (int i = 0; i < 2; ++i) {
    VKL_Table* mid = VKL_NewHash(L, VKL_HashSetInt(L, top, i));
    for (int j = 0; j < 3; ++j) {
      int_array(VKL_HashSetInt(L, mid, j), {i * 100 + j * 10, i * 100 + j * 10 + 1});
    }
  }
  ASSERT_EQ(VKL_HashToFixedmatrix(L, &b, top, -1), 1);
  EXPECT_EQ(dims_of(fm(b)), (Index{2, 3, 2}));
  const int64_t at[] = {1, 2, 1};
  EXPECT_EQ(VKL_FMGetInt64(fm(b), VKL_FMGetOffsetByDims(fm(b), at)), 121);
  ASSERT_EQ(VKL_FixedmatrixToHash(L, &c, fm(b)), 1);
  EXPECT_EQ(VKL_ObjEqual(&a, &c), 1);

  // array() -> one empty dimension; array(array(), array()) -> {2, 0}; and back.
  VKL_NewHash(L, &a);
  ASSERT_EQ(VKL_HashToFixedmatrix(L, &b, vkl_table(&a), -1), 1);
  EXPECT_EQ(dims_of(fm(b)), Index{0});
  ASSERT_EQ(VKL_FixedmatrixToHash(L, &c, fm(b)), 1);
  EXPECT_EQ(VKL_ObjEqual(&a, &c), 1);

  VKL_Table* outer = VKL_NewHash(L, &a);
  VKL_NewHash(L, VKL_HashSetInt(L, outer, 0));
  VKL_NewHash(L, VKL_HashSetInt(L, outer, 1));
  ASSERT_EQ(VKL_HashToFixedmatrix(L, &b, outer, -1), 1);
  EXPECT_EQ(dims_of(fm(b)), (Index{2, 0}));
  ASSERT_EQ(VKL_FixedmatrixToHash(L, &c, fm(b)), 1);
  EXPECT_EQ(VKL_ObjEqual(&a, &c), 1);

  // A zero dimension in the middle: {2, 0, 3} becomes two empty tables.
  create(&b, VKL_FM_INT32, {2, 0, 3});
  ASSERT_EQ(VKL_FixedmatrixToHash(L, &c, fm(b)), 1);
  EXPECT_EQ(VKL_ObjEqual(&a, &c), 1);
}

TEST_F(FixedMatrixTest, CellMatricesBecomeTablesOfCopies) {
  VKL_FixedMatrix* m = create(&a, VKL_FM_CELLS, {2});
  ASSERT_TRUE(VKL_SetString(L, cell(m, 0), "text"));
  int_array(cell(m, 1), {7});
  ASSERT_EQ(VKL_FixedmatrixToHash(L, &b, m), 1);
  const TObject* text = VKL_HashGetInt(vkl_table(&b), 0);
  ASSERT_NE(text, nullptr);
  EXPECT_STREQ(VKL_AsString(text), "text");
  EXPECT_NE(VKL_AsString(text), VKL_AsString(cell(m, 0)));
  const TObject* nested = VKL_HashGetInt(vkl_table(&b), 1);
  ASSERT_NE(nested, nullptr);
  EXPECT_NE(vkl_ptr(nested), vkl_ptr(cell(m, 1)));
  EXPECT_EQ(VKL_ObjEqual(nested, cell(m, 1)), 1);
}

TEST_F(FixedMatrixTest, RaggedOrNonNumericTablesAreRefused) {
  VKL_SetInt(L, &b, 42);
  auto refused = [&](const char* what) {
    EXPECT_EQ(VKL_HashToFixedmatrix(L, &b, vkl_table(&a), -1), 0) << what;
    EXPECT_EQ(b.tag, VKL_TINT) << what;
  };

  VKL_Table* rows = VKL_NewHash(L, &a);
  int_array(VKL_HashSetInt(L, rows, 0), {1, 2});
  int_array(VKL_HashSetInt(L, rows, 1), {3});
  refused("short second row");
  int_array(VKL_HashSetInt(L, rows, 1), {3, 4, 5});
  refused("long second row");
  VKL_SetInt(L, VKL_HashSetInt(L, rows, 1), 3);
  refused("number beside a row");
  int_array(VKL_HashSetInt(L, rows, 1), {3, 4});
  ASSERT_TRUE(VKL_SetString(L, VKL_HashGetInt(vkl_table(VKL_HashGetInt(rows, 1)), 1), "4"));
  refused("string value");
  int_array(VKL_HashSetInt(L, rows, 1), {3, 4});
  VKL_SetInt(L, VKL_HashSetSZString(L, rows, "name"), 1);
  refused("string key");

  rows = VKL_NewHash(L, &a);
  VKL_NewHash(L, VKL_HashSetInt(L, rows, 0));
  int_array(VKL_HashSetInt(L, rows, 1), {1});
  refused("empty row beside a full one");

  rows = int_array(&a, {1, 2});
  int_array(VKL_HashSetInt(L, rows, 1), {2});
  refused("row after a number");

  rows = int_array(&a, {0, 1});
  VKL_SetInt(L, VKL_HashSetInt(L, rows, 3), 3);
  refused("gap in the keys");

  // Seventeen levels are too many; sixteen are fine.
  TObject* level = &a;
  for (int depth = 0; depth < 16; ++depth) level = VKL_HashSetInt(L, VKL_NewHash(L, level), 0);
  VKL_SetInt(L, level, 5);
  ASSERT_EQ(VKL_HashToFixedmatrix(L, &c, vkl_table(&a), -1), 1);
  EXPECT_EQ(dims_of(fm(c)), Index(16, 1));
  EXPECT_EQ(VKL_FMGetInt64(fm(c), 0), 5);
  VKL_NewHash(L, level);
  VKL_SetInt(L, VKL_HashSetInt(L, vkl_table(level), 0), 5);
  refused("seventeen levels");

  // A table that holds itself never ends.
  rows = VKL_NewHash(L, &a);
  ASSERT_EQ(VKL_DupObjectEx(L, VKL_HashSetInt(L, rows, 0), &a, 0), 1);
  refused("table holding itself");
  VKL_SetNil(L, VKL_HashGetInt(rows, 0));  // break the cycle so the table can go

  EXPECT_EQ(VKL_HashToFixedmatrix(L, &b, int_array(&a, {1}), 2), 0);
  EXPECT_EQ(VKL_HashToFixedmatrix(L, nullptr, vkl_table(&a), -1), 0);
  EXPECT_EQ(b.tag, VKL_TINT);
}

TEST_F(FixedMatrixTest, DeeplyNestedCellMatricesAreReleasedWithoutRecursion) {
  const int64_t one[] = {1};
  VKL_FixedMatrix* m = VKL_CreateFixedMatrix(L, &a, VKL_FM_CELLS, 1, one);
  for (int level = 0; level < 200000 && m; ++level) {
    m = VKL_CreateFixedMatrix(L, cell(m, 0), VKL_FM_CELLS, 1, one);
  }
  ASSERT_NE(m, nullptr);
  ASSERT_TRUE(VKL_SetString(L, cell(m, 0), "bottom"));
  VKL_SetNil(L, &a);
  EXPECT_EQ(VKL_GetMemUsed(L), 0);
}

}  // namespace
