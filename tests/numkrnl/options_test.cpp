// Option prices against the relations any correct pricer keeps: put-call parity, delta and rho
// as slopes of the price, the implied volatility giving back the price it came from.
#include <gtest/gtest.h>

#include <vkl/numkrnl.h>

#include <cmath>

namespace {

struct Case {
  double spot, strike, rate, years, volatility, yield;
};
constexpr Case kCases[] = {
    {100, 100, 0.05, 1, 0.2, 0},       {100, 80, 0.03, 0.5, 0.35, 0.02},
    {42, 60, -0.01, 2, 0.15, 0.04},    {100, 130, 0.08, 0.1, 0.6, 0},
    {1500, 1000, 0.02, 5, 0.25, 0.01},
};

double price(int call, const Case& c, double volatility) {
  double out = NAN;
  EXPECT_EQ(
      OptionBlackScholesPrice(call, c.spot, c.strike, c.rate, c.years, volatility, c.yield, &out),
      VKN_OK);
  return out;
}

TEST(Options, KnownValueAndPutCallParity) {
  // The textbook at-the-money call: S = K = 100, r = 5%, one year, 20% volatility.
  EXPECT_NEAR(price(1, kCases[0], 0.2), 10.450583572185565, 1e-12);
  for (const Case& c : kCases) {
    const double parity =
        c.spot * std::exp(-c.yield * c.years) - c.strike * std::exp(-c.rate * c.years);
    EXPECT_NEAR(price(1, c, c.volatility) - price(0, c, c.volatility), parity, 1e-10 * c.spot);
  }
}

TEST(Options, DeltaAndRhoAreTheSlopesOfThePrice) {
  for (const Case& c : kCases) {
    for (int call : {0, 1}) {
      double delta = NAN, rho = NAN, up = NAN, down = NAN;
      ASSERT_EQ(OptionBlackScholesDELTA(call, c.spot, c.strike, c.rate, c.years, c.volatility,
                                        c.yield, &delta),
                VKN_OK);
      ASSERT_EQ(OptionBlackScholesRI(call, c.spot, c.strike, c.rate, c.years, c.volatility, c.yield,
                                     &rho),
                VKN_OK);
      const double h = 1e-4 * c.spot, dr = 1e-6;
      OptionBlackScholesPrice(call, c.spot + h, c.strike, c.rate, c.years, c.volatility, c.yield,
                              &up);
      OptionBlackScholesPrice(call, c.spot - h, c.strike, c.rate, c.years, c.volatility, c.yield,
                              &down);
      EXPECT_NEAR(delta, (up - down) / (2 * h), 1e-6);
      OptionBlackScholesPrice(call, c.spot, c.strike, c.rate + dr, c.years, c.volatility, c.yield,
                              &up);
      OptionBlackScholesPrice(call, c.spot, c.strike, c.rate - dr, c.years, c.volatility, c.yield,
                              &down);
      EXPECT_NEAR(rho, (up - down) / (2 * dr), 1e-5 * c.strike);
    }
  }
}

TEST(Options, NoTimeOrNoVolatilityGivesTheDiscountedIntrinsicValue) {
  double out = NAN;
  ASSERT_EQ(OptionBlackScholesPrice(1, 110, 100, 0.05, 0, 0.3, 0, &out), VKN_OK);
  EXPECT_DOUBLE_EQ(out, 10);
  ASSERT_EQ(OptionBlackScholesPrice(0, 110, 100, 0.05, 0, 0.3, 0, &out), VKN_OK);
  EXPECT_EQ(out, 0);
  ASSERT_EQ(OptionBlackScholesPrice(1, 100, 100, 0.05, 1, 0, 0, &out), VKN_OK);
  EXPECT_NEAR(out, 100 - 100 * std::exp(-0.05), 1e-12);
  // At the money forward without spread the delta is the limit one half.
  ASSERT_EQ(OptionBlackScholesDELTA(1, 100, 100, 0, 1, 0, 0, &out), VKN_OK);
  EXPECT_EQ(out, 0.5);
}

TEST(Options, OutOfDomainInputsWriteNothing) {
  double out = 7;
  EXPECT_EQ(OptionBlackScholesPrice(1, 0, 100, 0.05, 1, 0.2, 0, &out), VKN_BAD_INPUT);
  EXPECT_EQ(OptionBlackScholesPrice(1, 100, -1, 0.05, 1, 0.2, 0, &out), VKN_BAD_INPUT);
  EXPECT_EQ(OptionBlackScholesDELTA(1, 100, 100, 0.05, -1, 0.2, 0, &out), VKN_BAD_INPUT);
  EXPECT_EQ(OptionBlackScholesRI(1, 100, 100, 0.05, 1, -0.2, 0, &out), VKN_BAD_INPUT);
  EXPECT_EQ(OptionBlackScholesPrice(1, 100, 100, NAN, 1, 0.2, 0, &out), VKN_BAD_INPUT);
  EXPECT_EQ(OptionBlackScholesPrice(1, 100, 100, 0.05, 1, 0.2, 0, nullptr), VKN_BAD_INPUT);
  // Prices no volatility gives: below intrinsic, at the discounted spot, negative; no time.
  EXPECT_EQ(OptionImpliedVolatility(1, 110, 100, 0, 1, 9, 0, &out), VKN_BAD_INPUT);
  EXPECT_EQ(OptionImpliedVolatility(1, 100, 100, 0, 1, 100, 0, &out), VKN_BAD_INPUT);
  EXPECT_EQ(OptionImpliedVolatility(0, 100, 100, 0, 1, -1, 0, &out), VKN_BAD_INPUT);
  EXPECT_EQ(OptionImpliedVolatility(1, 100, 100, 0, 0, 5, 0, &out), VKN_BAD_INPUT);
  EXPECT_EQ(out, 7);
}

TEST(Options, ImpliedVolatilityRoundTrip) {
  for (const Case& c : kCases) {
    for (int call : {0, 1}) {
      for (double volatility : {0.05, c.volatility, 1.5}) {
        const double target = price(call, c, volatility);
        double found = NAN;
        ASSERT_EQ(OptionImpliedVolatility(call, c.spot, c.strike, c.rate, c.years, target, c.yield,
                                          &found),
                  VKN_OK);
        EXPECT_NEAR(price(call, c, found), target, 1e-9 * c.spot);
        // Where the time value is lost in rounding, any small volatility gives the price.
        if (target - price(call, c, 0) > 1e-6 * c.spot) {
          EXPECT_NEAR(found, volatility, 1e-6);
        }
      }
    }
  }
}

TEST(Options, BoundedImpliedVolatilityStaysInsideItsBounds) {
  const Case c = kCases[1];
  const double target = price(1, c, 0.35);
  double found = NAN;
  ASSERT_EQ(OptionImpliedVolatilityLU(1, c.spot, c.strike, c.rate, c.years, target, c.yield, 0.3,
                                      0.4, &found),
            VKN_OK);
  EXPECT_NEAR(found, 0.35, 1e-10);
  double untouched = 7;
  EXPECT_EQ(OptionImpliedVolatilityLU(1, c.spot, c.strike, c.rate, c.years, target, c.yield, 0.4,
                                      0.9, &untouched),
            VKN_BAD_INPUT);
  EXPECT_EQ(OptionImpliedVolatilityLU(1, c.spot, c.strike, c.rate, c.years, target, c.yield, 0.1,
                                      0.3, &untouched),
            VKN_BAD_INPUT);
  EXPECT_EQ(OptionImpliedVolatilityLU(1, c.spot, c.strike, c.rate, c.years, target, c.yield, 0.5,
                                      0.4, &untouched),
            VKN_BAD_INPUT);
  EXPECT_EQ(untouched, 7);
}

}  // namespace
