// Option pricing: each handler reads its numbers and hands them to the numerics library.
// Rates and the dividend yield are per year, continuously compounded; years is the time to
// expiry; the yield defaults to 0.
//
// Failure policy: a wrong argument count or an argument that is not a number is rejected with
// 0 and the result untouched; numbers the library refuses (a spot or strike that is not
// positive, negative time or volatility, a price no volatility reaches) give nil.
#include "methods/options.h"

#include <vkl/kernel.h>
#include <vkl/numkrnl.h>

#include "plugin/args.h"

namespace vkl::methods {
namespace {

// Arguments 0..nargs-1 read as numbers into `values` when there are `required` to `max` of
// them; the ones not given keep their defaults.
bool read_numbers(TObject* args, int nargs, int required, int max, double* values) {
  if (nargs < required || nargs > max) return false;
  for (int i = 0; i < nargs; ++i)
    if (!plugin::arg_number(args, nargs, i, &values[i])) return false;
  return true;
}

// The value when the library computed it (status 0), otherwise nil.
int answer(VKL_State* L, TObject* result, int status, double value) {
  if (status == VKN_OK)
    VKL_SetReal(L, result, value);
  else
    VKL_SetNil(L, result);
  return 1;
}

// A library function of (call, spot, strike, rate, years, volatility or price, yield).
using Measure = int (*)(int32_t, double, double, double, double, double, double, double*);

template <Measure measure>
int contract_call(VKL_State* L, TObject* args, int nargs, TObject* result) {
  double v[7] = {0, 0, 0, 0, 0, 0, 0};
  if (!read_numbers(args, nargs, 6, 7, v)) return 0;
  double out = 0;
  const int status = measure(v[0] != 0, v[1], v[2], v[3], v[4], v[5], v[6], &out);
  return answer(L, result, status, out);
}

}  // namespace

// optionblackscholesprice(call, spot, strike, rate, years, volatility [, yield]): the value
int optionblackscholesprice(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return contract_call<OptionBlackScholesPrice>(L, args, nargs, result);
}

// optionblackscholesdelta(call, spot, strike, rate, years, volatility [, yield]): d value/d spot
int optionblackscholesdelta(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return contract_call<OptionBlackScholesDELTA>(L, args, nargs, result);
}

// optionblackscholesri(call, spot, strike, rate, years, volatility [, yield]): d value/d rate
int optionblackscholesri(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return contract_call<OptionBlackScholesRI>(L, args, nargs, result);
}

// optionimpliedvolatility(call, spot, strike, rate, years, price [, yield]): the volatility
int optionimpliedvolatility(VKL_State* L, TObject* args, int nargs, TObject* result) {
  return contract_call<OptionImpliedVolatility>(L, args, nargs, result);
}

// optionimpliedvolatilitylu(call, spot, strike, rate, years, price, lower, upper [, yield])
int optionimpliedvolatilitylu(VKL_State* L, TObject* args, int nargs, TObject* result) {
  double v[9] = {0, 0, 0, 0, 0, 0, 0, 0, 0};
  if (!read_numbers(args, nargs, 8, 9, v)) return 0;
  double out = 0;
  const int status =
      OptionImpliedVolatilityLU(v[0] != 0, v[1], v[2], v[3], v[4], v[5], v[8], v[6], v[7], &out);
  return answer(L, result, status, out);
}

}  // namespace vkl::methods
