// Conversions, bit operations, divmod and poly where a script cannot look: fixed matrices
// (element types of the results), output cells after a failed call, results left alone on
// rejection, and the payload count coming back.
#include <gtest/gtest.h>

#include <vkl/interp.h>
#include <vkl/kernel.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "numeric/bits.h"
#include "numeric/convert.h"
#include "numeric/divmod_poly.h"

namespace {

template <size_t N>
VKL_Handler find_in(const vkl::plugin::FunctionRow (&rows)[N], const char* name) {
  for (const vkl::plugin::FunctionRow& row : rows)
    if (std::strcmp(row.name, name) == 0) return row.handler;
  return nullptr;
}

VKL_Handler handler(const char* name) {
  VKL_Handler h = find_in(vkl::plugin::kBitRows, name);
  if (!h) h = find_in(vkl::plugin::kConvertRows, name);
  if (!h) h = find_in(vkl::plugin::kDivModPolyRows, name);
  return h;
}

class ConvertTest : public ::testing::Test {
 protected:
  void SetUp() override {
    L = VKL_InterpNewState();
    baseline = VKL_GetMemUsed(L);
    for (TObject& cell : args) vkl_put_nil(&cell);
    vkl_put_nil(&result);
  }
  void TearDown() override {
    for (TObject& cell : args) VKL_FreeObjectContent(L, &cell);
    VKL_FreeObjectContent(L, &result);
    EXPECT_EQ(VKL_GetMemUsed(L), baseline);
    VKL_InterpFreeState(L);
  }

  // args[i] becomes a one-dimensional fixed matrix of `type` holding `values`.
  template <class T>
  void fixed(int i, int type, const std::vector<T>& values) {
    const int64_t dims[] = {static_cast<int64_t>(values.size())};
    VKL_FixedMatrix* fm = VKL_CreateFixedMatrix(L, &args[i], type, 1, dims);
    ASSERT_NE(fm, nullptr);
    std::memcpy(VKL_FMGetBuffer(fm), values.data(), values.size() * sizeof(T));
  }
  void literal(int i, const char* text) { ASSERT_TRUE(VKL_StrToObj(L, text, &args[i])) << text; }

  int call(const char* name, int nargs) { return handler(name)(L, args, nargs, &result); }

  // The result is a fixed matrix of `type` holding `values`.
  template <class T>
  void expect_fixed(const TObject& cell, int type, const std::vector<T>& values) {
    ASSERT_EQ(cell.tag, VKL_TFIXEDMATRIX);
    const auto* fm = static_cast<const VKL_FixedMatrix*>(vkl_ptr(&cell));
    ASSERT_EQ(VKL_FMGetType(fm), type);
    ASSERT_EQ(VKL_FMGetCount(fm), static_cast<int64_t>(values.size()));
    const T* got = static_cast<const T*>(VKL_FMGetBuffer(fm));
    for (size_t k = 0; k < values.size(); ++k) {
      if constexpr (std::is_floating_point_v<T>) {
        if (std::isnan(values[k])) {
          EXPECT_TRUE(std::isnan(got[k])) << k;
          continue;
        }
      }
      EXPECT_EQ(got[k], values[k]) << k;
    }
  }

  std::string text_of(const TObject& cell) {
    char* text = VKL_ObjToStr(L, &cell, 1);
    std::string s(text ? text : "");
    VKL_Free(text);
    return s;
  }

  VKL_State* L = nullptr;
  int64_t baseline = 0;
  TObject args[6];
  TObject result;
};

TEST_F(ConvertTest, BitOperationsKeepTheElementKindOfAFixedMatrix) {
  fixed<int32_t>(0, VKL_FM_INT32, {12, -1, 7});
  VKL_SetInt(L, &args[1], 5);
  ASSERT_EQ(call("_and", 2), 1);
  expect_fixed<int32_t>(result, VKL_FM_INT32, {4, 5, 5});

  fixed<int64_t>(0, VKL_FM_INT64A, {int64_t{1} << 40, -1});
  VKL_SetInt(L, &args[1], 4);
  ASSERT_EQ(call("_shr", 2), 1);
  expect_fixed<int64_t>(result, VKL_FM_INT64A, {int64_t{1} << 36, int64_t{0x0FFFFFFFFFFFFFFF}});

  // Reals are read tolerantly and the result stays real; a like-shaped second matrix pairs
  // element by element.
  fixed<double>(0, VKL_FM_DOUBLE, {2.9999999, -1.0, 3e9});
  fixed<int32_t>(1, VKL_FM_INT32, {1, 31, 0});
  ASSERT_EQ(call("_shl", 2), 1);
  expect_fixed<double>(result, VKL_FM_DOUBLE, {6.0, -2147483648.0, -2147483648.0});

  fixed<int32_t>(0, VKL_FM_INT32, {0, -1});
  ASSERT_EQ(call("_not", 1), 1);
  expect_fixed<int32_t>(result, VKL_FM_INT32, {-1, 0});
}

TEST_F(ConvertTest, NumericConversionsOverAFixedMatrix) {
  fixed<double>(0, VKL_FM_DOUBLE, {2.7, -2.9999999, NAN, 3e10});
  ASSERT_EQ(call("integer", 1), 1);
  expect_fixed<int32_t>(result, VKL_FM_INT32, {2, -3, 0, INT32_MAX});
  ASSERT_EQ(call("int64", 1), 1);
  expect_fixed<int64_t>(result, VKL_FM_INT64, {2, -3, 0, 30000000000});

  fixed<int32_t>(0, VKL_FM_INT32, {1, -2});
  ASSERT_EQ(call("real", 1), 1);
  expect_fixed<double>(result, VKL_FM_DOUBLE, {1.0, -2.0});
  ASSERT_EQ(call("intstof", 1), 1);
  expect_fixed<int32_t>(result, VKL_FM_INT32, {1065353216, -1073741824});

  // Days that do not exist become NaN and 0 inside a matrix, where no leaf can fail alone.
  fixed<int32_t>(0, VKL_FM_INT32, {20240131, 20230229});
  ASSERT_EQ(call("inttodate", 1), 1);
  expect_fixed<double>(result, VKL_FM_DOUBLE, {45322.0, NAN});
  fixed<double>(0, VKL_FM_DOUBLE, {45322.5, NAN});
  ASSERT_EQ(call("datetoint", 1), 1);
  expect_fixed<int32_t>(result, VKL_FM_INT32, {20240131, 0});
}

TEST_F(ConvertTest, TextConversionsTakeAFixedMatrixAsALeaf) {
  fixed<int32_t>(0, VKL_FM_INT32, {1, 2});
  ASSERT_TRUE(VKL_SetString(L, &result, "untouched"));
  const TObject before = result;
  EXPECT_EQ(call("string", 1), 0);
  EXPECT_EQ(std::memcmp(&before, &result, sizeof result), 0);
  VKL_SetInt(L, &args[1], 2);
  ASSERT_EQ(call("chr", 2), 1);  // mode 2 passes it through
  EXPECT_EQ(result.tag, VKL_TFIXEDMATRIX);
}

TEST_F(ConvertTest, PolyOverAFixedMatrixSharesTheCoefficients) {
  fixed<int32_t>(0, VKL_FM_INT32, {0, 1, 2});
  literal(1, "array(1, 2, 3)");
  ASSERT_EQ(call("poly", 2), 1);
  expect_fixed<double>(result, VKL_FM_DOUBLE, {1.0, 6.0, 17.0});
}

TEST_F(ConvertTest, DivmodOutputsKeepWhatWasBuiltBeforeAFailure) {
  literal(0, "array(7, \"x\", 9)");
  VKL_SetInt(L, &args[1], 2);
  literal(2, "\"old q\"");
  literal(3, "\"old r\"");
  ASSERT_TRUE(VKL_SetString(L, &result, "untouched"));
  EXPECT_EQ(call("divmod", 4), 0);
  EXPECT_EQ(text_of(args[2]), "array(3L, nil)");
  EXPECT_EQ(text_of(args[3]), "array(1L, nil)");
  EXPECT_STREQ(VKL_AsString(&result), "untouched");

  // divmod builds no result of its own, also when it succeeds.
  VKL_SetInt(L, &args[0], -7);
  ASSERT_EQ(call("divmod", 4), 1);
  EXPECT_STREQ(VKL_AsString(&result), "untouched");
  EXPECT_EQ(text_of(args[2]), "-3L");

  // A fixed matrix has no integer division: left to the mode, outputs nil.
  fixed<int32_t>(0, VKL_FM_INT32, {7});
  EXPECT_EQ(call("divmod", 4), 0);
  EXPECT_EQ(args[2].tag, VKL_TNIL);
  EXPECT_EQ(args[3].tag, VKL_TNIL);
}

TEST_F(ConvertTest, TextResultsOverTablesReturnTheirPayload) {
  literal(0, "array(\"abc\", L\"wide\", 2.5, b\"\\x01\", \"k\": array(7, \"x\"))");
  for (const char* name : {"string", "widestring", "binary", "integer"}) {
    ASSERT_EQ(call(name, 1), 1) << name;
    VKL_FreeObjectContent(L, &result);
  }
  ASSERT_EQ(call("string", 1), 1);
  EXPECT_EQ(text_of(result), "array(\"abc\", \"wide\", \"2.5\", \"\\x01\", \"k\": array(\"7\", \"x\"))");
}

}  // namespace
