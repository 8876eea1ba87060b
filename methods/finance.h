// Time value of money, depreciation, and the range and comparison functions: one coded routine
// answers them all by number (0 comparevalue ... 14 doubledecliningbalance). Every input is
// read as a double; nper, per, life and period as 32-bit integers, truncated toward zero.
// Trailing inputs may be omitted (0, or netpresentvalue's defaults). A table first argument is
// applied element by element by the coded driver. internalrateofreturn runs through the binary
// elementwise driver with its cash flows taken whole, like poly's coefficients.
//
// Failure policy: a formula without an answer (a rate of -1 or below, a period out of range,
// an iteration that does not settle, a result that is not a finite number) fails the call:
// the routine returns 0 and the result stays as it was.
#pragma once

#include <vkl/coded.h>

#include "numeric/whole.h"
#include "plugin/function_row.h"
#include "text/coded.h"

namespace vkl::methods {

int finance_routine(VKL_State* L, TObject* args, TObject* result, int code);

// A finance function: from 1 to max_args numeric inputs.
constexpr VKL_CodedDescriptor finance_fn(int32_t code, int32_t max_args,
                                         const int32_t* kinds = nullptr,
                                         const double* defaults = nullptr) {
  return {code, 0, 0, kinds, 1, max_args, 0, 0, finance_routine, 1, defaults, 1, max_args};
}

// netpresentvalue(rate, cashflows, type): the cash flows are a table (or a single number).
inline constexpr int32_t kNetPresentValueKinds[] = {VKL_ARG_NUMBER, VKL_ARG_NUMBERS,
                                                    VKL_ARG_NUMBER};
// Omitted: no cash flows, payments at the end of each period.
inline constexpr double kNetPresentValueDefaults[] = {0, 0, 0};

using text::kNoLegacy;

inline constexpr text::CodedFunction kFinanceFunctions[] = {
    {"comparevalue", "comparevalue(a, b [, epsilon])",
     "-1, 0 or 1: a below b, within epsilon of it (0: a relative 1e-12), or above",
     finance_fn(0, 3), kNoLegacy},
    {"samevalue", "samevalue(a, b [, epsilon])",
     "1 when a and b differ by at most epsilon (0: a relative 1e-12), else 0", finance_fn(1, 3),
     kNoLegacy},
    {"inrange", "inrange(x, lo, hi)", "1 when lo <= x <= hi, else 0", finance_fn(2, 3),
     kNoLegacy},
    {"ensurerange", "ensurerange(x, lo, hi)", "x clamped to [lo, hi]", finance_fn(3, 3),
     kNoLegacy},
    {"futurevalue", "futurevalue(rate, nper, pmt, pv [, type])",
     "the value after nper periods (type 1: payments at the start of each period)",
     finance_fn(4, 5), kNoLegacy},
    {"interestpayment", "interestpayment(rate, per, nper, pv, fv [, type])",
     "the interest part of the payment of period per", finance_fn(5, 6), kNoLegacy},
    {"interestrate", "interestrate(nper, pmt, pv, fv [, type])",
     "the rate per period that makes the payments meet pv and fv", finance_fn(6, 5), kNoLegacy},
    {"numberofperiods", "numberofperiods(rate, pmt, pv, fv [, type])",
     "the number of periods for the payments to meet pv and fv", finance_fn(7, 5), kNoLegacy},
    {"netpresentvalue", "netpresentvalue(rate, cashflows [, type])",
     "the cash flows discounted to now (type 1: the first flow is now, else one period ahead)",
     finance_fn(8, 3, kNetPresentValueKinds, kNetPresentValueDefaults), kNoLegacy},
    {"payment", "payment(rate, nper, pv, fv [, type])", "the payment per period",
     finance_fn(9, 5), kNoLegacy},
    {"periodpayment", "periodpayment(rate, per, nper, pv, fv [, type])",
     "the principal part of the payment of period per", finance_fn(10, 6), kNoLegacy},
    {"presentvalue", "presentvalue(rate, nper, pmt, fv [, type])",
     "the value now of the payments and fv", finance_fn(11, 5), kNoLegacy},
    {"slndepreciation", "slndepreciation(cost, salvage, life)",
     "straight-line depreciation per period", finance_fn(12, 3), kNoLegacy},
    {"syddepreciation", "syddepreciation(cost, salvage, life, period)",
     "sum-of-years'-digits depreciation of the period", finance_fn(13, 4), kNoLegacy},
    {"doubledecliningbalance", "doubledecliningbalance(cost, salvage, life, period)",
     "double-declining-balance depreciation of the period", finance_fn(14, 4), kNoLegacy},
};

// internalrateofreturn(guess, cashflows): cashflows[0] falls due now, cashflows[k] k periods on.
struct InternalRateOfReturn : numeric::PairTraits<16, numeric::Shape::kNumber,
                                                  numeric::Shape::kArray> {
  static bool scalar(VKL_State* L, const TObject* a, const TObject* b, TObject* const* t);
};

}  // namespace vkl::methods

namespace vkl::plugin {

inline constexpr auto kFinanceRows =
    text::coded_rows<methods::kFinanceFunctions, ExtensionModule::NumAux>();

inline constexpr FunctionRow kInternalRateOfReturnRows[] = {
    {"internalrateofreturn", numeric::binary<methods::InternalRateOfReturn>,
     "internalrateofreturn(guess, cashflows [, mode [, fill]])",
     "the rate at which the cash flows (the first one now) are worth 0, found from guess"},
};

}  // namespace vkl::plugin
