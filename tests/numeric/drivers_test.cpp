// The elementwise drivers on what a script cannot build: fixed matrices of every element type,
// fixed-matrix elements, deferred values, references and caller-given output cells; the result
// cell left alone by a malformed call or a failing scalar, and the part built before a failing
// element.
#include <vkl/kernel.h>

#include <vkl/numbers.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <vector>

#include "numeric/apply.h"
#include "numeric/logpow.h"
#include "numeric/rounding.h"
#include "numeric/trig.h"
#include "numeric/two_argument.h"
#include "tests/core/core_fixture.h"

namespace {

using namespace vkl::numeric;

constexpr VKL_Handler kAbs = unary<rounding::Abs>;
constexpr VKL_Handler kExp = real_unary<logpow::exp>;
constexpr VKL_Handler kRound = unary<NarrowedStep<rounding::round>>;
constexpr VKL_Handler kSimpleRound = unary<NarrowedStep<rounding::simpleround>>;
constexpr VKL_Handler kSinCos = unary<trig::SinCos>;
constexpr VKL_Handler kFrexp = unary<logpow::Frexp>;
constexpr VKL_Handler kPower = binary<RealPairStep<4, two_argument::power>>;

class NumericTest : public CoreTest {
 protected:

  // args[i] becomes a 2 x 3 fixed matrix of `type` holding -1, 2, -3, 4, -5, 6.
  VKL_FixedMatrix* fixed_arg(size_t i, int type) {
    while (args.size() <= i) args.push_back(TObject{VKL_TNIL, {}});
    const int64_t dims[] = {2, 3};
    VKL_FixedMatrix* fm = VKL_CreateFixedMatrix(L, &args[i], type, 2, dims);
    for (int64_t k = 0; k < 6; ++k) {
      const int64_t v = (k % 2 ? 1 : -1) * (k + 1);
      void* at = VKL_FMGetBufferByOffset(fm, k);
      if (type == VKL_FM_INT32) *static_cast<int32_t*>(at) = static_cast<int32_t>(v);
      if (type == VKL_FM_DOUBLE) *static_cast<double*>(at) = static_cast<double>(v);
      if (type == VKL_FM_INT64 || type == VKL_FM_INT64A) *static_cast<int64_t*>(at) = v;
      if (type == VKL_FM_CELLS) VKL_SetInt(L, static_cast<TObject*>(at), static_cast<int32_t>(v));
    }
    return fm;
  }
  static const VKL_FixedMatrix* fixed_of(const TObject* cell) {
    return cell->tag == VKL_TFIXEDMATRIX ? static_cast<const VKL_FixedMatrix*>(vkl_ptr(cell))
                                         : nullptr;
  }
  // The elements of a fixed matrix of two dimensions 2 x 3, read as doubles.
  static std::vector<double> elements(const TObject* cell) {
    const VKL_FixedMatrix* fm = fixed_of(cell);
    if (!fm) return {};
    int64_t dims[16];
    EXPECT_EQ(VKL_FMGetDims(fm, dims), 2);
    EXPECT_EQ(dims[0], 2);
    EXPECT_EQ(dims[1], 3);
    std::vector<double> out;
    for (int64_t k = 0; k < VKL_FMGetCount(fm); ++k) out.push_back(VKL_FMGetDouble(fm, k));
    return out;
  }
  static int element_type(const TObject* cell) {
    const VKL_FixedMatrix* fm = fixed_of(cell);
    return fm ? VKL_FMGetType(fm) : -100;
  }
};

TEST_F(NumericTest, FixedMatricesOfEveryNumericTypeKeepShape) {
  const std::vector<double> absolute = {1, 2, 3, 4, 5, 6};
  for (int type : {VKL_FM_INT32, VKL_FM_DOUBLE, VKL_FM_INT64A, VKL_FM_INT64}) {
    SCOPED_TRACE(type);
    fixed_arg(0, type);
    ASSERT_EQ(call(kAbs), 1);
    EXPECT_EQ(element_type(&result), type);  // abs keeps the element type
    EXPECT_EQ(elements(&result), absolute);
    ASSERT_EQ(call(kExp), 1);
    EXPECT_EQ(element_type(&result), VKL_FM_DOUBLE);
    EXPECT_DOUBLE_EQ(elements(&result)[1], std::exp(2.0));
    ASSERT_EQ(call(kRound), 1);
    EXPECT_EQ(element_type(&result), VKL_FM_DOUBLE);
    EXPECT_EQ(elements(&result)[2], -3.0);
  }
}

TEST_F(NumericTest, FixedMatrixIntegerEdges) {
  const int64_t dims[] = {2};
  args.assign(1, TObject{VKL_TNIL, {}});
  VKL_FixedMatrix* fm = VKL_CreateFixedMatrix(L, &args[0], VKL_FM_INT32, 1, dims);
  static_cast<int32_t*>(VKL_FMGetBuffer(fm))[0] = INT32_MIN;
  static_cast<int32_t*>(VKL_FMGetBuffer(fm))[1] = -7;
  ASSERT_EQ(call(kAbs), 1);
  const auto* out = static_cast<const int32_t*>(VKL_FMGetBuffer(fixed_of(&result)));
  EXPECT_EQ(out[0], INT32_MIN);  // a 32-bit element stays 32 bits, as two's complement
  EXPECT_EQ(out[1], 7);
}

// A fixed matrix of doubles is rounded two elements at a time (the last one alone when the count
// is odd); every element must come out as the same call on the number alone gives it.
TEST_F(NumericTest, FixedMatrixRoundingAgreesWithNumbers) {
  const double values[] = {0.0, -0.0, 0.5, -0.5, 1.5, 2.5, -2.5, 0.49999999999999994,
                           -0.49999999999999994, 1.005 * 100, 0x1p-30, 0x1p-31, 0x1p29 - 0.5,
                           4503599627370495.5, -4503599627370497.0, 1e300, -INFINITY, NAN,
                           5e-324, -2147483648.5, 2147483647.5};
  const int64_t count = std::size(values);
  const int64_t dims[] = {count};
  args.assign(1, TObject{VKL_TNIL, {}});
  VKL_FixedMatrix* fm = VKL_CreateFixedMatrix(L, &args[0], VKL_FM_DOUBLE, 1, dims);
  std::copy(std::begin(values), std::end(values), static_cast<double*>(VKL_FMGetBuffer(fm)));
  for (VKL_Handler handler : {kRound, kSimpleRound}) {
    ASSERT_EQ(call(handler), 1);
    TObject matrix = result;
    vkl_put_nil(&result);
    const auto* out = static_cast<const double*>(VKL_FMGetBuffer(fixed_of(&matrix)));
    TObject number{VKL_TNIL, {}};
    for (int64_t i = 0; i < count; ++i) {
      SCOPED_TRACE(values[i]);
      VKL_SetReal(L, &number, values[i]);
      ASSERT_EQ(handler(L, &number, 1, &result), 1);
      const double alone = VKL_AsDouble(&result);
      EXPECT_TRUE(std::isnan(alone) ? std::isnan(out[i]) : out[i] == alone);
      if (result.tag == VKL_TREAL) {
        EXPECT_EQ(std::signbit(out[i]), std::signbit(alone));
      }
    }
    EXPECT_TRUE(std::signbit(out[1]));  // -0.0 stays -0.0 in a matrix of doubles
    VKL_FreeObjectContent(L, &matrix);
  }
  // What the kernel answers for some of them, ties to even and away from zero (after a nudge
  // of 1e-16 of the mantissa, which carries 0.49999999999999994 to 1).
  EXPECT_EQ(VKL_Round(-2.5, 0), -2.0);
  EXPECT_EQ(VKL_SimpleRound(-2.5, 0), -3.0);
  EXPECT_EQ(VKL_SimpleRound(0.49999999999999994, 0), 1.0);
  EXPECT_EQ(VKL_SimpleRound(0x1p-31, 0), 0.0);
  EXPECT_TRUE(std::signbit(VKL_SimpleRound(-0.0, 0)));
  EXPECT_EQ(VKL_Round(4503599627370495.5, 0), 4503599627370496.0);
}

// Keys after a hole in the array part, integer keys of the hash part and string keys are kept as
// they are, in order, by both drivers.
TEST_F(NumericTest, TablesWithHolesKeepTheirKeys) {
  set_args({"array(-1, -2, -3, -4, \"k\": -5)", "2"});
  VKL_Table* t = vkl_table(&args[0]);
  TObject key{VKL_TNIL, {}};
  vkl_put_int(&key, 1);
  ASSERT_EQ(VKL_DeleteField(L, t, &key), 1);
  VKL_SetInt(L, VKL_HashSetInt64(L, t, 7), -7);
  VKL_SetInt(L, VKL_HashSetInt64(L, t, -1), -8);
  ASSERT_EQ(kAbs(L, args.data(), 1, &result), 1);
  expect_result_text("array(1, 2: 3, 3: 4, \"k\": 5, 7: 7, -1: 8)");
  expect_answer(kPower, "array(1.0, 2: 9.0, 3: 16.0, \"k\": 25.0, 7: 49.0, -1: 64.0)");
}

TEST_F(NumericTest, FixedMatrixOfCellsGivesNestedTables) {
  set_args({"nil", "2"});  // mode 2: the string passes through
  fixed_arg(0, VKL_FM_CELLS);
  VKL_SetString(L, static_cast<TObject*>(VKL_FMGetBufferByOffset(fixed_of(&args[0]), 4)), "s");
  expect_answer(kAbs, "array(array(1, 2, 3), array(4, \"s\", 6))");
  drop_last_arg();
  EXPECT_EQ(call(kAbs), 0);  // the cells before the string keep their values
  expect_result_text("array(array(1, 2, 3), array(4, nil))");
}

TEST_F(NumericTest, FixedMatrixBinaryPairs) {
  fixed_arg(0, VKL_FM_INT32);
  args.push_back(TObject{});
  VKL_SetInt(L, &args[1], 2);
  ASSERT_EQ(call(kPower), 1);
  EXPECT_EQ(element_type(&result), VKL_FM_DOUBLE);
  EXPECT_EQ(elements(&result), (std::vector<double>{1, 4, 9, 16, 25, 36}));

  fixed_arg(1, VKL_FM_DOUBLE);  // the same shape: element by element
  ASSERT_EQ(call(kPower), 1);
  EXPECT_EQ(elements(&result)[1], 4.0);
  EXPECT_EQ(elements(&result)[0], -1.0);

  const int64_t other[] = {3, 2};  // another shape does not pair
  VKL_CreateFixedMatrix(L, &args[1], VKL_FM_DOUBLE, 2, other);
  expect_rejected_now(kPower);
  args.push_back(TObject{});
  VKL_SetInt(L, &args[2], 2);
  ASSERT_EQ(call(kPower), 1);
  EXPECT_EQ(vkl_ptr(&result), vkl_ptr(&args[0]));  // passed through whole
}

TEST_F(NumericTest, FixedMatrixOutputs) {
  fixed_arg(0, VKL_FM_DOUBLE);
  args.resize(3, TObject{VKL_TNIL, {}});
  ASSERT_EQ(call(kFrexp), 1);
  EXPECT_EQ(element_type(&result), VKL_FM_DOUBLE);
  EXPECT_EQ(element_type(&args[1]), VKL_FM_DOUBLE);
  EXPECT_EQ(element_type(&args[2]), VKL_FM_INT32);
  EXPECT_EQ(elements(&args[1])[3], 0.5);  // 4 = 0.5 * 2^3
  EXPECT_EQ(elements(&args[2])[3], 3.0);
  ASSERT_EQ(call(kSinCos), 1);
  EXPECT_DOUBLE_EQ(elements(&args[1])[0], std::sin(-1.0));
  EXPECT_DOUBLE_EQ(elements(&args[2])[0], std::cos(-1.0));
}

TEST_F(NumericTest, ElementsReferencesAndDeferredValuesAreNumbers) {
  fixed_arg(1, VKL_FM_INT64);
  args[0] = TObject{VKL_TNIL, {}};
  ASSERT_TRUE(VKL_SetFMElement(L, &args[0], const_cast<VKL_FixedMatrix*>(fixed_of(&args[1])), 2));
  drop_last_arg();  // the element holds the matrix
  expect_answer(kAbs, "3L");

  TObject target;
  vkl_put_int(&target, -9);
  VKL_SetRef(L, &args[0], &target);
  expect_answer(kAbs, "9");

  static const VKL_BoxType minus_four = {
      "deferred", nullptr, [](VKL_State* S, void*, TObject* out) {
        VKL_SetInt(S, out, -4);
        return 1;
      }};
  set_args({"array(1, -2)"});
  VKL_Table* t = vkl_table(&args[0]);
  VKL_SetDeferred(L, VKL_HashSetInt(L, t, 1), &minus_four, nullptr);
  expect_answer(kAbs, "array(1, 4)");
  EXPECT_EQ(VKL_HashGetInt(t, 1)->tag, VKL_TINT);  // computed in place
}

TEST_F(NumericTest, RejectedCallsLeaveTheResultAlone) {
  expect_rejected(kAbs, {});
  expect_rejected(kAbs, {"1", "\"mode\""});
  expect_rejected(kAbs, {"1", "0", "0", "0"});
  expect_rejected(kAbs, {"array(-1)", "\"mode\""});
  expect_rejected(kAbs, {"\"s\""});
  expect_rejected(kPower, {"2", "array(1)"});
  expect_rejected(kSinCos, {"0", "nil"});
}

// A failing element fails the call; the result cell holds what was built up to it (its own
// slot made, still nil) and is released like any result (the fixture checks the count).
TEST_F(NumericTest, FailingElementLeavesThePartBuilt) {
  const char* const cases[][3] = {
      {"array(-1, \"s\", 2)", nullptr, "array(1, nil)"},
      {"array(-1, array(-2, \"s\"), -3)", nullptr, "array(1, array(2, nil))"},
      {"array(\"a\": 1, \"b\": 2)", "array(\"a\": 3)", "array(\"a\": 1.0, \"b\": nil)"},
  };
  for (const auto& [first, second, built] : cases) {
    SCOPED_TRACE(first);
    if (second)
      set_args({first, second});
    else
      set_args({first});
    ASSERT_TRUE(VKL_SetString(L, &result, "given"));
    EXPECT_EQ(call(second ? kPower : kAbs), 0);
    expect_result_text(built);
  }

  clear_args();
  args.push_back(TObject{VKL_TNIL, {}});  // a cell matrix of one row: -2, "s"
  const VKL_Matrix* m = VKL_CreateMatrix(L, &args[0], 1, 2);
  VKL_SetInt(L, VKL_Matrix_Get(m, 0, 0), -2);
  VKL_SetString(L, VKL_Matrix_Get(m, 0, 1), "s");
  EXPECT_EQ(call(kAbs), 0);
  ASSERT_EQ(result.tag, VKL_TMATRIX);
  const auto* built = static_cast<const VKL_Matrix*>(vkl_ptr(&result));
  EXPECT_EQ(VKL_Matrix_Get(built, 0, 0)->tag, VKL_TINT);
  EXPECT_EQ(vkl_int(VKL_Matrix_Get(built, 0, 0)), 2);
  EXPECT_EQ(VKL_Matrix_Get(built, 0, 1)->tag, VKL_TNIL);
}

TEST_F(NumericTest, CallerGivenOutputCells) {
  TObject s, c;
  vkl_put_nil(&s);
  vkl_put_nil(&c);
  TObject* outputs[] = {&s, &c};
  set_args({"array(0, \"k\": 0)"});
  ASSERT_EQ(ApplyUnary<trig::SinCos>(L, args.data(), 1, &result, 0, nullptr, outputs), 1);
  char* text = VKL_ObjToStr(L, &c, 1);
  EXPECT_STREQ(text, "array(1.0, \"k\": 1.0)");
  VKL_Free(text);
  // a handler's own default mode and fill apply when the script gives none
  TObject fill;
  vkl_put_int(&fill, -1);
  set_args({"array(\"x\", 1)"});
  ASSERT_EQ(ApplyUnary<rounding::Abs>(L, args.data(), 1, &result, 0, &fill), 1);
  text = VKL_ObjToStr(L, &result, 1);
  EXPECT_STREQ(text, "array(-1, 1)");
  VKL_Free(text);
  VKL_FreeObjectContent(L, &s);
  VKL_FreeObjectContent(L, &c);
}

}  // namespace
