// European option pricing for scripts: price, delta, rho and implied volatility, computed by
// the numerics library.
#pragma once

#include <vkl/object.h>

#include "plugin/function_row.h"

namespace vkl::methods {

int optionblackscholesprice(VKL_State* L, TObject* args, int nargs, TObject* result);
int optionblackscholesdelta(VKL_State* L, TObject* args, int nargs, TObject* result);
int optionblackscholesri(VKL_State* L, TObject* args, int nargs, TObject* result);
int optionimpliedvolatility(VKL_State* L, TObject* args, int nargs, TObject* result);
int optionimpliedvolatilitylu(VKL_State* L, TObject* args, int nargs, TObject* result);

}  // namespace vkl::methods

namespace vkl::plugin {

inline constexpr FunctionRow kOptionRows[] = {
    {"optionblackscholesprice", methods::optionblackscholesprice,
     "optionblackscholesprice(call, spot, strike, rate, years, volatility [, yield])",
     "Black-Scholes value of a European call (call <> 0) or put; nil outside the domain"},
    {"optionblackscholesdelta", methods::optionblackscholesdelta,
     "optionblackscholesdelta(call, spot, strike, rate, years, volatility [, yield])",
     "delta (change of value per unit of spot) of a European call or put"},
    {"optionblackscholesri", methods::optionblackscholesri,
     "optionblackscholesri(call, spot, strike, rate, years, volatility [, yield])",
     "rho (change of value per unit of rate) of a European call or put"},
    {"optionimpliedvolatility", methods::optionimpliedvolatility,
     "optionimpliedvolatility(call, spot, strike, rate, years, price [, yield])",
     "the volatility at which a European call or put is worth price; nil when none is"},
    {"optionimpliedvolatilitylu", methods::optionimpliedvolatilitylu,
     "optionimpliedvolatilitylu(call, spot, strike, rate, years, price, lower, upper [, yield])",
     "the implied volatility searched between lower and upper; nil when not inside them"},
};

}  // namespace vkl::plugin
