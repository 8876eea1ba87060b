// How the special functions of this program answer where Boost.Math would report an error:
// every call answers a number. An argument outside a function's domain, a pole or an
// evaluation that cannot finish gives NaN; a result too large in magnitude gives +-infinity,
// one too small 0. Evaluation and rounding failures are thrown inside Boost and caught by the
// evaluator (ignoring them would return a meaningless value), so nothing escapes a call.
#pragma once

#include <boost/math/policies/policy.hpp>

namespace vkl::host {

namespace boost_policies = boost::math::policies;

using MathPolicy = boost_policies::policy<
    boost_policies::domain_error<boost_policies::ignore_error>,
    boost_policies::pole_error<boost_policies::ignore_error>,
    boost_policies::overflow_error<boost_policies::ignore_error>,
    boost_policies::underflow_error<boost_policies::ignore_error>,
    boost_policies::denorm_error<boost_policies::ignore_error>,
    boost_policies::evaluation_error<boost_policies::throw_on_error>,
    boost_policies::rounding_error<boost_policies::throw_on_error>,
    boost_policies::indeterminate_result_error<boost_policies::throw_on_error>>;

}  // namespace vkl::host
